#include "UtlSmartPointer.h"

#include "support/Test.h"

namespace
{

using Things = std::vector<long>;
Things gDisposed;

struct Note
{
    void operator()(long* npObject) const { gDisposed.push_back(*npObject); }
    void operator()(long nHandle) const { gDisposed.push_back(nHandle); }
};

long gThings[] = {1, 2};

/// The two families through one pair of eyes.
struct Pointers
{
    using Holder = utl::CountingPointer<long, Note>;
    static long* first() { return &gThings[0]; }
    static long* second() { return &gThings[1]; }
    static constexpr char const* NAME = "CountingPointer";
};

struct Handles
{
    using Holder = utl::Counting<long, Note>;
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
        EXPECT_EQ(0, lOther.get());
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
    std::string const lName = TypeParam::NAME;
    EXPECT_EQ("<UTIL> ERR: lRefCount(-1) < 0 in " + lName + "::release()", lLog.lines().at(0));
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
    utl::SmartPointer<Node> const lShared(new Node);
    auto const lWork = [lCopy = lShared]
    {
        for (int lTurn = 0; lTurn < 5000; ++lTurn)
        {
            utl::SmartPointer<Node> lOwn(lCopy);
            lOwn = lCopy;
        }
    };
    utl::test::together(lWork, lWork);                 // each has a copy
    EXPECT_EQ(2, lShared.actGetRefCounter()->count()); // and has given it back
}

std::string gCalls;

TEST(SmartHandle, SyncsAndClosesWhatIsADescriptor)
{
    using System = utl::internal::SystemCalls;
    utl::test::Replaced lFsync(
        &System::mFsync, +[](int nHandle) { return gCalls += "fsync " + std::to_string(nHandle), -1; });
    utl::test::Replaced lClose(
        &System::mClose, +[](int nHandle) { return gCalls += " close " + std::to_string(nHandle), -1; });
    for (int lHandle : {0, -1, 7})
    {
        utl::SmartHandle<utl::DestructCloseFile> lHolder(lHandle);
        EXPECT_EQ(lHandle == 0, lHolder.actGetRefCounter() == nullptr);
        EXPECT_EQ("", gCalls);
    }
    EXPECT_EQ("fsync 7 close 7", gCalls);
}

struct Derived : Node
{
};

TEST(SmartPointer, OfADerivedClassIsSharedAsItsBase)
{
    for (bool const lIsBaseLast : {false, true})
    {
        Node::sDeleted = 0;
        utl::SmartPointer<Derived> lDerived(new Derived);
        utl::SmartPointer<Node> lBase;
        EXPECT_FALSE(lBase);
        lBase = lDerived;
        EXPECT_TRUE(lBase);
        EXPECT_TRUE(lBase == lDerived);
        EXPECT_TRUE(lBase != utl::SmartPointer<Node>());
        lIsBaseLast ? lDerived.release() : lBase.release();
        EXPECT_EQ(0, Node::sDeleted);
        lIsBaseLast ? lBase.release() : lDerived.release();
        EXPECT_EQ(1, Node::sDeleted);
    }
}

} // namespace
