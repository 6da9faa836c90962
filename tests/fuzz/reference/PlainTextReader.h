/// The text functions of File written the slow and obvious way, and the comparison of both.
#ifndef UTL_FUZZ_PLAIN_TEXT_READER_H
#define UTL_FUZZ_PLAIN_TEXT_READER_H

#include "UtlCharSet.h"
#include "UtlFile.h"

#include <algorithm>
#include <cstring>
#include <sstream>
#include <string>
#include <vector>

namespace utl::test
{

/// Bytes in memory with what File has for bytes.
struct PlainFile
{
    std::string mBytes;
    long long mPosition = 0;

    long long position() const { return mPosition; }
    long long availableSize() const { return std::max(0LL, static_cast<long long>(mBytes.size()) - mPosition); }
    long long seek(long long nOffset, int nOrigin)
    {
        long long const lPosition = nOffset + (nOrigin == FILE_SEEK_CURRENT ? mPosition : 0);
        return lPosition < 0 ? -1 : mPosition = lPosition;
    }
    int read(char* npBuffer, unsigned int nSize)
    {
        std::size_t const lCount = static_cast<std::size_t>(std::min<long long>(nSize, availableSize()));
        if (lCount == 0)
        {
            return FILE_READ_END;
        }
        mBytes.copy(npBuffer, lCount, static_cast<std::size_t>(mPosition));
        mPosition += static_cast<long long>(lCount);
        return static_cast<int>(lCount);
    }
};

/// The slow and obvious way: one character after the other.
class PlainReader
{
public:
    PlainReader(PlainFile& nFile, int nTextType)
        : mFile(nFile),
          mTextType(nTextType)
    {
    }

    bool isUtf16() const { return mTextType >= FILE_TEXT_UTF16_BE; }

    unsigned short unit(unsigned char const* npBytes) const
    {
        bool const lIsBig = mTextType == FILE_TEXT_UTF16_BE;
        return static_cast<unsigned short>(npBytes[lIsBig ? 0 : 1] << 8 | npBytes[lIsBig ? 1 : 0]);
    }

    int nextEOLSize()
    {
        char lBytes[2] = {};
        long long const lStart = mFile.position();
        int const lRead = mFile.read(lBytes, 2);
        mFile.seek(lStart, FILE_SEEK_BEGIN);
        bool const lIsCr = lBytes[0] == '\r';
        return lRead == -3                  ? 0
               : lRead == -1                ? -1
               : lIsCr && lBytes[1] == '\n' ? 2
               : lIsCr || lBytes[0] == '\n' ? 1
                                            : -1;
    }

    int findNextLineSize(unsigned int& nTextSize, unsigned int& nEolSize)
    {
        unsigned int lTotal = 0;
        unsigned int lEol = 0;
        int lResult = 0;
        while (lResult == 0)
        {
            char lBytes[7] = {};
            char lOut[7] = {};
            int const lRead = mFile.read(lBytes, isUtf16() ? 2 : 6);
            if (lRead == -1)
            {
                return -1;
            }
            if (isUtf16() ? lRead != 2 : lRead == -3)
            {
                break;
            }
            unsigned int lSize = 2;
            bool lIsSkipped = false;
            if (isUtf16())
            {
                unsigned short const lUnit = unit(reinterpret_cast<unsigned char const*>(lBytes));
                lIsSkipped = convertCharFromUtf16ToUtf8(lOut, 6, lUnit, nullptr) == 0;
            }
            else if (mTextType == FILE_TEXT_SJIS)
            {
                convertCharFromSjisToUtf8(lOut, 6, lBytes, &lSize);
            }
            else
            {
                bool lIsMark = false;
                lSize = strCharBytesBase(static_cast<char const*>(lBytes), &lIsMark);
                lIsSkipped = lIsMark || lSize - 1 > 3;
                lSize = lSize - 1 > 3 ? 1 : lSize;
                std::memcpy(lOut, lBytes, lIsSkipped ? 0 : lSize);
            }
            mFile.seek(static_cast<int>(lSize) - lRead, FILE_SEEK_CURRENT);
            lTotal += lSize;
            bool const lIsCr = std::strcmp(lOut, "\r") == 0;
            bool const lIsLf = std::strcmp(lOut, "\n") == 0;
            lEol = lIsSkipped ? lEol : lIsCr || lIsLf ? lEol + lSize : 0;
            lResult = !lIsSkipped && lIsLf ? static_cast<int>(lTotal) : 0;
        }
        nTextSize = lTotal - lEol;
        nEolSize = lEol;
        return lResult;
    }

    int readText(char* npDst, unsigned int nDstSize, unsigned int nSrcBytes, unsigned int nOffset,
                 unsigned int& nOutSize)
    {
        unsigned int const lUnit = isUtf16() ? 2 : 1;
        nSrcBytes -= nSrcBytes % lUnit;
        if (nSrcBytes == 0 || nSrcBytes >= 5120)
        {
            return -1;
        }
        long long const lAvailable = mFile.availableSize();
        if (lAvailable <= 0)
        {
            return lAvailable == 0 ? -3 : -1;
        }
        unsigned int const lCount = static_cast<unsigned int>(std::min<long long>(nSrcBytes, lAvailable));
        if (nDstSize != 0 && nDstSize < lUnit + nOffset + lCount)
        {
            return -1;
        }
        std::string lText(lCount + 2, '\0');
        int const lRead = mFile.read(&lText[0], lCount);
        if (lRead < 0)
        {
            return lRead;
        }
        std::string lUtf8(3 * lText.size(), '\0');
        unsigned int const lRoom = static_cast<unsigned int>(lUtf8.size());
        unsigned int lSize = 0;
        if (mTextType == FILE_TEXT_SJIS)
        {
            lSize = convertStrFromSjisToUtf8(&lUtf8[0], lRoom, lText.c_str());
        }
        else if (mTextType == FILE_TEXT_UTF8)
        {
            lUtf8 = lText.c_str() + (lText.compare(0, 3, "\xEF\xBB\xBF") == 0 ? 3 : 0);
            lSize = static_cast<unsigned int>(lUtf8.size()) + 1;
        }
        else
        {
            std::vector<unsigned short> lUnits;
            for (unsigned int lIndex = 0; lIndex < lCount; lIndex += 2)
            {
                auto const* lpBytes = reinterpret_cast<unsigned char const*>(&lText[lIndex]);
                lUnits.push_back(lIndex + 1 < lCount ? unit(lpBytes) : lpBytes[0]);
            }
            lUnits.push_back(0);
            lSize = convertStrFromUtf16ToUtf8(&lUtf8[0], lRoom, lUnits.data());
        }
        if (lSize == STR_ERROR ||
            (nDstSize != 0 && (nDstSize < nOffset + lSize ||
                               copyStrBase<char>(npDst + nOffset, nDstSize, lUtf8.c_str(), STR_ALL, 1) == STR_ERROR)))
        {
            return -1;
        }
        nOutSize = lSize;
        return lRead;
    }

    int readLine(char* npDst, unsigned int nDstSize, unsigned int& nOutSize)
    {
        long long const lStart = mFile.position();
        if (nDstSize >= 5120)
        {
            return -1;
        }
        long long const lAvailable = mFile.availableSize();
        if (lAvailable <= 0)
        {
            return lAvailable == 0 ? -3 : -1;
        }
        unsigned int lTextSize = 0;
        unsigned int lEolSize = 0;
        if (findNextLineSize(lTextSize, lEolSize) == -1)
        {
            return -1;
        }
        mFile.seek(lStart, FILE_SEEK_BEGIN);
        int lResult = 0;
        unsigned int lSize = 1;
        if (lTextSize == 0)
        {
            *npDst = 0;
        }
        else if ((lResult = readText(npDst, nDstSize, lTextSize, 0, lSize)) < 0)
        {
            return lResult;
        }
        mFile.seek(nDstSize != 0 ? lStart + lTextSize + lEolSize : lStart, FILE_SEEK_BEGIN);
        nOutSize = lSize;
        return lResult;
    }

    long long seekKey(std::string const& nKey, unsigned long long nStart, unsigned long long nMaxBytes, int nMode)
    {
        long long const lOld = mFile.position();
        if (nKey.empty())
        {
            return -1;
        }
        if (nStart != ~1ULL && mFile.seek(static_cast<long long>(nStart), FILE_SEEK_BEGIN) == -1)
        {
            return -1;
        }
        unsigned long long const lLimit = std::min(nMaxBytes, static_cast<unsigned long long>(mFile.availableSize()));
        std::size_t lMatched = 0;
        for (unsigned long long lCount = 0; lCount < lLimit; ++lCount)
        {
            char lByte = 0;
            mFile.read(&lByte, 1);
            lMatched = lByte == nKey[lMatched] ? lMatched + 1 : 0;
            if (lMatched == nKey.size())
            {
                return mFile.seek(nMode == 1 ? 0 : -static_cast<long long>(nKey.size()), FILE_SEEK_CURRENT);
            }
        }
        mFile.seek(lOld, FILE_SEEK_BEGIN);
        return -2;
    }

private:
    PlainFile& mFile;
    int const mTextType;
};

/// One call of a text function. What the function has no use for is ignored.
struct TextCall
{
    enum Kind
    {
        READ_LINE,
        READ_TEXT,
        FIND_NEXT_LINE_SIZE,
        SEEK_KEY,
        NEXT_EOL_SIZE,
        READ, // one byte
        SEEK,
        KINDS
    };

    unsigned int mKind = READ_LINE;
    unsigned int mDstSize = 5119;
    unsigned int mSrcBytes = 0;
    unsigned int mOffset = 0; // also of the seek
    std::string mKey;
    unsigned long long mStart = ~1ULL;
    unsigned long long mMaxBytes = ~0ULL;
    int mMode = 0;
};

/// What a call gave and left behind, in words.
template <class Reader, class AnyFile>
std::string outcomeOf(TextCall const& nCall, Reader nReader, AnyFile& nFile)
{
    std::vector<char> lDst(std::max(1U, nCall.mDstSize), '#'); // no byte more, for the address checks
    unsigned int lOut = 7;
    unsigned int lSecond = 7;
    long long lResult = 0;
    switch (nCall.mKind)
    {
    case TextCall::READ_LINE:
        lResult = nReader.readLine(lDst.data(), nCall.mDstSize, lOut);
        break;
    case TextCall::READ_TEXT:
        lResult = nReader.readText(lDst.data(), nCall.mDstSize, nCall.mSrcBytes, nCall.mOffset, lOut);
        break;
    case TextCall::FIND_NEXT_LINE_SIZE:
        lResult = nReader.findNextLineSize(lOut, lSecond);
        break;
    case TextCall::SEEK_KEY:
        lResult = nReader.seekKey(nCall.mKey, nCall.mStart, nCall.mMaxBytes, nCall.mMode);
        break;
    case TextCall::NEXT_EOL_SIZE:
        lResult = nReader.nextEOLSize();
        break;
    case TextCall::READ:
        lResult = nFile.read(lDst.data(), 1);
        break;
    default:
        lResult = nFile.seek(nCall.mOffset, FILE_SEEK_BEGIN);
        break;
    }
    std::ostringstream lWords;
    lWords << "kind " << nCall.mKind << ", capacity " << nCall.mDstSize << ": " << lResult << ", sizes " << lOut << ' '
           << lSecond << ", position " << nFile.position() << ", left " << nFile.availableSize() << ", "
           << std::string(lDst.data(), lDst.size());
    return lWords.str();
}

/// The functions of File in the shape of the plain reader's.
struct RealReader
{
    File& mFile;

    int nextEOLSize() { return mFile.nextEOLSize(); }
    int findNextLineSize(unsigned int& nTextSize, unsigned int& nEolSize)
    {
        return mFile.findNextLineSize(0, &nTextSize, &nEolSize);
    }
    int readText(char* npDst, unsigned int nDstSize, unsigned int nSrcBytes, unsigned int nOffset,
                 unsigned int& nOutSize)
    {
        return mFile.readText(npDst, nDstSize, nSrcBytes, nOffset, &nOutSize);
    }
    int readLine(char* npDst, unsigned int nDstSize, unsigned int& nOutSize)
    {
        return mFile.readLine(npDst, nDstSize, &nOutSize);
    }
    long long seekKey(std::string const& nKey, unsigned long long nStart, unsigned long long nMaxBytes, int nMode)
    {
        return mFile.seekKey(reinterpret_cast<unsigned char const*>(nKey.data()),
                             static_cast<unsigned int>(nKey.size()), nStart, nMaxBytes, nMode);
    }
};

} // namespace utl::test

#endif
