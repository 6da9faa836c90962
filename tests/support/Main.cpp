// The programs of the tests begin here.
#include <cerrno>

#include <sys/resource.h>

#include <gtest/gtest.h>

#include "UtlFile.h"
#include "internal/base/UtlSystemCalls.h"

/// As the real call, but for the refusal to a niced process without privileges: tests count lines, and no thread of the
/// library is to log that it could not get its priority.
static int setAnyPriority(int nWhich, id_t nWho, int nNice)
{
    int const lResult = ::setpriority(static_cast<__priority_which_t>(nWhich), nWho, nNice);
    return lResult == -1 && errno == EACCES ? 0 : lResult;
}

int main(int nCount, char** npValues)
{
    utl::File::setModes(utl::FILE_MODES_UMASK); // who tests the other modes does so in a folder of his own
    utl::internal::gSystem.mSetpriority.exchange(setAnyPriority);
    ::testing::InitGoogleTest(&nCount, npValues);
    return RUN_ALL_TESTS();
}
