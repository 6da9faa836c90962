// Classes, folds and numbers of arbitrary bytes: the same as the plain scan of all rows gives, and no access outside
// source and destination. The first six bytes choose the function, its table, capacity, classes or base.
#include <optional>

#include "UtlConvertAttrib.h"
#include "reference/Input.h"
#include "reference/PlainRowScan.h"

using namespace utl;
using test::require;

namespace
{

// In memory of exactly its size.
std::vector<char> copyOf(std::string const& nText)
{
    return std::vector<char>(nText.c_str(), nText.c_str() + nText.size() + 1);
}

void checkFold(std::string const& nText, unsigned int nChoice, unsigned int nCapacity)
{
    PairAttrib const* const lpTable = scan::PAIRS[nChoice % 6];
    int const lReverse = (nChoice & 0x40) != 0 ? 1 : 0;
    int const lMode = (nChoice & 0x80) != 0 ? 1 : 0;
    std::vector<char> const lSource = copyOf(nText);
    std::vector<char> lDst(nCapacity, '#');
    unsigned int const lSize = convertAttrib(lDst.data(), nCapacity, lSource.data(), lpTable, lReverse, lMode);
    bool const lHasEmptyKey = lReverse == 0 && (lpTable == NODAKUON_DAKUON_PAIR || lpTable == NODAKUON_HANDAKUON_PAIR);
    if (!lHasEmptyKey || (lMode == 0 && nCapacity > 0))
    {
        std::vector<char> lExpected(nCapacity, '#');
        require(scan::convertAttrib(lExpected.data(), nCapacity, lSource.data(), lpTable, lReverse, lMode) == lSize);
        require(lExpected == lDst);
    }
}

void checkBlocks(std::string const& nText, int nAttrib)
{
    std::vector<char> const lSource = copyOf(nText);
    bool lIsStr = true;
    unsigned int lOffset = 0;
    do
    {
        unsigned int const lSize = attribBlockSize(lSource.data() + lOffset, nAttrib);
        require(lSize == scan::attribBlockSize(lSource.data() + lOffset, nAttrib));
        lIsStr = lSize != STR_ERROR;
        require(!lIsStr || lOffset + lSize < lSource.size() + (lSource[lOffset] == 0 ? 1 : 0));
        lOffset += lIsStr ? lSize : 0;
    } while (lIsStr && lOffset + 1 < lSource.size());
    require(isStrAttribBase(lSource.data(), nAttrib) == lIsStr);
    // A character alone: cut off, and without the marks behind it.
    bool lIsMark = false;
    char lChar[5] = "";
    unsigned int const lSize = strCharBytesBase(lSource.data(), &lIsMark);
    bool const lIsChar = nText.empty() || copyStrBase(lChar, 5, lSource.data(), lSize, 0) - 1 < 5;
    require(isCharAttribBase(lSource.data(), nAttrib) == (lIsChar && !lIsMark && isStrAttribBase(lChar, nAttrib)));
}

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

void checkNumber(std::string const& nText, int nBase)
{
    std::vector<char> const lText = copyOf(nText);
    unsigned short lValue = 4711;
    std::optional<unsigned int> const lExpected = parse(lText.data(), nBase);
    require(strToInt(&lValue, lText.data(), nBase) == lExpected.has_value());
    require(lValue == lExpected.value_or(4711));
}

std::string lowered(std::string const& nText)
{
    std::vector<char> lLower(WorkingBuffer<char>::CAPACITY);
    scan::convertAttrib(lLower.data(), WorkingBuffer<char>::CAPACITY, nText.c_str(), LOWER_UPPER_PAIR, 1, 0);
    return lLower.data();
}

void checkOrder(std::string const& nLeft, std::string const& nRight, unsigned int nCount)
{
    int const lOrder = compareStrNoCase(copyOf(nLeft).data(), copyOf(nRight).data(), nCount);
    int const lExpected = lowered(nLeft).compare(0, nCount, lowered(nRight), 0, nCount);
    require((lOrder < 0) == (lExpected < 0));
    require((lOrder > 0) == (lExpected > 0));
}

void checkTrim(std::string nText, std::string nSet)
{
    std::vector<char> lText = copyOf(nText);
    unsigned int const lSize = trimStrRight(lText.data(), copyOf(nSet).data());
    nSet = nSet.empty() ? " \t\v\r\n\f\u3000" : nSet;
    std::vector<std::string> lChars;
    std::string lRest = nText;
    for (unsigned int lBytes = 0; !lRest.empty() && lBytes != STR_ERROR; lRest.erase(0, lBytes))
    {
        lBytes = t_charlen(lRest.c_str(), nullptr);
        lChars.push_back(lRest.substr(0, lBytes));
    }
    bool const lIsWell = lChars.empty() || t_charlen(lChars.back().c_str(), nullptr) != STR_ERROR;
    for (; lIsWell && !lChars.empty() && t_strspn(lChars.back().c_str(), nSet.c_str()) != 0; lChars.pop_back())
    {
        nText.resize(nText.size() - lChars.back().size());
    }
    require(lSize == (lIsWell ? nText.size() + 1 : STR_ERROR));
    require(nText == lText.data());
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* npData, std::size_t nSize)
{
    if (nSize < 6)
    {
        return 0;
    }
    std::uint32_t lAttrib = 0;
    std::memcpy(&lAttrib, npData + 2, sizeof(lAttrib));
    std::string const lBytes(npData + 6, npData + nSize);
    std::string const lText = lBytes.c_str(); // up to the first NUL
    std::string const lFirst = lText.substr(0, npData[2] % 16);
    std::string const lRest = lText.substr(lFirst.size());
    switch (npData[0] % 5)
    {
    case 0:
        checkFold(lText, npData[1], npData[2]);
        break;
    case 1:
        checkBlocks(lText, static_cast<int>(lAttrib));
        break;
    case 2:
        checkNumber(npData[2] % 2 != 0 ? test::wordsOf(WORDS, lBytes) : lText, npData[1] % 40 - 2);
        break;
    case 3:
        checkOrder(lFirst, lRest, npData[1] < 64 ? npData[1] : STR_ALL);
        break;
    default:
        checkTrim(lRest, lFirst);
    }
    return 0;
}
