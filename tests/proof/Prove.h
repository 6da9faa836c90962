/// What the proofs share: the headers that most need, a condition that must hold, and where the program is when it does
/// not.
#ifndef UTL_PROOF_PROVE_H
#define UTL_PROOF_PROVE_H

#include "UtlThreadManager.h"
#include "support/Faults.h"
#include "support/Gate.h"
#include "support/LogCapture.h"

#include <fstream>
#include <memory>

#include <fcntl.h>
#include <sched.h>
#include <sys/wait.h>

namespace utl::proof
{

inline std::atomic<char const*> gCase{"start"};   // what is being proved
inline std::atomic<unsigned long long> gRound{0}; // and how often it has been

[[noreturn]] inline void fail(char const* npCondition, long long nLeft, long long nRight, int nLine)
{
    std::fprintf(stderr, "%s, round %llu, line %d: not %s (%lld, %lld)\n", gCase.load(), gRound.load(), nLine,
                 npCondition, nLeft, nRight);
    std::_Exit(1);
}

/// Ends the program, in all builds and on any thread, where it does not hold.
#define PROVE(nCondition) ((nCondition) ? void() : ::utl::proof::fail(#nCondition, 0, 0, __LINE__))

inline void proveEqual(long long nLeft, long long nRight, char const* npCondition, int nLine)
{
    nLeft == nRight ? void() : fail(npCondition, nLeft, nRight, nLine);
}
#define PROVE_EQ(nLeft, nRight)                                                                                        \
    ::utl::proof::proveEqual(static_cast<long long>(nLeft), static_cast<long long>(nRight), #nLeft " == " #nRight,     \
                             __LINE__)

/// From here on the program ends where gRound stands still for too long.
inline void endHangs()
{
    std::thread(
        []
        {
            for (unsigned long long lLast = ~0ULL; lLast != gRound;)
            {
                lLast = gRound;
                std::this_thread::sleep_for(std::chrono::milliseconds(6 * test::longMs()));
            }
            std::fprintf(stderr, "%s, round %llu: hangs\n", gCase.load(), gRound.load());
            std::_Exit(3);
        })
        .detach();
}

} // namespace utl::proof

#endif
