/// The walk of the checked text functions: usual characters together, all others one by one, with the caller's choice
/// for each fault. Layer: internal, text.
#ifndef UTL_CHECKED_WALK_H
#define UTL_CHECKED_WALK_H

#include "UtlCheckedText.h"
#include "internal/text/UtlUsualChars.h"

#include <cstring>

namespace utl::internal
{

/// What a single character of the source becomes.
struct TextStep
{
    unsigned char mBytes[8];
    unsigned int mByteCount;
    unsigned int mConsumed;
    TextStop mFault; ///< END for none
};

inline OnFault choiceFor(TextStop nFault, TextOptions const& nOptions)
{
    return nFault == TextStop::MALFORMED ? nOptions.mOnMalformed
           : nFault == TextStop::NO_CODE ? nOptions.mOnNoCode
                                         : OnFault::STOP;
}

/// The options for converting the replacement itself: its characters without a code are left out.
inline TextOptions optionsOfReplacement(TextOptions const& nOptions)
{
    TextOptions lOptions = nOptions;
    lOptions.mOnMalformed = lOptions.mOnNoCode = OnFault::SKIP;
    lOptions.mHasMore = false;
    return lOptions;
}

/// Stores the replacement. Result: false, with the cursor unchanged, if it does not fit.
inline bool putReplacement(TextCursor& nCursor, Encoding nTo, TextOptions const& nOptions)
{
    TextResult const lStored = convertText(nTo, nCursor.mpDst, nCursor.room(), Encoding::UTF8, nOptions.mReplacement,
                                           optionsOfReplacement(nOptions));
    nCursor.mpDst += lStored.mStop == TextStop::END ? lStored.mWritten : 0;
    return lStored.mStop == TextStop::END;
}

/// Handles a fault as the options say. Result: END to go on.
inline TextStop passFault(TextCursor& nCursor, TextStop nFault, Encoding nTo, TextOptions const& nOptions)
{
    OnFault const lChoice = choiceFor(nFault, nOptions);
    if (lChoice == OnFault::STOP)
    {
        return nFault;
    }
    if (lChoice == OnFault::SKIP)
    {
        ++nCursor.mSkipped;
        return TextStop::END;
    }
    if (!putReplacement(nCursor, nTo, nOptions))
    {
        return TextStop::NO_ROOM;
    }
    ++nCursor.mReplaced;
    return TextStop::END;
}

/// Takes one character. Result: END to go on.
template <class Work>
TextStop takeStep(Work const& nWork, TextCursor& nCursor, TextOptions const& nOptions)
{
    TextStep const lStep = nWork.step(nCursor, nOptions.mHasMore);
    TextStop lStop = lStep.mFault == TextStop::CUT_OFF && !nOptions.mHasMore ? TextStop::MALFORMED : lStep.mFault;
    if (lStop != TextStop::END)
    {
        lStop = passFault(nCursor, lStop, nWork.to(), nOptions);
    }
    else if (lStep.mByteCount <= nCursor.room())
    {
        if (lStep.mByteCount != 0) // the destination may be null
        {
            std::memcpy(nCursor.mpDst, lStep.mBytes, lStep.mByteCount);
            nCursor.mpDst += lStep.mByteCount;
        }
    }
    else
    {
        lStop = TextStop::NO_ROOM;
    }
    nCursor.mpSrc += lStop == TextStop::END ? lStep.mConsumed : 0;
    return lStop;
}

/// Moves the cursor to the end of the source, or to where it stops. Work has
///     void runUsual(TextCursor&) const             converts usual characters, as far as that is easy
///     TextStep step(TextCursor const&, bool) const converts the next character; the bool: whether more text follows
///     Encoding to() const                          the destination's encoding
template <class Work>
TextStop walkText(Work const& nWork, TextCursor& nCursor, TextOptions const& nOptions)
{
    TextStop lStop = TextStop::END;
    do
    {
        nWork.runUsual(nCursor);
    } while (nCursor.mpSrc != nCursor.mpSrcEnd && (lStop = takeStep(nWork, nCursor, nOptions)) == TextStop::END);
    return lStop;
}

inline unsigned char const* beginOf(std::string_view nText)
{
    return reinterpret_cast<unsigned char const*>(nText.data());
}

/// The result of a walk that began at npSrc.
inline TextResult resultOf(TextCursor const& nCursor, unsigned char const* npSrc, std::size_t nWritten, TextStop nStop)
{
    return {nWritten, static_cast<std::size_t>(nCursor.mpSrc - npSrc), nCursor.mSkipped + nCursor.mReplaced, nStop};
}

/// Writes into a caller's bytes.
template <class Work>
TextResult putText(Work const& nWork, void* npDst, std::size_t nDstBytes, std::string_view nSrc,
                   TextOptions const& nOptions)
{
    unsigned char const* const lpSrc = beginOf(nSrc);
    unsigned char* const lpDst = static_cast<unsigned char*>(npDst);
    TextCursor lCursor{lpSrc, lpSrc + nSrc.size(), lpDst, lpDst + (lpDst != nullptr ? nDstBytes : 0)};
    TextStop const lStop = walkText(nWork, lCursor, nOptions);
    return resultOf(lCursor, lpSrc, static_cast<std::size_t>(lCursor.mpDst - lpDst), lStop);
}

/// The result that nWork would have with room for everything: it writes pieces that are thrown away.
template <class Work>
TextResult measureText(Work const& nWork, std::string_view nSrc, TextOptions const& nOptions)
{
    unsigned char const* const lpSrc = beginOf(nSrc);
    TextCursor lCursor{lpSrc, lpSrc + nSrc.size(), nullptr, nullptr};
    TextOptions lOptions = nOptions;
    lOptions.mReplacement = std::string_view(); // may be longer than a piece
    unsigned char lPiece[512];
    std::size_t lWritten = 0;
    TextStop lStop = TextStop::NO_ROOM;
    while (lStop == TextStop::NO_ROOM)
    {
        lCursor.mpDst = lPiece;
        lCursor.mpDstEnd = lPiece + sizeof(lPiece);
        lStop = walkText(nWork, lCursor, lOptions);
        lWritten += static_cast<std::size_t>(lCursor.mpDst - lPiece);
    }
    if (lCursor.mReplaced != 0)
    {
        TextOptions const lAlone = optionsOfReplacement(nOptions);
        lWritten +=
            lCursor.mReplaced * measureConverted(nWork.to(), Encoding::UTF8, nOptions.mReplacement, lAlone).mWritten;
    }
    return resultOf(lCursor, lpSrc, lWritten, lStop);
}

/// Appends to a string. Grows it by what the text is likely to need, and doubles that if it needs more.
template <class Work>
TextResult appendText(Work const& nWork, std::string& nDst, std::string_view nSrc, TextOptions const& nOptions)
{
    std::size_t const lSizeBefore = nDst.size();
    std::size_t lGrowth = nSrc.size() + 16;
    TextResult lTotal{0, 0, 0, TextStop::NO_ROOM};
    while (lTotal.mStop == TextStop::NO_ROOM)
    {
        std::size_t const lUsed = lSizeBefore + lTotal.mWritten;
        nDst.resize(lUsed); // what stands there if there is no memory for more
        nDst.resize(lUsed + lGrowth);
        TextResult const lPiece = putText(nWork, &nDst[lUsed], lGrowth, nSrc.substr(lTotal.mConsumed), nOptions);
        lTotal = {lTotal.mWritten + lPiece.mWritten, lTotal.mConsumed + lPiece.mConsumed,
                  lTotal.mFaults + lPiece.mFaults, lPiece.mStop};
        lGrowth *= 2;
    }
    nDst.resize(lSizeBefore + lTotal.mWritten);
    return lTotal;
}

} // namespace utl::internal

#endif
