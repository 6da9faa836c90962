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
        std::string const lNext = ahead(nSize);
        mPosition += static_cast<long long>(lNext.copy(npBuffer, lNext.size()));
        return lNext.empty() ? FILE_READ_END : static_cast<int>(lNext.size());
    }

    int nextEOLSize()
    {
        std::string const lNext = ahead(2);
        return lNext.empty() ? 0 : lNext == "\r\n" ? 2 : lNext[0] == '\r' || lNext[0] == '\n' ? 1 : -1;
    }

    int findNextLineSize(unsigned int, unsigned int* npTextSize, unsigned int* npEolSize)
    {
        unsigned int lTotal = 0;
        unsigned int lEol = 0;
        bool lIsLf = false;
        std::string lNext = ahead(6);
        for (; !lIsLf && lNext.size() >= unitSize(); lNext = ahead(6))
        {
            unsigned int const lCode = unit(lNext, 0); // of more bytes: no line end
            unsigned int lSize = 2;
            bool lIsSkipped = lCode == 0xFEFF || lCode == 0xFFFE;
            if (mTextType == FILE_TEXT_SJIS)
            {
                char lOut[3];
                convertCharFromSjisToUtf8(lOut, 3, lNext.c_str(), &lSize);
            }
            else if (mTextType == FILE_TEXT_UTF8)
            {
                lSize = strCharBytesBase(lNext.c_str(), &lIsSkipped);
                lIsSkipped = lIsSkipped || lSize - 1 > 3;
                lSize = lSize - 1 > 3 ? 1 : lSize;
            }
            mPosition += lSize;
            lTotal += lSize;
            lIsLf = !lIsSkipped && lCode == '\n';
            lEol = lIsSkipped ? lEol : lIsLf || lCode == '\r' ? lEol + lSize : 0;
        }
        mPosition += lIsLf ? 0 : static_cast<long long>(lNext.size()); // half a unit
        *npTextSize = lTotal - lEol;
        *npEolSize = lEol;
        return lIsLf ? static_cast<int>(lTotal) : 0;
    }

    int readText(char* npDst, unsigned int nDstSize, unsigned int nSrcBytes, unsigned int nOffset,
                 unsigned int* npOutSize)
    {
        nSrcBytes -= nSrcBytes % unitSize();
        if (nSrcBytes == 0 || nSrcBytes >= 5120)
        {
            return -1;
        }
        std::string const lText = ahead(nSrcBytes);
        unsigned int const lCount = static_cast<unsigned int>(lText.size());
        if (lCount == 0)
        {
            return FILE_READ_END;
        }
        if (nDstSize != 0 && nDstSize < unitSize() + nOffset + lCount)
        {
            return -1;
        }
        mPosition += lCount;
        std::string lUtf8(3 * lCount + 6, '\0');
        unsigned int const lRoom = static_cast<unsigned int>(lUtf8.size());
        unsigned int lSize = 0;
        if (mTextType == FILE_TEXT_SJIS)
        {
            lSize = convertStrFromSjisToUtf8(&lUtf8[0], lRoom, (lText + '\0').c_str());
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
                lUnits.push_back(unit(lText, lIndex));
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
        return static_cast<int>(lCount);
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
        lTextSize == 0 ? void(*npDst = 0) : void(lResult = readText(npDst, nDstSize, lTextSize, 0, &lSize));
        if (lResult < 0)
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
        std::string const lText = ahead(nMaxBytes);
        unsigned int lMatched = 0;
        for (std::size_t lAt = 0; lAt < lText.size(); ++lAt)
        {
            lMatched = static_cast<unsigned char>(lText[lAt]) == npKey[lMatched] ? lMatched + 1 : 0;
            if (lMatched == nKeySize)
            {
                return mPosition += static_cast<long long>(lAt) + 1 - (nMode == 1 ? 0 : nKeySize);
            }
        }
        mPosition = lOld;
        return FILE_NOT_FOUND;
    }

private:
    std::string ahead(unsigned long long nCount) const
    {
        std::size_t const lFrom = std::min(mBytes.size(), static_cast<std::size_t>(mPosition));
        return mBytes.substr(lFrom, static_cast<std::size_t>(std::min<unsigned long long>(nCount, mBytes.size())));
    }

    unsigned int unitSize() const { return mTextType >= FILE_TEXT_UTF16_BE ? 2 : 1; }

    /// A byte, of UTF-16 two: half a unit at the end is the first of them.
    unsigned short unit(std::string const& nText, std::size_t nAt) const
    {
        unsigned int const lFirst = static_cast<unsigned char>(nText[nAt]);
        unsigned int const lSecond = nAt + 1 < nText.size() ? static_cast<unsigned char>(nText[nAt + 1]) : 0;
        bool const lIsBig = mTextType == FILE_TEXT_UTF16_BE && nAt + 1 < nText.size();
        return static_cast<unsigned short>(unitSize() == 1 ? lFirst
                                           : lIsBig        ? lFirst << 8 | lSecond
                                                           : lSecond << 8 | lFirst);
    }

    std::string const& mBytes;
    int const mTextType;
    long long mPosition = 0;
};

} // namespace utl::test

#endif
