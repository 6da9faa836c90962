#include "UtlFile.h"

#include "support/Test.h"

using namespace utl;
using namespace utl::test;

namespace
{

using SC = internal::SystemCalls;
using Bytes = std::string;

class FileTextTest : public testing::Test
{
protected:
    File opened(int nAccess = FILE_ACCESS_READ, int nTextType = FILE_TEXT_UTF8) const
    {
        File lFile(PATH, nTextType);
        EXPECT_TRUE(lFile.open(FILE_OPEN_TOP, nAccess));
        return lFile;
    }

    /// The next line; "none" if there is none.
    static std::string lineOf(File& nFile)
    {
        char lLine[64];
        return nFile.readLine(lLine, sizeof(lLine), nullptr) >= 0 ? lLine : "none";
    }

    static constexpr char const* PATH = "text";
    Folder mFolder;
};

// Any calls on any bytes, by one file and by copies: see tests/fuzz/LineFuzz.cpp, which the tests run too.
TEST_F(FileTextTest, ReadsIntoStringsWhatFits)
{
    Bytes const lLong(5119, 'x');
    put(PATH, "\xEF\xBB\xBF" + Bytes("a\rb\r\n") + lLong + "\n");
    File lFile = opened();
    BasicString<char> lText(7, 0);
    EXPECT_EQ(6, lFile.readLine(&lText, nullptr));
    EXPECT_STREQ("a\rb", lText.c_str());
    unsigned int lSize = 0;
    EXPECT_EQ(-1, lFile.readLine(&lText, &lSize));
    EXPECT_EQ(5119, lFile.readLine(static_cast<BasicString<char>*>(nullptr), &lSize)); // a query moves nothing
    EXPECT_EQ(5120U, lSize);
    BasicString<char> lWhole(5120, 0);
    EXPECT_EQ(-1, lFile.readLine(&lWhole, nullptr));
    EXPECT_EQ(5119, lFile.readText(&lWhole, 5119, 0, nullptr));
    EXPECT_EQ(lLong, lWhole.c_str());
    EXPECT_EQ(1, lFile.readText(static_cast<BasicString<char>*>(nullptr), 1, 0, &lSize));
    EXPECT_EQ(FILE_READ_END, lFile.readLine(&lText, nullptr));
}

TEST_F(FileTextTest, AChildSharesThePosition)
{
    put(PATH, "zero\none\ntwo\nthree\nfour\n");
    for (bool const lIsLookedFor : {false, true}) // or read
    {
        File lFile = opened();
        for (bool const lIsSecond : {false, true})
        {
            if (lIsLookedFor)
            {
                EXPECT_LT(0, lFile.findNextLineSize(0, nullptr, nullptr));
            }
            else
            {
                EXPECT_EQ(lIsSecond ? "two" : "zero", lineOf(lFile));
            }
            EXPECT_TRUE(inChild([&] { return lineOf(lFile) == (lIsSecond ? "three" : "one"); }));
            EXPECT_EQ(lIsSecond ? 19 : 9, lFile.position());
        }
    }
}

// Another thread forks while a line is read; its child goes on behind that line.
TEST_F(FileTextTest, AForkInTheMidstOfALineSharesThePosition)
{
    put(PATH, "zero\none\ntwo\n");
    static int sHandle;
    Replaced const lRead(
        &SC::mPread,
        +[](int nHandle, void* npBuffer, std::size_t nSize, off_t nPosition)
        {
            sHandle = nHandle;
            EXPECT_TRUE(inChild([] { return true; }));
            return ::pread(nHandle, npBuffer, nSize, nPosition);
        });
    File lFile = opened();
    EXPECT_EQ("zero", lineOf(lFile));
    EXPECT_EQ(9, ::lseek(sHandle, 4, SEEK_CUR)); // as the child would
    EXPECT_EQ("two", lineOf(lFile));
}

TEST_F(FileTextTest, WhatAChildWritesIsRead)
{
    put(PATH, "zero\none\ntwo\nthree\n");
    File lFile = opened(FILE_ACCESS_READ_WRITE);
    EXPECT_EQ("zero", lineOf(lFile)); // and the rest ahead
    EXPECT_TRUE(inChild(
        [&] { return lFile.write("ONE\nTWO", 7) == 7 && lFile.resize() && lFile.seek(5, FILE_SEEK_BEGIN) == 5; }));
    EXPECT_EQ("ONE", lineOf(lFile));
    EXPECT_EQ("TWO", lineOf(lFile));
    EXPECT_EQ("none", lineOf(lFile));
}

TEST_F(FileTextTest, WritesWhatItPromises)
{
    struct
    {
        int mTextType;
        char const* mpText;
        unsigned int mMaxBytes, mOffset, mResult;
        Bytes mWritten;
    } const ROWS[] = {
        {FILE_TEXT_UTF8, "abc", 5119, 0, 3, "abc"},
        {FILE_TEXT_UTF8, "abc", 5120, 0, FILE_ERROR, ""},
        {FILE_TEXT_UTF8, "\xE3\x81\x82", 2, 0, 2, "\xE3\x81"},
        {FILE_TEXT_UTF8, "abc", 5119, 2, 1, "c"},
        {FILE_TEXT_UTF8, "abc", 5119, 3, FILE_ERROR, ""},
        {FILE_TEXT_UTF8, "abc", 5119, 4, FILE_ERROR, ""},
        {FILE_TEXT_UTF8, "", 5119, 0, 0, ""},
        {FILE_TEXT_UTF8, nullptr, 5119, 0, FILE_ERROR, ""},
        {FILE_TEXT_UTF16_BE, "\xE3\x81\x82g", 3, 0, 3, Bytes("\x30\x42\0", 3)},
        {FILE_TEXT_UTF16_LE, "a", 5119, 0, 0, ""},
        {FILE_TEXT_UTF16_LE, "ba", 5119, 1, FILE_ERROR, ""},
        {FILE_TEXT_UTF16_LE, "", 5119, 0, FILE_ERROR, ""},
        {FILE_TEXT_UTF16_LE, "a\x80z", 5119, 0, FILE_ERROR, ""},
        {FILE_TEXT_UTF16_LE, "a\xF0\x9F\x98\x80\xE3\x81", 5119, 0, 4, Bytes("a\0\x3B\x20", 4)},
        {FILE_TEXT_SJIS, "abc", 5119, 0, FILE_ERROR, ""},
        {4, "abc", 5119, 0, FILE_ERROR, ""},
    };
    LogCapture const lLog;
    for (auto const& lRow : ROWS)
    {
        File lFile(PATH, lRow.mTextType);
        EXPECT_EQ(FILE_ERROR, lFile.writeText(lRow.mpText, lRow.mMaxBytes, lRow.mOffset));
        ASSERT_TRUE(lFile.open(FILE_OPEN_TRUNCATE, FILE_ACCESS_READ_WRITE));
        EXPECT_EQ(lRow.mResult, lFile.writeText(lRow.mpText, lRow.mMaxBytes, lRow.mOffset)) << &lRow - ROWS;
        EXPECT_EQ(lRow.mWritten, contentOf(PATH));
    }
    EXPECT_EQ(LogLines{"<UTIL> ERR: writeFile Failed. Path:text"}, lLog.lines()); // no byte at all
    File lFile(PATH, FILE_TEXT_UTF8);
    ASSERT_TRUE(lFile.open(FILE_OPEN_TRUNCATE, FILE_ACCESS_READ_WRITE));
    EXPECT_EQ(4U, lFile.writeLine("abc"));
    EXPECT_EQ(1U, lFile.writeLine(""));
    EXPECT_EQ("ynn", said({lFile.setTextType(FILE_TEXT_UTF16_LE), lFile.setTextType(4), lFile.setTextType(-1)}));
    EXPECT_EQ(6U, lFile.writeLine("abc")); // no line end
    EXPECT_EQ(Bytes("abc\n\na\0b\0c\0", 11), contentOf(PATH));
    // Reading ahead and writing agree on the position, and what was written is read.
    lFile.setTextType(FILE_TEXT_UTF8);
    lFile.seek(0, FILE_SEEK_BEGIN);
    EXPECT_EQ("abc", lineOf(lFile));
    EXPECT_EQ(3U, lFile.writeText("xy\n", 5119, 0));
    EXPECT_EQ(4, lFile.seekKey("xy", 0, ~0ULL, 0));
    EXPECT_EQ("xy", lineOf(lFile));
}

TEST_F(FileTextTest, FailuresOfTheSystemAreTold)
{
    put(PATH, "line\nnext\n");
    LogCapture lLog;
    for (int const lTextType : {FILE_TEXT_UTF8, FILE_TEXT_UTF16_BE})
    {
        File lFile = opened(FILE_ACCESS_READ, lTextType);
        lLog.clear();
        FailNth<&SC::mPread> lFault(1, EIO);
        EXPECT_EQ("none", lineOf(lFile));
        EXPECT_EQ(0, lFile.position());
        EXPECT_EQ(
            (LogLines{"<UTIL> ERR: ReadFile Failed. errno[5]", "<UTIL> ERR: in read func readFile Failed. Path:text",
                      "<UTIL> ERR: in findNextLineSize func file read error " +
                          std::string(lTextType == FILE_TEXT_UTF8 ? "6byte" : "2byte")}),
            lLog.lines());
    }
    File lFile(PATH, FILE_TEXT_UTF8);
    EXPECT_EQ(0, lFile.nextEOLSize());
    EXPECT_EQ(-1, lFile.findNextLineSize(0, nullptr, nullptr));
    EXPECT_EQ(1U, lLog.count("ERR: in findNextLineSize func file is not opened"));
}

// What is left after each failed call: see tests/proof/UtlFaultProof.cpp, which the tests run too.
TEST_F(FileTextTest, AFailedLineEndLeavesTheText)
{
    put(PATH, "line\nold\n");
    File lFile = opened(FILE_ACCESS_READ_WRITE);
    EXPECT_EQ("line", lineOf(lFile)); // reads ahead
    LogCapture const lLog;
    {
        FailNth<&SC::mWrite> const lFault(2, ENOSPC);
        EXPECT_EQ(FILE_ERROR, lFile.writeLine("new"));
    }
    EXPECT_EQ("line\nnew\n", contentOf(PATH));
    EXPECT_EQ((LogLines{"<UTIL> ERR: WriteFile Failed. errno[28]", "<UTIL> ERR: writeFile Failed. Path:text"}),
              lLog.lines());
    EXPECT_EQ(0, lFile.seek(0, FILE_SEEK_BEGIN));
    EXPECT_EQ("line", lineOf(lFile)); // it stays usable, and nothing is written if the descriptor cannot be moved
    EXPECT_EQ(FILE_ERROR, failing<&SC::mLseek>(EIO, [&] { return lFile.writeText("x", 5119, 0); }));
    EXPECT_EQ("line\nnew\n", contentOf(PATH));
}

TEST_F(FileTextTest, ArgumentsThatAreNone)
{
    char lText[8] = "before";
    unsigned int lSize = 7;
    put(PATH, "\nfirst\n\n");
    File lFile = opened();
    EXPECT_EQ(FILE_READ_ERROR, lFile.readLine(static_cast<char*>(nullptr), 4, &lSize));
    EXPECT_EQ(FILE_READ_ERROR, lFile.readText(static_cast<char*>(nullptr), 4, 4, 0, &lSize));
    EXPECT_EQ(-1, lFile.seekKey(static_cast<char const*>(nullptr), 0, 100, 0));
    EXPECT_EQ(0, lFile.readLine(static_cast<char*>(nullptr), 0, &lSize)); // tells the size, and moves nothing
    EXPECT_EQ(1U, lSize);
    EXPECT_EQ(0, lFile.position());
    File lOther = opened(FILE_ACCESS_READ, 99); // a type that is none
    EXPECT_EQ(FILE_READ_ERROR, lOther.readText(lText, 8, 4, 0, nullptr));
    EXPECT_EQ(FILE_READ_ERROR, lOther.readLine(lText, 8, nullptr));
    EXPECT_STREQ("before", lText);
}

// It was longer an instant ago.
TEST_F(FileTextTest, AFileCutWhileItIsReadHasEnded)
{
    put(PATH, "text");
    File lFile = opened();
    Replaced const lRead(
        &SC::mPread, +[](int, void*, std::size_t, off_t) -> ssize_t { return 0; });
    char lText[64];
    EXPECT_EQ(FILE_READ_END, lFile.readText(lText, sizeof(lText), 50, 0, nullptr));
}

} // namespace
