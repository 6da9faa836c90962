// Folds and comparison of text of any bytes. Layer: text, above the folds.
#include <algorithm>
#include <cstring>

#include "internal/text/UtlCheckedWalk.h"
#include "internal/text/UtlCodec.h"
#include "internal/text/UtlFoldRows.h"

namespace utl
{

using namespace internal;

namespace
{

// The steps of a fold.
class Folding
{
public:
    Folding(Fold nFold, bool nHasMore)
        : mRows(rowsOf(nFold)),
          mHasMore(nHasMore)
    {
    }

    void runUsual(TextCursor& nCursor) const
    {
        if (nCursor.left() > LAST_BYTES)
        {
            unsigned char const* const lpStop = boundaryAt(nCursor.mpSrcEnd - IndexedRows::AHEAD);
            if (!foldTo(lpStop, nCursor.mpSrc, nCursor))
            {
                return;
            }
        }
        if (!mHasMore && nCursor.left() - 1 < LAST_BYTES)
        {
            // Fold a copy of the last bytes, followed by bytes that may be read and complete no character.
            unsigned char lLast[LAST_BYTES + IndexedRows::AHEAD] = {};
            unsigned char const* lpAt = lLast;
            std::copy(nCursor.mpSrc, nCursor.mpSrcEnd, lLast);
            foldTo(lLast + nCursor.left(), lpAt, nCursor);
            nCursor.mpSrc += lpAt - lLast;
        }
    }

    TextStep step(TextCursor const& nCursor, bool nHasMore) const
    {
        DecodedChar const lChar = decodeUtf8(nCursor.mpSrc, nCursor.left());
        TextStep lStep{{}, 0, lChar.mSize, lChar.mFault};
        if (lChar.mFault != TextStop::END)
        {
            return lStep;
        }
        if (nHasMore && nCursor.left() < LONGEST_KEY && mRows.hasLongKey(nCursor.mpSrc))
        {
            lStep.mFault = TextStop::CUT_OFF;
            return lStep;
        }
        unsigned char lAhead[CHAR_BYTES_MAX + IndexedRows::AHEAD] = {};
        std::copy_n(nCursor.mpSrc, std::min(nCursor.left(), sizeof(lAhead)), lAhead);
        FoldedChunk lChunk;
        unsigned char const* const lpBehind = mRows.foldStrictly(lAhead, lAhead + lChar.mSize, lChunk, 1);
        std::memcpy(lStep.mBytes, lChunk.mBytes, lChunk.mSize);
        lStep.mByteCount = lChunk.mSize;
        lStep.mConsumed = static_cast<unsigned int>(lpBehind - lAhead);
        return lStep;
    }

    static Encoding to() { return Encoding::UTF8; }

private:
    static constexpr std::size_t LONGEST_KEY = 6;
    static constexpr std::size_t LAST_BYTES = IndexedRows::AHEAD + 3;

    // npAt, or up to three bytes before it: the start of a character.
    static unsigned char const* boundaryAt(unsigned char const* npPlace)
    {
        unsigned char const* lpAt = npPlace;
        while (isTail(*lpAt) && npPlace - lpAt < 3)
        {
            --lpAt;
        }
        return isTail(*lpAt) ? npPlace : lpAt;
    }

    // Folds from npAt on. Result: false if a character is malformed or there may be too little room.
    bool foldTo(unsigned char const* npEnd, unsigned char const*& npAt, TextCursor& nCursor) const
    {
        FoldedChunk lChunk;
        while (npAt < npEnd)
        {
            std::size_t const lRoom = nCursor.room();
            if (lRoom <= FoldedChunk::EXCESS)
            {
                return false;
            }
            unsigned int const lLimit =
                static_cast<unsigned int>(std::min<std::size_t>(lRoom - FoldedChunk::EXCESS, FoldedChunk::CAPACITY));
            unsigned char const* const lpBehind = mRows.foldStrictly(npAt, npEnd, lChunk, lLimit);
            std::memcpy(nCursor.mpDst, lChunk.mBytes, lChunk.mSize);
            nCursor.mpDst += lChunk.mSize;
            npAt = lpBehind;
            if (lChunk.mIsLast && npAt < npEnd)
            {
                return false;
            }
        }
        return true;
    }

    IndexedRows const mRows;
    bool const mHasMore;
};

// Gives a text in pieces, with its capital letters made small. Malformed bytes stay as they are.
class LowerText
{
public:
    explicit LowerText(std::string_view nText)
        : mRest(nText)
    {
    }

    // The next piece; empty at the end.
    std::string_view piece()
    {
        if (mPiece.empty() && !mRest.empty())
        {
            TextResult const lPut = putText(Folding(Fold::LOWER, false), mBytes, sizeof(mBytes), mRest, TextOptions());
            bool const lIsMalformed = lPut.mWritten == 0;
            mPiece = lIsMalformed ? mRest.substr(0, 1) : std::string_view(mBytes, lPut.mWritten);
            mRest.remove_prefix(lIsMalformed ? 1 : lPut.mConsumed);
        }
        return mPiece;
    }

    void skip(std::size_t nBytes) { mPiece.remove_prefix(nBytes); }

private:
    std::string_view mRest;
    std::string_view mPiece;
    char mBytes[64]; // texts mostly differ early
};

// The length of the bytes with which both texts begin, up to the start of a character.
std::size_t commonSize(std::string_view nLeft, std::string_view nRight)
{
    std::size_t const lLimit = std::min(nLeft.size(), nRight.size());
    std::size_t lSize = static_cast<std::size_t>(
        std::mismatch(nLeft.begin(), nLeft.begin() + static_cast<std::ptrdiff_t>(lLimit), nRight.begin()).first -
        nLeft.begin());
    for (unsigned int lTails = 0; lSize != 0 && lTails < 4; ++lTails)
    {
        --lSize;
        if (!isTail(static_cast<unsigned char>(nLeft[lSize])))
        {
            break;
        }
    }
    return lSize;
}

} // namespace

TextResult foldText(Fold nFold, char* npDst, std::size_t nDstBytes, std::string_view nSrc, TextOptions const& nOptions)
{
    return putText(Folding(nFold, nOptions.mHasMore), npDst, nDstBytes, nSrc, nOptions);
}

TextResult foldText(Fold nFold, std::string& nDst, std::string_view nSrc, TextOptions const& nOptions)
{
    return appendText(Folding(nFold, nOptions.mHasMore), nDst, nSrc, nOptions);
}

TextResult measureFolded(Fold nFold, std::string_view nSrc, TextOptions const& nOptions)
{
    return measureText(Folding(nFold, nOptions.mHasMore), nSrc, nOptions);
}

int compareTextNoCase(std::string_view nLeft, std::string_view nRight)
{
    std::size_t const lCommon = commonSize(nLeft, nRight);
    LowerText lLeft(nLeft.substr(lCommon));
    LowerText lRight(nRight.substr(lCommon));
    for (;;)
    {
        std::size_t const lSize = std::min(lLeft.piece().size(), lRight.piece().size());
        int const lOrder = lLeft.piece().compare(0, lSize, lRight.piece(), 0, lSize);
        if (lOrder != 0 || lSize == 0)
        {
            return lOrder != 0 ? lOrder
                               : static_cast<int>(lRight.piece().empty()) - static_cast<int>(lLeft.piece().empty());
        }
        lLeft.skip(lSize);
        lRight.skip(lSize);
    }
}

} // namespace utl
