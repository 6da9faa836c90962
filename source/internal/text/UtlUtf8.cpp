// UTF-8 text walked a machine word at a time.
#include "internal/text/UtlUtf8.h"

#include "internal/text/UtlTextWord.h"

#include <cstddef>

namespace utl::internal
{

namespace
{

// Where a walk stops.
enum class Stops
{
    MALFORMED,
    MALFORMED_STRICTLY, // also at surrogates and code points above U+10FFFF
    LINE_END,           // also at NUL and LF
    LINE_END_STRICTLY   // at all of these
};

constexpr bool isOfLine(Stops nStops)
{
    return nStops == Stops::LINE_END || nStops == Stops::LINE_END_STRICTLY;
}

constexpr bool isStrict(Stops nStops)
{
    return nStops == Stops::MALFORMED_STRICTLY || nStops == Stops::LINE_END_STRICTLY;
}

template <Stops STOPS>
inline bool isStop(unsigned char const* npChar, unsigned int nSize)
{
    return (isOfLine(STOPS) && (*npChar == '\n' || *npChar == 0)) ||
           (isStrict(STOPS) && nSize >= 3 && isTooHigh(npChar[0], npChar[1]));
}

// Walks words of usual text. Result: the start of a character that must be checked by itself.
template <Stops STOPS>
inline unsigned char const* walkWords(unsigned char const* npAt, unsigned char const* npEnd)
{
    Word lTailsDue = 0;
    while (static_cast<std::size_t>(npEnd - npAt) >= sizeof(Word))
    {
        Word const lWord = wordAt(npAt);
        WordOfText const lLook = lookAt<isStrict(STOPS)>(lWord, lTailsDue);
        Word const lControls = isOfLine(STOPS) ? controlsOf(lWord) : 0;
        if (!isLikely((lLook.mUnusual | lControls) == 0))
        {
            if (lControls != 0 && isUsualUpTo(firstOf(lControls), lLook.mUnusual))
            {
                return npAt + firstOf(lControls);
            }
            break;
        }
        lTailsDue = lLook.mTailsDue;
        npAt += sizeof(Word);
    }
    return npAt - cutOffBytes(lTailsDue);
}

template <Stops STOPS>
unsigned char const* walk(unsigned char const* npAt, unsigned char const* npEnd)
{
    while (npAt < npEnd)
    {
        npAt = walkWords<STOPS>(npAt, npEnd);
        // Single characters for the length of a word, then words again.
        for (unsigned char const* const lpFrom = npAt; npAt < npEnd && npAt - lpFrom <= 8;)
        {
            unsigned int const lSize = charSize(npAt);
            if (!isSize(lSize) || isStop<STOPS>(npAt, lSize) || lSize > static_cast<std::size_t>(npEnd - npAt))
            {
                return npAt;
            }
            npAt += lSize;
        }
    }
    return npAt;
}

} // namespace

unsigned int rareCharSize(unsigned char const* npChar)
{
    if (!isLead(*npChar))
    {
        return STR_ERROR;
    }
    unsigned int const lSize = *npChar < 0xE0 ? 2 : *npChar < 0xF0 ? 3 : 4;
    unsigned int lIndex = 1;
    while (lIndex < lSize && isTail(npChar[lIndex]))
    {
        ++lIndex;
    }
    return lIndex == lSize && !isOverlong(npChar[0], npChar[1]) ? lSize : 0;
}

unsigned char const* wellFormedEnd(unsigned char const* npText, unsigned char const* npEnd)
{
    return walk<Stops::MALFORMED>(npText, npEnd);
}

unsigned char const* strictlyWellFormedEnd(unsigned char const* npText, unsigned char const* npEnd)
{
    return walk<Stops::MALFORMED_STRICTLY>(npText, npEnd);
}

unsigned char const* wellFormedLineEnd(unsigned char const* npText, unsigned char const* npEnd)
{
    return walk<Stops::LINE_END>(npText, npEnd);
}

unsigned char const* strictlyWellFormedLineEnd(unsigned char const* npText, unsigned char const* npEnd)
{
    return walk<Stops::LINE_END_STRICTLY>(npText, npEnd);
}

} // namespace utl::internal
