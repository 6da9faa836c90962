/// A new object in a counted holder. Layer: internal, counted holders.
#ifndef UTL_MAKE_SMART_H
#define UTL_MAKE_SMART_H

#include "UtlSmartPointer.h"

#include <memory>
#include <utility>

namespace utl::internal
{

/// Where the allocator throws, for the object or for its counter, neither is left.
template <class T, class... A>
SmartPointer<T> makeSmart(A&&... nArguments)
{
    auto lpObject = std::make_unique<T>(std::forward<A>(nArguments)...);
    SmartPointer<T> lpHolder(lpObject.get());
    lpObject.release();
    return lpHolder;
}

} // namespace utl::internal

#endif
