// Conversions of arbitrary bytes: no access outside source and destination, and the size that was asked for is the
// size that is needed. The first byte chooses the function; ten minutes give each of the ten about one.
#include "UtlCharSet.h"
#include "reference/Input.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

using namespace utl;
using test::require;

namespace
{

/// The input as units with nTerminators zeros behind, in memory of exactly that size.
template <class Unit>
std::vector<Unit> sourceOf(std::uint8_t const* npData, std::size_t nSize, std::size_t nTerminators)
{
    std::vector<Unit> lSource(nSize / sizeof(Unit) + nTerminators);
    if (nSize >= sizeof(Unit))
    {
        std::memcpy(lSource.data(), npData, nSize / sizeof(Unit) * sizeof(Unit));
    }
    return lSource;
}

/// A query, exactly that size, and one less; where the query fails, so does a capacity.
template <class To, class From>
void check(unsigned int (*npConvert)(To*, unsigned int, From const*), std::vector<From> const& nSource)
{
    unsigned int const lSize = npConvert(nullptr, 0, nSource.data());
    std::vector<To> lTarget(lSize == STR_ERROR ? 64 : lSize);
    unsigned int const lCapacity = static_cast<unsigned int>(lTarget.size());
    require(npConvert(lTarget.data(), lCapacity, nSource.data()) == lSize);
    require(lSize == STR_ERROR || lTarget.back() == 0);
    if (lSize != STR_ERROR && lSize > 1)
    {
        std::vector<To> lShort(lSize - 1);
        require(npConvert(lShort.data(), lSize - 1, nSource.data()) == STR_ERROR);
    }
}

/// Wide text: the query gives an upper bound.
template <class To, class From>
void checkBound(unsigned int (*npConvert)(To*, unsigned int, From const*), std::vector<From> const& nSource)
{
    unsigned int const lBound = npConvert(nullptr, 0, nSource.data());
    std::vector<To> lTarget(lBound, 1);
    unsigned int const lSize = npConvert(lTarget.data(), lBound, nSource.data());
    require(lSize == STR_ERROR || (lSize <= lBound && lTarget[lSize - 1] == 0));
}

/// A character into every capacity from 1.
void checkChar(unsigned int (*npConvert)(char*, unsigned int, char const*, unsigned int*),
               std::vector<char> const& nSource)
{
    for (unsigned int lCapacity = 1; lCapacity < 4; ++lCapacity)
    {
        std::vector<char> lTarget(lCapacity);
        unsigned int lConsumed = 0;
        unsigned int const lSize = npConvert(lTarget.data(), lCapacity, nSource.data(), &lConsumed);
        require((lSize == STR_ERROR || lSize <= lCapacity) && lConsumed >= 1 && lConsumed <= 3);
    }
}

void checkRaw(std::uint8_t const* npData, std::size_t nSize)
{
    std::vector<unsigned char> const lBytes = sourceOf<unsigned char>(npData, nSize & ~std::size_t(1), 0);
    std::vector<unsigned short> lUnits(lBytes.size() / 2 + 1);
    unsigned int const lCount = convertBinFromUint8ToDchar(lUnits.data(), static_cast<unsigned int>(lUnits.size()),
                                                           lBytes.data(), static_cast<unsigned int>(lBytes.size()), 1);
    std::vector<unsigned char> lBack(lBytes.size() + 1);
    unsigned int const lStored =
        convertStrFromDcharToUint8(lBack.data(), static_cast<unsigned int>(lBack.size()), lUnits.data(), lCount, 1);
    require(lStored <= lBytes.size() && std::memcmp(lBack.data(), lBytes.data(), lStored) == 0);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* npData, std::size_t nSize)
{
    if (nSize < 3)
    {
        return 0;
    }
    unsigned int const lChoice = *npData++ % 10;
    --nSize;
    auto const lText = sourceOf<char>(npData, nSize, 1);
    auto const lSjis = sourceOf<char>(npData, nSize, 2); // for a lead byte at the end
    switch (lChoice)
    {
    case 0:
        check(convertStrFromUtf8ToSjis, lText);
        break;
    case 1:
        check(convertStrFromSjisToUtf8, lSjis);
        break;
    case 2:
        check(convertStrFromSjisToUtf16, lSjis);
        break;
    case 3:
        check(convertStrFromUtf16ToUtf8, sourceOf<unsigned short>(npData, nSize, 1));
        break;
    case 4:
        check(convertStrFromUtf8ToUtf16, lText);
        break;
    case 5:
        checkBound(convertStrFromTcharToWchar, lText);
        break;
    case 6:
        checkBound(convertStrFromWcharToTchar, sourceOf<wchar_t>(npData, nSize, 1));
        break;
    case 7:
        checkChar(convertCharFromUtf8ToSjis, lText);
        break;
    case 8:
        checkChar(convertCharFromSjisToUtf8, lText);
        break;
    default:
        checkRaw(npData, nSize);
        break;
    }
    return 0;
}
