// Containers of fixed size: what does not fit is refused or cut, and nothing grows unasked.
#include "UtlArray.h"
#include "UtlBasicString.h"
#include "UtlMap.h"
#include "UtlQueue.h"
#include "UtlRawMemory.h"

#include <cstdio>
#include <cstring>

namespace
{

/// The last readings: the oldest one makes room for the next.
void keep(utl::Queue<int>& nLast, int nReading)
{
    if (!nLast.push(nReading))
    {
        nLast.pop();
        (void)nLast.push(nReading);
    }
}

} // namespace

int main()
{
    utl::Queue<int> lLast(3);
    utl::Map<int, int> lHighest(2); // by sensor
    utl::Array<int> lRefused(4);
    struct
    {
        int mSensor;
        int mReading;
    } const READINGS[] = {{7, 120}, {3, 84}, {7, 131}, {9, 50}, {3, 79}};
    for (auto const& lReading : READINGS)
    {
        keep(lLast, lReading.mReading);
        auto const* const lpKnown = lHighest.find(lReading.mSensor);
        if ((lpKnown == nullptr || lpKnown->mValue < lReading.mReading) &&
            !lHighest.insert(lReading.mSensor, lReading.mReading)) // an existing key's value is overwritten
        {
            (void)lRefused.insertAt(lRefused.size(), lReading.mSensor);
        }
    }
    std::printf("last %d %d %d; sensor %d up to %d, sensor %d up to %d; no room for sensor %d\n", *lLast.at(0),
                *lLast.at(1), *lLast.at(2), lHighest.at(0)->mKey, lHighest.at(0)->mValue, lHighest.at(1)->mKey,
                lHighest.at(1)->mValue, *lRefused.at(0));
    int const EXPECTED[] = {131, 50, 79};
    int lCopy[3] = {};
    bool lIsGood = lLast.copyOut(0, lCopy, 3) == 3 && utl::compareMemory(lCopy, EXPECTED, sizeof EXPECTED) &&
                   lHighest.at(0)->mKey == 3 && lHighest.at(0)->mValue == 84 && lHighest.at(1)->mValue == 131 &&
                   lRefused.size() == 1 && *lRefused.at(0) == 9;

    // Ten bytes with the terminator hold three of these characters; none is ever cut in two.
    utl::BasicString<char> lLabel(10, 0);
    lIsGood = !lLabel.copy("観測小屋", utl::STR_ALL, 0) && lLabel.copy("観測小屋", utl::STR_ALL, 1) && lIsGood;
    std::printf("label: %s\n", lLabel.c_str());
    return lIsGood && std::strcmp(lLabel.c_str(), "観測小") == 0 ? 0 : 1;
}
