/// Elements for tests of containers: one kind is moved as blocks, the other one by one.
#ifndef UTL_TEST_ELEMENTS_H
#define UTL_TEST_ELEMENTS_H

#include <string>

#include <gtest/gtest.h>

namespace utl::test
{

template <class T>
T element(unsigned int nNumber)
{
    if constexpr (std::is_same_v<T, int>)
    {
        return static_cast<int>(nNumber);
    }
    else
    {
        return "an element too long for the string itself " + std::to_string(nNumber);
    }
}

template <class T>
class ContainerOf : public ::testing::Test
{
};
using Elements = ::testing::Types<int, std::string>;

} // namespace utl::test

#endif
