#include "UtlSmartPointer.h"

#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "support/Faults.h"
#include "support/LogCapture.h"

namespace
{

using Things = std::vector<long>;
Things gDisposed;

struct NotePointer
{
    void operator()(long* npObject) const { gDisposed.push_back(*npObject); }
};

struct NoteHandle
{
    void operator()(long nHandle) const { gDisposed.push_back(nHandle); }
};

long gFirst = 1;
long gSecond = 2;

/// The two families through one pair of eyes.
struct Pointers
{
    using Holder = utl::CountingPointer<long, NotePointer>;
    static long* first() { return &gFirst; }
    static long* second() { return &gSecond; }
    static constexpr char const* NAME = "CountingPointer";
};

struct Handles
{
    using Holder = utl::Counting<long, NoteHandle>;
    static long first() { return 1; }
    static long second() { return 2; }
    static constexpr char const* NAME = "Counting";
};

template <class F>
class Holders : public ::testing::Test
{
protected:
    Holders() { gDisposed.clear(); }
    static int count(utl::GetRefCounterInterface const& nHolder)
    {
        return nHolder.actGetRefCounter() != nullptr ? nHolder.actGetRefCounter()->count() : 0;
    }
};
using Families = ::testing::Types<Pointers, Handles>;
TYPED_TEST_SUITE(Holders, Families);

TYPED_TEST(Holders, TheLastOneDisposesOnce)
{
    using Holder = typename TypeParam::Holder;
    Holder lFirst(TypeParam::first());
    {
        Holder const lCopy(lFirst);
        Holder lAssigned;
        lAssigned = lCopy;
        lAssigned = lFirst; // the same thing
        Holder const& lSelf = lAssigned;
        lAssigned = lSelf;
        lFirst.set(TypeParam::first());
        EXPECT_EQ(3, this->count(lFirst));

        Holder lOther(TypeParam::second());
        lOther = lCopy;
        EXPECT_EQ(Things({2}), gDisposed);
        lOther.set(TypeParam::second()); // leaves the others the old thing
        EXPECT_EQ(3, this->count(lFirst));
        EXPECT_EQ(1, this->count(lOther));
        lOther = Holder();
        EXPECT_EQ(Things({2, 2}), gDisposed);
        EXPECT_EQ(nullptr, lOther.actGetRefCounter());
        EXPECT_TRUE(lOther.get() == 0);
    }
    EXPECT_EQ(1, this->count(lFirst));
    lFirst.release();
    EXPECT_EQ(Things({2, 2, 1}), gDisposed);
    lFirst.release();
    lFirst.set(TypeParam::second());
    lFirst.set(0);
    Holder const lEmpty(lFirst);
    EXPECT_EQ(nullptr, lEmpty.actGetRefCounter());
    EXPECT_EQ(Things({2, 2, 1, 2}), gDisposed);
}

TYPED_TEST(Holders, ACountBelowZeroIsReportedAndNothingElse)
{
    utl::test::LogCapture lLog;
    typename TypeParam::Holder lHolder(TypeParam::first());
    std::unique_ptr<utl::RefCounter> const lCounter(lHolder.actGetRefCounter());
    lCounter->dropReference();
    lHolder.release();
    EXPECT_EQ(
        std::vector<std::string>{std::string("<UTIL> ERR: lRefCount(-1) < 0 in ") + TypeParam::NAME + "::release()"},
        lLog.lines());
    EXPECT_TRUE(gDisposed.empty());
    EXPECT_EQ(nullptr, lHolder.actGetRefCounter());
}

struct Node
{
    virtual ~Node() { ++sDeleted; }
    utl::SmartPointer<Node> mpNext;
    static inline int sDeleted = 0;
};

TEST(SmartPointer, TakesOverFromAHolderInsideTheObjectThatGoes)
{
    Node::sDeleted = 0;
    utl::SmartPointer<Node> lpHead(new Node);
    lpHead->mpNext.set(new Node);
    Node* const lpSecond = lpHead->mpNext.get();
    lpHead = lpHead->mpNext;
    EXPECT_EQ(lpSecond, lpHead.get());
    EXPECT_EQ(1, Node::sDeleted);
    lpHead = (*lpHead).mpNext;
    EXPECT_EQ(nullptr, lpHead.get());
    EXPECT_EQ(2, Node::sDeleted);
}

TEST(SmartPointer, ThreadsWithHoldersOfTheirOwnShareTheCount)
{
    Node::sDeleted = 0;
    auto lShare = [](utl::SmartPointer<Node> const& nShared)
    {
        utl::SmartPointer<Node> const lOwn(nShared);
        return std::thread(
            [lOwn]
            {
                for (int i = 0; i < 5000; ++i)
                {
                    utl::SmartPointer<Node> lCopy(lOwn);
                    lCopy = lOwn;
                }
            });
    };
    utl::SmartPointer<Node> lShared(new Node);
    std::thread lFirst = lShare(lShared);
    std::thread lSecond = lShare(lShared);
    lShared.release();
    lFirst.join();
    lSecond.join();
    EXPECT_EQ(1, Node::sDeleted);
}

std::vector<std::string> gCalls;

int noteCall(char const* npCall, int nHandle)
{
    gCalls.push_back(npCall + std::to_string(nHandle));
    return -1; // ignored
}

TEST(SmartHandle, SyncsAndClosesWhatIsADescriptor)
{
    using Calls = std::vector<std::string>;
    using System = utl::internal::SystemCalls;
    utl::test::Replaced lFsync(
        &System::mFsync, +[](int nHandle) { return noteCall("fsync ", nHandle); });
    utl::test::Replaced lClose(
        &System::mClose, +[](int nHandle) { return noteCall("close ", nHandle); });
    for (int lHandle : {0, -1, 7})
    {
        gCalls.clear();
        utl::SmartHandle<utl::DestructCloseFile> lHolder(lHandle);
        EXPECT_EQ(lHandle == 0, lHolder.actGetRefCounter() == nullptr);
        lHolder.release();
        EXPECT_EQ(lHandle == 7 ? (Calls{"fsync 7", "close 7"}) : Calls(), gCalls);
    }
}

} // namespace
