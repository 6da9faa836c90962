// Two shared libraries in one process, each with a worker: messages find theirs, and a ring through both is found.
#include <UtlOutcome.h>
#include <UtlWorker.h>

#include <cstdio>

struct Left
{
    static int count(int nNumber);
    static utl::Call callBack(utl::Call (*npCall)());
};
struct Right
{
    static int count(int nNumber);
    static utl::Call callBack(utl::Call (*npCall)());
};

int main()
{
    int const lLeft = Left::count(1) + Left::count(2);      // 1 + 3
    int const lRight = Right::count(10) + Right::count(20); // 10 + 30
    auto const lToLeft = [] { return Left::callBack([] { return utl::Call::DONE; }); };
    utl::Call const lThere = Right::callBack(lToLeft);
    static utl::Call (*const BACK)() = lToLeft;
    utl::Call const lRing = Left::callBack([] { return Right::callBack(BACK); });
    std::printf("%d %d, %s, %s\n", lLeft, lRight, text(lThere), text(lRing));
    bool const lIsRight = lLeft == 4 && lRight == 40 && lThere == utl::Call::DONE && lRing == utl::Call::CYCLE;
    return lIsRight ? 0 : 1;
}
