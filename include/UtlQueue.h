/// A ring buffer and the first-in-first-out queue on it. Layer: sequence containers.
#ifndef UTL_QUEUE_H
#define UTL_QUEUE_H

#include "UtlArray.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace utl
{

namespace internal
{

/// Walks through a ring from the oldest element.
template <class Ring, class T>
class RingIterator
{
public:
    using iterator_category = std::forward_iterator_tag;
    using value_type = std::remove_const_t<T>;
    using difference_type = std::ptrdiff_t;
    using pointer = T*;
    using reference = T&;

    RingIterator() = default;
    RingIterator(Ring& nRing, unsigned int nIndex)
        : mpRing(&nRing),
          mIndex(nIndex)
    {
    }
    T& operator*() const { return *mpRing->at(mIndex); }
    T* operator->() const { return mpRing->at(mIndex); }
    RingIterator& operator++()
    {
        ++mIndex;
        return *this;
    }
    RingIterator operator++(int)
    {
        RingIterator const lBefore = *this;
        ++mIndex;
        return lBefore;
    }
    bool operator==(RingIterator const& nOther) const { return mIndex == nOther.mIndex; }
    bool operator!=(RingIterator const& nOther) const { return mIndex != nOther.mIndex; }

private:
    Ring* mpRing = nullptr;
    unsigned int mIndex = 0;
};

} // namespace internal

/// A ring buffer: owns one block of constructed elements of constant size. Logical index 0 is the oldest element. A
/// full ring refuses; it neither overwrites nor grows, and nothing allocates after construction. Dropped elements are
/// not destroyed. Runs of trivially copyable elements are copied as blocks.
///
/// Results:  false leaves the ring as it was. Nothing is logged.
/// Errors:   exceptions of the elements' assignment pass through and leave size() as it was.
/// Safety:   as Array.
template <class T, class A = T const&>
class RingArray
{
public:
    /// nMaxCount: the capacity in elements.
    explicit RingArray(unsigned int nMaxCount)
        : mpData(internal::newBlock<T>(nMaxCount)),
          mCount(0),
          mMaxCount(nMaxCount),
          mHead(0)
    {
    }
    RingArray(RingArray const&) = delete;
    RingArray& operator=(RingArray const&) = delete;
    virtual ~RingArray() { delete[] mpData; }

    unsigned int size() const { return mCount; }       ///< Elements stored.
    unsigned int maxSize() const { return mMaxCount; } ///< The capacity.

    /// The place in the block of a logical index from -maxSize() to below maxSize(); a negative one counts back from
    /// the oldest element.
    int physicalIndex(int nIndex) const
    {
        int const lIndex = mHead + nIndex;
        int const lMax = static_cast<int>(mMaxCount);
        if (lIndex < 0)
        {
            return lIndex + lMax;
        }
        return lIndex < lMax ? lIndex : lIndex - lMax;
    }

    /// The element; null if nIndex is not below size(). Its place is reused once the element is dropped.
    T* at(unsigned int nIndex) { return nIndex < mCount ? mpData + slot(nIndex) : nullptr; }
    T const* at(unsigned int nIndex) const { return nIndex < mCount ? mpData + slot(nIndex) : nullptr; }

    /// For a loop from the oldest to the newest element. The loop must not append or drop any.
    auto begin() { return internal::RingIterator<RingArray, T>(*this, 0); }
    auto end() { return internal::RingIterator<RingArray, T>(*this, mCount); }
    auto begin() const { return internal::RingIterator<RingArray const, T const>(*this, 0); }
    auto end() const { return internal::RingIterator<RingArray const, T const>(*this, mCount); }

    /// Appends. Result: false if the ring is full.
    [[nodiscard]] bool push(A nValue)
    {
        if (mCount >= mMaxCount)
        {
            return false;
        }
        mpData[slot(mCount)] = nValue;
        ++mCount;
        return true;
    }

    /// The same for elements that cannot be copied; the value is moved only if there is room.
    template <class U = T, class = std::enable_if_t<!std::is_copy_constructible_v<U>>>
    [[nodiscard]] bool push(T&& nValue)
    {
        if (mCount >= mMaxCount)
        {
            return false;
        }
        mpData[slot(mCount)] = std::move(nValue);
        ++mCount;
        return true;
    }

    /// Appends nCount elements. Result: false, with none appended, if not all of them fit, or for a null with a count.
    [[nodiscard]] bool pushAll(T const* npValues, unsigned int nCount)
    {
        if (nCount > mMaxCount - mCount || (npValues == nullptr && nCount != 0))
        {
            return false;
        }
        if (nCount != 0)
        {
            unsigned int const lSlot = slot(mCount);
            unsigned int const lRun = std::min(nCount, mMaxCount - lSlot);
            internal::assignForward(mpData + lSlot, npValues, lRun);
            internal::assignForward(mpData, npValues + lRun, nCount - lRun);
            mCount += nCount;
        }
        return true;
    }

    /// Copies at most nCount elements, from a logical index on; they stay in the ring.
    /// npTarget: room for nCount elements, not inside the ring. Result: the number of elements copied.
    unsigned int copyOut(unsigned int nIndex, T* npTarget, unsigned int nCount) const
    {
        if (nIndex >= mCount)
        {
            return 0;
        }
        unsigned int const lCount = std::min(nCount, mCount - nIndex);
        unsigned int const lSlot = slot(nIndex);
        unsigned int const lRun = std::min(lCount, mMaxCount - lSlot);
        internal::assignForward(npTarget, static_cast<T const*>(mpData + lSlot), lRun);
        internal::assignForward(npTarget + lRun, static_cast<T const*>(mpData), lCount - lRun);
        return lCount;
    }

    /// Drops the oldest element, if any.
    void pop() { pop(1); }

    /// Drops the oldest nCount elements, or all if there are fewer.
    void pop(unsigned int nCount)
    {
        unsigned int const lCount = std::min(nCount, mCount);
        if (lCount != 0)
        {
            mHead = static_cast<int>(slot(lCount));
            mCount -= lCount;
        }
    }

    /// Drops the newest nCount elements. Result: false for 0, and for more than there are.
    bool popBack(unsigned int nCount)
    {
        if (nCount == 0 || nCount > mCount)
        {
            return false;
        }
        mCount -= nCount;
        return true;
    }

    /// Removes at most nCount elements, from a logical index on, by shifting the newer ones. Takes time in proportion
    /// to the elements shifted; pop() drops the oldest without shifting.
    void erase(unsigned int nIndex, unsigned int nCount)
    {
        if (nIndex >= mCount)
        {
            return;
        }
        unsigned int const lCount = std::min(nCount, mCount - nIndex);
        if (lCount == 0)
        {
            return;
        }
        unsigned int const lNewCount = mCount - lCount;
        for (unsigned int lIndex = nIndex; lIndex < lNewCount;)
        {
            // As far as neither end meets the end of the block: three pieces at most.
            unsigned int const lTo = slot(lIndex);
            unsigned int const lFrom = slot(lIndex + lCount);
            unsigned int const lRun = std::min(lNewCount - lIndex, mMaxCount - std::max(lTo, lFrom));
            internal::assignForward(mpData + lTo, mpData + lFrom, lRun);
            lIndex += lRun;
        }
        mCount = lNewCount;
    }

    /// Drops all elements; the next one goes to the front of the block.
    void clear()
    {
        mCount = 0;
        mHead = 0;
    }

private:
    /// physicalIndex() for indices from 0 to mMaxCount, with one comparison.
    unsigned int slot(unsigned int nIndex) const
    {
        unsigned int const lHead = static_cast<unsigned int>(mHead);
        unsigned int const lBeforeWrap = mMaxCount - lHead;
        return nIndex < lBeforeWrap ? lHead + nIndex : nIndex - lBeforeWrap;
    }

    // All guarded by the owner.
    T* mpData;              // mMaxCount constructed elements, owned
    unsigned int mCount;    // elements stored
    unsigned int mMaxCount; // capacity, constant
    int mHead;              // physical index of logical element 0
};

/// A first-in-first-out queue of constant capacity. Its members are those of RingArray.
///
///     Queue<int> lLast(2);
///     (void)lLast.push(120);
///     (void)lLast.push(84);
///     bool const lIsStored = lLast.push(131);                             // false: it is full
///     if (int const* const lpOldest = lLast.at(0)) { use(*lpOldest); }    // 120
///     lLast.pop();                                                        // the oldest
///
/// Safety: as Array.
template <class T>
class Queue
{
public:
    /// nMaxCount: the capacity in elements.
    explicit Queue(unsigned int nMaxCount)
        : mRing(nMaxCount)
    {
    }
    virtual ~Queue() = default;

    /// As RingArray.
    unsigned int size() const { return mRing.size(); }
    unsigned int maxSize() const { return mRing.maxSize(); }
    T* at(unsigned int nIndex) { return mRing.at(nIndex); }
    T const* at(unsigned int nIndex) const { return mRing.at(nIndex); }
    auto begin() { return mRing.begin(); }
    auto end() { return mRing.end(); }
    auto begin() const { return mRing.begin(); }
    auto end() const { return mRing.end(); }
    [[nodiscard]] bool push(T const& nValue) { return mRing.push(nValue); }
    template <class U = T, class = std::enable_if_t<!std::is_copy_constructible_v<U>>>
    [[nodiscard]] bool push(T&& nValue)
    {
        return mRing.push(std::move(nValue));
    }
    [[nodiscard]] bool pushAll(T const* npValues, unsigned int nCount) { return mRing.pushAll(npValues, nCount); }
    unsigned int copyOut(unsigned int nIndex, T* npTarget, unsigned int nCount) const
    {
        return mRing.copyOut(nIndex, npTarget, nCount);
    }
    void pop() { mRing.pop(); }
    void pop(unsigned int nCount) { mRing.pop(nCount); }
    bool popBack(unsigned int nCount) { return mRing.popBack(nCount); }
    void erase(unsigned int nIndex, unsigned int nCount) { mRing.erase(nIndex, nCount); }
    void clear() { mRing.clear(); }

private:
    RingArray<T, T const&> mRing; // guarded by the owner
};

} // namespace utl

#endif
