#include "UtlMsg.h"
#include "UtlThreadRawMsg.h"

#include <algorithm>
#include <cstring>
#include <cwchar>
#include <string>
#include <tuple>

#include <gtest/gtest.h>

namespace
{

int const ID = 0x01020304;
unsigned int const ALL_TYPES_SIZE = 4 + 3 * 1 + 2 * 2 + 3 * 4 + 3 * 8 + sizeof(void*) + 3 + 3 * 4 + 5;

/// Every type, most at odd places.
struct AllTypesMsg : utl::Msg
{
    explicit AllTypesMsg(int nMsgId)
        : Msg(nMsgId)
    {
    }
    void storeDataTo(utl::MsgDataBroker* npBroker) const override
    {
        npBroker->set(mText);
        npBroker->set(mWide);
        npBroker->set(mBytes, 5);
        std::apply([=](auto... nValues) { (npBroker->set(nValues), ...); }, mValues);
    }
    void restoreDataFrom(utl::MsgDataBroker& nBroker) override
    {
        nBroker.get(mText, 3);
        nBroker.get(mWide, 3);
        nBroker.get(mBytes, 5);
        std::apply([&](auto&... nValues) { (nBroker.get(&nValues), ...); }, mValues);
    }

    std::tuple<bool, unsigned int, unsigned char, unsigned short, unsigned long long, signed char, short, int,
               long long, float, double, void*>
        mValues;
    char mText[3] = {};
    wchar_t mWide[3] = {};
    unsigned char mBytes[5] = {};
};

AllTypesMsg filled()
{
    AllTypesMsg lMsg(ID);
    lMsg.mValues = {true,   0xfedcba98U,   0xfe, 0xfedc, 0xfedcba9876543210ULL, -2, -300,
                    -70000, -5000000000LL, 1.5F, -2.25,  const_cast<int*>(&ID)};
    std::memcpy(lMsg.mText, "ab", 3);
    std::wmemcpy(lMsg.mWide, L"\x10ffff\x41", 3);
    std::memcpy(lMsg.mBytes, "\0\1\0\2\377", 5);
    return lMsg;
}

// Stores and reads in any order and at any capacity: see fuzz/MsgFuzz.cpp, which the tests run too.

TEST(ThreadRawMsg, CarriesEveryTypeAndFailsOneByteShort)
{
    AllTypesMsg const lSent = filled();
    for (unsigned int lSize : {0U, 4U, ALL_TYPES_SIZE - 1, ALL_TYPES_SIZE})
    {
        utl::ThreadRawMsg lRaw(lSize);
        AllTypesMsg lGot(0);
        ASSERT_EQ(lSize == ALL_TYPES_SIZE, lSent.storeTo(&lRaw)) << lSize;
        utl::ThreadRawMsg lTwin(lRaw); // reads from 0 until told to begin
        int lId = 0;
        EXPECT_TRUE(lTwin.get(&lId) && lId == ID);
        ASSERT_EQ(lSize == ALL_TYPES_SIZE, lGot.restoreFrom(lTwin));
        EXPECT_EQ(ID, lGot.mMsgId);
        EXPECT_EQ(lSize == ALL_TYPES_SIZE, lSent.mValues == lGot.mValues);
        EXPECT_EQ(lSize < 10, std::wcscmp(lSent.mWide, lGot.mWide) != 0);
    }
    utl::ThreadRawMsg lBools(5);
    lBools.buffer()[4] = 0x80; // any byte but 0
    bool lBool = false;
    lBools.beginOutput();
    EXPECT_TRUE(lBools.get(&lBool) && lBool);
}

TEST(ThreadRawMsg, TextsThatDoNotFitTheCallerChangeNothing)
{
    struct Row
    {
        wchar_t const* mpText; // four characters of image behind the id
        unsigned int mMaxLength;
        int mLength;
    };
    for (Row const& lRow : {Row{L"abc\0", 4, 4}, Row{L"abc\0", 3, -1}, Row{L"abc\0", 0, -1}, Row{L"\0bcd", 1, 1},
                            Row{L"abc\0", 0xffffffffU, 4}, Row{L"abcd", 4, -1}, Row{L"abcd", 0xffffffffU, -1}})
    {
        utl::ThreadRawMsg lNarrow(4 + 4);
        utl::ThreadRawMsg lWide(4 + 4 * sizeof(wchar_t) + 3); // no whole character at the end
        std::copy_n(lRow.mpText, 4, lNarrow.buffer() + 4);
        std::memcpy(lWide.buffer() + 4, lRow.mpText, 4 * sizeof(wchar_t));
        lNarrow.beginOutput();
        lWide.beginOutput();
        EXPECT_EQ(lRow.mLength, lNarrow.checkOutputStrLength(lRow.mMaxLength));
        EXPECT_EQ(lRow.mLength, lWide.checkOutputWideStrLength(lRow.mMaxLength));
        char lText[5] = "....";
        wchar_t lWideText[5] = L"....";
        bool const lFits = lRow.mLength != -1;
        EXPECT_TRUE(lNarrow.get(lText, lRow.mMaxLength) == lFits && lWide.get(lWideText, lRow.mMaxLength) == lFits);
        EXPECT_STREQ(lFits ? lRow.mpText : L"....", lWideText);
        EXPECT_TRUE(std::equal(lWideText, lWideText + 5, lText));
        EXPECT_EQ(0, lNarrow.getResult() | lWide.getResult());
        unsigned char lBytes[4];
        EXPECT_EQ(!lFits, lNarrow.get(lBytes, 4)); // the place moved only with the text
    }
}

TEST(ThreadRawMsg, NullsFailAndTheFailureStaysUntilTheNextBegin)
{
    utl::ThreadRawMsg lRaw(64);
    std::memset(lRaw.buffer(), 0, 64);
    bool (*const CALLS[])(utl::ThreadRawMsg&) = {
        [](utl::ThreadRawMsg& nRaw) { return nRaw.set(static_cast<char const*>(nullptr)); },
        [](utl::ThreadRawMsg& nRaw) { return nRaw.set(static_cast<wchar_t const*>(nullptr)); },
        [](utl::ThreadRawMsg& nRaw) { return nRaw.set(nullptr, 0); },
        [](utl::ThreadRawMsg& nRaw) { return nRaw.get(static_cast<bool*>(nullptr)); },
        [](utl::ThreadRawMsg& nRaw) { return nRaw.get(static_cast<double*>(nullptr)); },
        [](utl::ThreadRawMsg& nRaw) { return nRaw.get(static_cast<char*>(nullptr), 1); },
        [](utl::ThreadRawMsg& nRaw) { return nRaw.get(static_cast<wchar_t*>(nullptr), 1); },
        [](utl::ThreadRawMsg& nRaw) { return nRaw.get(static_cast<unsigned char*>(nullptr), 0); },
    };
    for (auto const& lCall : CALLS)
    {
        int lValue = 7;
        lRaw.beginInput();
        EXPECT_TRUE(!lCall(lRaw) && lRaw.getResult() == -1);
        EXPECT_FALSE(lCall(lRaw) || lRaw.set(1) || lRaw.get(&lValue) || lRaw.getMsgId(nullptr));
        EXPECT_TRUE(lRaw.getMsgId(&lValue));
        lRaw.beginOutput();
        EXPECT_TRUE(lRaw.set(1) && lRaw.get(&lValue) && !lRaw.getMsgId(nullptr) && lRaw.getResult() == 0);
    }
}

TEST(ThreadRawMsg, AssignmentTakesSizePositionsAndResultAlong)
{
    utl::ThreadRawMsg lSource(12);
    lSource.beginInput();
    lSource.beginOutput();
    ASSERT_TRUE(lSource.set(11) && lSource.set(22));
    int lValue = 0;
    ASSERT_TRUE(lSource.get(&lValue));
    for (unsigned int lSize : {4U, 12U, 40U})
    {
        utl::ThreadRawMsg lTarget(lSize);
        lTarget = lSource;
        EXPECT_TRUE(lTarget.maxSize() == 12 && lTarget.get(&lValue) && lValue == 22);
        EXPECT_FALSE(lTarget.set(true));
        utl::ThreadRawMsg lFailed(4);
        lFailed = lTarget;
        EXPECT_EQ(-1, lFailed.getResult());
        EXPECT_EQ(0, utl::ThreadRawMsg(lFailed).getResult());
    }
}

/// Notes the calls, and gives a result of its own.
struct Recorder : utl::ThreadRawMsg
{
    Recorder()
        : ThreadRawMsg(8)
    {
    }
    bool note(char const* npCall) { return (mCalls += npCall).empty(); }
    bool beginInput() override { return note("begin "); }
    bool endInput() override { return note("end "); }
    bool beginOutput() override { return note("begin "); }
    bool endOutput() override { return note("end "); }
    bool set(int) override { return note("data "); }
    bool get(int*) override { return note("data "); }
    int getResult() override { return note("result ") ? 0 : mAnswer; }

    std::string mCalls;
    int mAnswer = 0;
};

TEST(Msg, OnlyTheBrokersResultCounts)
{
    for (int lAnswer : {0, -1, 1})
    {
        Recorder lBroker;
        lBroker.mAnswer = lAnswer;
        utl::TimerMsg lMsg;
        EXPECT_EQ(lAnswer == 0, lMsg.storeTo(&lBroker));
        EXPECT_EQ(lAnswer == 0, lMsg.restoreFrom(lBroker));
        EXPECT_EQ("begin data end result begin data end result ", lBroker.mCalls);
    }
    utl::ThreadRawMsg lSmall(0);
    EXPECT_TRUE(utl::SimpleMsg(ID).storeTo(&lSmall) && !utl::SimpleMsg(ID).storeTo(nullptr));
    EXPECT_FALSE(utl::TimerMsg().storeTo(&lSmall));
}

} // namespace
