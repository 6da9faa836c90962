// The position is a number here, whatever the descriptor does: UtlReadAhead.h.
#include "internal/file/UtlTextReader.h"

#include "UtlApplog.h"
#include "internal/file/UtlFileCalls.h"
#include "internal/text/UtlCodeTables.h"

#include <algorithm>
#include <cstring>

namespace utl::internal
{

namespace
{

constexpr unsigned int LOOKAHEAD = 6;        // bytes that tell any character
constexpr unsigned int KEPT_LINE_MAX = 8192; // a longer line cannot be read, so its start need not be kept

// --- The characters of a line. Each encoding tells the size of the next one and what it means for the line end ---

enum class Kind
{
    TEXT,    // ends a run of CR
    NEUTRAL, // malformed bytes and marks: do not even end a run of CR
    CR,
    LF
};

struct Char
{
    unsigned int mSize;
    Kind mKind;
};

Kind kindOf(unsigned int nUnit)
{
    return nUnit == '\n' ? Kind::LF : nUnit == '\r' ? Kind::CR : Kind::TEXT;
}

struct SjisChars
{
    static constexpr unsigned int MIN_SIZE = 1;

    static Char next(unsigned char const* npChar)
    {
        return isSjisLead(*npChar) ? Char{2, Kind::TEXT} : Char{1, kindOf(*npChar)};
    }
};

struct Utf8Chars
{
    static constexpr unsigned int MIN_SIZE = 1;

    static Char next(unsigned char const* npChar)
    {
        if (*npChar < 0x80)
        {
            return {1, *npChar == 0 ? Kind::NEUTRAL : kindOf(*npChar)};
        }
        unsigned int const lSize = charSize(npChar);
        return {isSize(lSize) ? lSize : 1, isSize(lSize) && !isMark(npChar) ? Kind::TEXT : Kind::NEUTRAL};
    }
};

template <bool IS_BIG_ENDIAN>
struct Utf16Chars
{
    static constexpr unsigned int MIN_SIZE = 2;

    static Char next(unsigned char const* npChar)
    {
        unsigned int const lUnit = unitAt<IS_BIG_ENDIAN>(npChar);
        if (isLikely(lUnit > '\r' && lUnit < 0xFEFF))
        {
            return {2, Kind::TEXT};
        }
        return {2, lUnit == 0xFEFF || lUnit == 0xFFFE ? Kind::NEUTRAL : kindOf(lUnit)};
    }
};

/// Walks on from npFrom while nAhead bytes are left before npEnd. Result: where the walk stopped.
template <class Chars>
unsigned char const* walkLine(unsigned char const* npFrom, unsigned char const* npEnd, unsigned int nAhead, Line& nLine)
{
    unsigned char const* lpAt = npFrom;
    unsigned int lEolSize = nLine.mEolSize;
    while (!nLine.mIsEnded && npEnd - lpAt >= static_cast<std::ptrdiff_t>(nAhead))
    {
        Char const lChar = Chars::next(lpAt);
        lpAt += lChar.mSize;
        if (isLikely(lChar.mKind == Kind::TEXT))
        {
            lEolSize = 0;
        }
        else if (lChar.mKind != Kind::NEUTRAL)
        {
            lEolSize += lChar.mSize;
            nLine.mIsEnded = lChar.mKind == Kind::LF;
        }
    }
    nLine.mSize = static_cast<unsigned int>(std::min<long long>(nLine.mSize + (lpAt - npFrom), Line::SIZE_MAX_TOLD));
    nLine.mEolSize = std::min(lEolSize, nLine.mSize);
    return lpAt;
}

// --- Usual lines: the end found, the text converted and checked in one pass ---

/// Where a walk over a usual line stopped: at its LF, or null.
struct UsualWalk
{
    unsigned char const* mpLf;
    char* mpTextEnd; // of what was converted
};

/// Bytes of CR at the end of a text, which are as many characters.
unsigned int trailingCrs(char const* npBegin, char const* npEnd)
{
    char const* lpAt = npEnd;
    while (lpAt != npBegin && lpAt[-1] == '\r')
    {
        --lpAt;
    }
    return static_cast<unsigned int>(npEnd - lpAt);
}

UsualWalk walkUsualSjis(unsigned char const* npAt, unsigned char const* npEnd, char* npText)
{
    while (npAt < npEnd)
    {
        unsigned char const lByte = *npAt;
        if (isLikely(isSjisLead(lByte)))
        {
            unsigned int const lUnit = unitOfSjis(lByte, npAt[1]);
            if (isLikely(lUnit >= 0x800))
            {
                storeUtf8AndOneMore(npText, lUnit);
                npText += 3;
            }
            else if (lUnit != 0)
            {
                storeUtf8(npText, lUnit, 2);
                npText += 2;
            }
            else
            {
                break;
            }
            npAt += 2;
        }
        else if (lByte < 0x80)
        {
            if (lByte == '\n' || lByte == 0)
            {
                return {lByte == '\n' ? npAt : nullptr, npText};
            }
            *npText++ = static_cast<char>(lByte);
            ++npAt;
        }
        else if (isSjisKana(lByte))
        {
            storeUtf8AndOneMore(npText, unitOfSjisKana(lByte));
            npText += 3;
            ++npAt;
        }
        else
        {
            break;
        }
    }
    return {nullptr, npText};
}

template <bool IS_BIG_ENDIAN>
UsualWalk walkUsualUtf16(unsigned char const* npAt, unsigned char const* npEnd, char* npText)
{
    unsigned char const* const lpEnd = npEnd - (npEnd - npAt) % 2;
    while (npAt != lpEnd)
    {
        unsigned int const lUnit = unitAt<IS_BIG_ENDIAN>(npAt);
        unsigned int lSize = usualUnitSize(lUnit);
        if (isLikely(lSize != 0 && lUnit > '\n'))
        {
            storeUsualUnit(npText, lUnit, lSize);
        }
        else if (lUnit == '\n' || lUnit == 0 || lUnit == 0xFEFF || lUnit == 0xFFFE)
        {
            return {lUnit == '\n' ? npAt : nullptr, npText};
        }
        else
        {
            lSize = utf8Size(lUnit);
            storeUtf8(npText, lUnit, lSize);
        }
        npText += lSize;
        npAt += 2;
    }
    return {nullptr, npText};
}

/// Result: the text, its bytes in the file and, in nSize, those with its line end; no text for an unusual line.
Piece usualUtf8(unsigned char const* npFrom, unsigned char const* npEnd, unsigned int& nSize)
{
    unsigned char const* const lpLf = wellFormedLineEnd(npFrom, npEnd);
    if (lpLf == npEnd || *lpLf != '\n')
    {
        return {};
    }
    char const* const lpText = reinterpret_cast<char const*>(npFrom);
    unsigned int const lWalked = static_cast<unsigned int>(lpLf - npFrom);
    unsigned int const lSrcBytes = lWalked - trailingCrs(lpText, lpText + lWalked);
    if (lSrcBytes >= 3 && isMark(npFrom + lSrcBytes - 3)) // does not end a run of CR
    {
        return {};
    }
    nSize = lWalked + 1;
    unsigned int const lMark = lSrcBytes >= 3 && isMark(npFrom) ? 3 : 0;
    return {lpText + lMark, lSrcBytes - lMark, lSrcBytes - lMark + 1, lSrcBytes};
}

template <unsigned int UNIT, class Walk>
Piece usualConverted(unsigned char const* npFrom, unsigned char const* npEnd, char* npText, unsigned int& nSize,
                     Walk nWalk)
{
    UsualWalk const lWalk = nWalk(npFrom, std::min(npEnd, npFrom + FILE_TEXT_CHUNK_MAX), npText);
    if (lWalk.mpLf == nullptr)
    {
        return {};
    }
    unsigned int const lWalked = static_cast<unsigned int>(lWalk.mpLf - npFrom);
    unsigned int const lCrs = trailingCrs(npText, lWalk.mpTextEnd);
    unsigned int const lLength = static_cast<unsigned int>(lWalk.mpTextEnd - npText) - lCrs;
    nSize = lWalked + UNIT;
    return {npText, lLength, lLength + 1, lWalked - UNIT * lCrs};
}

// --- Pieces of text ---

/// Ends bytes of a window for a while. Two zeros, for a lead byte of Shift-JIS at the end.
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

/// The UTF-8 of the bytes of a piece, which are ended. Result: false for a mark in UTF-16.
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
    unsigned char const* const lpEnd = at(end());
    char* const lpRoom = mAhead.window().mText;
    unsigned int lSize = 0;
    switch (nTextType)
    {
    case FILE_TEXT_UTF8:
        nText = usualUtf8(lpFrom, lpEnd, lSize);
        break;
    case FILE_TEXT_SJIS:
        nText = usualConverted<1>(lpFrom, lpEnd, lpRoom, lSize, walkUsualSjis);
        break;
    case FILE_TEXT_UTF16_BE:
        nText = usualConverted<2>(lpFrom, lpEnd, lpRoom, lSize, walkUsualUtf16<true>);
        break;
    case FILE_TEXT_UTF16_LE:
        nText = usualConverted<2>(lpFrom, lpEnd, lpRoom, lSize, walkUsualUtf16<false>);
        break;
    default:
        return false;
    }
    unsigned int const lTerminator = isUtf16(nTextType) ? 2 : 1;
    if (nText.mpText == nullptr || nText.mSrcBytes >= FILE_TEXT_CHUNK_MAX || nDstSize < nText.mSrcBytes + lTerminator ||
        nDstSize <= nText.mLength)
    {
        return false;
    }
    mAhead.setHere(position() + lSize);
    return true;
}

template <class Chars>
bool TextReader::measureChars(Line& nLine)
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

bool TextReader::measure(int nTextType, Line& nLine)
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

bool TextReader::moveBehindWalk(Line const& nLine)
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
    // Room is asked for twice: for the bytes of the file and a terminator unit, and for the result.
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
