/// Makes system calls of the library fail.
#ifndef UTL_TEST_FAULTS_H
#define UTL_TEST_FAULTS_H

#include <atomic>
#include <cerrno>
#include <cstring>
#include <functional>
#include <type_traits>
#include <utility>

#include <sys/stat.h>
#include <unistd.h>

#include "internal/base/UtlSystemCalls.h"

namespace utl::test
{

/// For a test that changes modes: whoever runs it may be root.
inline int chmodBelowRoot(char const* npPath, mode_t nMode)
{
    return std::strcmp(npPath, "/") == 0 ? 0 : ::chmod(npPath, nMode);
}

/// Puts another function in the place of one entry of the table, and the old one back at the end of the scope:
///
///     Replaced lWrite(&internal::SystemCalls::mWrite, [](int, void const*, size_t) -> ssize_t { ... });
template <class F>
class Replaced
{
public:
    using Entry = internal::SystemCall<F>;

    Replaced(Entry internal::SystemCalls::*npEntry, typename Entry::Function npFunction)
        : mpEntry(npEntry),
          mpOriginal((internal::gSystem.*npEntry).exchange(npFunction))
    {
    }
    ~Replaced() { (internal::gSystem.*mpEntry).exchange(mpOriginal); }
    Replaced(Replaced const&) = delete;
    Replaced& operator=(Replaced const&) = delete;

private:
    Entry internal::SystemCalls::*mpEntry;
    typename Entry::Function mpOriginal;
};

template <class R, class... A>
Replaced(internal::SystemCall<R(A...)> internal::SystemCalls::*, R (*)(A...)) -> Replaced<R(A...)>;

/// How a call fails.
enum FaultKind
{
    FAULT_ONCE = 0,
    FAULT_FOR_EVER = 1, ///< All later calls fail as well.
    FAULT_ACTS = 2      ///< It does its work and then reports the error, as a close() does whose data was lost.
};

/// A fault of any kind, for its scope.
class Fault
{
public:
    Fault() = default;
    virtual ~Fault() = default;
    Fault(Fault const&) = delete;
    Fault& operator=(Fault const&) = delete;
    virtual bool fired() const = 0;
    virtual int calls() const = 0;
};

/// While one lives, the n-th call (counted from 1) of one entry fails with the error number; 0 makes all fail.
/// Calls are counted over all threads. One at a time for each entry.
///
///     FailNth<&internal::SystemCalls::mPipe2> lFault(1, EMFILE);
template <auto ENTRY>
class FailNth : public Fault
{
    template <class F>
    struct Traits;

    template <class R, class... A>
    struct Traits<internal::SystemCall<R(A...)> internal::SystemCalls::*>
    {
        static R call(A... nArguments)
        {
            int const lCount = ++sCalls;
            bool const lFails = sNth == 0 || lCount == sNth || (lCount > sNth && (sKind & FAULT_FOR_EVER) != 0);
            if (!lFails)
            {
                return sOriginal.load()(nArguments...);
            }
            sFired = true;
            if ((sKind & FAULT_ACTS) != 0)
            {
                sOriginal.load()(nArguments...);
            }
            return failure<R>();
        }

        static inline std::atomic<R (*)(A...)> sOriginal{nullptr};
    };
    using Entry = Traits<std::remove_const_t<decltype(ENTRY)>>;

public:
    /// nKind: of FaultKind, added up.
    FailNth(int nNth, int nError, int nKind = FAULT_ONCE)
    {
        sCalls = 0;
        sNth = nNth;
        sKind = nKind;
        sError = nError;
        sFired = false;
        Entry::sOriginal = (internal::gSystem.*ENTRY).function();
        (internal::gSystem.*ENTRY).exchange(&Entry::call);
    }
    ~FailNth() override { (internal::gSystem.*ENTRY).exchange(Entry::sOriginal); }

    bool fired() const override { return sFired; }
    int calls() const override { return sCalls; }

private:
    template <class R>
    static R failure()
    {
        errno = sError;
        if constexpr (std::is_pointer_v<R>)
        {
            return nullptr;
        }
        else if constexpr (!std::is_void_v<R>)
        {
            return IS_PTHREAD ? static_cast<R>(errno) : static_cast<R>(-1);
        }
    }

    template <auto>
    struct Place;
    template <auto OTHER>
    static constexpr bool IS = std::is_same_v<Place<ENTRY>*, Place<OTHER>*>;
    using SC = internal::SystemCalls;
    static constexpr bool IS_PTHREAD =
        IS<&SC::mPthreadCreate> || IS<&SC::mPthreadCondTimedwait> || IS<&SC::mPthreadDetach>;

    static inline std::atomic<int> sCalls{0};
    static inline std::atomic<int> sNth{0};
    static inline std::atomic<int> sKind{FAULT_ONCE};
    static inline std::atomic<int> sError{0};
    static inline std::atomic<bool> sFired{false};
};

/// Does something while the first call of one entry fails. Result: what that gave.
///
///     EXPECT_FALSE(failing<&internal::SystemCalls::mWrite>(EIO, [&] { return lThread.postMsg(1); }));
template <auto ENTRY, class F>
auto failing(int nError, F nDo)
{
    FailNth<ENTRY> lFault(1, nError);
    return nDo();
}

} // namespace utl::test

#endif
