// Reading and writing HTTP dates, compared with strptime and strftime with the same form and the same dates.
#include "UtlTimepiece.h"

#include <ctime>
#include <string>
#include <vector>

#include "support/Ratios.h"

namespace
{

unsigned int const COUNT = 256;

struct Date
{
    utl::Time mTime;
    tm mFields{};
    std::string mText;
    std::string mAsctime;
};

char const FORM[] = "%a, %d %b %Y %H:%M:%S GMT";
char const ASCTIME_FORM[] = "%a %b %e %H:%M:%S %Y";

std::vector<Date> const& dates()
{
    static std::vector<Date> const lDates = []
    {
        std::vector<Date> lMade(COUNT);
        time_t lSeconds = 0;
        for (Date& lDate : lMade)
        {
            char lText[64];
            lSeconds += 7654321;
            gmtime_r(&lSeconds, &lDate.mFields);
            std::strftime(lText, sizeof(lText), FORM, &lDate.mFields);
            lDate.mText = lText;
            std::strftime(lText, sizeof(lText), ASCTIME_FORM, &lDate.mFields);
            lDate.mAsctime = lText;
            lDate.mTime.setHttpDate(lText);
        }
        return lMade;
    }();
    return lDates;
}

template <class Step>
void measure(benchmark::State& nState, Step nStep)
{
    std::vector<Date> const& lDates = dates();
    std::size_t lIndex = 0;
    for (auto lTurn : nState)
    {
        static_cast<void>(lTurn);
        nStep(lDates[lIndex++ % COUNT]);
        benchmark::ClobberMemory();
    }
}

void add(char const* npName, void (*npStep)(Date const&))
{
    benchmark::RegisterBenchmark(npName, [=](benchmark::State& nState) { measure(nState, npStep); });
}

void readDate(std::string const& nText)
{
    utl::Time lTime;
    benchmark::DoNotOptimize(lTime.setHttpDate(nText.c_str()));
    benchmark::DoNotOptimize(lTime);
}

void parseDate(std::string const& nText, char const* npForm)
{
    tm lFields{};
    benchmark::DoNotOptimize(strptime(nText.c_str(), npForm, &lFields));
    benchmark::DoNotOptimize(lFields);
}

} // namespace

int main(int nCount, char** npValues)
{
    add("setHttpDate/utl", [](Date const& nDate) { readDate(nDate.mText); });
    add("setHttpDate/floorStrptime", [](Date const& nDate) { parseDate(nDate.mText, FORM); });
    add("setHttpDateAsctime/utl", [](Date const& nDate) { readDate(nDate.mAsctime); });
    add("setHttpDateAsctime/floorStrptime", [](Date const& nDate) { parseDate(nDate.mAsctime, ASCTIME_FORM); });
    add("getHttpDate/utl",
        [](Date const& nDate)
        {
            char lText[64];
            benchmark::DoNotOptimize(nDate.mTime.getHttpDate(lText, sizeof(lText)));
            benchmark::DoNotOptimize(lText);
        });
    add("getHttpDate/floorStrftime",
        [](Date const& nDate)
        {
            char lText[64];
            benchmark::DoNotOptimize(std::strftime(lText, sizeof(lText), FORM, &nDate.mFields));
            benchmark::DoNotOptimize(lText);
        });
    return utl::bench::runWithRatios(nCount, npValues);
}
