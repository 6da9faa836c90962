/// The owning UTF-8 string. Layer: string class.
#ifndef UTL_BASIC_STRING_H
#define UTL_BASIC_STRING_H

#include "UtlString.h"

#include <memory>
#include <string_view>

namespace utl
{

/// A terminated text in a heap buffer with an explicit capacity. T is char.
///
///     BasicString<char> lLabel(10, 0);                            // ten bytes, terminator included
///     bool const lFits = lLabel.copy("観測小屋", STR_ALL, 0);     // false, and unchanged: it takes 13 bytes
///     bool const lIsDone = lLabel.copy("観測小屋", STR_ALL, 1);    // true: "観測小", cut between characters
///     lLabel += ", north";                                        // operators enlarge the capacity
///
/// Capacity:  in bytes, terminator included, at least 1. copy() and replace() enlarge it only in expand mode 1, the
///            operators always; only resizeMax() makes it smaller. A string made without arguments has no buffer.
/// Ownership: owns its buffer and copies what it is given. A pointer from c_str() is valid until the next change.
///            Arguments may point into the string itself.
/// Threads:   one at a time uses an object.
/// Signals:   only to read what is not being changed.
/// Forks:     the child has a copy of its own.
/// Blocking:  never, but for replace().
/// Errors:    nothing is logged. If memory runs out, the allocator's exception passes through and nothing has changed.
template <class T>
class BasicString
{
public:
    /// Empty: capacity 1, expand mode 0, no heap. Constant-initialised.
    constexpr BasicString()
        : mpData(&EMPTY_CHAR),
          mMaxSize(1),
          mExpandMode(0),
          mIsShared(true)
    {
    }

    /// Empty, zero-filled. nMaxSize: the capacity; 0 counts as 1.
    BasicString(unsigned int nMaxSize, int nExpandMode);

    /// npText:   null counts as empty.
    /// nMaxSize: the capacity, raised to what the text needs; 0 for just what it needs.
    BasicString(T const* npText, unsigned int nMaxSize, int nExpandMode);

    /// A copy with expand mode 0 and just the capacity that the text needs.
    BasicString(BasicString const& nOther)
        : BasicString(nOther.mpData, 0, 0)
    {
    }

    virtual ~BasicString();

    /// Assigns the whole text, null meaning empty. The capacity grows to exactly what is needed and never shrinks.
    BasicString& operator=(T const* npText);

    /// Assigns the text as above; the expand mode stays.
    BasicString& operator=(BasicString const& nOther) { return *this = static_cast<T const*>(nOther.mpData); }

    /// Appends, null meaning empty. If there is too little room, the capacity grows by the text's length plus 1.
    BasicString& operator+=(T const* npText);

    /// Sets the capacity in any expand mode and keeps the whole characters that fit. 0 and 1 empty the string and free
    /// its buffer.
    /// Result: false if malformed text is cut and no start of a character is found: the string is then empty.
    bool resizeMax(unsigned int nMaxSize);

    /// Replaces the content by at most nMaxBytes bytes of a text (STR_ALL: all of it).
    ///
    /// nMode:  1 cuts to the capacity at a character boundary, any other value means all or nothing.
    /// Result: false for null, no room, malformed text in mode 1, and if malformed text is cut and no start of a
    ///         character is found. The text is then unchanged; in expand mode 1 the capacity may have grown.
    /// Caution: nMaxBytes 0 gives true and keeps the old text; assign "" to empty the string.
    [[nodiscard]] bool copy(T const* npText, unsigned int nMaxBytes, int nMode);

    /// Replaces every npPattern. Takes the StaticBuffer's lock and one scratch row.
    ///
    /// nMode:    as in copy().
    /// Forks:    as StaticBuffer.
    /// Blocking: until no other thread has a scratch row.
    /// Result:   false for nulls and for text of WorkingBuffer<T>::CAPACITY bytes or more: the text is unchanged. False
    ///           also for no room and for malformed text in mode 1: the text is then what was written until there.
    /// Capacity: in expand mode 1 it has grown before any failure is found. An empty npPattern counts as one match: the
    ///           capacity grows by the length of npReplacement, although nothing is replaced.
    /// Caution: an empty replacement drops everything behind the first match, see replaceStr(); use eraseStrSpan().
    UTL_SHARP_EDGE("with an empty replacement use eraseStrSpan()")
    bool replace(T const* npPattern, T const* npReplacement, int nMode);

    /// The text, never null. Who writes into it must stay within maxSize() bytes and leave a terminator.
    /// Caution: strings without a buffer, whose maxSize() is 1, share EMPTY_CHAR; write nothing into those.
    UTL_SHARP_EDGE("write nothing into a string of maxSize() 1")
    T* c_str() { return mpData; }
    T const* c_str() const { return mpData; }

    /// The text without its terminator; valid until the next change.
    std::basic_string_view<T> view() const { return mpData; }

    /// The capacity in bytes, terminator included.
    unsigned int maxSize() const { return mMaxSize; }

private:
    std::unique_ptr<T[]> exchangeBuffer(std::unique_ptr<T[]> nBuffer, unsigned int nMaxSize);
    bool isOwnText(T const* npText) const;
    unsigned int occurrences(T const* npPattern) const;

    T* mpData;             // owned unless shared; a shared one is never written
    unsigned int mMaxSize; // bytes, at least 1 and more than the text's length
    int mExpandMode;       // set by the constructors, then constant
    bool mIsShared;        // mpData is EMPTY_CHAR
};

extern template class UTL_API BasicString<char>;

/// Compare the texts byte by byte, as unsigned numbers; capacities do not count. A char const* must not be null.
/// Safety: as BasicString.
inline bool operator==(BasicString<char> const& nLeft, BasicString<char> const& nRight)
{
    return nLeft.view() == nRight.view();
}
inline bool operator==(BasicString<char> const& nLeft, std::string_view nRight)
{
    return nLeft.view() == nRight;
}
inline bool operator==(std::string_view nLeft, BasicString<char> const& nRight)
{
    return nLeft == nRight.view();
}
inline bool operator!=(BasicString<char> const& nLeft, BasicString<char> const& nRight)
{
    return !(nLeft == nRight);
}
inline bool operator!=(BasicString<char> const& nLeft, std::string_view nRight)
{
    return !(nLeft == nRight);
}
inline bool operator!=(std::string_view nLeft, BasicString<char> const& nRight)
{
    return !(nLeft == nRight);
}
inline bool operator<(BasicString<char> const& nLeft, BasicString<char> const& nRight)
{
    return nLeft.view() < nRight.view();
}

} // namespace utl

/// npLeft, null meaning empty, followed by nRight, as a new string of expand mode 0 and just the capacity it needs.
/// Safety: as BasicString.
UTL_API utl::BasicString<char> operator+(char const* npLeft, utl::BasicString<char> const& nRight);

namespace utl
{
using ::operator+; // for the look-up by argument, from any namespace
} // namespace utl

#endif
