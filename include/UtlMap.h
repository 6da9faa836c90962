/// A sorted table with unique keys, and the search in sorted tables. Layer: map.
///
/// Safety: the searches use nothing but their arguments, so any thread may call them on a table that nobody changes,
///         also in a signal handler and after a fork; they never block.
#ifndef UTL_MAP_H
#define UTL_MAP_H

#include "UtlArray.h"
#include "UtlPair.h"

namespace utl
{

/// Orders keys and pairs by the key's plain `<`. Safety: that of this `<`.
template <class K, class V>
class CompareLessPairKey
{
public:
    /// Whether the left key is less than the right one.
    bool operator()(K const& nKey, Pair<K, V> const& nPair) const { return nKey < nPair.mKey; }
    bool operator()(Pair<K, V> const& nPair, K const& nKey) const { return nPair.mKey < nKey; }
};

/// Searches an ascending table for the first element whose key is not less than nKey.
///
/// nCompare: less-than for (key, element) and for (element, key).
/// Result:   the index; nSize if all keys are less; -1 for a null table, also with nSize 0, and for more than INT_MAX
///           elements.
template <class K, class E, class Cmp>
unsigned int searchPosition(K const& nKey, E const* npData, unsigned int nSize, Cmp nCompare)
{
    if (npData == nullptr || static_cast<int>(nSize) < 0)
    {
        return static_cast<unsigned int>(-1);
    }
    unsigned int lLow = 0;
    for (unsigned int lCount = nSize; lCount != 0;)
    {
        unsigned int const lHalf = lCount / 2;
        bool const lIsBelow = nCompare(npData[lLow + lHalf], nKey);
        lLow = lIsBelow ? lLow + lHalf + 1 : lLow;
        lCount = lIsBelow ? lCount - lHalf - 1 : lHalf;
    }
    return lLow;
}

/// Searches an ascending table for the first element with that key; null if there is none, and for a table that
/// searchPosition() refuses.
template <class K, class E, class Cmp>
E const* searchBinary(K const& nKey, E const* npData, unsigned int nSize, Cmp nCompare)
{
    if (nSize == 0)
    {
        return nullptr;
    }
    unsigned int const lPosition = searchPosition(nKey, npData, nSize, nCompare);
    if (lPosition >= nSize || nCompare(nKey, npData[lPosition]))
    {
        return nullptr;
    }
    return npData + lPosition;
}

/// Pairs in ascending order of their unique keys, in an array of fixed capacity; a full map refuses new keys.
/// Finding takes logarithmic time and allocates nothing; inserting and erasing shift by assignment.
///
///     Map<int, int> lHighest(2);                                          // by sensor, for two sensors
///     bool const lIsStored = lHighest.insert(7, 120);                     // false if it is full
///     (void)lHighest.insert(7, 131);                                      // overwrites the value of this key
///     if (auto const* const lpFound = lHighest.find(7)) { use(lpFound->mValue); }
///     for (auto const& lPair : lHighest) { use(lPair.mKey); }             // ascending
///
/// Errors: what the allocator or an assignment throws passes through. Nothing is logged.
/// Safety: as Array.
template <class K, class V, class KA = K const&, class VA = V const&, class Cmp = CompareLessPairKey<K, V>>
class Map
{
public:
    /// The element of the array.
    using Element = Pair<K, V>;

    /// nMaxSize: the capacity in pairs. nExpandMode: that of the array. A map of capacity 0 refuses every key in any
    /// mode.
    explicit Map(unsigned int nMaxSize, int nExpandMode = 0)
        : mArray(nMaxSize, nExpandMode)
    {
    }
    Map(Map const&) = default; ///< As for Array: just large enough for the pairs stored, and fixed.
    virtual ~Map() = default;

    unsigned int size() const { return mArray.size(); }       ///< Pairs stored.
    unsigned int maxSize() const { return mArray.maxSize(); } ///< The capacity.

    /// The pair at a position in ascending order; null if nIndex is not below size().
    /// Caution: a changed mKey breaks the order and with it every search; change only mValue.
    Element* at(unsigned int nIndex) { return mArray.at(nIndex); }
    Element const* at(unsigned int nIndex) const { return mArray.at(nIndex); }

    /// For a loop over the pairs in ascending order. The loop must not insert or erase, nor change an mKey.
    Element* begin() { return mArray.begin(); }
    Element* end() { return mArray.end(); }
    Element const* begin() const { return mArray.begin(); }
    Element const* end() const { return mArray.end(); }

    /// Adds a pair, or overwrites the one that has the key.
    /// Result: false if the key is new and the map full.
    [[nodiscard]] bool insert(KA nKey, VA nValue)
    {
        unsigned int const lPosition = position(nKey);
        if (lPosition == static_cast<unsigned int>(-1))
        {
            return false;
        }
        Element const lElement(nKey, nValue);
        return holds(lPosition, nKey) ? mArray.setAt(lPosition, lElement) : mArray.insertAt(lPosition, lElement);
    }

    /// The pair with the key, or null. Valid until the map changes.
    Element* find(KA nKey) { return const_cast<Element*>(static_cast<Map const*>(this)->find(nKey)); }
    Element const* find(KA nKey) const
    {
        return searchBinary<K, Element, Cmp>(nKey, mArray.data(), mArray.size(), mCompare);
    }

    /// Removes the pair with the key. Result: false if there is none.
    bool erase(KA nKey)
    {
        unsigned int const lPosition = position(nKey);
        if (!holds(lPosition, nKey))
        {
            return false;
        }
        mArray.removeAt(lPosition);
        return true;
    }

    /// The array of pairs, for resizeMax() and copy().
    /// Caution: what is written through it must leave the keys strictly ascending.
    Array<Element, Element const&>& array() { return mArray; }
    Array<Element, Element const&> const& array() const { return mArray; }

private:
    unsigned int position(K const& nKey) const
    {
        return searchPosition<K, Element, Cmp>(nKey, mArray.data(), mArray.size(), mCompare);
    }

    bool holds(unsigned int nPosition, K const& nKey) const
    {
        return nPosition < mArray.size() && !mCompare(nKey, mArray.data()[nPosition]);
    }

    Array<Element, Element const&> mArray; // guarded by the owner; strictly ascending by key
    Cmp mCompare;                          // constant, empty
};

} // namespace utl

#endif
