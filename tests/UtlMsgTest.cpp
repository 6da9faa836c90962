#include "UtlMsg.h"

#include "UtlThreadRawMsg.h"
#include "support/Test.h"

namespace
{

using utl::test::said;

int const ID = 0x01020304;

// Stores, reads and assignments in any order and at any capacity: see tests/fuzz/MsgFuzz.cpp, which the tests run too.

TEST(ThreadRawMsg, AnyByteButZeroIsTrue)
{
    utl::ThreadRawMsg lRaw(10);
    lRaw.beginInput();
    lRaw.beginOutput();
    bool lBool = false;
    float lFloat = 0;
    EXPECT_EQ("yyy", said({lRaw.set(true), lRaw.set(-1.5F), lRaw.set(false)}));
    EXPECT_EQ(1, lRaw.buffer()[4]);
    lRaw.buffer()[4] = 0x80;
    EXPECT_EQ("yyy", said({lRaw.get(&lBool), lBool, lRaw.get(&lFloat)}));
    EXPECT_EQ(-1.5F, lFloat);
    EXPECT_EQ("yn", said({lRaw.get(&lBool), lBool}));
    EXPECT_EQ("nn", said({lRaw.get(&lBool), lRaw.set(true)})); // full
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
        EXPECT_FALSE(lCall(lRaw));
        EXPECT_EQ(-1, lRaw.getResult());
        EXPECT_EQ("nny", said({lRaw.set(1), lRaw.getMsgId(nullptr), lRaw.getMsgId(&lValue)}));
        lRaw.beginOutput();
        EXPECT_EQ("yy", said({lRaw.set(1), lRaw.get(&lValue)}));
    }
}

/// Notes the calls, and gives a result of its own.
struct Recorder : utl::ThreadRawMsg
{
    using ThreadRawMsg::ThreadRawMsg;
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
        Recorder lBroker(8);
        lBroker.mAnswer = lAnswer;
        utl::TimerMsg lMsg;
        EXPECT_EQ(lAnswer == 0, lMsg.storeTo(&lBroker));
        EXPECT_EQ(lAnswer == 0, lMsg.restoreFrom(lBroker));
        EXPECT_EQ("begin data end result begin data end result ", lBroker.mCalls);
    }
    utl::ThreadRawMsg lSmall(0);
    EXPECT_EQ("yn", said({utl::SimpleMsg(ID).storeTo(&lSmall), utl::SimpleMsg(ID).storeTo(nullptr)}));
    EXPECT_FALSE(utl::TimerMsg().storeTo(&lSmall));
}

} // namespace
