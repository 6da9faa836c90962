/// A key and a value, the element of a Map. Layer: sequence containers.
#ifndef UTL_PAIR_H
#define UTL_PAIR_H

namespace utl
{

/// A key and a value. If it is made without arguments, numbers and pointers in it are not initialised.
/// Safety: that of K and V; no lock, the owner guards it.
template <class K, class V>
class Pair
{
public:
    Pair() = default;
    /// Copies both.
    Pair(K const& nKey, V const& nValue)
        : mKey(nKey),
          mValue(nValue)
    {
    }
    Pair(Pair const&) = default;
    virtual ~Pair() = default;

    /// Assigns key and value; self-assignment does nothing.
    Pair& operator=(Pair const& nOther)
    {
        if (this != &nOther)
        {
            mKey = nOther.mKey;
            mValue = nOther.mValue;
        }
        return *this;
    }

    K mKey;   ///< guarded by the owner
    V mValue; ///< guarded by the owner
};

} // namespace utl

#endif
