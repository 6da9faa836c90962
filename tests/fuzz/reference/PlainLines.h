/// The lines of a file in memory, found the slow and obvious way, and the comparison with those of Lines.
#ifndef UTL_FUZZ_PLAIN_LINES_H
#define UTL_FUZZ_PLAIN_LINES_H

#include "Input.h"
#include "UtlLines.h"
#include "internal/file/UtlTextReader.h"
#include "internal/text/UtlCodec.h"

namespace utl::test
{

inline std::string inWords(Line const& nLine)
{
    std::ostringstream lWords;
    lWords << nLine.mNumber << " at " << nLine.mPosition << ", " << nLine.mSize << " bytes, line end " << nLine.mEolSize
           << (nLine.mIsMalformed ? ", malformed" : "") << (nLine.mGoesOn ? ", goes on: " : ": ") << nLine.mText
           << '\n';
    return lWords.str();
}

struct PlainChar
{
    std::string mText; // UTF-8
    std::size_t mAt;   // where it begins
    bool mIsFault;
};

/// All characters from a position on, and one behind the last, which is empty.
inline std::vector<PlainChar> plainChars(std::string const& nBytes, std::size_t nFrom, int nTextType)
{
    std::vector<PlainChar> lChars;
    while (nFrom < nBytes.size())
    {
        internal::DecodedChar const lChar = internal::decodeChar(
            internal::encodingOf(nTextType), internal::bytesOf(&nBytes[nFrom]), nBytes.size() - nFrom, false);
        unsigned char lUtf8[4];
        bool const lIsFault = lChar.mFault != TextStop::END;
        std::size_t const lSize = internal::encodeUtf8(lIsFault ? 0xFFFD : lChar.mCode, lUtf8);
        lChars.push_back({std::string(lUtf8, lUtf8 + lSize), nFrom, lIsFault});
        nFrom += lChar.mSize;
    }
    lChars.push_back({"", nFrom, false});
    return lChars;
}

/// All lines from a position on, in words.
inline std::string plainLines(std::string const& nBytes, std::size_t nFrom, int nTextType, std::size_t nRoom)
{
    std::vector<PlainChar> const lChars = plainChars(nBytes, nFrom, nTextType);
    std::string lWords;
    std::string lText;
    Line lLine{{}, 1, static_cast<long long>(nFrom), 0, 0, false, false};
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
    for (std::size_t lAt = 0, lNext = 0; lAt + 1 < lChars.size(); lAt = lNext)
    {
        for (lNext = lAt; lNext + 1 < lChars.size() && lChars[lNext].mText != "\n"; ++lNext)
        {
        }
        std::size_t lEol = lNext; // CR in front of LF or of the end
        for (; lEol > lAt && lChars[lEol - 1].mText == "\r"; --lEol)
        {
        }
        for (; lAt < lEol; ++lAt)
        {
            lText.size() + lChars[lAt].mText.size() > nRoom ? lEnd(lChars[lAt].mAt, 0, true) : void();
            lText += lChars[lAt].mText;
            lLine.mIsMalformed = lLine.mIsMalformed || lChars[lAt].mIsFault;
        }
        lNext += lNext + 1 < lChars.size() ? 1 : 0;
        lEnd(lChars[lNext].mAt, lChars[lNext].mAt - lChars[lEol].mAt, false);
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
    lIsGood = lIsGood && lLines.textType() == lTextType;
    if (!lIsGood || lLines.hasFailed() || lWords != lExpected)
    {
        std::fprintf(stderr, "type %d, from %zu, capacity %u\n%s\n%s\n", lTextType, lFrom, nCapacity, lExpected.c_str(),
                     lWords.c_str());
        std::abort();
    }
}

} // namespace utl::test

#endif
