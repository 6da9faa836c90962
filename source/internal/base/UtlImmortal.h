/// Objects that are made on first use and never destroyed. Layer: internal, lowest.
#ifndef UTL_IMMORTAL_H
#define UTL_IMMORTAL_H

#include <new>
#include <utility>

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

} // namespace utl::internal

#endif
