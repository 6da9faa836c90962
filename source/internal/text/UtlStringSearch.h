/// Lengths of texts, and searches from an index. Layer: string primitives.
#ifndef UTL_STRING_SEARCH_H
#define UTL_STRING_SEARCH_H

#include "internal/text/UtlUtf8.h"

#include <algorithm>
#include <climits>
#include <cstring>

namespace utl::internal
{

inline unsigned int lengthOf(char const* npStr)
{
    return static_cast<unsigned int>(std::strlen(npStr));
}

/// The length of a text, at most nMaxBytes. Reads nothing past that, since the limit can be the size of an object.
inline unsigned int lengthUpTo(char const* npStr, unsigned int nMaxBytes)
{
    return nMaxBytes > INT_MAX ? std::min(lengthOf(npStr), nMaxBytes)
                               : static_cast<unsigned int>(::strnlen(npStr, nMaxBytes));
}

inline bool isWellFormed(char const* npStr, unsigned int nLength)
{
    return wellFormedEnd(bytesOf(npStr), bytesOf(npStr) + nLength) == bytesOf(npStr) + nLength;
}

/// The length in bytes of the run at the end of a well-formed text whose characters all occur in npSet; see t_strspn().
unsigned int runAtEnd(char const* npStr, unsigned int nLength, char const* npSet);

/// t_strstr() for an npStr that is not null and an npPattern that is not empty.
unsigned int findFrom(char const* npStr, char const* npPattern);

/// Searches forward from a byte index, which moves to the next lead byte if it stands on a continuation byte.
///
/// npEnd:  may be null; receives the index past the match, STR_ERROR for no match and for an empty pattern. Left
///         alone if nStart is past the end.
/// Result: the index of the match; STR_ERROR for none and for nulls. An empty pattern gives the length of npStr.
unsigned int findStr(char const* npStr, char const* npPattern, unsigned int nStart, unsigned int* npEnd);

/// The next token of a text: characters up to the next delimiter, behind any leading delimiters. Keeps no state:
/// pass *npEnd as nStart for the next one.
///
/// npEnd:  may be null; receives the index past the token, STR_ERROR if nothing is left.
/// Result: the index where the token begins; STR_ERROR if nothing is left, for nStart past the end, a null npStr.
unsigned int findToken(char const* npStr, char const* npDelimiters, unsigned int nStart, unsigned int* npEnd);

} // namespace utl::internal

#endif
