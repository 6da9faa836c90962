/// The text functions of File written the slow and obvious way.
#ifndef UTL_FUZZ_PLAIN_TEXT_READER_H
#define UTL_FUZZ_PLAIN_TEXT_READER_H

#include "Input.h"
#include "UtlCharSet.h"
#include "UtlFile.h"

namespace utl::test
{

/// A file in memory with the byte and text functions of File, the slow and obvious way: one character after the other.
class PlainText
{
public:
    PlainText(std::string const& nBytes, int nTextType)
        : mBytes(nBytes),
          mTextType(nTextType)
    {
    }

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

    bool isUtf16() const { return mTextType >= FILE_TEXT_UTF16_BE; }

    unsigned short unit(unsigned char const* npBytes) const
    {
        bool const lIsBig = mTextType == FILE_TEXT_UTF16_BE;
        return static_cast<unsigned short>(npBytes[lIsBig ? 0 : 1] << 8 | npBytes[lIsBig ? 1 : 0]);
    }

    int nextEOLSize()
    {
        char lBytes[2] = {};
        long long const lStart = mPosition;
        bool const lIsEnd = read(lBytes, 2) == FILE_READ_END;
        mPosition = lStart;
        bool const lIsCr = lBytes[0] == '\r';
        return lIsEnd ? 0 : lIsCr && lBytes[1] == '\n' ? 2 : lIsCr || lBytes[0] == '\n' ? 1 : -1;
    }

    int findNextLineSize(unsigned int, unsigned int* npTextSize, unsigned int* npEolSize)
    {
        unsigned int lTotal = 0;
        unsigned int lEol = 0;
        int lResult = 0;
        while (lResult == 0)
        {
            char lBytes[7] = {};
            int const lRead = read(lBytes, isUtf16() ? 2 : 6);
            if (isUtf16() ? lRead != 2 : lRead == FILE_READ_END)
            {
                break;
            }
            auto const* lpBytes = reinterpret_cast<unsigned char const*>(lBytes);
            unsigned int const lCode = isUtf16() ? unit(lpBytes) : lpBytes[0]; // of more bytes: no line end
            unsigned int lSize = 2;
            bool lIsSkipped = lCode == 0xFEFF || lCode == 0xFFFE;
            if (mTextType == FILE_TEXT_SJIS)
            {
                char lOut[3];
                convertCharFromSjisToUtf8(lOut, 3, lBytes, &lSize);
            }
            else if (!isUtf16())
            {
                lSize = strCharBytesBase(static_cast<char const*>(lBytes), &lIsSkipped);
                lIsSkipped = lIsSkipped || lSize - 1 > 3;
                lSize = lSize - 1 > 3 ? 1 : lSize;
            }
            seek(static_cast<int>(lSize) - lRead, FILE_SEEK_CURRENT);
            lTotal += lSize;
            bool const lIsLf = !lIsSkipped && lCode == '\n';
            lEol = lIsSkipped ? lEol : lIsLf || lCode == '\r' ? lEol + lSize : 0;
            lResult = lIsLf ? static_cast<int>(lTotal) : 0;
        }
        *npTextSize = lTotal - lEol;
        *npEolSize = lEol;
        return lResult;
    }

    int readText(char* npDst, unsigned int nDstSize, unsigned int nSrcBytes, unsigned int nOffset,
                 unsigned int* npOutSize)
    {
        unsigned int const lUnit = isUtf16() ? 2 : 1;
        nSrcBytes -= nSrcBytes % lUnit;
        if (nSrcBytes == 0 || nSrcBytes >= 5120)
        {
            return -1;
        }
        if (availableSize() == 0)
        {
            return FILE_READ_END;
        }
        unsigned int const lCount = static_cast<unsigned int>(std::min<long long>(nSrcBytes, availableSize()));
        if (nDstSize != 0 && nDstSize < lUnit + nOffset + lCount)
        {
            return -1;
        }
        std::string lText(lCount + 2, '\0');
        int const lRead = read(&lText[0], lCount);
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
        *npOutSize = lSize;
        return lRead;
    }

    int readLine(char* npDst, unsigned int nDstSize, unsigned int* npOutSize)
    {
        long long const lStart = mPosition;
        if (nDstSize >= 5120)
        {
            return -1;
        }
        if (availableSize() == 0)
        {
            return FILE_READ_END;
        }
        unsigned int lTextSize = 0;
        unsigned int lEolSize = 0;
        findNextLineSize(0, &lTextSize, &lEolSize);
        mPosition = lStart;
        int lResult = 0;
        unsigned int lSize = 1;
        if (lTextSize == 0)
        {
            *npDst = 0;
        }
        else if ((lResult = readText(npDst, nDstSize, lTextSize, 0, &lSize)) < 0)
        {
            return lResult;
        }
        mPosition = nDstSize != 0 ? lStart + lTextSize + lEolSize : lStart;
        *npOutSize = lSize;
        return lResult;
    }

    long long seekKey(unsigned char const* npKey, unsigned int nKeySize, unsigned long long nStart,
                      unsigned long long nMaxBytes, int nMode)
    {
        long long const lOld = mPosition;
        if (nKeySize == 0 || (nStart != ~1ULL && seek(static_cast<long long>(nStart), FILE_SEEK_BEGIN) == -1))
        {
            return -1;
        }
        unsigned long long const lLimit = std::min(nMaxBytes, static_cast<unsigned long long>(availableSize()));
        unsigned int lMatched = 0;
        for (unsigned long long lCount = 0; lCount < lLimit; ++lCount)
        {
            char lByte = 0;
            read(&lByte, 1);
            lMatched = static_cast<unsigned char>(lByte) == npKey[lMatched] ? lMatched + 1 : 0;
            if (lMatched == nKeySize)
            {
                return seek(nMode == 1 ? 0 : -static_cast<long long>(nKeySize), FILE_SEEK_CURRENT);
            }
        }
        mPosition = lOld;
        return FILE_NOT_FOUND;
    }

private:
    std::string const& mBytes;
    int const mTextType;
    long long mPosition = 0;
};

} // namespace utl::test

#endif
