/// Constants of classes with a destructor: made by the compiler, never destroyed. Layer: internal, lowest.
#ifndef UTL_CONST_INIT_H
#define UTL_CONST_INIT_H

/// Marks a variable: a compile error where its initialiser needs run-time work.
#if defined(__clang__)
#define UTL_CONSTINIT [[clang::require_constant_initialization]]
#else
#define UTL_CONSTINIT __constinit
#endif

/// Marks an Undestroyed constant with addresses in it: read-only once they are relocated. The compilers do so by
/// themselves only for classes without a destructor.
#define UTL_RELRO __attribute__((section(".data.rel.ro.utl")))

namespace utl::internal
{

/// Holds a default-made T whose destructor never runs, so that a thread which still runs while the process exits finds
/// it whole.
template <class T>
union Undestroyed
{
    constexpr Undestroyed()
        : mValue()
    {
    }
    ~Undestroyed() {}

    T mValue;
};

} // namespace utl::internal

#endif
