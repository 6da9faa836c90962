/// The destination of a conversion: capacity, size query and terminator in one place. Layer: internal, text.
#ifndef UTL_CHAR_OUTPUT_H
#define UTL_CHAR_OUTPUT_H

#include "internal/text/UtlCodeTables.h"
#include "internal/text/UtlStringSearch.h"
#include "internal/text/UtlUsualChars.h"

#include <cstddef>

namespace utl::internal
{

/// Stores units one after another and always keeps room for a terminator. With STORES false it only counts.
template <class Unit, bool STORES>
class CharOutput
{
public:
    static constexpr bool IS_STORING = STORES;

    /// nCapacity: at least 1 with STORES.
    CharOutput(Unit* npDst, unsigned int nCapacity)
        : mpBegin(npDst),
          mpEnd(npDst),
          mpLast(STORES ? npDst + (nCapacity - 1) : nullptr)
    {
    }

    // The next three functions give false, with nothing stored, if the units and a terminator do not fit.

    bool put(unsigned int nUnit)
    {
        return append<1>([nUnit](Unit* npEnd) { *npEnd = static_cast<Unit>(nUnit); });
    }

    /// Stores the UTF-8 of a UTF-16 unit; one NUL byte for 0.
    bool putUtf8(unsigned int nUnit)
    {
        if (isLikely(nUnit >= 0x800))
        {
            return append<3>([nUnit](Unit* npEnd) { storeUtf8AndOneMore(npEnd, nUnit); });
        }
        return nUnit < 0x80 ? put(nUnit) : append<2>([nUnit](Unit* npEnd) { storeUtf8(npEnd, nUnit, 2); });
    }

    /// Stores usual units, not 0, while there is certainly room; call putUtf8() for the next one. Does nothing if
    /// STORES is false.
    void putUsualUnits(unsigned short const*& npUnits)
    {
        if (!STORES || room() < 3)
        {
            return;
        }
        unsigned short const* lpUnit = npUnits;
        Unit* lpEnd = mpEnd;
        Unit* const lpLast = mpLast - 3;
        while (lpEnd <= lpLast)
        {
            unsigned int const lUnit = *lpUnit;
            std::uint32_t const lHead = usualHead(lUnit);
            if (!isLikely(lHead != 0) || !isLikely(lUnit != 0))
            {
                break;
            }
            lpEnd = storeUsualUnit(lpEnd, lUnit, lHead);
            ++lpUnit;
        }
        npUnits = lpUnit;
        mpEnd = lpEnd;
    }

    /// Converts usual characters of a terminated text in the encoding nFrom, in pieces, so that a piece is still in the
    /// cache after its length was measured. Does nothing if STORES is false, nor at the first calls, since measuring
    /// does not pay for short texts.
    void runUsual(Encoding nTo, Encoding nFrom, unsigned char const*& npSrc)
    {
        constexpr unsigned int FIRST_CHARS = 4;
        if (STORES && ++mCalls > FIRST_CHARS)
        {
            constexpr unsigned int PIECE_BYTES = 4096;
            if (mpPieceEnd == nullptr || npSrc >= mpPieceEnd)
            {
                mpPieceEnd = npSrc + lengthUpTo(reinterpret_cast<char const*>(npSrc), PIECE_BYTES);
            }
            TextCursor lCursor{npSrc, mpPieceEnd, reinterpret_cast<unsigned char*>(mpEnd),
                               reinterpret_cast<unsigned char*>(mpLast)};
            runUsualChars(lCursor, nTo, nFrom, false);
            npSrc = lCursor.mpSrc;
            mpEnd = reinterpret_cast<Unit*>(lCursor.mpDst);
        }
    }

    /// Stores the two bytes of a Shift-JIS code above 0xFF.
    bool putDouble(unsigned int nCode)
    {
        return append<2>([nCode](Unit* npEnd) { storeSjis(npEnd, nCode, 2); });
    }

    /// Stores the terminator. Result: units, with the terminator.
    unsigned int end()
    {
        if (STORES)
        {
            *mpEnd = 0;
            mCount = static_cast<unsigned int>(mpEnd - mpBegin);
        }
        return mCount + 1;
    }

private:
    std::size_t room() const { return static_cast<std::size_t>(mpLast - mpEnd); }

    // The count is a constant, so that the next character does not wait for the size of this one.
    template <unsigned int COUNT, class Store>
    bool append(Store nStore)
    {
        if (!STORES)
        {
            mCount += COUNT;
            return true;
        }
        if (room() < COUNT)
        {
            return false;
        }
        nStore(mpEnd);
        mpEnd += COUNT;
        return true;
    }

    Unit* const mpBegin;
    Unit* mpEnd;
    Unit* const mpLast;                        // the last place for the terminator
    unsigned int mCount = 0;                   // units counted, if STORES is false
    unsigned int mCalls = 0;                   // calls of runUsual()
    unsigned char const* mpPieceEnd = nullptr; // the source was measured up to here
};

/// The end of a character conversion into nSize bytes: nothing for a capacity of 0, or all of them, or failure.
template <class Store>
unsigned int convertChar(char* npDst, unsigned int nDstSize, unsigned int nSize, Store nStore)
{
    if (nDstSize == 0)
    {
        return nSize;
    }
    if (npDst == nullptr || nSize > nDstSize)
    {
        return STR_ERROR;
    }
    nStore(npDst);
    return nSize;
}

inline unsigned int convertCharToUtf8(char* npDst, unsigned int nDstSize, unsigned int nUnit)
{
    unsigned int const lSize = utf8Size(nUnit);
    return convertChar(npDst, nDstSize, lSize, [=](char* npTarget) { storeUtf8(npTarget, nUnit, lSize); });
}

/// Checks the arguments of a text conversion, as all of them do, and calls Walk::run() with the output and the source.
template <class Walk, class Unit, class From>
unsigned int convertStr(Unit* npDst, unsigned int nDstSize, From const* npSrc)
{
    if (npSrc == nullptr || (npDst == nullptr && nDstSize != 0))
    {
        return STR_ERROR;
    }
    return nDstSize == 0 ? Walk::run(CharOutput<Unit, false>(npDst, 0), npSrc)
                         : Walk::run(CharOutput<Unit, true>(npDst, nDstSize), npSrc);
}

} // namespace utl::internal

#endif
