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
    Encoding const lEncoding = internal::encodingOf(nTextType);
    std::size_t const lUnit = nTextType >= FILE_TEXT_UTF16_BE ? 2 : 1;
    lLine.mNumber = 1;
    lLine.mPosition = static_cast<long long>(nFrom);
    std::size_t lCrs = 0; // since the last character of another kind
    for (std::size_t lAt = nFrom; lAt < nBytes.size();)
    {
        internal::DecodedChar const lDecoded =
            internal::decodeChar(lEncoding, internal::bytesOf(&nBytes[lAt]), nBytes.size() - lAt, false);
        unsigned char lUtf8[4];
        bool const lIsFault = lDecoded.mFault != TextStop::END;
        std::string const lChar(reinterpret_cast<char*>(lUtf8),
                                internal::encodeUtf8(lIsFault ? 0xFFFD : lDecoded.mCode, lUtf8));
        std::size_t const lBehind = lAt + lDecoded.mSize;
        bool const lIsCr = lChar == "\r";
        lCrs += lIsCr ? 1 : 0;
        if (lChar == "\n" || (lIsCr && lBehind == nBytes.size()))
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
            lAppend(lAt, lChar);
            lLine.mIsMalformed = lLine.mIsMalformed || lIsFault;
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
