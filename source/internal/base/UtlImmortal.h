/// Objects that are never destroyed, made on first use or constant-initialised. Layer: internal, lowest.
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

/// Marks an Undestroyed constant that holds addresses: it becomes read-only after relocation. Compilers do that by
/// themselves only for classes without a destructor.
#define UTL_RELRO __attribute__((section(".data.rel.ro.utl")))

namespace utl::internal
{

/// Holds a T that no exit handler destroys: a thread that still runs while the process exits finds it intact. Make it
/// the only variable of a function that returns a reference. Then constructors of static objects in other files can
/// use it, whichever comes first:
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

/// Holds a constant-initialised T whose destructor never runs, for the same reason.
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
