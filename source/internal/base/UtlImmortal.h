/// Objects that are never destroyed: made on first use, or by the compiler. Layer: internal, lowest.
#ifndef UTL_IMMORTAL_H
#define UTL_IMMORTAL_H

#include <new>
#include <utility>

/// Marks a variable: a compile error if its initialiser needs run-time work.
#if defined(__clang__)
#define UTL_CONSTINIT [[clang::require_constant_initialization]]
#else
#define UTL_CONSTINIT __constinit
#endif

/// Marks an Undestroyed constant with addresses in it: read-only once they are relocated. The compilers do so by
/// themselves only for classes without a destructor.
#define UTL_RELRO __attribute__((section(".data.rel.ro.utl")))

namespace utl::internal
{

/// Holds a T that no exit handler destroys: a thread that still runs while the process exits finds it intact.
/// Use it as the only variable of a function that gives a reference, so that constructors of static objects
/// in other files may come first:
///
///     SyncObject& tableLock() { static Immortal<SyncObject> lLock; return lLock.get(); }
template <class T>
class Immortal
{
public:
    template <class... A>
    explicit Immortal(A&&... nArguments)
    {
        new (mStorage) T(std::forward<A>(nArguments)...);
    }

    T& get() { return *std::launder(reinterpret_cast<T*>(mStorage)); }

private:
    alignas(T) unsigned char mStorage[sizeof(T)];
};

/// Holds a default-made T whose destructor never runs, so that a thread which still runs while the process exits finds
/// it whole.
template <class T>
union Undestroyed
{
    constexpr Undestroyed()
        : mValue()
    {
    }
    ~Undestroyed() {}

    T mValue;
};

} // namespace utl::internal

#endif
