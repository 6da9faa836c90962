// The programs of the tests begin here.
#include "UtlFile.h"
#include "support/Niced.h"

#include <gtest/gtest.h>

int main(int nCount, char** npValues)
{
    utl::File::setModes(utl::FILE_MODES_UMASK); // who tests the other modes does so in a folder of his own
    utl::test::allowAnyPriority();
    ::testing::InitGoogleTest(&nCount, npValues);
    return RUN_ALL_TESTS();
}
