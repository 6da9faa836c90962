#include "UtlLines.h"

#include "support/Test.h"

using namespace std::string_literals;
using namespace utl;
using namespace utl::test;

namespace
{

using SC = internal::SystemCalls;

// What lines hold, whatever the file does: see fuzz/LineFuzz.cpp, which the tests run too.
class LinesTest : public testing::Test
{
protected:
    File& store(std::string const& nBytes, int nTextType)
    {
        put(PATH, nBytes);
        mFile = File(PATH, nTextType);
        EXPECT_TRUE(mFile.open(FILE_OPEN_TOP, FILE_ACCESS_READ));
        return mFile;
    }

    static constexpr char const* PATH = "text";
    Folder mFolder;
    File mFile{"", 0};
};

std::string textOf(Line const* npLine)
{
    return npLine != nullptr ? std::string(npLine->mText) : "none";
}

TEST_F(LinesTest, WhoeverLeavesTheLoopStandsBehindTheLine)
{
    File& lFile = store("zero\r\none\r\r\rtwo\nthree", FILE_TEXT_UTF8);
    for (Line const& lLine : Lines(lFile))
    {
        EXPECT_EQ("zero", lLine.mText);
        break;
    }
    EXPECT_EQ(6, lFile.position());
    Lines lLines(lFile, 6);
    EXPECT_EQ("one\r\r", textOf(lLines.next())); // CR are text, and known to be
    EXPECT_EQ(11, lFile.position());
    char lByte = 0;
    EXPECT_EQ(1, lFile.read(&lByte, 1));
    EXPECT_EQ("two", textOf(lLines.next()));
    lFile.seek(4, FILE_SEEK_BEGIN);
    EXPECT_EQ("", textOf(lLines.next())); // those in front of an LF are not
    lFile.seek(0, FILE_SEEK_END);
    EXPECT_EQ(nullptr, lLines.next());
    std::ofstream(PATH, std::ios::binary | std::ios::app) << "four";
    EXPECT_EQ("four", textOf(lLines.next()));
    EXPECT_FALSE(lLines.hasFailed());
}

TEST_F(LinesTest, AMarkThatComesLateWinsOverTheTextType)
{
    Lines lLines(store("", FILE_TEXT_SJIS));
    EXPECT_EQ(nullptr, lLines.next());
    put(PATH, std::string("\xFE\xFF\0a\0\n", 6));
    EXPECT_EQ("a", textOf(lLines.next()));
    EXPECT_EQ(FILE_TEXT_UTF16_BE, lLines.textType());
    EXPECT_EQ(FILE_TEXT_SJIS, mFile.textType());
}

TEST_F(LinesTest, MarkIsSeenIfAReadGivesLess)
{
    Replaced const lRead(
        &SC::mPread, +[](int nHandle, void* npBuffer, std::size_t, off_t nPosition)
                     { return ::pread(nHandle, npBuffer, 1, nPosition); });
    Lines lLines(store("\xFF\xFE\n", FILE_TEXT_UTF16_LE));
    Line const* const lpLine = lLines.next();
    ASSERT_NE(nullptr, lpLine);
    EXPECT_EQ(2, lpLine->mPosition);
}

TEST_F(LinesTest, PositionsBeyondFourGigabytes)
{
    long long const lFar = 10LL << 30;
    store("", FILE_TEXT_UTF8);
    ASSERT_EQ(0, ::truncate(PATH, lFar));
    std::ofstream(PATH, std::ios::binary | std::ios::app) << "ab\ncd";
    ASSERT_EQ(lFar - 20, mFile.seek(lFar - 20, FILE_SEEK_BEGIN));
    Lines lLines(mFile);
    EXPECT_EQ(std::string(20, '\0') + "ab", textOf(lLines.next()));
    Line const* const lpLast = lLines.next();
    EXPECT_EQ("cd", textOf(lpLast));
    EXPECT_EQ(lFar + 3, lpLast->mPosition);
    EXPECT_EQ(lFar + 5, mFile.position());
}

TEST_F(LinesTest, FailuresAreToldAndAreForGood)
{
    std::string lText(40000, '\n');
    File& lFile = store(lText, FILE_TEXT_UTF8);
    Lines lLines(lFile);
    long long lBehind = 0;
    {
        FailNth<&SC::mPread> const lFault(3, EIO);
        for (Line const& lLine : lLines)
        {
            lBehind = lLine.mPosition + lLine.mSize;
        }
    }
    EXPECT_EQ(EIO, lLines.error());
    EXPECT_LT(0, lBehind);
    EXPECT_EQ(lBehind, lFile.position());
    EXPECT_EQ(nullptr, lLines.next());

    char lBuffer[4];
    Lines lSmall(lFile, lBuffer, sizeof(lBuffer));
    EXPECT_EQ(nullptr, lSmall.next());
    EXPECT_EQ(EINVAL, lSmall.error());
    lFile.close();
    Lines lClosed(lFile);
    EXPECT_EQ(nullptr, lClosed.next());
    EXPECT_EQ(EBADF, lClosed.error());
}

TEST_F(LinesTest, WhatIsWrittenIsReadInEveryEncoding)
{
    std::string lLong;
    while (lLong.size() < 20000)
    {
        lLong += "漢字かなab";
    }
    for (int lTextType : {FILE_TEXT_SJIS, FILE_TEXT_UTF8, FILE_TEXT_UTF16_BE, FILE_TEXT_UTF16_LE})
    {
        mFile = File(PATH, lTextType);
        ASSERT_TRUE(mFile.open(FILE_OPEN_TOP, FILE_ACCESS_READ_WRITE) && mFile.resize(0));
        EXPECT_EQ(LineWritten::DONE, writeLine(mFile, "a"));
        EXPECT_EQ(LineWritten::DONE, writeLine(mFile, "", "\r\n"));
        EXPECT_EQ(LineWritten::DONE, writeLine(mFile, lLong));
        EXPECT_EQ(lTextType == FILE_TEXT_SJIS ? LineWritten::REPLACED : LineWritten::DONE, writeLine(mFile, "😀", ""));
        EXPECT_EQ(LineWritten::REPLACED, writeLine(mFile, "\xFF", ""));
        mFile.seek(0, FILE_SEEK_BEGIN);
        Lines lLines(mFile, 30000);
        for (std::string const& lExpected :
             {"a"s, ""s, lLong, lTextType == FILE_TEXT_SJIS ? "※※"s : "😀\uFFFD"s, "none"s})
        {
            EXPECT_EQ(lExpected, textOf(lLines.next())) << lTextType;
        }
    }
    EXPECT_EQ(LineWritten::FAILED, writeLine(store("", FILE_TEXT_UTF8), "a")); // for reading only
    File lTypeless(PATH, 4);
    EXPECT_EQ(LineWritten::FAILED, writeLine(lTypeless, "a"));
}

} // namespace
