// A process that has the platform's converter: its definitions, not the library's weak ones, are called.
#include "UtlCharSet.h"

#include <gtest/gtest.h>

namespace
{
int gResult = 0;
} // namespace

int jk_mbtowc(wchar_t* npDst, unsigned int nDstSize, char const*, unsigned int nSrcBytes, EN_KCP nCharset)
{
    EXPECT_EQ(nCharset, 32);
    npDst[0] = static_cast<wchar_t>(nDstSize * 100 + nSrcBytes);
    return gResult;
}

int jk_wctomb(char* npDst, unsigned int nDstSize, wchar_t const*, int nSrcCount, EN_KCP nCharset)
{
    EXPECT_EQ(nCharset, 32);
    npDst[0] = static_cast<char>(nDstSize * 10 + static_cast<unsigned int>(nSrcCount));
    return gResult;
}

TEST(CharSetPlatform, ConverterOfTheProcessIsCalled)
{
    for (int const lResult : {-1, 0, 1, 3})
    {
        gResult = lResult;
        unsigned int const lExpected = lResult < 1 ? utl::STR_ERROR : static_cast<unsigned int>(lResult) + 1;
        wchar_t lWide[8] = {};
        char lNarrow[8] = {};
        EXPECT_EQ(utl::convertStrFromTcharToWchar(lWide, 8, "abc"), lExpected);
        EXPECT_EQ(utl::convertStrFromWcharToTchar(lNarrow, 8, L"abc"), lExpected);
        EXPECT_EQ(8 * 100 + 3, lWide[0]);
        EXPECT_EQ(8 * 10 + 3, lNarrow[0]);
    }
}
