// Copying, moving, filling and comparing memory.
#include "UtlRawMemory.h"

#include <cstring>

namespace utl
{

void copyMemory(void* npDst, void const* npSrc, unsigned int nSize)
{
    if (npDst != nullptr && npSrc != nullptr)
    {
        std::memcpy(npDst, npSrc, nSize);
    }
}

void moveMemory(void* npDst, void const* npSrc, unsigned int nSize)
{
    if (npDst != nullptr && npSrc != nullptr)
    {
        std::memmove(npDst, npSrc, nSize);
    }
}

void fillMemory(void* npDst, unsigned int nSize, unsigned char nValue)
{
    if (npDst != nullptr)
    {
        std::memset(npDst, nValue, nSize);
    }
}

void zeroMemory(void* npDst, unsigned int nSize)
{
    fillMemory(npDst, nSize, 0);
}

bool compareMemory(void const* npFirst, void const* npSecond, unsigned int nSize)
{
    return npFirst != nullptr && npSecond != nullptr && std::memcmp(npFirst, npSecond, nSize) == 0;
}

} // namespace utl
