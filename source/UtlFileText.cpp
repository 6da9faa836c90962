// Text in files: lines, pieces, keys.
#include "UtlApplog.h"
#include "UtlCharSet.h"
#include "UtlFile.h"
#include "internal/file/UtlTextReader.h"

#include <algorithm>
#include <cstring>

namespace utl
{

using internal::isUtf16;
using internal::storeIfGiven;
using internal::TextReader;

namespace
{

constexpr char const* EOL = "\n";
constexpr unsigned long long SEEK_HERE = ~1ULL; // as the start in seekKey(): the current position

/// The buffer of a string; npNone, a single char, if its capacity is 1, because then it may be shared.
char* roomOf(BasicString<char>& nText, char* npNone)
{
    return nText.maxSize() > 1 ? nText.c_str() : npNone;
}

/// Converts UTF-8 to UTF-16 in the byte order of a file. Result: the bytes; nUnits: units with the terminator, 0 for
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

/// Searches for a key byte by byte. A byte that does not match is not tried again as the first one of the key.
class KeyMatch
{
public:
    KeyMatch(unsigned char const* npKey, unsigned int nSize)
        : mpKey(npKey),
          mSize(nSize)
    {
    }

    /// Result: behind the key if it ends before npEnd, null otherwise; the next call goes on.
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
    unsigned int mMatched = 0; // bytes of the key that have matched so far
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
    if (!isOpened())
    {
        return 0;
    }
    TextReader lReader(*mpReadAhead, mPath);
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
    TextReader lReader(*mpReadAhead, mPath);
    internal::WalkedLine lLine;
    if (lReader.position() == -1 || !lReader.measure(mTextType, lLine) || !lReader.moveBehindWalk(lLine))
    {
        return -1;
    }
    storeIfGiven(npTextSize, lLine.mSize - lLine.mEolSize);
    storeIfGiven(npEolSize, lLine.mEolSize);
    return lLine.mIsEnded ? static_cast<int>(lLine.mSize) : 0;
}

namespace
{

// Reads any line: measures it, and then reads it. nDstSize: below FILE_TEXT_CHUNK_MAX.
int readAnyLine(TextReader& nReader, int nTextType, char* npDst, unsigned int nDstSize, unsigned int* npOutSize)
{
    long long const lStart = nReader.position();
    long long const lAvailable = nReader.available();
    if (lAvailable <= 0)
    {
        return lAvailable == 0 ? FILE_READ_END : FILE_READ_ERROR;
    }
    internal::WalkedLine lLine;
    if (!nReader.measure(nTextType, lLine) || !nReader.moveTo(lStart) || lLine.mSize == lLine.SIZE_MAX_TOLD)
    {
        return FILE_READ_ERROR;
    }
    unsigned int const lTextSize = lLine.mSize - lLine.mEolSize;
    unsigned int lOutSize = 1;
    int lResult = 0;
    if (lTextSize != 0)
    {
        lResult = nReader.readPiece(nTextType, npDst, nDstSize, lTextSize, 0, &lOutSize);
    }
    else if (npDst != nullptr)
    {
        *npDst = 0;
    }
    if (lResult >= 0 && !nReader.moveTo(nDstSize != 0 ? lStart + lLine.mSize : lStart))
    {
        return FILE_READ_ERROR;
    }
    if (lResult >= 0)
    {
        storeIfGiven(npOutSize, lOutSize);
    }
    return lResult;
}

} // namespace

int File::readLine(char* npDst, unsigned int nDstSize, unsigned int* npOutSize)
{
    if (!isOpened() || (nDstSize != 0 && npDst == nullptr))
    {
        return FILE_READ_ERROR;
    }
    TextReader lReader(*mpReadAhead, mPath);
    if (lReader.position() == -1 || nDstSize >= FILE_TEXT_CHUNK_MAX)
    {
        return FILE_READ_ERROR;
    }
    internal::Piece lText;
    if (!internal::isLikely(lReader.takeUsualLine(mTextType, nDstSize, lText)))
    {
        return readAnyLine(lReader, mTextType, npDst, nDstSize, npOutSize);
    }
    std::memcpy(npDst, lText.mpText, lText.mLength);
    npDst[lText.mLength] = 0;
    storeIfGiven(npOutSize, lText.mSize);
    return static_cast<int>(lText.mSrcBytes);
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
    TextReader lReader(*mpReadAhead, mPath);
    return lReader.position() == -1 ? FILE_READ_ERROR
                                    : lReader.readPiece(mTextType, npDst, nDstSize, nSrcBytes, nDstOffset, npOutSize);
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
    TextReader lReader(*mpReadAhead, mPath);
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
