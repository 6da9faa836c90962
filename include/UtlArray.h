/// An array with a fixed, explicitly changed capacity. Layer: sequence containers.
#ifndef UTL_ARRAY_H
#define UTL_ARRAY_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <memory>
#include <type_traits>
#include <utility>

namespace utl
{

namespace internal
{

/// A block of constructed elements by array-new; null for 0. 4 GiB and more fail in the allocator, on 64 bits too.
template <class T>
T* newBlock(unsigned int nCount)
{
    if (nCount == 0)
    {
        return nullptr;
    }
    bool const lFits = std::uint64_t(nCount) * sizeof(T) <= UINT32_MAX;
    return new T[lFits ? nCount : PTRDIFF_MAX];
}

/// Assigns nCount elements from the first to the last; the target may overlap the source from below. Elements that
/// cannot be copied are moved.
template <class T, class S>
void assignForward(T* npTarget, S* npSource, unsigned int nCount)
{
    if constexpr (std::is_trivially_copyable_v<T>)
    {
        if (nCount != 0)
        {
            std::memmove(static_cast<void*>(npTarget), npSource, std::size_t(nCount) * sizeof(T));
        }
    }
    else if constexpr (std::is_copy_assignable_v<T>)
    {
        std::copy(npSource, npSource + nCount, npTarget);
    }
    else
    {
        std::move(npSource, npSource + nCount, npTarget);
    }
}

/// The same from the last to the first; the target may overlap the source from above.
template <class T, class S>
void assignBackward(T* npTarget, S* npSource, unsigned int nCount)
{
    if constexpr (std::is_trivially_copyable_v<T>)
    {
        assignForward(npTarget, npSource, nCount);
    }
    else if constexpr (std::is_copy_assignable_v<T>)
    {
        std::copy_backward(npSource, npSource + nCount, npTarget + nCount);
    }
    else
    {
        std::move_backward(npSource, npSource + nCount, npTarget + nCount);
    }
}

} // namespace internal

/// Owns one block of constructed elements, of which the first size() are in use. A full array refuses new elements
/// unless it was made to expand. Removed elements are not destroyed: stale copies stay behind the used ones.
///
///     Array<int> lReadings(3);                                            // room for three
///     bool const lIsStored = lReadings.insertAt(0, 20);                   // false if it is full
///     for (int lReading : lReadings) { use(lReading); }
///     if (int const* const lpThird = lReadings.at(2)) { use(*lpThird); }  // null: there is no third
///
/// Results:  false leaves the array as it was. Nothing is logged.
/// Errors:   exceptions of the allocator and of the elements pass through. If an assignment throws, some elements may
///           be there twice. If one throws while the capacity changes, the array is empty and has the new capacity. If
///           a constructor or the allocator throws then, the array has no block, see resizeMax().
/// Threads:  no lock; the owner guards every access.
/// Signals:  only to read what is not being changed.
/// Forks:    the child has a copy of its own.
/// Blocking: never.
template <class T, class A = T const&>
class Array
{
public:
    /// nMaxSize:    the capacity in elements; 0 for no block.
    /// nExpandMode: 1 lets insertAt() and copy() enlarge the array by exactly what they need; any other value fixes the
    ///              capacity. Since n appends to a full array copy about n * n / 2 elements, call resizeMax() first.
    explicit Array(unsigned int nMaxSize, int nExpandMode = 0)
        : mpData(internal::newBlock<T>(nMaxSize)),
          mSize(0),
          mMaxSize(nMaxSize),
          mExpandMode(nExpandMode)
    {
    }

    /// A fixed array just large enough for the used elements of the other.
    Array(Array const& nOther)
        : Array(nOther.mSize, 0)
    {
        copy(nOther, nOther.mSize);
    }

    Array& operator=(Array const&) = delete; // copy() says how many elements, and returns whether they fit
    virtual ~Array() { delete[] mpData; }

    unsigned int size() const { return mSize; }       ///< Elements in use.
    unsigned int maxSize() const { return mMaxSize; } ///< The capacity.

    /// The element; null if nIndex is not below size(). Valid until the capacity changes.
    T* at(unsigned int nIndex) { return nIndex < mSize && mpData != nullptr ? mpData + nIndex : nullptr; }
    T const* at(unsigned int nIndex) const { return nIndex < mSize && mpData != nullptr ? mpData + nIndex : nullptr; }

    /// For a loop over the used elements. The loop must not insert or remove any.
    T* begin() { return mpData; }
    T* end() { return mpData != nullptr ? mpData + mSize : nullptr; }
    T const* begin() const { return mpData; }
    T const* end() const { return mpData != nullptr ? mpData + mSize : nullptr; }

    /// The block, used elements first; null if the capacity is 0.
    T const* data() const { return mpData; }

    /// Sets the capacity to exactly nNewMax. Elements beyond it are dropped without a message; with an equal capacity
    /// nothing happens. Allocates twice. Result: true.
    ///
    /// Caution: if the allocator fails, or the constructor of an element throws, the contents are gone, maxSize() is
    /// nNewMax and size() the old one, but at() gives null; resizeMax() to a different capacity repairs the array.
    bool resizeMax(unsigned int nNewMax)
    {
        if (nNewMax == mMaxSize)
        {
            return true;
        }
        Array const lKept(*this);
        delete[] mpData;
        mpData = nullptr;
        mMaxSize = nNewMax;
        if (nNewMax != 0)
        {
            mpData = internal::newBlock<T>(nNewMax);
        }
        mSize = 0;
        unsigned int const lCount = std::min(lKept.mSize, nNewMax);
        internal::assignForward(mpData, static_cast<T const*>(lKept.mpData), lCount);
        mSize = lCount;
        return true;
    }

    /// Inserts before nIndex; size() appends. The value may be an element of this array.
    /// Result: false if nIndex is above size(), or the array is full and does not expand.
    [[nodiscard]] bool insertAt(unsigned int nIndex, A nValue)
    {
        unsigned int const lNewSize = mSize + 1;
        if (nIndex >= lNewSize)
        {
            return false;
        }
        T const lValue(nValue); // nValue may be an element, which is shifted or freed with the old block
        if (mExpandMode == 1 && lNewSize > mMaxSize)
        {
            resizeMax(lNewSize);
        }
        if (mMaxSize < lNewSize || mpData == nullptr)
        {
            return false;
        }
        internal::assignBackward(mpData + nIndex + 1, mpData + nIndex, mSize - nIndex);
        mpData[nIndex] = lValue;
        mSize = lNewSize;
        return true;
    }

    /// The same for elements that cannot be copied. The array never expands, and the value is moved only if there is
    /// room.
    template <class U = T, class = std::enable_if_t<!std::is_copy_constructible_v<U>>>
    [[nodiscard]] bool insertAt(unsigned int nIndex, T&& nValue)
    {
        if (nIndex > mSize || mSize >= mMaxSize)
        {
            return false;
        }
        internal::assignBackward(mpData + nIndex + 1, mpData + nIndex, mSize - nIndex);
        mpData[nIndex] = std::move(nValue);
        ++mSize;
        return true;
    }

    /// Overwrites a used element. The value may be an element of this array; assigning one to itself does nothing.
    /// Result: false if nIndex is not below size().
    bool setAt(unsigned int nIndex, A nValue)
    {
        T* const lpTarget = at(nIndex);
        if (lpTarget == nullptr)
        {
            return false;
        }
        T const* const lpValue = std::addressof(nValue);
        if (lpValue == lpTarget)
        {
            return true;
        }
        if (isUsedElement(lpValue))
        {
            T const lValue(nValue); // the target's old content may own the source
            *lpTarget = lValue;
            return true;
        }
        *lpTarget = nValue;
        return true;
    }

    /// Replaces the contents by the first nCount elements of another array, or by all if it has fewer; -1 for all.
    /// Copied from itself, the array is only truncated.
    /// Result: false if they do not fit and the array does not expand.
    bool copy(Array const& nSource, unsigned int nCount)
    {
        if (&nSource == this)
        {
            mSize = std::min(mSize, nCount);
            return true;
        }
        unsigned int const lCount = std::min(nCount, nSource.mSize);
        if (mMaxSize < lCount && (mExpandMode != 1 || !resizeMax(lCount)))
        {
            return false;
        }
        if (nSource.mpData == nullptr)
        {
            mSize = 0;
            return true;
        }
        if (mpData == nullptr && lCount != 0)
        {
            return false;
        }
        internal::assignForward(mpData, static_cast<T const*>(nSource.mpData), lCount);
        mSize = lCount;
        return true;
    }

    /// Removes an element by shifting the later ones down. Nothing happens if nIndex is not below size().
    void removeAt(unsigned int nIndex)
    {
        T* const lpRemoved = at(nIndex);
        if (lpRemoved != nullptr)
        {
            internal::assignForward(lpRemoved, lpRemoved + 1, mSize - nIndex - 1);
            --mSize;
        }
    }

private:
    bool isUsedElement(T const* npValue) const
    {
        std::less<T const*> const lIsBelow{};
        return !lIsBelow(npValue, mpData) && lIsBelow(npValue, mpData + mSize);
    }

    // All guarded by the owner.
    T* mpData;             // mMaxSize constructed elements, owned
    unsigned int mSize;    // elements in use, at the front
    unsigned int mMaxSize; // elements in the block
    int mExpandMode;       // 1: grows on demand; constant
};

} // namespace utl

#endif
