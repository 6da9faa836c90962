// Is a cached page still valid? Its dates come in the three forms of HTTP; the answer is written in the first.
#include "UtlTimepiece.h"

#include <cstdio>
#include <cstring>

int main()
{
    char const* const DATES[] = {
        "Sun, 06 Nov 1994 08:49:37 GMT",
        "Sunday, 06-Nov-94 08:49:37 GMT",
        "Sun Nov  6 08:49:37 1994",
    };
    utl::Time const lExpected(1994, 11, 6, 8, 49, 37, 0, 0, 0);
    bool lIsGood = true;
    for (char const* const lpDate : DATES)
    {
        utl::Time lModified;
        bool const lIsRead = lModified.setHttpDate(lpDate) && lModified == lExpected;
        std::printf("%-31s %s\n", lpDate, lIsRead ? "read" : "NOT READ");
        lIsGood = lIsGood && lIsRead;
    }

    utl::Time lExpires;
    char lText[32] = "";
    lIsGood = lIsGood && lExpires.setHttpDate("Tue, 08 Nov 1994 08:49:36 GMT") && lExpires.getHttpDate(lText, 32) &&
              std::strcmp(lText, "Tue, 08 Nov 1994 08:49:36 GMT") == 0 && lExpected.isPastTime(lExpires);
    unsigned int const lWholeDays = lExpires.getElapsedDays(lExpected);
    std::printf("Expires: %s, good for %u whole day\n", lText, lWholeDays);
    lIsGood = lIsGood && lWholeDays == 1;

    utl::Time lNow;
    lIsGood = lIsGood && utl::getSystemTime(&lNow) && lExpires.isPastTime(lNow) && lNow.getHttpDate(lText, 32);
    std::printf("Date:    %s, so it has expired\n", lText);
    return lIsGood ? 0 : 1;
}
