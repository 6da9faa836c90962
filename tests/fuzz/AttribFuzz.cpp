// Classes, folds and numbers of arbitrary bytes: the same as the plain scan of all rows gives, and no access outside
// source and destination. The first six bytes choose the function, its table, capacity, classes or base.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

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
    PairAttrib const* const TABLES[] = {LOWER_UPPER_PAIR,        HANKAKU_ZENKAKU_PAIR,  NODAKUON_DAKUON_PAIR,
                                        NODAKUON_HANDAKUON_PAIR, ZENKATA_HIRAGANA_PAIR, HANKATA_HIRAGANA_PAIR};
    PairAttrib const* const lpTable = TABLES[nChoice % 6];
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
    isCharAttribBase(lSource.data(), nAttrib);
}

void checkOthers(std::string const& nText, std::string const& nSet, int nBase)
{
    std::vector<char> lText = copyOf(nText);
    std::vector<char> const lSet = copyOf(nSet);
    unsigned short lValue = 0;
    require(!strToInt(&lValue, lText.data(), nBase) || nBase == 0 || (nBase >= 2 && nBase <= 36));
    int const lOrder = compareStrNoCase(lText.data(), lSet.data(), STR_ALL);
    require((compareStrNoCase(lSet.data(), lText.data(), STR_ALL) > 0) == (lOrder < 0));
    unsigned int const lSize = trimStrRight(lText.data(), lSet.data());
    require(lSize == STR_ERROR || (lSize == std::strlen(lText.data()) + 1 && nText.rfind(lText.data(), 0) == 0));
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
    std::string const lRest = lText.size() < lBytes.size() ? lBytes.substr(lText.size() + 1).c_str() : "";
    switch (npData[0] % 3)
    {
    case 0:
        checkFold(lText, npData[1], npData[2]);
        break;
    case 1:
        checkBlocks(lText, static_cast<int>(lAttrib));
        break;
    default:
        checkOthers(lText, lRest, static_cast<int>(npData[1] % 40) - 1);
    }
    return 0;
}
