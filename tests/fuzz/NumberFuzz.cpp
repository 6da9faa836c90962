// Numbers of arbitrary bytes: the same as a plain parse of the folded text gives. The first byte chooses the base; when
// the second is odd, the other bytes choose words that numbers are made of.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string>
#include <vector>

#include "UtlConvertAttrib.h"
#include "reference/Input.h"
#include "reference/PlainRowScan.h"

using namespace utl;

namespace
{

char const* const WORDS[] = {"0",      "1",      "7",      "9",      "a",      "F",      "x",     "z",
                             "X",      "+",      "-",      " ",      "0x",     "65535",  "65536", "\uFF10",
                             "\uFF11", "\uFF58", "\uFF21", "\uFF0B", "\uFF0D", "\u3000", "\x80",  "\uFF9E",
                             "/",      ":",      "@",      "[",      "`",      "{"};

// The digit that a byte of folded text is; 36 for none.
unsigned int digitOf(char nByte)
{
    std::string const DIGITS = "0123456789abcdefghijklmnopqrstuvwxyz";
    char const lSmall = nByte >= 'A' && nByte <= 'Z' ? static_cast<char>(nByte + 32) : nByte;
    return static_cast<unsigned int>(std::min(DIGITS.find(lSmall), DIGITS.size()));
}

std::optional<unsigned int> parse(char const* npText, int nBase)
{
    std::vector<char> lFolded(WorkingBuffer<char>::CAPACITY);
    if (nBase < 0 || nBase == 1 || nBase > 36 ||
        scan::convertAttrib(lFolded.data(), WorkingBuffer<char>::CAPACITY, npText, HANKAKU_ZENKAKU_PAIR, 1, 0) ==
            STR_ERROR)
    {
        return std::nullopt;
    }
    std::string lText = lFolded.data();
    lText.erase(0, lText[0] == '+' ? 1 : 0);
    unsigned int lBase = static_cast<unsigned int>(nBase);
    if (lBase == 0)
    {
        lBase = lText.rfind("0x", 0) == 0 ? 16 : lText[0] == '0' ? 8 : 10;
        lText.erase(0, lBase == 16 ? 2 : lBase == 8 ? 1 : 0);
    }
    std::optional<unsigned int> lValue;
    for (std::size_t lAt = 0; digitOf(lText[lAt]) < lBase; ++lAt)
    {
        lValue = lValue.value_or(0) * lBase + digitOf(lText[lAt]);
        if (*lValue > 65535)
        {
            return std::nullopt;
        }
    }
    return lValue;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* npData, std::size_t nSize)
{
    if (nSize < 2)
    {
        return 0;
    }
    int const lBase = static_cast<int>(npData[0] % 40) - 2;
    std::string const lBytes(npData + 2, npData + nSize);
    std::string const lText = npData[1] % 2 != 0 ? test::wordsOf(WORDS, lBytes) : lBytes;
    std::vector<char> const lExact(lText.c_str(), lText.c_str() + std::strlen(lText.c_str()) + 1);
    unsigned short lValue = 4711;
    bool const lIsNumber = strToInt(&lValue, lExact.data(), lBase);
    std::optional<unsigned int> const lExpected = parse(lExact.data(), lBase);
    test::require(lIsNumber == lExpected.has_value());
    test::require(lValue == lExpected.value_or(4711));
    return 0;
}
