/// The lines of a file in memory, found the slow and obvious way, and the comparison with those of Lines.
#ifndef UTL_FUZZ_PLAIN_LINES_H
#define UTL_FUZZ_PLAIN_LINES_H

#include "UtlCharSet.h"
#include "UtlLines.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <sstream>
#include <string>
#include <vector>

namespace utl::test
{

/// A character of a file, as text.
struct PlainChar
{
    std::size_t mSize;
    std::string mText; // empty: malformed
};

inline std::string utf8Of(unsigned int nCode)
{
    std::string lText;
    char const lTails[3] = {static_cast<char>(0x80 | (nCode >> 12 & 63)), static_cast<char>(0x80 | (nCode >> 6 & 63)),
                            static_cast<char>(0x80 | (nCode & 63))};
    bool const lIsNone = nCode > 0x10FFFF || (nCode >= 0xD800 && nCode < 0xE000);
    return lIsNone           ? std::string()
           : nCode < 0x80    ? std::string(1, static_cast<char>(nCode))
           : nCode < 0x800   ? static_cast<char>(0xC0 | nCode >> 6) + std::string(lTails + 2, 1)
           : nCode < 0x10000 ? static_cast<char>(0xE0 | nCode >> 12) + std::string(lTails + 1, 2)
                             : static_cast<char>(0xF0 | nCode >> 18) + std::string(lTails, 3);
}

inline PlainChar utf8Char(std::string const& nBytes)
{
    unsigned char const lLead = static_cast<unsigned char>(nBytes[0]);
    std::size_t const lSize = lLead < 0xC0 ? 1 : lLead < 0xE0 ? 2 : lLead < 0xF0 ? 3 : 4;
    unsigned int lCode = lSize == 1 ? lLead : lLead & (0xFFU >> (lSize + 1));
    for (std::size_t lIndex = 1; lIndex < std::min(lSize, nBytes.size()); ++lIndex)
    {
        lCode = lCode << 6 | (static_cast<unsigned char>(nBytes[lIndex]) & 0x3FU);
    }
    std::string const lText = utf8Of(lCode); // the same bytes if they are well-formed
    return lText == nBytes.substr(0, lSize) ? PlainChar{lSize, lText} : PlainChar{1, ""};
}

inline PlainChar sjisChar(std::string const& nBytes)
{
    char lText[6] = {};
    unsigned int lSize = 0;
    unsigned int const lLength = convertCharFromSjisToUtf8(lText, sizeof(lText), nBytes.c_str(), &lSize);
    bool const lHasCode = lLength > 1 || (lSize == 1 && (nBytes[0] & 0x80) == 0);
    return {std::min<std::size_t>(lSize, nBytes.size()), lHasCode ? std::string(lText, lLength) : ""};
}

inline PlainChar utf16Char(std::string const& nBytes, std::size_t nHigh)
{
    auto const lUnitAt = [&](std::size_t nAt)
    {
        return nBytes.size() < nAt + 2 ? 0U
                                       : static_cast<unsigned char>(nBytes[nAt + nHigh]) * 256U +
                                             static_cast<unsigned char>(nBytes[nAt + 1 - nHigh]);
    };
    unsigned int const lUnit = lUnitAt(0);
    unsigned int const lLow = lUnitAt(2);
    bool const lIsPair = lUnit >> 10 == 0xD800 >> 10 && lLow >> 10 == 0xDC00 >> 10;
    return nBytes.size() < 2 ? PlainChar{1, ""}
           : lIsPair         ? PlainChar{4, utf8Of(0x10000 + ((lUnit & 0x3FF) << 10) + (lLow & 0x3FF))}
                             : PlainChar{2, utf8Of(lUnit)};
}

inline std::string inWords(Line const& nLine)
{
    std::ostringstream lWords;
    lWords << nLine.mNumber << " at " << nLine.mPosition << ", " << nLine.mSize << " bytes, line end " << nLine.mEolSize
           << (nLine.mIsMalformed ? ", malformed" : "") << (nLine.mGoesOn ? ", goes on: " : ": ") << nLine.mText
           << '\n';
    return lWords.str();
}

/// All lines from a position on, in words.
inline std::string plainLines(std::string const& nBytes, std::size_t nFrom, int nTextType, std::size_t nRoom)
{
    std::string lWords;
    std::string lText;
    Line lLine;
    auto const lEnd = [&](std::size_t nTo, std::size_t nEolSize, bool nGoesOn)
    {
        lLine.mText = lText;
        lLine.mSize = static_cast<long long>(nTo) - lLine.mPosition;
        lLine.mEolSize = static_cast<long long>(nEolSize);
        lLine.mGoesOn = nGoesOn;
        lWords += inWords(lLine);
        lText.clear();
        lLine = Line{{}, lLine.mNumber + (nGoesOn ? 0 : 1), static_cast<long long>(nTo), 0, 0, false, false};
    };
    std::size_t const lUnit = nTextType >= FILE_TEXT_UTF16_BE ? 2 : 1;
    lLine.mNumber = 1;
    lLine.mPosition = static_cast<long long>(nFrom);
    std::size_t lCrs = 0; // since the last character of another kind
    for (std::size_t lAt = nFrom; lAt < nBytes.size();)
    {
        std::string const lRest = nBytes.substr(lAt, 4);
        PlainChar lChar = nTextType == FILE_TEXT_UTF8   ? utf8Char(lRest)
                          : nTextType == FILE_TEXT_SJIS ? sjisChar(lRest)
                                                        : utf16Char(lRest, nTextType == FILE_TEXT_UTF16_BE ? 0 : 1);
        std::size_t const lBehind = lAt + lChar.mSize;
        bool const lIsCr = lChar.mText == "\r";
        lCrs += lIsCr ? 1 : 0;
        if (lChar.mText == "\n" || (lIsCr && lBehind == nBytes.size()))
        {
            lEnd(lBehind, lUnit * (lCrs + (lIsCr ? 0 : 1)), false);
            lCrs = 0;
        }
        else if (!lIsCr)
        {
            auto const lAppend = [&](std::size_t nAt, std::string const& nText)
            {
                if (lText.size() + nText.size() > nRoom)
                {
                    lEnd(nAt, 0, true);
                }
                lText += nText;
            };
            for (; lCrs != 0; --lCrs)
            {
                lAppend(lAt - lUnit * lCrs, "\r");
            }
            lAppend(lAt, lChar.mText.empty() ? "\uFFFD" : lChar.mText);
            lLine.mIsMalformed = lLine.mIsMalformed || lChar.mText.empty();
        }
        lAt = lBehind;
    }
    if (lLine.mPosition < static_cast<long long>(nBytes.size()))
    {
        lEnd(nBytes.size(), 0, false);
    }
    return lWords;
}

/// Ends the program if Lines gives others than these, or leaves the file elsewhere.
inline void compareLines(File& nFile, std::string const& nBytes, unsigned int nCapacity)
{
    std::size_t lFrom = static_cast<std::size_t>(nFile.position());
    bool const lIsUtf8 = nBytes.compare(0, 3, "\xEF\xBB\xBF") == 0;
    bool const lIsBig = nBytes.compare(0, 2, "\xFE\xFF") == 0;
    bool const lIsLittle = nBytes.compare(0, 2, "\xFF\xFE") == 0;
    lFrom = lFrom != 0 ? lFrom : lIsUtf8 ? 3 : lIsBig || lIsLittle ? 2 : 0;
    int const lTextType = lIsUtf8     ? FILE_TEXT_UTF8
                          : lIsBig    ? FILE_TEXT_UTF16_BE
                          : lIsLittle ? FILE_TEXT_UTF16_LE
                                      : nFile.textType();
    std::string const lExpected = plainLines(nBytes, lFrom, lTextType, nCapacity - 1);
    std::string lWords;
    Lines lLines(nFile, nCapacity);
    bool lIsGood = true;
    for (Line const& lLine : lLines)
    {
        lWords += inWords(lLine);
        lIsGood = lIsGood && nFile.position() == lLine.mPosition + lLine.mSize;
    }
    if (!lIsGood || lLines.hasFailed() || lWords != lExpected)
    {
        std::fprintf(stderr, "type %d, from %zu, capacity %u\n%s\n%s\n", lTextType, lFrom, nCapacity, lExpected.c_str(),
                     lWords.c_str());
        std::abort();
    }
}

} // namespace utl::test

#endif
