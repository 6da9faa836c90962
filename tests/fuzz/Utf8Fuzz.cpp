// UTF-8 primitives on arbitrary bytes: the same as plain strings give, and no access outside source and destination.
// The first six bytes are a capacity, two numbers, a mode, the length of the pattern and a choice: when that is odd,
// the other bytes choose pieces of characters.

#include "UtlString.h"
#include "reference/Input.h"

using namespace utl;
using test::require;

namespace
{

bool isTail(char nByte)
{
    return (nByte & 0xC0) == 0x80;
}

// Bytes of the character at nAt; STR_ERROR where it is malformed. nText is not at its end.
unsigned int charAt(std::string const& nText, std::size_t nAt)
{
    unsigned int const lLead = static_cast<unsigned char>(nText[nAt]);
    unsigned int const lSize = lLead < 0x80 ? 1 : lLead < 0xE0 ? 2 : lLead < 0xF0 ? 3 : 4;
    unsigned int lCode = lSize == 1 ? lLead : lLead & (0x7FU >> lSize);
    bool lIsWhole = lLead < 0x80 || (lLead >= 0xC0 && lLead < 0xF8);
    for (unsigned int lIndex = 1; lIsWhole && lIndex < lSize; ++lIndex)
    {
        lIsWhole = isTail(nText[nAt + lIndex]); // the terminator is none
        lCode = lCode << 6 | (static_cast<unsigned char>(nText[nAt + lIndex]) & 0x3FU);
    }
    unsigned int const MINIMUM[] = {0, 0, 0x80, 0x800, 0x10000};
    return lIsWhole && lCode >= MINIMUM[lSize] ? lSize : STR_ERROR;
}

/// A text as characters, where a malformed byte stands alone.
struct Chars
{
    explicit Chars(std::string const& nText)
    {
        for (std::size_t lAt = 0; lAt < nText.size(); lAt += mChars.back().size())
        {
            unsigned int const lSize = charAt(nText, lAt);
            mWell += lSize != STR_ERROR && mWell == mChars.size() ? 1 : 0;
            mChars.push_back(nText.substr(lAt, lSize != STR_ERROR ? lSize : 1));
            mReversed = mChars.back() + mReversed;
        }
    }
    bool isWell() const { return mWell == mChars.size(); }
    bool contains(std::string const& nChar) const // a malformed one ends the set
    {
        auto const lEnd = mChars.begin() + static_cast<std::ptrdiff_t>(mWell);
        return charAt(nChar, 0) != STR_ERROR && std::find(mChars.begin(), lEnd, nChar) != lEnd;
    }

    std::vector<std::string> mChars;
    std::size_t mWell = 0; // characters before the first malformed one
    std::string mReversed;
};

unsigned int nearIndex(std::string const& nText, unsigned int nIndex, bool nIsStart)
{
    unsigned int lAt = 0;
    while (lAt < nIndex && lAt < nText.size())
    {
        unsigned int const lSize = charAt(nText, lAt);
        if (lSize == STR_ERROR || lAt + lSize > nIndex)
        {
            return lSize == STR_ERROR ? lSize : nIsStart ? lAt : lAt + lSize;
        }
        lAt += lSize;
    }
    return lAt;
}

/// What a copy must give, and the text that it stores with the terminator, empty for none.
struct Copied
{
    unsigned int mResult;
    std::string mText;
};

Copied copied(std::string const& nText, unsigned int nSize, unsigned int nMaxBytes, bool nIsCut)
{
    unsigned int lCount = std::min(nMaxBytes, static_cast<unsigned int>(nText.size()));
    if (nSize == 0)
    {
        return {lCount + 1, ""};
    }
    lCount = nIsCut ? nearIndex(nText, std::min(lCount, nSize - 1), true) : lCount;
    if (lCount >= nSize)
    {
        return {STR_ERROR, ""};
    }
    if (nSize > 1 && isTail(nText[lCount])) // back to a byte that leads a character
    {
        do
        {
            --lCount;
        } while (lCount != STR_ERROR && (isTail(nText[lCount]) || static_cast<unsigned char>(nText[lCount]) >= 0xF8));
    }
    return lCount != STR_ERROR ? Copied{lCount + 1, nText.substr(0, lCount) + '\0'} : Copied{STR_ERROR, ""};
}

char const* const PIECES[] = {
    "a",    "\xC3\xA9", "\xE3\x81\x82", "\xF0\x9F\x98\x80", "\xEF\xBB\xBF",     "\x80",         "\xE3",
    "\xF4", "\xFF",     "\xC1\xBF",     "\xE0\x9F\xBF",     "\xF0\x8F\xBF\xBF", "\xED\xA0\x80", "b"};

void checkCopies(std::string const& nText, unsigned int nSize, unsigned int nMaxBytes, unsigned int nPlace, int nMode)
{
    std::vector<char> const lText(nText.c_str(), nText.c_str() + nText.size() + 1);
    for (unsigned int lPlace : {0U, nSize != 0 ? nPlace % nSize : nPlace})
    {
        Copied const lCopied = copied(nText, nSize != 0 ? nSize - lPlace : 0, nMaxBytes, nMode == 1);
        std::vector<char> lTarget(nSize, '#');
        unsigned int const lResult =
            lPlace == 0 ? copyStrBase(lTarget.data(), nSize, lText.data(), nMaxBytes, nMode)
                        : copyGeneral(lTarget.data(), nSize, lPlace, lText.data(), 0, nMaxBytes, nMode);
        // In malformed text the place may be added to a failure.
        require(lResult == lCopied.mResult + (lCopied.mResult != STR_ERROR ? lPlace : 0) ||
                (lCopied.mResult == STR_ERROR && lResult == lPlace - 1));
        std::string lExpected(nSize, '#');
        lExpected.replace(lCopied.mText.empty() ? 0 : lPlace, lCopied.mText.size(), lCopied.mText);
        require(std::equal(lTarget.begin(), lTarget.end(), lExpected.begin(), lExpected.end()));
    }
    std::vector<char> lCut(lText);
    unsigned int const lNear = nearIndex(nText, nMaxBytes, true);
    require(truncateStr(lCut.data(), nMaxBytes) == (lNear == STR_ERROR ? lNear : lNear + 1));
    require(lCut.data() == (lNear == STR_ERROR ? nText : nText.substr(0, lNear)));
    require(getNearCharIndex(lText.data(), nMaxBytes, 0) == nearIndex(nText, nMaxBytes, false));
}

void checkSearches(std::string const& nText, std::string const& nPattern, unsigned int nStart)
{
    Chars const lChars(nText);
    Chars const lSet(nPattern);
    std::size_t lSpan = 0;
    std::size_t lNoSpan = nText.size();
    std::size_t lFound = nPattern.empty() ? nText.size() : std::string::npos;
    std::size_t lAt = 0;
    for (std::string const& lChar : lChars.mChars)
    {
        bool lIsMark = false;
        require(t_charlen(nText.c_str() + lAt, &lIsMark) == charAt(nText, lAt));
        require(lIsMark == (nText.compare(lAt, 3, "\xEF\xBB\xBF") == 0));
        lSpan += lSpan == lAt && lSet.contains(lChar) ? lChar.size() : 0;
        lNoSpan = lNoSpan == nText.size() && lSet.contains(lChar) ? lAt : lNoSpan;
        bool const lIsHere = charAt(lChar, 0) != STR_ERROR && nText.compare(lAt, nPattern.size(), nPattern) == 0;
        lFound = lFound == std::string::npos && lIsHere ? lAt : lFound;
        lAt += lChar.size();
    }
    require(t_strspn(nText.c_str(), nPattern.c_str()) == lSpan);
    require(t_strcspn(nText.c_str(), nPattern.c_str()) == lNoSpan);
    require(t_strstr(nText.c_str(), nPattern.c_str()) == static_cast<unsigned int>(lFound));

    std::vector<char> lReversed(nText.size() + 1);
    unsigned int const lSize = static_cast<unsigned int>(lReversed.size());
    require(reverseStrBase(lReversed.data(), lSize, nText.c_str(), 0) == (lChars.isWell() ? lSize : STR_ERROR));
    require(!lChars.isWell() || lChars.mReversed == lReversed.data());
    if (lChars.isWell() && lSet.isWell() && !nPattern.empty() && !nText.empty())
    {
        std::size_t lFrom = nText.size() - 1 - std::min<std::size_t>(nText.size() - 1, nStart);
        lFrom = nearIndex(lChars.mReversed, static_cast<unsigned int>(lFrom), false);
        std::size_t const lMatch = lChars.mReversed.find(lSet.mReversed, lFrom);
        bool const lIsFound = lMatch != std::string::npos;
        unsigned int lBefore = 0;
        unsigned int const lLast = findReverseStr(nText.c_str(), nPattern.c_str(), nStart, &lBefore);
        require(lLast == (lIsFound ? static_cast<unsigned int>(nText.size() - 1 - lMatch) : STR_ERROR));
        require(lBefore == (lIsFound ? static_cast<unsigned int>(lLast - nPattern.size()) : STR_ERROR));
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* npData, std::size_t nSize)
{
    if (nSize < 6)
    {
        return 0;
    }
    std::size_t const lPatternSize = std::min<std::size_t>(npData[4] % 8, nSize - 6);
    auto const lPart = [&](std::size_t nFrom, std::size_t nTo)
    {
        std::string const lBytes(npData + nFrom, npData + nTo);
        return std::string((npData[5] % 2 != 0 ? test::wordsOf(PIECES, lBytes) : lBytes).c_str());
    };
    std::string const lPattern = lPart(6, 6 + lPatternSize);
    std::string const lText = lPart(6 + lPatternSize, nSize);
    unsigned int const lMaxBytes = npData[1] == 0 ? STR_ALL : npData[1];
    checkCopies(lText, npData[0], lMaxBytes, npData[2], npData[3] % 2);
    checkSearches(lText, lPattern, lMaxBytes);
    return 0;
}
