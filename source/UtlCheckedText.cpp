// Conversion and checks of text of any bytes. Layer: text, above the folds.
#include "UtlCheckedText.h"

#include <algorithm>
#include <cstring>

#include "internal/text/UtlCheckedWalk.h"
#include "internal/text/UtlCodec.h"
#include "internal/text/UtlUsualChars.h"

namespace utl
{

using namespace internal;

namespace
{

// The steps of a conversion between two encodings.
class Conversion
{
public:
    Conversion(Encoding nTo, Encoding nFrom, bool nIsLikeIconv)
        : mTo(nTo),
          mFrom(nFrom),
          mIsLikeIconv(nIsLikeIconv)
    {
    }

    void runUsual(TextCursor& nCursor) const { runUsualChars(nCursor, mTo, mFrom, mIsLikeIconv); }

    TextStep step(TextCursor const& nCursor, bool) const
    {
        DecodedChar const lChar = decodeChar(mFrom, nCursor.mpSrc, nCursor.left(), mIsLikeIconv);
        TextStep lStep{{}, 0, lChar.mSize, lChar.mFault};
        if (lChar.mFault == TextStop::END)
        {
            lStep.mByteCount = encodeChar(mTo, lChar.mCode, lStep.mBytes, mIsLikeIconv);
            lStep.mFault = lStep.mByteCount != 0 ? TextStop::END : TextStop::NO_CODE;
        }
        return lStep;
    }

    Encoding to() const { return mTo; }

private:
    Encoding const mTo;
    Encoding const mFrom;
    bool const mIsLikeIconv;
};

// The steps of a conversion from an encoding to itself, which copies well-formed characters.
class Copy
{
public:
    explicit Copy(Encoding nEncoding)
        : mEncoding(nEncoding)
    {
    }

    void runUsual(TextCursor& nCursor) const
    {
        std::size_t const lLimit = std::min(nCursor.left(), nCursor.room());
        unsigned char const* const lpEnd = wellFormedEndOf(mEncoding, nCursor.mpSrc, nCursor.mpSrc + lLimit);
        std::size_t const lBytes = static_cast<std::size_t>(lpEnd - nCursor.mpSrc);
        std::copy(nCursor.mpSrc, lpEnd, nCursor.mpDst);
        nCursor.mpSrc += lBytes;
        nCursor.mpDst += lBytes;
    }

    TextStep step(TextCursor const& nCursor, bool) const
    {
        DecodedChar const lChar = decodeChar(mEncoding, nCursor.mpSrc, nCursor.left(), false);
        bool const lIsGood = lChar.mFault == TextStop::END || lChar.mFault == TextStop::NO_CODE;
        TextStep lStep{{}, lChar.mSize, lChar.mSize, lIsGood ? TextStop::END : lChar.mFault};
        std::memcpy(lStep.mBytes, nCursor.mpSrc, lChar.mSize);
        return lStep;
    }

    Encoding to() const { return mEncoding; }

private:
    Encoding const mEncoding;
};

} // namespace

TextResult convertText(Encoding nTo, void* npDst, std::size_t nDstBytes, Encoding nFrom, std::string_view nSrc,
                       TextOptions const& nOptions)
{
    return nTo == nFrom ? putText(Copy(nTo), npDst, nDstBytes, nSrc, nOptions)
                        : putText(Conversion(nTo, nFrom, nOptions.mIsLikeIconv), npDst, nDstBytes, nSrc, nOptions);
}

TextResult convertText(Encoding nTo, std::string& nDst, Encoding nFrom, std::string_view nSrc,
                       TextOptions const& nOptions)
{
    return nTo == nFrom ? appendText(Copy(nTo), nDst, nSrc, nOptions)
                        : appendText(Conversion(nTo, nFrom, nOptions.mIsLikeIconv), nDst, nSrc, nOptions);
}

TextResult measureConverted(Encoding nTo, Encoding nFrom, std::string_view nSrc, TextOptions const& nOptions)
{
    return nTo == nFrom ? measureText(Copy(nTo), nSrc, nOptions)
                        : measureText(Conversion(nTo, nFrom, nOptions.mIsLikeIconv), nSrc, nOptions);
}

std::size_t wellFormedSize(std::string_view nText, Encoding nEncoding)
{
    unsigned char const* const lpText = beginOf(nText);
    return static_cast<std::size_t>(wellFormedEndOf(nEncoding, lpText, lpText + nText.size()) - lpText);
}

char const* text(TextStop nStop)
{
    switch (nStop)
    {
    case TextStop::END:
        return "done";
    case TextStop::MALFORMED:
        return "malformed";
    case TextStop::NO_CODE:
        return "no code for the character";
    case TextStop::NO_ROOM:
        return "no room";
    default:
        return "cut off";
    }
}

} // namespace utl
