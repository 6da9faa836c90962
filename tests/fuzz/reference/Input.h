/// What the fuzz targets share: the headers that most need, a condition that must hold, and texts that are made of an
/// input's bytes.
#ifndef UTL_FUZZ_INPUT_H
#define UTL_FUZZ_INPUT_H

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sstream>
#include <string>
#include <vector>

namespace utl::test
{

/// Ends the program if it does not hold; libFuzzer or replay.cpp then shows the input.
inline void require(bool nIsTrue)
{
    nIsTrue ? void() : std::abort();
}

/// A word for each byte.
template <std::size_t COUNT>
std::string wordsOf(char const* const (&nWords)[COUNT], std::string const& nBytes)
{
    std::string lText;
    for (char lByte : nBytes)
    {
        lText += nWords[static_cast<unsigned char>(lByte) % COUNT];
    }
    return lText;
}

} // namespace utl::test

#endif
