/// The inner loops of the conversions: usual characters, between any two encodings. Layer: internal, text.
#ifndef UTL_USUAL_CHARS_H
#define UTL_USUAL_CHARS_H

#include "UtlCheckedText.h"

namespace utl::internal
{

/// How far a text has come.
struct TextCursor
{
    unsigned char const* mpSrc;
    unsigned char const* mpSrcEnd;
    unsigned char* mpDst;
    unsigned char* mpDstEnd;

    std::size_t left() const { return static_cast<std::size_t>(mpSrcEnd - mpSrc); }
    std::size_t room() const { return static_cast<std::size_t>(mpDstEnd - mpDst); }

    std::size_t mSkipped = 0;  ///< faults that left nothing
    std::size_t mReplaced = 0; ///< faults that left the replacement
};

/// Moves the cursor over characters that convert the plain way, as far as it goes easily. What it stops at, near an end
/// too, is for decodeChar() and encodeChar(). The encodings must differ.
void runUsualChars(TextCursor& nCursor, Encoding nTo, Encoding nFrom, bool nIsLikeIconv);

} // namespace utl::internal

#endif
