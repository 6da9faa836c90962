#include "UtlFile.h"

#include "UtlCharSet.h"
#include "support/Faults.h"
#include "support/LogCapture.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <random>
#include <sstream>

#include <gtest/gtest.h>
#include <unistd.h>

using namespace utl;
using namespace utl::test;

namespace
{

using Bytes = std::string;

/// A directory of its own.
class FileTextTest : public testing::Test
{
protected:
    FileTextTest()
    {
        char lName[] = "/tmp/utlFileTextXXXXXX";
        mDirectory = ::mkdtemp(lName);
        mPath = mDirectory + "/text";
    }
    ~FileTextTest() override
    {
        ::unlink(mPath.c_str());
        ::rmdir(mDirectory.c_str());
    }

    void store(Bytes const& nBytes) const { std::ofstream(mPath, std::ios::binary) << nBytes; }
    Bytes stored() const
    {
        std::ostringstream lStream;
        lStream << std::ifstream(mPath, std::ios::binary).rdbuf();
        return lStream.str();
    }

    std::string mDirectory;
    std::string mPath;
};

/// The slow and obvious way: each character through the file, by the public functions for bytes alone.
class PlainReader
{
public:
    PlainReader(File& nFile, int nTextType)
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
    File& mFile;
    int const mTextType;
};

/// Random bytes with everything that decides about lines and characters in them.
class RandomText
{
public:
    explicit RandomText(unsigned int nSeed)
        : mRandom(nSeed)
    {
    }

    unsigned int below(unsigned int nBound) { return static_cast<unsigned int>(mRandom() % nBound); }

    Bytes make(int nTextType)
    {
        static Bytes const PIECES[][16] = {
            {"\n", "\r\n", "\r", "\r\r\n", "a", "xyz", "\x82\xA0", "\x8A\xBF\x8E\x9A", "\xB1\xB2", "\x81", "\x81\n",
             "\xF5", "\xFC\xFC", Bytes(1, '\0'), "\x80", "\x83\\"},
            {"\n", "\r\n", "\r", "\r\r\n", "a", "xyz", "\xE3\x81\x82", "\xE6\xBC\xA2\xE5\xAD\x97", "\xC3\xA9",
             "\xF0\x9F\x98\x80", "\xEF\xBB\xBF", "\xE3\x81", "\xC0\xAF", Bytes(1, '\0'), "\x80", "\xFF"},
            {"\n", "\r\n", "\r", "\r\r\n", "a", "xyz", "\x30\x42", "\x6F\x22", "\x0A\x0A", "\x0D\x0D", "\xFE\xFF",
             "\xFF\xFE", "\xD8\x3D\xDE\x00", "\x00\x00", "\x00\xE9", "\x0D"}};
        int const lTable = std::min(nTextType, 2);
        unsigned int const lRichness = below(4); // plain text, and text of little else than faults
        Bytes lBytes;
        for (unsigned int lLeft = below(below(8) == 0 ? 9000 : 60); lLeft != 0; --lLeft)
        {
            unsigned int const lPiece = below(20 + lRichness * 30) < 20 ? 4 + below(4) : below(16);
            Bytes lText = PIECES[lTable][lPiece];
            if (lTable == 2 && lPiece < 6) // ASCII as units, high byte first
            {
                Bytes lUnits;
                for (char const lByte : lText)
                {
                    lUnits += Bytes{'\0', lByte};
                }
                lText = lUnits;
            }
            for (std::size_t lIndex = 0; nTextType == FILE_TEXT_UTF16_LE && lIndex + 1 < lText.size(); lIndex += 2)
            {
                std::swap(lText[lIndex], lText[lIndex + 1]);
            }
            if (lPiece == 15 && lTable == 2 && lLeft != 1)
            {
                continue; // an odd byte only at the end, most of the time
            }
            lBytes += lText;
        }
        return lBytes;
    }

private:
    std::mt19937 mRandom;
};

/// One random call of both, for which results, destination and position must agree.
void compareOneCall(RandomText& nRandom, File& nFile, File& nPlainFile, int nTextType)
{
    static char sOurs[6000];
    static char sTheirs[6000];
    std::memset(sOurs, '#', sizeof(sOurs));
    std::memset(sTheirs, '#', sizeof(sTheirs));
    PlainReader lPlain(nPlainFile, nTextType);
    unsigned int const lSizes[] = {0, 5119, 5120, nRandom.below(64), 5119, 5119};
    unsigned int const lDstSize = lSizes[nRandom.below(6)];
    unsigned int lOut[4] = {7, 7, 7, 7};
    long long lResult = 0;
    long long lExpected = 0;
    unsigned int const lCall = nRandom.below(16);
    if (lCall < 10)
    {
        lResult = nFile.readLine(sOurs, lDstSize, &lOut[0]);
        lExpected = lPlain.readLine(sTheirs, lDstSize, lOut[2]);
    }
    else if (lCall == 10)
    {
        lResult = nFile.findNextLineSize(0, &lOut[0], &lOut[1]);
        lExpected = lPlain.findNextLineSize(lOut[2], lOut[3]);
        if (lResult == 0 && nTextType == FILE_TEXT_SJIS && nRandom.below(2) == 0)
        {
            EXPECT_EQ(-3, nFile.readLine(sOurs, 5, nullptr)); // also one past the end
        }
    }
    else if (lCall < 13)
    {
        unsigned int const lOffset = nRandom.below(9);
        unsigned int const lBytes = nRandom.below(lCall == 11 ? 16 : 5200);
        lResult = nFile.readText(sOurs, lDstSize, lBytes, lOffset, &lOut[0]);
        lExpected = lPlain.readText(sTheirs, lDstSize, lBytes, lOffset, lOut[2]);
    }
    else if (lCall < 15)
    {
        std::string const lKeys[] = {"aa", "az", "\n", std::string("\0a", 2), "\x82\xA0", "zx", "ax"};
        std::string const lKey = lKeys[nRandom.below(7)];
        unsigned long long const lStart = nRandom.below(2) == 0 ? ~1ULL : nRandom.below(300);
        unsigned long long const lMax = nRandom.below(2) == 0 ? ~0ULL : nRandom.below(50);
        int const lMode = static_cast<int>(nRandom.below(2));
        lResult = nFile.seekKey(reinterpret_cast<unsigned char const*>(lKey.data()),
                                static_cast<unsigned int>(lKey.size()), lStart, lMax, lMode);
        lExpected = lPlain.seekKey(lKey, lStart, lMax, lMode);
    }
    else
    {
        char lByte = 0;
        EXPECT_EQ(nPlainFile.read(&lByte, 1), nFile.read(&lByte, 1)); // the descriptor stands where we do
    }
    ASSERT_EQ(lExpected, lResult) << "call " << lCall << ", capacity " << lDstSize;
    ASSERT_EQ(lOut[2], lOut[0]);
    ASSERT_EQ(lOut[3], lOut[1]);
    ASSERT_EQ(0, std::memcmp(sTheirs, sOurs, sizeof(sOurs))) << "call " << lCall << ", capacity " << lDstSize;
    if (nRandom.below(3) == 0)
    {
        ASSERT_EQ(nPlainFile.position(), nFile.position()) << "call " << lCall;
    }
}

TEST_F(FileTextTest, AgreesWithThePlainReaderInEveryEncoding)
{
    QuietLog const lQuiet;
    for (unsigned int lSeed = 0; lSeed < 120; ++lSeed)
    {
        int const lTextType = static_cast<int>(lSeed % 4);
        RandomText lRandom(lSeed);
        store(lRandom.make(lTextType));
        File lFile(mPath.c_str(), lTextType);
        File lPlain(mPath.c_str(), lTextType);
        ASSERT_TRUE(lFile.open(FILE_OPEN_TOP, FILE_ACCESS_READ) && lPlain.open(FILE_OPEN_TOP, FILE_ACCESS_READ));
        File const lCopy = lSeed % 10 == 9 ? lFile : File("", 0); // a shared descriptor is never ahead
        for (unsigned int lCalls = 0; lCalls < 30; ++lCalls)
        {
            compareOneCall(lRandom, lFile, lPlain, lTextType);
            ASSERT_FALSE(HasFatalFailure()) << "seed " << lSeed;
            ASSERT_TRUE(!lCopy.isOpened() || lCopy.position() == lPlain.position());
        }
    }
}

TEST_F(FileTextTest, WhatALineIs)
{
    static constexpr char const* MARK = "\xEF\xBB\xBF";
    Bytes const lLong(5119, 'x');
    struct Row
    {
        int mTextType;
        Bytes mContent;
        std::vector<std::string> mLines; // "!": a result of -1
    };
    Row const lRows[] = {
        {FILE_TEXT_UTF8, "a\rb\r\n\r\r\n\nlast\r", {"a\rb", "", "", "last"}},
        {FILE_TEXT_UTF8, MARK + Bytes("a\n") + MARK + "b" + MARK + "\n", {"a", "b" + Bytes(MARK)}},
        {FILE_TEXT_UTF8, "a\x80\nb\n", {"!", "", "b"}},                     // the position is behind the text read
        {FILE_TEXT_UTF8, lLong + "\n" + lLong + "y\nz", {lLong, "!", "!"}}, // and here on the line
        {FILE_TEXT_SJIS, "\x82\xA0\x83\\\n\xB1\xB1\xB1\r\n", {"\xE3\x81\x82\xE3\x82\xBD", "!", ""}},
        {FILE_TEXT_SJIS, "a\x81\nb\nabc\x81", {"a", "abc"}}, // an unmapped code, a lead byte at the end
        {FILE_TEXT_UTF16_BE, Bytes("\x30\x42\0\n\x0A\x0A\0\n\0", 9), {"\xE3\x81\x82", "\xE0\xA8\x8A", ""}},
        {FILE_TEXT_UTF16_LE, Bytes("\xFF\xFE\x42\x30\n\0b\0", 8), {"!", "", "b"}},
    };
    for (Row const& lRow : lRows)
    {
        store(lRow.mContent);
        File lFile(mPath.c_str(), lRow.mTextType);
        ASSERT_TRUE(lFile.open(FILE_OPEN_TOP, FILE_ACCESS_READ));
        for (std::string const& lLine : lRow.mLines)
        {
            // The capacity that the bytes of the line need is enough but for katakana that grow.
            unsigned int lTextSize = 0;
            long long const lStart = lFile.position();
            lFile.findNextLineSize(0, &lTextSize, nullptr);
            lFile.seek(lStart, FILE_SEEK_BEGIN);
            BasicString<char> lText(lRow.mContent[0] == '\x82' && lTextSize == 3 ? 8 : 5119, 0);
            if (lTextSize == 5119)
            {
                unsigned int lSize = 0;
                EXPECT_EQ(5119, lFile.readLine(nullptr, 0, &lSize)); // a query moves nothing
                EXPECT_EQ(-1, lFile.readLine(&lText, nullptr));      // 5119 bytes and a terminator are too many
                std::string lWhole(5120, '#');
                EXPECT_EQ(5119, lFile.readText(&lWhole[0], 5120, 5119, 0, &lSize));
                EXPECT_EQ(lLong, lWhole.c_str());
                EXPECT_EQ(1, lFile.nextEOLSize());
                lFile.seek(1, FILE_SEEK_CURRENT);
                continue;
            }
            int const lResult = lFile.readLine(&lText, nullptr);
            EXPECT_EQ(lLine == "!" ? -1 : 0, std::min(lResult, 0)) << lRow.mTextType << lRow.mContent;
            EXPECT_TRUE(lLine == "!" || lLine == lText.c_str()) << lLine << " and not " << lText.c_str();
        }
    }
}

TEST_F(FileTextTest, WritesWhatItPromises)
{
    struct Row
    {
        int mTextType;
        char const* mpText;
        unsigned int mMaxBytes;
        unsigned int mOffset;
        unsigned int mResult;
        Bytes mWritten;
    };
    Row const lRows[] = {
        {FILE_TEXT_UTF8, "abc", 5119, 0, 3, "abc"},
        {FILE_TEXT_UTF8, "abc", 5120, 0, FILE_ERROR, ""},
        {FILE_TEXT_UTF8, "\xE3\x81\x82", 2, 0, 2, "\xE3\x81"},
        {FILE_TEXT_UTF8, "abc", 5119, 2, 1, "c"},
        {FILE_TEXT_UTF8, "abc", 5119, 3, FILE_ERROR, ""},
        {FILE_TEXT_UTF8, "abc", 5119, 4, FILE_ERROR, ""},
        {FILE_TEXT_UTF8, "", 5119, 0, 0, ""},
        {FILE_TEXT_UTF8, nullptr, 5119, 0, FILE_ERROR, ""},
        {FILE_TEXT_UTF16_LE, "\xE3\x81\x82g", 5119, 0, 4, Bytes("\x42\x30g\0", 4)},
        {FILE_TEXT_UTF16_BE, "\xE3\x81\x82g", 3, 0, 3, Bytes("\x30\x42\0", 3)},
        {FILE_TEXT_UTF16_LE, "a", 5119, 0, 0, ""},
        {FILE_TEXT_UTF16_LE, "ba", 5119, 1, FILE_ERROR, ""},
        {FILE_TEXT_UTF16_LE, "", 5119, 0, FILE_ERROR, ""},
        {FILE_TEXT_UTF16_LE, "a\x80z", 5119, 0, FILE_ERROR, ""},
        {FILE_TEXT_SJIS, "abc", 5119, 0, FILE_ERROR, ""},
        {4, "abc", 5119, 0, FILE_ERROR, ""},
    };
    LogCapture lLog;
    for (Row const& lRow : lRows)
    {
        File lFile(mPath.c_str(), lRow.mTextType);
        EXPECT_EQ(FILE_ERROR, lFile.writeText(lRow.mpText, lRow.mMaxBytes, lRow.mOffset));
        ASSERT_TRUE(lFile.open(FILE_OPEN_TRUNCATE, FILE_ACCESS_READ_WRITE));
        lLog.clear();
        EXPECT_EQ(lRow.mResult, lFile.writeText(lRow.mpText, lRow.mMaxBytes, lRow.mOffset)) << lRow.mTextType;
        bool const lIsRefusedByWrite = lRow.mTextType == FILE_TEXT_UTF16_LE && lRow.mpText[0] == '\0';
        EXPECT_EQ(lIsRefusedByWrite ? 1U : 0U, lLog.lines().size());
        EXPECT_EQ(lRow.mWritten, stored());
    }
    File lFile(mPath.c_str(), FILE_TEXT_UTF8);
    ASSERT_TRUE(lFile.open(FILE_OPEN_TRUNCATE, FILE_ACCESS_READ_WRITE));
    EXPECT_EQ(4U, lFile.writeLine("abc"));
    EXPECT_EQ(1U, lFile.writeLine(""));
    EXPECT_TRUE(lFile.setTextType(FILE_TEXT_UTF16_LE));
    EXPECT_FALSE(lFile.setTextType(4) || lFile.setTextType(-1));
    EXPECT_EQ(6U, lFile.writeLine("abc")); // no line end
    EXPECT_EQ(Bytes("abc\n\na\0b\0c\0", 11), stored());
    // Reading ahead and writing agree on the position, and what was written is read.
    lFile.setTextType(FILE_TEXT_UTF8);
    lFile.seek(0, FILE_SEEK_BEGIN);
    char lLine[64];
    EXPECT_EQ(3, lFile.readLine(lLine, sizeof(lLine), nullptr));
    EXPECT_EQ(3U, lFile.writeText("xy\n", 5119, 0));
    EXPECT_EQ(4, lFile.seekKey("xy", 0, ~0ULL, 0));
    EXPECT_EQ(2, lFile.readLine(lLine, sizeof(lLine), nullptr));
    EXPECT_STREQ("xy", lLine);
    EXPECT_EQ(-1, lFile.seekKey("", 0, ~0ULL, 0));
}

TEST_F(FileTextTest, FailuresOfTheSystemAreTold)
{
    using internal::SystemCalls;
    store("line\nnext\n");
    LogCapture lLog;
    char lLine[64];
    auto const lTry = [&](int nTextType)
    {
        File lFile(mPath.c_str(), nTextType);
        EXPECT_TRUE(lFile.open(FILE_OPEN_TOP, FILE_ACCESS_READ));
        lLog.clear();
        FailNth<&SystemCalls::mRead> lFault(1, EIO);
        EXPECT_EQ(-1, lFile.readLine(lLine, sizeof(lLine), nullptr));
        EXPECT_EQ(0, lFile.position());
        return lLog.lines();
    };
    for (int const lTextType : {FILE_TEXT_UTF8, FILE_TEXT_UTF16_BE})
    {
        std::vector<std::string> const lExpected = {"<UTIL> ERR: ReadFile Failed. errno[5]",
                                                    "<UTIL> ERR: in read func readFile Failed. Path:" + mPath,
                                                    "<UTIL> ERR: in findNextLineSize func file read error " +
                                                        std::string(lTextType == FILE_TEXT_UTF8 ? "6byte" : "2byte")};
        EXPECT_EQ(lExpected, lTry(lTextType));
    }
    File lFile(mPath.c_str(), FILE_TEXT_UTF8);
    EXPECT_EQ(-1, lFile.findNextLineSize(0, nullptr, nullptr));
    EXPECT_EQ(1U, lLog.count("ERR: in findNextLineSize func file is not opened"));
    EXPECT_EQ(-1, lFile.readLine(lLine, sizeof(lLine), nullptr));
    EXPECT_EQ(0, lFile.nextEOLSize());
    ASSERT_TRUE(lFile.open(FILE_OPEN_TOP, FILE_ACCESS_READ));
    {
        FailNth<&SystemCalls::mLseek> lFault(1, EIO);
        EXPECT_EQ(-1, lFile.readLine(lLine, sizeof(lLine), nullptr));
    }
    {
        FailNth<&SystemCalls::mFstat> lFault(1, EIO);
        EXPECT_EQ(-1, lFile.readLine(lLine, sizeof(lLine), nullptr));
    }
    EXPECT_EQ(4, lFile.readLine(lLine, sizeof(lLine), nullptr)); // nothing was lost
}

TEST_F(FileTextTest, TheLogWritesToACallersFile)
{
    LogCapture lLog;
    File lFile(mPath.c_str(), FILE_TEXT_UTF8);
    ASSERT_TRUE(lFile.open(FILE_OPEN_TRUNCATE, FILE_ACCESS_READ_WRITE));
    setFilterLevel(UTL_LOG_TYPE, LOG_LEVEL_INFO);
    applog(UTL_LOG_TYPE, LOG_LEVEL_DETAIL, &lFile, "no %d", 1);
    setFilterLevel(UTL_LOG_TYPE, LOG_LEVEL_DEBUG);
    applog(UTL_LOG_TYPE, LOG_LEVEL_DEBUG, &lFile, "yes %d", 2);
    EXPECT_EQ(lLog.rawLines(), std::vector<std::string>{stored()});
    rawlog(UTL_LOG_TYPE, LOG_LEVEL_ERROR, &lFile, "raw%s", "");
    lFile.setTextType(FILE_TEXT_SJIS); // refuses
    rawlog(UTL_LOG_TYPE, LOG_LEVEL_ERROR, &lFile, "console");
    rawlog(UTL_LOG_TYPE, LOG_LEVEL_ERROR, static_cast<File*>(nullptr), "console");
    EXPECT_NE(std::string::npos, stored().find("<UTIL> DBG: yes 2\r\nraw"));
    EXPECT_EQ(std::string::npos, stored().find("console"));
    EXPECT_EQ(2U, lLog.count("console"));
    EXPECT_EQ(4U, lLog.lines().size());
}

} // namespace
