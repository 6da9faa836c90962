// StatementInfo: the place of a report to the watchdog.
#include "UtlStatementInfo.h"

#include <cstring>

namespace utl
{

StatementInfo const StatementInfo::INVALID("", "", 0, 0);

bool StatementInfo::operator==(StatementInfo const& nOther) const
{
    auto const lText = [](char const* npText) { return npText != nullptr ? npText : ""; };
    return std::strcmp(lText(mFile), lText(nOther.mFile)) == 0 && std::strcmp(mFunction, nOther.mFunction) == 0 &&
           mLine == nOther.mLine && mSub == nOther.mSub;
}

} // namespace utl
