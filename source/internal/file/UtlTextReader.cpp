// Finds lines and pieces of text in what a file has read ahead.
#include "internal/file/UtlTextReader.h"

#include "UtlApplog.h"
#include "internal/file/UtlFileCalls.h"

#include <algorithm>
#include <cstring>

namespace utl::internal
{

namespace
{

constexpr unsigned int KEPT_LINE_MAX = 8192; // a longer line cannot be read, so its start need not be kept

// --- Measuring a line ---

/// Walks from npFrom as long as nAhead bytes are left before npEnd. Result: where the walk stopped.
template <class Chars>
unsigned char const* walkLine(unsigned char const* npFrom, unsigned char const* npEnd, unsigned int nAhead,
                              WalkedLine& nLine)
{
    unsigned char const* lpAt = npFrom;
    unsigned int lEolSize = nLine.mEolSize;
    while (!nLine.mIsEnded && npEnd - lpAt >= static_cast<std::ptrdiff_t>(nAhead))
    {
        Char const lChar = Chars::next(lpAt);
        lpAt += lChar.mSize;
        if (isLikely(lChar.mKind == CharKind::TEXT))
        {
            lEolSize = 0;
        }
        else if (lChar.mKind != CharKind::NEUTRAL)
        {
            lEolSize += lChar.mSize;
            nLine.mIsEnded = lChar.mKind == CharKind::LF;
        }
    }
    nLine.mSize =
        static_cast<unsigned int>(std::min<long long>(nLine.mSize + (lpAt - npFrom), WalkedLine::SIZE_MAX_TOLD));
    nLine.mEolSize = std::min(lEolSize, nLine.mSize);
    return lpAt;
}

// --- Pieces of text ---

/// Terminates bytes in a window for a scope, with two zeros because of a lead byte of Shift-JIS at the end.
class Ended
{
public:
    explicit Ended(unsigned char* npEnd)
        : mpEnd(npEnd)
    {
        std::memcpy(mBytes, npEnd, sizeof(mBytes));
        std::memset(npEnd, 0, sizeof(mBytes));
    }
    Ended(Ended const&) = delete;
    Ended& operator=(Ended const&) = delete;
    ~Ended() { std::memcpy(mpEnd, mBytes, sizeof(mBytes)); }

private:
    unsigned char* const mpEnd;
    unsigned char mBytes[2];
};

/// An odd byte at the end counts as the low byte of a unit.
template <bool IS_BIG_ENDIAN>
void storeUnits(unsigned short* npUnits, unsigned char const* npBytes, unsigned int nCount)
{
    for (; nCount >= 2; nCount -= 2, npBytes += 2)
    {
        *npUnits++ = static_cast<unsigned short>(unitAt<IS_BIG_ENDIAN>(npBytes));
    }
    *npUnits = nCount != 0 ? *npBytes : 0;
    npUnits[nCount] = 0;
}

/// Converts the terminated bytes of a piece to UTF-8. Result: false for a byte-order mark in UTF-16.
bool convertPiece(FileWindow& nWindow, int nTextType, unsigned char const* npBytes, Piece& nPiece)
{
    char const* const lpBytes = reinterpret_cast<char const*>(npBytes);
    nPiece.mpText = nWindow.mText;
    switch (nTextType)
    {
    case FILE_TEXT_UTF8:
        nPiece.mpText = lpBytes + (nPiece.mSrcBytes >= 3 && isMark(npBytes) ? 3 : 0);
        nPiece.mSize = static_cast<unsigned int>(std::strlen(nPiece.mpText)) + 1;
        break;
    case FILE_TEXT_SJIS:
        nPiece.mSize = convertStrFromSjisToUtf8(nWindow.mText, sizeof(nWindow.mText), lpBytes);
        break;
    default:
        nTextType == FILE_TEXT_UTF16_BE ? storeUnits<true>(nWindow.mUnits, npBytes, nPiece.mSrcBytes)
                                        : storeUnits<false>(nWindow.mUnits, npBytes, nPiece.mSrcBytes);
        nPiece.mSize = convertStrFromUtf16ToUtf8(nWindow.mText, sizeof(nWindow.mText), nWindow.mUnits);
    }
    if (nPiece.mSize == STR_ERROR)
    {
        return false;
    }
    nPiece.mLength = static_cast<unsigned int>(std::strlen(nPiece.mpText)); // a code without a character ends it early
    return true;
}

/// Stores a piece and its terminator. Result: false, with nothing stored, if there is no room or a character is
/// malformed.
bool storePiece(int nTextType, Piece const& nPiece, char* npDst, unsigned int nRoom)
{
    unsigned char const* const lpText = bytesOf(nPiece.mpText);
    unsigned char const* const lpEnd = lpText + nPiece.mLength;
    if (nRoom < nPiece.mSize || (!isUtf16(nTextType) && wellFormedEnd(lpText, lpEnd) != lpEnd))
    {
        return false;
    }
    std::memcpy(npDst, lpText, nPiece.mLength);
    npDst[nPiece.mLength] = 0;
    return true;
}

} // namespace

// --- The window ---

bool TextReader::moveTo(long long nPosition)
{
    bool const lIsMoved = mAhead.seekHere(nPosition);
    if (!lIsMoved)
    {
        mAhead.setHere(std::min(position(), end()));
    }
    return lIsMoved;
}

long long TextReader::available()
{
    if (position() < end())
    {
        return end() - position();
    }
    long long const lSize = openFileSize(mAhead.handle(), mPath);
    return lSize == -1 ? -1 : std::max(lSize - position(), 0LL);
}

int TextReader::fill(long long nKeepFrom)
{
    FileWindow& lWindow = mAhead.window();
    unsigned int const lKept = static_cast<unsigned int>(end() - nKeepFrom);
    std::memmove(lWindow.mBytes, at(nKeepFrom), lKept);
    lWindow.mStart = nKeepFrom;
    lWindow.mSize = lKept;
    int const lCount =
        readFileAt(mAhead.handle(), mPath, lWindow.mBytes + lKept, FileWindow::CAPACITY - lKept, lWindow.end());
    lWindow.mSize += lCount > 0 ? static_cast<unsigned int>(lCount) : 0;
    std::memset(lWindow.mBytes + lWindow.mSize, 0, FileWindow::SLACK);
    return lCount;
}

int TextReader::require(unsigned int nCount)
{
    int lRead = 1;
    while (end() - position() < nCount && lRead > 0)
    {
        lRead = fill(position());
    }
    return lRead == FILE_READ_ERROR ? -1 : static_cast<int>(std::min<long long>(end() - position(), nCount));
}

// --- Lines ---

bool TextReader::takeUsualLine(int nTextType, unsigned int nDstSize, Piece& nText)
{
    unsigned char const* const lpFrom = at(position());
    unsigned char const* const lpBehind =
        walkUsualLine<false>(nTextType, lpFrom, at(end()), mAhead.window().mText, nText);
    unsigned int const lTerminator = isUtf16(nTextType) ? 2 : 1;
    if (nText.mpText == nullptr || nText.mSrcBytes >= FILE_TEXT_CHUNK_MAX || nDstSize < nText.mSrcBytes + lTerminator ||
        nDstSize <= nText.mLength)
    {
        return false;
    }
    mAhead.setHere(position() + (lpBehind - lpFrom));
    return true;
}

template <class Chars>
bool TextReader::measureChars(WalkedLine& nLine)
{
    long long const lStart = position();
    bool lIsLast = false;
    while (!nLine.mIsEnded && !lIsLast)
    {
        while (end() - position() < LOOKAHEAD && !lIsLast)
        {
            int const lRead = fill(position() - lStart < KEPT_LINE_MAX ? lStart : position());
            if (lRead == FILE_READ_ERROR)
            {
                return false;
            }
            lIsLast = lRead <= 0;
        }
        unsigned char const* const lpFrom = at(position());
        unsigned char const* const lpTo =
            walkLine<Chars>(lpFrom, at(end()), lIsLast ? Chars::MIN_SIZE : LOOKAHEAD, nLine);
        mAhead.setHere(position() + (lpTo - lpFrom));
    }
    return true;
}

bool TextReader::measure(int nTextType, WalkedLine& nLine)
{
    bool lIsRead = false;
    switch (nTextType)
    {
    case FILE_TEXT_SJIS:
        lIsRead = measureChars<SjisChars>(nLine);
        break;
    case FILE_TEXT_UTF8:
        lIsRead = measureChars<Utf8Chars>(nLine);
        break;
    case FILE_TEXT_UTF16_BE:
        lIsRead = measureChars<Utf16Chars<true>>(nLine);
        break;
    case FILE_TEXT_UTF16_LE:
        lIsRead = measureChars<Utf16Chars<false>>(nLine);
        break;
    default:
        return false;
    }
    if (!lIsRead && isUtf16(nTextType))
    {
        applog(UTL_LOG_TYPE, LOG_LEVEL_ERROR, "in findNextLineSize func file read error 2byte");
    }
    else if (!lIsRead)
    {
        applog(UTL_LOG_TYPE, LOG_LEVEL_ERROR, "in findNextLineSize func file read error %dbyte", 6);
    }
    return lIsRead;
}

bool TextReader::moveBehindWalk(WalkedLine const& nLine)
{
    return moveTo(nLine.mIsEnded ? position() : std::max(position(), end()));
}

// --- Pieces ---

int TextReader::takePiece(int nTextType, unsigned int nSrcBytes, unsigned int nRoom, Piece& nPiece)
{
    long long const lAvailable = available();
    if (lAvailable <= 0)
    {
        return lAvailable == 0 ? FILE_READ_END : FILE_READ_ERROR;
    }
    int const lCount = require(nSrcBytes);
    if (lCount <= 0)
    {
        return lCount == 0 ? FILE_READ_END : FILE_READ_ERROR;
    }
    nPiece.mSrcBytes = static_cast<unsigned int>(lCount);
    if (nRoom < nPiece.mSrcBytes)
    {
        return FILE_READ_ERROR;
    }
    unsigned char* const lpBytes = at(position());
    mAhead.setHere(position() + lCount);
    Ended const lEnded(lpBytes + lCount);
    return convertPiece(mAhead.window(), nTextType, lpBytes, nPiece) ? lCount : FILE_READ_ERROR;
}

int TextReader::readPiece(int nTextType, char* npDst, unsigned int nDstSize, unsigned int nSrcBytes,
                          unsigned int nDstOffset, unsigned int* npOutSize)
{
    unsigned int const lUnit = isUtf16(nTextType) ? 2 : 1;
    unsigned int const lWanted = nSrcBytes - nSrcBytes % lUnit;
    bool const lIsQuery = nDstSize == 0;
    if (lWanted == 0 || lWanted >= FILE_TEXT_CHUNK_MAX || (!lIsQuery && npDst == nullptr))
    {
        return FILE_READ_ERROR;
    }
    // The room is checked twice: for the bytes of the file with a terminator, and for the result.
    unsigned int const lRoom = nDstSize > nDstOffset ? nDstSize - nDstOffset : 0;
    unsigned int const lSrcRoom = lIsQuery ? FILE_TEXT_CHUNK_MAX : lRoom > lUnit ? lRoom - lUnit : 0;
    Piece lPiece;
    int const lCount = takePiece(nTextType, lWanted, lSrcRoom, lPiece);
    if (lCount < 0)
    {
        return lCount;
    }
    if (!lIsQuery && !storePiece(nTextType, lPiece, npDst + nDstOffset, lRoom))
    {
        return FILE_READ_ERROR;
    }
    storeIfGiven(npOutSize, lPiece.mSize);
    return lCount;
}

} // namespace utl::internal
