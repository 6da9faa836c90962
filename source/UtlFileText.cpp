// Text in files: lines, pieces, keys.
#include "UtlApplog.h"
#include "UtlFile.h"
#include "internal/UtlCodeTables.h"
#include "internal/UtlFileWindow.h"

#include <algorithm>
#include <climits>
#include <cstring>

namespace utl
{

using internal::FileWindow;
using internal::storeIfGiven;

namespace
{

constexpr char const* EOL = "\n";
constexpr unsigned int LOOKAHEAD = 6;           // bytes that tell any character
constexpr unsigned int KEPT_LINE_MAX = 8192;    // a longer line cannot be read, so its start need not be kept
constexpr unsigned long long SEEK_HERE = ~1ULL; // the start of seekKey() that means the position

bool isUtf16(int nTextType)
{
    return nTextType == FILE_TEXT_UTF16_BE || nTextType == FILE_TEXT_UTF16_LE;
}

unsigned int unitOfBytes(unsigned char const* npBytes, bool nIsBigEndian)
{
    return nIsBigEndian ? npBytes[0] * 256U + npBytes[1] : npBytes[1] * 256U + npBytes[0];
}

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
        return internal::isSjisLead(*npChar) ? Char{2, Kind::TEXT} : Char{1, kindOf(*npChar)};
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
        // Nearly all Japanese text; no lead byte of an overlong form or of a mark.
        if (internal::isLikely(*npChar > 0xE0 && *npChar < 0xEF && internal::isTail(npChar[1]) &&
                               internal::isTail(npChar[2])))
        {
            return {3, Kind::TEXT};
        }
        bool lIsMark = false;
        unsigned int const lSize = strCharBytesBase(reinterpret_cast<char const*>(npChar), &lIsMark);
        bool const lIsMalformed = lSize == 0 || lSize == STR_ERROR;
        return {lIsMalformed ? 1 : lSize, lIsMalformed || lIsMark ? Kind::NEUTRAL : Kind::TEXT};
    }
};

template <bool IS_BIG_ENDIAN>
struct Utf16Chars
{
    static constexpr unsigned int MIN_SIZE = 2;

    static Char next(unsigned char const* npChar)
    {
        unsigned int const lUnit = unitOfBytes(npChar, IS_BIG_ENDIAN);
        if (internal::isLikely(lUnit > '\r' && lUnit < 0xFEFF))
        {
            return {2, Kind::TEXT};
        }
        return {2, lUnit == 0xFEFF || lUnit == 0xFFFE ? Kind::NEUTRAL : kindOf(lUnit)};
    }
};

unsigned int const LINE_SIZE_MAX = INT_MAX; // or more: the walk goes on, the count stands still

/// A line as far as it was walked, in bytes of the file.
struct Line
{
    unsigned int mSize = 0;    // all of it
    unsigned int mEolSize = 0; // of the line end so far
    bool mIsEnded = false;     // the LF was found
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
        if (internal::isLikely(lChar.mKind == Kind::TEXT))
        {
            lEolSize = 0;
        }
        else if (lChar.mKind != Kind::NEUTRAL)
        {
            lEolSize += lChar.mSize;
            nLine.mIsEnded = lChar.mKind == Kind::LF;
        }
    }
    nLine.mSize = static_cast<unsigned int>(std::min<long long>(nLine.mSize + (lpAt - npFrom), LINE_SIZE_MAX));
    nLine.mEolSize = std::min(lEolSize, nLine.mSize);
    return lpAt;
}

/// The use of a file by one text function. Takes the file's window away, so that the plain functions work on the
/// descriptor meanwhile, and puts it back at the end, or the descriptor where the caller stands.
class Reader
{
public:
    Reader(File& nFile, std::unique_ptr<FileWindow>& nSlot, GetRefCounterInterface const& nHandle)
        : mFile(nFile),
          mSlot(nSlot),
          mIsShared(nHandle.actGetRefCounter() == nullptr || nHandle.actGetRefCounter()->count() != 1),
          mpWindow(std::move(nSlot))
    {
        long long const lPosition = mpWindow == nullptr ? nFile.position() : -1;
        if (lPosition != -1)
        {
            mpWindow.reset(new FileWindow); // not zeroed
            restartAt(lPosition);
        }
        mPosition = mpWindow == nullptr ? -1 : mpWindow->mPosition;
    }
    Reader(Reader const&) = delete;
    Reader& operator=(Reader const&) = delete;

    ~Reader()
    {
        if (mpWindow != nullptr && mIsShared && mPosition != end())
        {
            mFile.seek(mPosition, FILE_SEEK_BEGIN);
        }
        else if (mpWindow != nullptr && !mIsShared)
        {
            mpWindow->mPosition = mPosition;
            mSlot = std::move(mpWindow);
        }
    }

    /// Where the caller stands; -1 where the file could not tell, and then nothing else may be called.
    long long position() const { return mPosition; }

    /// Where the window ends and the descriptor stands.
    long long end() const { return mpWindow->end(); }

    /// The byte of the window at a position, and its room for conversions.
    unsigned char* at(long long nPosition) { return mpWindow->mBytes + (nPosition - mpWindow->mStart); }
    FileWindow& window() { return *mpWindow; }

    /// False with a message where the descriptor had to be moved and could not; the position stays, or goes to the
    /// end of the file where a walk took it past that.
    bool moveTo(long long nPosition)
    {
        if (nPosition < mpWindow->mStart || nPosition > end())
        {
            if (mFile.seek(nPosition, FILE_SEEK_BEGIN) == -1)
            {
                mPosition = std::min(mPosition, end());
                return false;
            }
            restartAt(nPosition);
        }
        mPosition = nPosition;
        return true;
    }

    /// Bytes from the position to the end of the file, or to that of the window where there are any: enough to tell
    /// 0 and failure, -1, from the rest.
    long long available() { return mPosition < end() ? end() - mPosition : mFile.availableSize(); }

    /// Reads once behind the window and drops what is before nKeepFrom. Result: as File::read().
    int fill(long long nKeepFrom)
    {
        unsigned int const lKept = static_cast<unsigned int>(end() - nKeepFrom);
        std::memmove(mpWindow->mBytes, at(nKeepFrom), lKept);
        mpWindow->mStart = nKeepFrom;
        mpWindow->mSize = lKept;
        int const lCount = mFile.read(mpWindow->mBytes + lKept, FileWindow::CAPACITY - lKept);
        mpWindow->mSize += lCount > 0 ? static_cast<unsigned int>(lCount) : 0;
        std::memset(mpWindow->mBytes + mpWindow->mSize, 0, FileWindow::SLACK);
        return lCount;
    }

    /// Reads until nCount bytes follow the position or the file ends. Result: the bytes, nCount at most; -1.
    int require(unsigned int nCount)
    {
        int lRead = 1;
        while (end() - mPosition < nCount && lRead > 0)
        {
            lRead = fill(mPosition);
        }
        return lRead == FILE_READ_ERROR ? -1 : static_cast<int>(std::min<long long>(end() - mPosition, nCount));
    }

    /// Measures the line at the position, which then stands behind what was walked. Result: false for a read error.
    template <class Chars>
    bool measure(Line& nLine)
    {
        long long const lStart = mPosition;
        bool lIsLast = false;
        while (!nLine.mIsEnded && !lIsLast)
        {
            while (end() - mPosition < LOOKAHEAD && !lIsLast)
            {
                int const lRead = fill(mPosition - lStart < KEPT_LINE_MAX ? lStart : mPosition);
                if (lRead == FILE_READ_ERROR)
                {
                    return false;
                }
                lIsLast = lRead <= 0;
            }
            unsigned char const* const lpFrom = at(mPosition);
            mPosition += walkLine<Chars>(lpFrom, at(end()), lIsLast ? Chars::MIN_SIZE : LOOKAHEAD, nLine) - lpFrom;
        }
        return true;
    }

    /// Takes an odd byte at the end of the file along, and a lead byte's missing trail byte.
    bool moveBehindWalk(Line const& nLine) { return moveTo(nLine.mIsEnded ? mPosition : std::max(mPosition, end())); }

    bool measure(int nTextType, Line& nLine)
    {
        switch (nTextType)
        {
        case FILE_TEXT_SJIS:
            return measure<SjisChars>(nLine);
        case FILE_TEXT_UTF8:
            return measure<Utf8Chars>(nLine);
        case FILE_TEXT_UTF16_BE:
            return measure<Utf16Chars<true>>(nLine);
        default:
            return measure<Utf16Chars<false>>(nLine);
        }
    }

private:
    void restartAt(long long nPosition)
    {
        mpWindow->mPosition = nPosition;
        mpWindow->mStart = nPosition;
        mpWindow->mSize = 0;
    }

    File& mFile;
    std::unique_ptr<FileWindow>& mSlot;
    bool const mIsShared;
    std::unique_ptr<FileWindow> mpWindow; // null where the position is unknown
    long long mPosition;
};

/// False with a message for a read error.
bool measureLine(Reader& nReader, int nTextType, Line& nLine)
{
    if (static_cast<unsigned int>(nTextType) > FILE_TEXT_UTF16_LE)
    {
        return false;
    }
    if (nReader.measure(nTextType, nLine))
    {
        return true;
    }
    if (isUtf16(nTextType))
    {
        applog(UTL_LOG_TYPE, LOG_LEVEL_ERROR, "in findNextLineSize func file read error 2byte");
    }
    else
    {
        applog(UTL_LOG_TYPE, LOG_LEVEL_ERROR, "in findNextLineSize func file read error %dbyte", 6);
    }
    return false;
}

// --- Pieces of text ---

/// Where a text is written to; npNone, a single char, for a string that has room for nothing and may be sharing.
char* roomOf(BasicString<char>& nText, char* npNone)
{
    return nText.maxSize() > 1 ? nText.c_str() : npNone;
}

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
void storeUnits(unsigned short* npUnits, unsigned char const* npBytes, unsigned int nCount, bool nIsBigEndian)
{
    for (; nCount >= 2; nCount -= 2, npBytes += 2)
    {
        *npUnits++ = static_cast<unsigned short>(unitOfBytes(npBytes, nIsBigEndian));
    }
    *npUnits = nCount != 0 ? *npBytes : 0;
    npUnits[nCount] = 0;
}

/// The UTF-8 of bytes of the window that are ended. npText: receives where it stands.
/// Result: its size with the terminator; STR_ERROR for a mark in UTF-16.
unsigned int convertText(FileWindow& nWindow, int nTextType, unsigned char const* npBytes, unsigned int nCount,
                         char const** npText)
{
    *npText = nWindow.mText;
    if (nTextType == FILE_TEXT_UTF8)
    {
        *npText = reinterpret_cast<char const*>(npBytes) +
                  (nCount >= 3 && std::memcmp(npBytes, "\xEF\xBB\xBF", 3) == 0 ? 3 : 0);
        return static_cast<unsigned int>(std::strlen(*npText)) + 1;
    }
    if (nTextType == FILE_TEXT_SJIS)
    {
        return convertStrFromSjisToUtf8(nWindow.mText, sizeof(nWindow.mText), reinterpret_cast<char const*>(npBytes));
    }
    storeUnits(nWindow.mUnits, npBytes, nCount, nTextType == FILE_TEXT_UTF16_BE);
    return convertStrFromUtf16ToUtf8(nWindow.mText, sizeof(nWindow.mText), nWindow.mUnits);
}

bool isWellFormed(char const* npText, std::size_t nLength)
{
    unsigned char const* lpAt = reinterpret_cast<unsigned char const*>(npText);
    unsigned char const* const lpEnd = lpAt + nLength;
    unsigned int lSize = 0;
    while (lpAt != lpEnd && ((lSize = Utf8Chars::next(lpAt).mSize) != 1 || *lpAt < 0x80))
    {
        lpAt += lSize;
    }
    return lpAt == lpEnd;
}

int readPiece(Reader& nReader, int nTextType, char* npDst, unsigned int nDstSize, unsigned int nSrcBytes,
              unsigned int nDstOffset, unsigned int* npOutSize)
{
    unsigned int const lUnit = isUtf16(nTextType) ? 2 : 1;
    unsigned int const lWanted = nSrcBytes - nSrcBytes % lUnit;
    if (lWanted == 0 || lWanted >= FILE_TEXT_CHUNK_MAX || (nDstSize != 0 && npDst == nullptr))
    {
        return FILE_READ_ERROR;
    }
    long long const lAvailable = nReader.available();
    if (lAvailable <= 0)
    {
        return lAvailable == 0 ? FILE_READ_END : FILE_READ_ERROR;
    }
    int const lCount = nReader.require(lWanted);
    if (lCount <= 0)
    {
        return lCount == 0 ? FILE_READ_END : FILE_READ_ERROR;
    }
    unsigned int const lBytes = static_cast<unsigned int>(lCount);
    if (nDstSize != 0 && nDstSize < 0ULL + lUnit + nDstOffset + lBytes)
    {
        return FILE_READ_ERROR;
    }
    unsigned char* const lpBytes = nReader.at(nReader.position());
    nReader.moveTo(nReader.position() + lCount); // within the window
    Ended const lEnded(lpBytes + lBytes);
    char const* lpText = nullptr;
    unsigned int const lSize = convertText(nReader.window(), nTextType, lpBytes, lBytes, &lpText);
    if (lSize == STR_ERROR)
    {
        return FILE_READ_ERROR;
    }
    if (nDstSize != 0)
    {
        std::size_t const lLength = std::strlen(lpText); // a code without a character ends it early
        if (nDstSize < 0ULL + nDstOffset + lSize || (lUnit == 1 && !isWellFormed(lpText, lLength)))
        {
            return FILE_READ_ERROR;
        }
        std::memcpy(npDst + nDstOffset, lpText, lLength + 1);
    }
    if (npOutSize != nullptr)
    {
        *npOutSize = lSize;
    }
    return lCount;
}

/// UTF-8 in the byte order of a file. Result: the bytes, without terminator; nUnits receives the units with it, 0 for
/// text that cannot be converted.
std::unique_ptr<unsigned char[]> makeUtf16(char const* npText, bool nIsBigEndian, unsigned int& nUnits)
{
    nUnits = convertStrFromUtf8ToUtf16(nullptr, 0, npText);
    if (nUnits == STR_ERROR)
    {
        nUnits = 0;
        return nullptr;
    }
    std::unique_ptr<unsigned short[]> const lpUnits(new unsigned short[nUnits]);
    std::unique_ptr<unsigned char[]> lpBytes(new unsigned char[2 * nUnits]);
    convertStrFromUtf8ToUtf16(lpUnits.get(), nUnits, npText);
    convertStrFromDcharToUint8(lpBytes.get(), 2 * nUnits, lpUnits.get(), nUnits, nIsBigEndian ? 1 : 0);
    return lpBytes;
}

/// Compares a key byte by byte. A byte that does not match is not tried again as the first one.
class KeyMatch
{
public:
    KeyMatch(unsigned char const* npKey, unsigned int nSize)
        : mpKey(npKey),
          mSize(nSize)
    {
    }

    /// Result: behind the key where it ends before npEnd, null otherwise; the next call goes on.
    unsigned char const* walk(unsigned char const* npFrom, unsigned char const* npEnd)
    {
        while (npFrom != npEnd)
        {
            if (mMatched == 0)
            {
                npFrom = static_cast<unsigned char const*>(
                    std::memchr(npFrom, *mpKey, static_cast<std::size_t>(npEnd - npFrom)));
                if (npFrom == nullptr)
                {
                    break;
                }
            }
            mMatched = *npFrom++ == mpKey[mMatched] ? mMatched + 1 : 0;
            if (mMatched == mSize)
            {
                return npFrom;
            }
        }
        return nullptr;
    }

private:
    unsigned char const* const mpKey;
    unsigned int const mSize;
    unsigned int mMatched = 0; // bytes of the key, before the next one
};

} // namespace

bool File::setTextType(int nTextType)
{
    if (static_cast<unsigned int>(nTextType) > FILE_TEXT_UTF16_LE)
    {
        return false;
    }
    mTextType = nTextType;
    return true;
}

// --- Lines ---

int File::nextEOLSize()
{
    Reader lReader(*this, mpWindow, mHandle);
    int const lCount = lReader.position() == -1 ? 0 : lReader.require(2);
    if (lCount <= 0)
    {
        return lCount;
    }
    unsigned char const* const lpBytes = lReader.at(lReader.position());
    if (lCount == 2 && lpBytes[0] == '\r' && lpBytes[1] == '\n')
    {
        return 2;
    }
    return lpBytes[0] == '\r' || lpBytes[0] == '\n' ? 1 : -1;
}

int File::findNextLineSize(unsigned int, unsigned int* npTextSize, unsigned int* npEolSize)
{
    if (!isOpened())
    {
        applog(UTL_LOG_TYPE, LOG_LEVEL_ERROR, "in findNextLineSize func file is not opened");
        return -1;
    }
    Reader lReader(*this, mpWindow, mHandle);
    Line lLine;
    if (lReader.position() == -1 || !measureLine(lReader, mTextType, lLine) || !lReader.moveBehindWalk(lLine))
    {
        return -1;
    }
    storeIfGiven(npTextSize, lLine.mSize - lLine.mEolSize);
    storeIfGiven(npEolSize, lLine.mEolSize);
    return lLine.mIsEnded ? static_cast<int>(lLine.mSize) : 0;
}

int File::readLine(char* npDst, unsigned int nDstSize, unsigned int* npOutSize)
{
    if (!isOpened() || (nDstSize != 0 && npDst == nullptr))
    {
        return FILE_READ_ERROR;
    }
    Reader lReader(*this, mpWindow, mHandle);
    long long const lStart = lReader.position();
    if (lStart == -1 || nDstSize >= FILE_TEXT_CHUNK_MAX)
    {
        return FILE_READ_ERROR;
    }
    long long const lAvailable = lReader.available();
    if (lAvailable <= 0)
    {
        return lAvailable == 0 ? FILE_READ_END : FILE_READ_ERROR;
    }
    Line lLine;
    if (!measureLine(lReader, mTextType, lLine) || !lReader.moveTo(lStart) || lLine.mSize == LINE_SIZE_MAX)
    {
        return FILE_READ_ERROR;
    }
    unsigned int const lTextSize = lLine.mSize - lLine.mEolSize;
    unsigned int lOutSize = 1;
    int lResult = 0;
    if (lTextSize != 0)
    {
        lResult = readPiece(lReader, mTextType, npDst, nDstSize, lTextSize, 0, &lOutSize);
        if (lResult < 0)
        {
            return lResult;
        }
    }
    else if (npDst != nullptr)
    {
        *npDst = 0;
    }
    if (!lReader.moveTo(nDstSize != 0 ? lStart + lLine.mSize : lStart))
    {
        return FILE_READ_ERROR;
    }
    storeIfGiven(npOutSize, lOutSize);
    return lResult;
}

int File::readLine(BasicString<char>* npLine, unsigned int* npOutSize)
{
    char lNone = 0;
    return npLine == nullptr ? readLine(nullptr, 0, npOutSize)
                             : readLine(roomOf(*npLine, &lNone), npLine->maxSize(), npOutSize);
}

// --- Pieces ---

int File::readText(char* npDst, unsigned int nDstSize, unsigned int nSrcBytes, unsigned int nDstOffset,
                   unsigned int* npOutSize)
{
    if (static_cast<unsigned int>(mTextType) > FILE_TEXT_UTF16_LE || !isOpened())
    {
        return FILE_READ_ERROR;
    }
    Reader lReader(*this, mpWindow, mHandle);
    return lReader.position() == -1 ? FILE_READ_ERROR
                                    : readPiece(lReader, mTextType, npDst, nDstSize, nSrcBytes, nDstOffset, npOutSize);
}

int File::readText(BasicString<char>* npText, unsigned int nSrcBytes, unsigned int nDstOffset, unsigned int* npOutSize)
{
    char lNone = 0;
    return npText == nullptr ? readText(nullptr, 0, nSrcBytes, nDstOffset, npOutSize)
                             : readText(roomOf(*npText, &lNone), npText->maxSize(), nSrcBytes, nDstOffset, npOutSize);
}

unsigned int File::writeText(char const* npText, unsigned int nMaxBytes, unsigned int nOffset)
{
    if (!isOpened() || npText == nullptr || nMaxBytes >= FILE_TEXT_CHUNK_MAX || nOffset > std::strlen(npText))
    {
        return FILE_ERROR;
    }
    char const* const lpSource = npText + nOffset;
    unsigned int lUnit = 1;
    unsigned int lSize = 0; // bytes, but units for UTF-16
    std::unique_ptr<unsigned char[]> lpUtf16;
    if (mTextType == FILE_TEXT_UTF8)
    {
        lSize = static_cast<unsigned int>(std::strlen(lpSource)) + 1;
    }
    else if (isUtf16(mTextType))
    {
        lUnit = 2;
        lpUtf16 = makeUtf16(lpSource, mTextType == FILE_TEXT_UTF16_BE, lSize);
    }
    if (lSize == 0)
    {
        return FILE_ERROR;
    }
    // Units on one side and bytes on the other, by contract.
    unsigned int const lRest = lSize + nOffset - lUnit;
    if (lRest == 0 || nOffset >= lRest)
    {
        return lRest == 0 ? 0 : FILE_ERROR;
    }
    void const* const lpBytes = lpUtf16 != nullptr ? static_cast<void const*>(lpUtf16.get()) : lpSource;
    return write(lpBytes, std::min((lSize - 1) * lUnit, nMaxBytes));
}

unsigned int File::writeLine(char const* npText)
{
    if (!isOpened() || npText == nullptr)
    {
        return FILE_ERROR;
    }
    unsigned int const lText = writeText(npText, FILE_TEXT_CHUNK_MAX - 1, 0);
    unsigned int const lEol = lText == FILE_ERROR ? FILE_ERROR : writeText(EOL, FILE_TEXT_CHUNK_MAX - 1, 0);
    return lEol == FILE_ERROR ? FILE_ERROR : lText + lEol;
}

// --- Keys ---

long long File::seekKey(unsigned char const* npKey, unsigned int nKeySize, unsigned long long nStart,
                        unsigned long long nMaxBytes, int nMode)
{
    if (!isOpened() || nKeySize == 0 || npKey == nullptr)
    {
        return -1;
    }
    Reader lReader(*this, mpWindow, mHandle);
    long long const lOld = lReader.position();
    if (lOld == -1 || (nStart != SEEK_HERE && !lReader.moveTo(static_cast<long long>(nStart))))
    {
        return -1;
    }
    KeyMatch lMatch(npKey, nKeySize);
    // The end of the file is not asked for: reading finds it.
    unsigned long long lLeft = nMaxBytes;
    while (lLeft != 0)
    {
        int const lCount = lReader.end() == lReader.position() ? lReader.fill(lReader.end()) : 1;
        if (lCount <= 0)
        {
            lReader.moveTo(lOld);
            return lCount == FILE_READ_ERROR ? -1 : FILE_NOT_FOUND;
        }
        unsigned char const* const lpFrom = lReader.at(lReader.position());
        unsigned long long const lSize =
            std::min<unsigned long long>(lLeft, static_cast<unsigned long long>(lReader.end() - lReader.position()));
        unsigned char const* const lpEnd = lMatch.walk(lpFrom, lpFrom + lSize);
        if (lpEnd != nullptr)
        {
            long long const lBehind = lReader.position() + (lpEnd - lpFrom);
            long long const lFound = nMode == 1 ? lBehind : lBehind - nKeySize;
            return lReader.moveTo(lFound) ? lFound : -1;
        }
        lReader.moveTo(lReader.position() + static_cast<long long>(lSize));
        lLeft -= lSize;
    }
    lReader.moveTo(lOld);
    return FILE_NOT_FOUND;
}

long long File::seekKey(char const* npKey, unsigned long long nStart, unsigned long long nMaxBytes, int nMode)
{
    return npKey == nullptr ? -1
                            : seekKey(reinterpret_cast<unsigned char const*>(npKey),
                                      static_cast<unsigned int>(std::strlen(npKey)), nStart, nMaxBytes, nMode);
}

} // namespace utl
