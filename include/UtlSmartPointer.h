/// Counted holders of pointers and handles. Layer: counted holders.
#ifndef UTL_SMART_POINTER_H
#define UTL_SMART_POINTER_H

#include "UtlMacros.h"
#include "UtlSyncObject.h"

#include <memory>
#include <type_traits>
#include <utility>

namespace utl
{

/// Counts the holders of one object or handle.
///
/// Threads:  any.
/// Locks:    one of its own, a leaf, held while the count changes.
/// Signals:  no.
/// Forks:    the child has a count of its own, which still counts the parent's holders; for its lock see SyncObject.
/// Blocking: for that lock.
class UTL_API RefCounter
{
public:
    RefCounter() = default;
    RefCounter(RefCounter const&) = delete;
    RefCounter& operator=(RefCounter const&) = delete;
    virtual ~RefCounter();

    void addReference(); ///< Adds a holder.
    int dropReference(); ///< Removes a holder. Result: those left; whoever gets 0 disposes of object and counter.
    int count() const;   ///< The holders at this moment; other threads may change the count at once.

private:
    int mCounter UTL_GUARDED_BY(mLock) = 0;
    SyncObject mLock;
};

/// Lets one holder reach the counter of another.
/// Safety: that of the holder.
class UTL_API GetRefCounterInterface
{
public:
    virtual ~GetRefCounterInterface();
    virtual RefCounter* actGetRefCounter() const = 0; ///< This holder's counter; null if it holds nothing.

    /// Another holder's counter; null if that holds nothing.
    RefCounter* getRefCounter(GetRefCounterInterface const& nOther) const { return nOther.actGetRefCounter(); }

protected:
    GetRefCounterInterface() = default;
    GetRefCounterInterface(GetRefCounterInterface const&) = default;
    GetRefCounterInterface& operator=(GetRefCounterInterface const&) = default;
};

namespace internal
{

/// Adds a holder, if the counter is not null. Result: npCounter.
UTL_API RefCounter* addReference(RefCounter* npCounter);

/// Removes a holder; reports a count below 0 in the log.
/// npClass: the class name for the report.
/// Result:  true for the last holder, which disposes of the object and then deletes the counter.
UTL_API bool dropReference(RefCounter* npCounter, char const* npClass);

} // namespace internal

/// A holder that shares a pointer with its copies: the last one to let go calls D()(pointer), without a lock.
///
/// Ownership: construction and set() take it, unless allocating the counter throws: then nothing has changed.
///            While a disposer runs, the holder that lets go must not be used.
/// Threads:   copies may be used by different threads. One holder is used by one thread at a time, and the object is
///            not protected.
/// Signals:   only get(), of a holder that is not being changed.
/// Forks:     the child has holders and a count of its own, so the disposer runs in both parent and child.
/// Blocking:  for the counter's lock, and as long as the disposer does.
template <class T, class D>
class CountingPointer : public GetRefCounterInterface
{
public:
    CountingPointer() = default;
    /// Holds the object, or nothing for null.
    explicit CountingPointer(T* npObject)
        : mpObject(npObject),
          mpRefCounter(npObject != nullptr ? internal::addReference(new RefCounter) : nullptr)
    {
    }
    /// Shares what the other holds.
    CountingPointer(CountingPointer const& nOther)
        : GetRefCounterInterface(nOther),
          mpObject(nOther.mpObject),
          mpRefCounter(internal::addReference(getRefCounter(nOther)))
    {
    }
    /// Lets go.
    ~CountingPointer() override { drop(); }

    /// Shares what the other holds, and lets go of what was held before.
    CountingPointer& operator=(CountingPointer const& nOther)
    {
        T* const lpObject = nOther.mpObject; // nOther may be part of the object that replace() disposes of
        RefCounter* const lpRefCounter = internal::addReference(getRefCounter(nOther));
        replace(lpObject, lpRefCounter);
        return *this;
    }

    /// Holds another object, or none for null, with a new counter; other holders keep the old object. Setting the same
    /// object again changes nothing.
    /// Caution: to share an object that has holders already, copy one of them; set() would count it twice.
    UTL_SHARP_EDGE("copy a holder of an object that is shared")
    void set(T* npObject)
    {
        if (npObject != mpObject)
        {
            replace(npObject, npObject != nullptr ? internal::addReference(new RefCounter) : nullptr);
        }
    }

    /// Lets go, and is empty afterwards.
    void release() { replace(nullptr, nullptr); }

    T& operator*() const { return *mpObject; }                             ///< Not of an empty holder.
    T* operator->() const { return mpObject; }                             ///< Null if empty.
    T* get() const { return mpObject; }                                    ///< Null if empty.
    RefCounter* actGetRefCounter() const override { return mpRefCounter; } ///< Null if empty.

protected:
    /// Shares what a holder of another type holds. npObject: the same object as a T.
    CountingPointer(T* npObject, GetRefCounterInterface const& nOther)
        : mpObject(npObject),
          mpRefCounter(internal::addReference(getRefCounter(nOther)))
    {
    }

private:
    void drop()
    {
        if (internal::dropReference(mpRefCounter, "CountingPointer"))
        {
            D()(mpObject); // never null here
            delete mpRefCounter;
        }
    }

    void replace(T* npObject, RefCounter* npRefCounter)
    {
        drop();
        mpObject = npObject;
        mpRefCounter = npRefCounter;
    }

    T* mpObject = nullptr;              // one thread
    RefCounter* mpRefCounter = nullptr; // one thread; null exactly when nothing is held
};

/// Shares a handle, by value, as CountingPointer shares a pointer. The handle 0 means that nothing is held.
/// Safety: as CountingPointer. After a fork both parent and child have a descriptor: closing it in one leaves it open
///         in the other.
template <class T, class D>
class Counting : public GetRefCounterInterface
{
public:
    Counting() = default;
    /// As in CountingPointer, and so are all members.
    explicit Counting(T nHandle) { set(nHandle); }
    /// Shares what the other holds.
    Counting(Counting const& nOther)
        : GetRefCounterInterface(nOther),
          mHandle(nOther.mHandle),
          mpRefCounter(internal::addReference(getRefCounter(nOther)))
    {
    }
    /// Lets go.
    ~Counting() override { drop(); }

    /// Shares what the other holds, and lets go of what was held before.
    Counting& operator=(Counting const& nOther)
    {
        T const lHandle = nOther.mHandle;
        RefCounter* const lpRefCounter = internal::addReference(getRefCounter(nOther));
        replace(lHandle, lpRefCounter);
        return *this;
    }

    /// As CountingPointer::set().
    void set(T nHandle)
    {
        if (nHandle != mHandle)
        {
            replace(nHandle, nHandle != T() ? internal::addReference(new RefCounter) : nullptr);
        }
    }

    /// Lets go, and is empty afterwards.
    void release() { replace(T(), nullptr); }

    T operator*() const { return mHandle; }                                ///< 0 if empty.
    T get() const { return mHandle; }                                      ///< 0 if empty.
    RefCounter* actGetRefCounter() const override { return mpRefCounter; } ///< Null if empty.

private:
    void drop()
    {
        if (internal::dropReference(mpRefCounter, "Counting"))
        {
            D()(mHandle);
            delete mpRefCounter;
        }
    }

    void replace(T nHandle, RefCounter* npRefCounter)
    {
        drop();
        mHandle = nHandle;
        mpRefCounter = npRefCounter;
    }

    T mHandle = T();                    // one thread
    RefCounter* mpRefCounter = nullptr; // one thread; null exactly when nothing is held
};

/// Deletes an object made by new.
/// Safety: that of T's destructor, and not in a signal handler.
template <class T>
class DestructPointer
{
public:
    /// npObject: may be null.
    void operator()(T* npObject) const
    {
        static_assert(sizeof(T) != 0, "the class must be complete where its last holder may go");
        delete npObject;
    }
};

/// Closes a file descriptor after an fsync, and ignores both results. Does nothing for 0 and -1.
/// Safety: any thread, also after a fork, and in a signal handler that restores errno; blocks as long as the device
///         does.
class UTL_API DestructCloseFile
{
public:
    void operator()(int nHandle) const; ///< Syncs and closes it.
};

/// A shared object made by new.
///
///     SmartPointer<Card> lCard = makeSmart<Card>();
///     SmartPointer<Card> const lOther = lCard;    // shares the card
///     lCard.release();                            // lOther still has it; the last holder deletes it
///
/// Safety: as CountingPointer.
template <class T>
class SmartPointer : public CountingPointer<T, DestructPointer<T>>
{
public:
    SmartPointer() = default;
    /// Holds the object, or nothing for null.
    explicit SmartPointer(T* npObject)
        : CountingPointer<T, DestructPointer<T>>(npObject)
    {
    }
    /// Shares what a holder of a derived class holds. The last holder deletes the object through its own pointer type.
    template <class D, class = std::enable_if_t<std::is_convertible_v<D*, T*> && !std::is_same_v<D, T>>>
    SmartPointer(SmartPointer<D> const& nOther)
        : CountingPointer<T, DestructPointer<T>>(nOther.get(), nOther)
    {
        static_assert(std::has_virtual_destructor_v<T>, "the last holder deletes it as a T");
    }

    explicit operator bool() const { return this->get() != nullptr; } ///< Whether it holds an object.
};

/// A new object in a holder. If memory runs out, for the object or for its counter, both are freed.
/// Safety: as SmartPointer.
template <class T, class... A>
SmartPointer<T> makeSmart(A&&... nArguments)
{
    auto lpObject = std::make_unique<T>(std::forward<A>(nArguments)...);
    SmartPointer<T> lpHolder(lpObject.get());
    lpObject.release();
    return lpHolder;
}

/// Whether two holders hold the same object, or both hold none. Safety: as SmartPointer.
template <class T, class D>
bool operator==(SmartPointer<T> const& nLeft, SmartPointer<D> const& nRight)
{
    return nLeft.get() == nRight.get();
}
template <class T, class D>
bool operator!=(SmartPointer<T> const& nLeft, SmartPointer<D> const& nRight)
{
    return nLeft.get() != nRight.get();
}

/// A shared descriptor.
/// Safety: as Counting.
/// Caution: descriptor 0 counts as nothing and is never closed; -1 is held, but never closed.
template <class D>
class SmartHandle : public Counting<int, D>
{
public:
    SmartHandle() = default;
    /// Holds the descriptor.
    explicit SmartHandle(int nHandle)
        : Counting<int, D>(nHandle)
    {
    }
};

} // namespace utl

#endif
