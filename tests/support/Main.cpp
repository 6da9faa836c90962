#include <gtest/gtest.h>

int main(int nCount, char** npValues)
{
    ::testing::InitGoogleTest(&nCount, npValues);
    return RUN_ALL_TESTS();
}
