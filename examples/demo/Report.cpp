#include "Report.h"

#include <cstdio>

namespace demo
{

bool Report::agrees() const
{
    return mHasTotals && mTotals.mMisplacedLines == 0 && mTotals.mLines == mAccount.mLines &&
           mTotals.mBytes == mAccount.mBytes && mTotals.mChecksum == mAccount.mChecksum;
}

void Report::print() const
{
    std::printf("                        read     counted\n");
    std::printf("  lines         %12llu%12llu\n", mAccount.mLines, mTotals.mLines);
    std::printf("  bytes         %12llu%12llu\n", mAccount.mBytes, mTotals.mBytes);
    std::printf("  checksum          %08x    %08x\n", mAccount.mChecksum, mTotals.mChecksum);
    std::printf("  characters                %12llu\n", mTotals.mCharacters);
    std::printf("  words                     %12llu\n", mTotals.mWords);
    std::printf("  longest line              %12u  characters", mTotals.mLongest.mLength);
    if (mTotals.mLines > 0)
    {
        std::printf(", %u bytes, line %llu", mTotals.mLongest.mBytes, mTotals.mLongest.mNumber);
    }
    std::printf("\n");
    std::printf("  malformed lines           %12llu", mTotals.mMalformedLines);
    if (mTotals.mMalformedLines > 0)
    {
        std::printf("  the first is line %llu", mTotals.mFirstMalformed);
    }
    std::printf("\n");
    std::printf("  queue was full            %12llu  times for the reader, %llu for the worker\n", mAccount.mRefusals,
                mWorkerRefusals);
    // A text that took no whole millisecond counts as one: the rate is at least that.
    std::printf("  lines per second          %12llu  in %u ms\n",
                mTotals.mLines * 1000 / (mElapsedMs > 0 ? mElapsedMs : 1), mElapsedMs);
    std::printf("  check                           %s\n",
                agrees() ? "PASSED: every line that was read arrived, once and in order"
                         : "FAILED: what was counted is not what was read");
}

} // namespace demo
