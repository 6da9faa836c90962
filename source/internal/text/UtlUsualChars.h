/// The inner loops of the conversions: usual characters, between any two encodings. Layer: internal, text.
#ifndef UTL_USUAL_CHARS_H
#define UTL_USUAL_CHARS_H

#include "UtlCheckedText.h"

namespace utl::internal
{

/// How far a conversion has come.
struct TextCursor
{
    unsigned char const* mpSrc;
    unsigned char const* mpSrcEnd;
    unsigned char* mpDst;
    unsigned char* mpDstEnd;

    std::size_t left() const { return static_cast<std::size_t>(mpSrcEnd - mpSrc); }
    std::size_t room() const { return static_cast<std::size_t>(mpDstEnd - mpDst); }

    std::size_t mSkipped = 0;  ///< faults that were left out
    std::size_t mReplaced = 0; ///< faults for which the replacement was stored
};

/// Converts usual characters, as far as that is easy, and moves the cursor. Where it stops, also near an end, use
/// decodeChar() and encodeChar(). The encodings must differ.
void runUsualChars(TextCursor& nCursor, Encoding nTo, Encoding nFrom, bool nIsLikeIconv);

} // namespace utl::internal

#endif
