#include "UtlMsg.h"
#include "UtlThreadRawMsg.h"

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

TEST(ThreadRawMsg, CarriesEveryTypeAndFailsOneByteShort)
{
    AllTypesMsg const lSent = filled();
    utl::ThreadRawMsg lWhole(ALL_TYPES_SIZE);
    ASSERT_TRUE(lSent.storeTo(&lWhole));
    for (unsigned int lSize = 0; lSize <= ALL_TYPES_SIZE; ++lSize)
    {
        utl::ThreadRawMsg lRaw(lSize);
        ASSERT_EQ(lSize < 4 ? 4 : lSize, lRaw.maxSize());
        ASSERT_EQ(lSize == ALL_TYPES_SIZE, lSent.storeTo(&lRaw)) << lSize;
        if (lSize < ALL_TYPES_SIZE)
        {
            EXPECT_FALSE(lRaw.set(reinterpret_cast<unsigned char const*>(""), 0)); // would fit; the failure stays
            AllTypesMsg lGot(0);
            utl::ThreadRawMsg lShort(lSize);
            std::memcpy(lShort.buffer(), lWhole.buffer(), lShort.maxSize());
            EXPECT_FALSE(lGot.restoreFrom(lShort));
            continue;
        }
        utl::ThreadRawMsg lTwin(lRaw); // reads from 0 until told to begin
        int lId = 0;
        EXPECT_TRUE(lTwin.get(&lId) && lId == ID);
        AllTypesMsg lGot(0);
        ASSERT_TRUE(lGot.restoreFrom(lTwin));
        EXPECT_EQ(ID, lGot.mMsgId);
        EXPECT_EQ(lSent.mValues, lGot.mValues);
        EXPECT_EQ(0, std::memcmp(lSent.mText, lGot.mText, 3) | std::memcmp(lSent.mBytes, lGot.mBytes, 5));
        EXPECT_STREQ(lSent.mWide, lGot.mWide);
    }
    unsigned int const BOOL_PLACE = 4 + 3 + 3 * 4 + 5; // no padding anywhere
    EXPECT_EQ(0, std::memcmp(lWhole.buffer(), &ID, 4));
    EXPECT_EQ(0, std::memcmp(lWhole.buffer() + 4, "ab", 3));
    EXPECT_EQ(0, std::memcmp(lWhole.buffer() + BOOL_PLACE + 1, &std::get<1>(lSent.mValues), 4));
    lWhole.buffer()[4] = 0x80; // any byte but 0
    bool lBool = false;
    lWhole.beginOutput();
    EXPECT_TRUE(lWhole.get(&lBool) && lBool);
}

TEST(ThreadRawMsg, TextsThatDoNotFitTheCallerChangeNothing)
{
    struct Row
    {
        char const* mpText; // four bytes of image behind the id
        unsigned int mMaxLength;
        int mLength;
    };
    Row const ROWS[] = {
        {"abc\0", 4, 4}, {"abc\0", 3, -1}, {"abc\0", 0, -1}, {"abc\0", 0xffffffffU, 4},
        {"\0bcd", 1, 1}, {"abcd", 4, -1},  {"abcd", 5, -1},  {"abcd", 100, -1},
    };
    for (Row const& lRow : ROWS)
    {
        utl::ThreadRawMsg lNarrow(4 + 1 + 4);
        utl::ThreadRawMsg lWide(4 + 1 + 16 + 3); // odd place, and no whole character at the end
        char lText[5] = "....";
        wchar_t lWideText[5] = L"....";
        unsigned char lSkipped;
        std::memcpy(lNarrow.buffer() + 5, lRow.mpText, 4);
        std::memset(lWide.buffer(), 0, lWide.maxSize());
        for (unsigned int i = 0; i < 4; ++i)
        {
            lWide.buffer()[5 + 4 * i + 2] = static_cast<unsigned char>(lRow.mpText[i]); // zero bytes around it
        }
        lNarrow.beginOutput();
        lWide.beginOutput();
        ASSERT_TRUE(lNarrow.get(&lSkipped) && lWide.get(&lSkipped));
        EXPECT_EQ(lRow.mLength, lNarrow.checkOutputStrLength(lRow.mMaxLength));
        EXPECT_EQ(lRow.mLength, lWide.checkOutputWideStrLength(lRow.mMaxLength));
        bool const lFits = lRow.mLength != -1;
        EXPECT_EQ(lFits, lNarrow.get(lText, lRow.mMaxLength));
        EXPECT_EQ(lFits, lWide.get(lWideText, lRow.mMaxLength));
        EXPECT_STREQ(lFits ? lRow.mpText : "....", lText);
        EXPECT_EQ(lFits ? (lRow.mLength == 1 ? 0 : 'a' << 16) : '.', lWideText[0]);
        EXPECT_EQ(0, lNarrow.getResult() | lWide.getResult());
        unsigned char lBytes[4];
        EXPECT_EQ(!lFits || lRow.mLength == 0, lNarrow.get(lBytes, 4)); // the place moved only with the text
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
    EXPECT_FALSE(utl::SimpleMsg(1).storeTo(nullptr));
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

/// Notes who was called, and gives a result of its own.
struct Recorder : utl::ThreadRawMsg
{
    Recorder()
        : ThreadRawMsg(8)
    {
    }
    bool note(std::string const& nCall) { return (mCalls += nCall + " ").empty(); }
    bool setMsgId(int) override { return note("setMsgId"); }
    bool getMsgId(int*) override { return note("getMsgId"); }
    bool beginInput() override { return note("beginInput"); }
    bool endInput() override { return note("endInput"); }
    bool beginOutput() override { return note("beginOutput"); }
    bool endOutput() override { return note("endOutput"); }
    bool set(int) override { return note("set"); }
    bool get(int*) override { return note("get"); }
    int getResult() override { return note("getResult") ? 0 : mAnswer; }

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
        EXPECT_EQ("setMsgId beginInput set endInput getResult ", lBroker.mCalls);
        lBroker.mCalls.clear();
        EXPECT_EQ(lAnswer == 0, lMsg.restoreFrom(lBroker));
        EXPECT_EQ("getMsgId beginOutput get endOutput getResult ", lBroker.mCalls);
    }
    utl::ThreadRawMsg lSmall(0);
    EXPECT_TRUE(utl::SimpleMsg(ID).storeTo(&lSmall));
    EXPECT_FALSE(utl::TimerMsg().storeTo(&lSmall));
}

} // namespace
