/// A heap in the hands of a proof: all operators new and delete go through two functions of the program. Include it in
/// one source, which defines them.
#ifndef UTL_PROOF_HEAP_H
#define UTL_PROOF_HEAP_H

#include <cstddef>
#include <new>

namespace utl::proof
{

void* allocate(std::size_t nSize);              ///< Null where there is none.
[[gnu::noinline]] void giveBack(void* npBlock); ///< GCC takes free() for a mismatch of an operator new not inlined.

inline void* allocateOrThrow(std::size_t nSize)
{
    void* const lpBlock = allocate(nSize);
    if (lpBlock == nullptr)
    {
        throw std::bad_alloc();
    }
    return lpBlock;
}

} // namespace utl::proof

// All that are called: the address checks bring each one of their own.
void* operator new(std::size_t nSize)
{
    return utl::proof::allocateOrThrow(nSize);
}
void* operator new[](std::size_t nSize)
{
    return utl::proof::allocateOrThrow(nSize);
}
void* operator new(std::size_t nSize, std::nothrow_t const&) noexcept
{
    return utl::proof::allocate(nSize);
}
void* operator new[](std::size_t nSize, std::nothrow_t const&) noexcept
{
    return utl::proof::allocate(nSize);
}
void operator delete(void* npBlock) noexcept
{
    utl::proof::giveBack(npBlock);
}
void operator delete[](void* npBlock) noexcept
{
    utl::proof::giveBack(npBlock);
}
void operator delete(void* npBlock, std::size_t) noexcept
{
    utl::proof::giveBack(npBlock);
}
void operator delete[](void* npBlock, std::size_t) noexcept
{
    utl::proof::giveBack(npBlock);
}
#endif
