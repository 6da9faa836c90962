// Bit streams: operations that the input chooses do the same in the stream and in the slow reference.
#include <cstdint>
#include <cstdlib>

#include "reference/BitStreamTwin.h"

namespace
{

/// Two bytes for a choice, eight for a value; zeros behind the end.
struct InputSource
{
    unsigned int below(unsigned int nLimit) { return static_cast<unsigned int>(take(2) % nLimit); }
    unsigned long long value() { return take(8); }

    unsigned long long take(unsigned int nBytes)
    {
        unsigned long long lValue = 0;
        for (; nBytes > 0; --nBytes)
        {
            lValue = lValue << 8 | (mpAt != mpEnd ? *mpAt++ : 0U);
        }
        return lValue;
    }

    std::uint8_t const* mpAt;
    std::uint8_t const* mpEnd;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* npData, std::size_t nSize)
{
    InputSource lSource{npData, npData + nSize};
    utl::test::BitStreamTwin lTwin;
    while (lSource.mpAt != lSource.mpEnd)
    {
        if (!lTwin.step(lSource) || !lTwin.isMemoryAlike())
        {
            std::abort();
        }
    }
    return 0;
}
