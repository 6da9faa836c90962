// Calendar time, its texts, and the two clocks of the system.
#include "UtlTimepiece.h"

#include "UtlConvertAttrib.h"
#include "UtlString.h"
#include "internal/base/UtlForkLocks.h"
#include "internal/base/UtlImmortal.h"
#include "internal/base/UtlSystemCalls.h"
#include "internal/thread/UtlBlockingCall.h"

#include <ctime>
#include <tuple>

namespace utl
{

namespace
{

using internal::gSystem;

char const FILE_NAME[] = "source/UtlTimepiece";

constexpr unsigned short INVALID_YEAR = 65535;
constexpr unsigned int SECONDS_PER_DAY = 86400;
constexpr unsigned int MAX_SPAN_DAYS = 49710; // the last whole number of days that fits 32 bits of seconds
constexpr unsigned int MAX_SPAN_REST = 23296; // the seconds that fit behind them
constexpr unsigned int ONE_SPAN = 1000000;    // nanoseconds; times below the second count as equal within this
constexpr unsigned int NAME_LENGTH = 3;

char const MONTH_NAMES[12][NAME_LENGTH + 1] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                               "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
char const WEEKDAY_NAMES[7][NAME_LENGTH + 1] = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};

// The days before a month, in a year of 365 days.
unsigned short const DAYS_BEFORE_MONTH[12] = {0, 31, 59, 90, 120, 151, 181, 212, 243, 273, 304, 334};

bool isValidFields(unsigned short nYear, unsigned short nMonth, unsigned short nDay, unsigned short nHour,
                   unsigned short nMinute, unsigned short nSecond, unsigned short nMillisecond = 0,
                   unsigned short nMicrosecond = 0, unsigned short nNanosecond = 0)
{
    return nYear != INVALID_YEAR && nMonth >= 1 && nMonth <= 12 && nDay >= 1 && nDay <= 31 && nHour <= 23 &&
           nMinute <= 59 && nSecond <= 59 && nMillisecond < 1000 && nMicrosecond < 1000 && nNanosecond < 1000;
}

bool isLeapYear(unsigned int nYear)
{
    return nYear != 0 && nYear % 4 == 0 && (nYear % 100 != 0 || nYear % 400 == 0);
}

// Whether a part falls short of the other by at most ONE_SPAN. If it falls short by more, the sum wraps: false.
bool isPartShort(unsigned int nNanoseconds, unsigned int nOther)
{
    return nNanoseconds + ONE_SPAN - nOther < ONE_SPAN;
}

// Sunday is 0.
unsigned int weekdayOf(unsigned int nYear, unsigned int nMonth, unsigned int nDay)
{
    unsigned int const lMonth = nMonth <= 2 ? nMonth + 12 : nMonth;
    unsigned int const lYear = nMonth <= 2 ? nYear - 1 : nYear;
    return (lYear + lYear / 4 - lYear / 100 + lYear / 400 + (13 * lMonth + 8) / 5 + nDay) % 7;
}

// Writes so many digits of a number, with leading zeros. Result: the end of them.
char* putNumber(char* npAt, unsigned int nValue, unsigned int nDigits)
{
    for (unsigned int lDigit = nDigits; lDigit > 0; nValue /= 10)
    {
        npAt[--lDigit] = static_cast<char>('0' + nValue % 10);
    }
    return npAt + nDigits;
}

char* putText(char* npAt, char const* npText)
{
    while (*npText != 0)
    {
        *npAt++ = *npText++;
    }
    return npAt;
}

bool isDigit(char nByte)
{
    return nByte >= '0' && nByte <= '9';
}

// Delimiters. The colon is none, nor are control characters other than the tab and bytes above 0x7E.
bool isDelimiter(char nByte)
{
    return nByte == 0 || nByte == '\t' || (nByte >= ' ' && nByte <= '/') || (nByte >= ';' && nByte <= '@') ||
           (nByte >= '[' && nByte <= '`') || (nByte >= '{' && nByte <= '~');
}

char const* skipToDelimiter(char const* npAt)
{
    while (!isDelimiter(*npAt))
    {
        ++npAt;
    }
    return npAt;
}

/// Recognises the parts of a date by their form, each once, in any order.
class HttpDateScanner
{
public:
    void scan(char const* npText)
    {
        char const* lpAt = npText;
        while (*lpAt != 0 && !(mHasTime && mHasDay && mHasMonth && mHasYear))
        {
            // A piece that was taken has moved us to the delimiter behind it. What nothing takes is tried again one
            // byte further on: a year may stand at the end of a longer run of digits.
            if (isDelimiter(*lpAt) || !(takeTime(lpAt) || takeDay(lpAt) || takeMonth(lpAt) || takeYear(lpAt)))
            {
                ++lpAt;
            }
        }
    }

    // Pieces that were not found keep a value out of range.
    unsigned short mYear = INVALID_YEAR;
    unsigned short mMonth = 13;
    unsigned short mDay = 32;
    unsigned short mHour = 24;
    unsigned short mMinute = 60;
    unsigned short mSecond = 60;

private:
    // Reads a number of so many digits, ASCII only; npAt moves behind it.
    static bool readNumber(char const*& npAt, unsigned int nMinDigits, unsigned int nMaxDigits, unsigned short& nValue)
    {
        unsigned int lValue = 0;
        unsigned int lDigits = 0;
        for (; isDigit(*npAt); ++npAt)
        {
            if (++lDigits > nMaxDigits)
            {
                return false;
            }
            lValue = lValue * 10 + static_cast<unsigned int>(*npAt - '0');
        }
        nValue = static_cast<unsigned short>(lValue); // four digits at most
        return lDigits >= nMinDigits;
    }

    static bool skipColon(char const*& npAt) { return *npAt++ == ':'; }

    bool takeTime(char const*& npAt)
    {
        char const* lpAt = npAt;
        unsigned short lHour = 0;
        unsigned short lMinute = 0;
        unsigned short lSecond = 0;
        if (mHasTime || !readNumber(lpAt, 1, 2, lHour) || !skipColon(lpAt) || !readNumber(lpAt, 1, 2, lMinute) ||
            !skipColon(lpAt) || !readNumber(lpAt, 1, 2, lSecond))
        {
            return false;
        }
        mHour = lHour;
        mMinute = lMinute;
        mSecond = lSecond;
        npAt = skipToDelimiter(lpAt);
        return mHasTime = true;
    }

    bool takeDay(char const*& npAt)
    {
        char const* lpAt = npAt;
        unsigned short lDay = 0;
        if (mHasDay || !readNumber(lpAt, 1, 2, lDay))
        {
            return false;
        }
        mDay = lDay;
        npAt = skipToDelimiter(lpAt);
        return mHasDay = true;
    }

    bool takeMonth(char const*& npAt)
    {
        if (mHasMonth)
        {
            return false;
        }
        for (unsigned short lIndex = 0; lIndex < 12; ++lIndex)
        {
            if (beginsWith(npAt, MONTH_NAMES[lIndex]))
            {
                mMonth = static_cast<unsigned short>(lIndex + 1);
                npAt = skipToDelimiter(npAt + NAME_LENGTH);
                return mHasMonth = true;
            }
        }
        return false;
    }

    bool takeYear(char const*& npAt)
    {
        char const* lpAt = npAt;
        unsigned short lYear = 0;
        if (mHasYear || !readNumber(lpAt, 2, 4, lYear))
        {
            return false;
        }
        unsigned int const lCentury = lYear < 70 ? 2000 : lYear < 100 ? 1900 : 0;
        mYear = static_cast<unsigned short>(lYear + lCentury);
        npAt = skipToDelimiter(lpAt);
        return mHasYear = true;
    }

    // Whether a name stands here, without case. The comparison folds all the rest of the text, so the bytes are looked
    // at first: the fold makes a small letter from that letter and its capital only, which differ in one bit.
    static bool beginsWith(char const* npAt, char const* npName)
    {
        for (unsigned int lIndex = 0; lIndex < NAME_LENGTH; ++lIndex)
        {
            if (((npAt[lIndex] ^ npName[lIndex]) & ~0x20) != 0)
            {
                return false;
            }
        }
        return compareStrNoCase(npAt, npName, NAME_LENGTH) == 0;
    }

    bool mHasTime = false;
    bool mHasDay = false;
    bool mHasMonth = false;
    bool mHasYear = false;
};

using Conversion = decltype(internal::SystemCalls::mGmtimeR);

bool readClock(Time* npTime, char const* npFunction, unsigned int nClockLine, unsigned int nConversionLine,
               Conversion const& nConversion)
{
    if (npTime == nullptr)
    {
        return false;
    }
    time_t const lSeconds =
        internal::blockingCall(FILE_NAME, npFunction, nClockLine, [] { return gSystem.mTime(nullptr); });
    if (lSeconds == -1)
    {
        return false;
    }
    tm lFields{};
    auto const lConvert = [&]
    {
        SyncGuard lGuard(internal::calendarLock());
        return nConversion(&lSeconds, &lFields);
    };
    if (internal::blockingCall(FILE_NAME, npFunction, nConversionLine, lConvert) == nullptr)
    {
        return false;
    }
    // A year that does not fit 16 bits would become another one.
    if (lFields.tm_year < -1900 || lFields.tm_year >= INVALID_YEAR - 1900)
    {
        return false;
    }
    auto const lField = [](int nValue) { return static_cast<unsigned short>(nValue); };
    Time const lTime(lField(lFields.tm_year + 1900), lField(lFields.tm_mon + 1), lField(lFields.tm_mday),
                     lField(lFields.tm_hour), lField(lFields.tm_min), lField(lFields.tm_sec), 0, 0, 0);
    if (!lTime.isValid())
    {
        return false;
    }
    *npTime = lTime;
    return true;
}

} // namespace

UTL_CONSTINIT Time const Time::DEFAULT_REFERENCE_TIME(0, 1, 1);

Time::Time(unsigned short nYear, unsigned short nMonth, unsigned short nDay, unsigned short nHour,
           unsigned short nMinute, unsigned short nSecond, unsigned short nMillisecond, unsigned short nMicrosecond,
           unsigned short nNanosecond)
{
    set(nYear, nMonth, nDay, nHour, nMinute, nSecond, nMillisecond, nMicrosecond, nNanosecond);
}

bool Time::set(unsigned short nYear, unsigned short nMonth, unsigned short nDay, unsigned short nHour,
               unsigned short nMinute, unsigned short nSecond, unsigned short nMillisecond, unsigned short nMicrosecond,
               unsigned short nNanosecond)
{
    unsigned short const lSecond = nSecond > 59 ? static_cast<unsigned short>(59) : nSecond;
    if (!isValidFields(nYear, nMonth, nDay, nHour, nMinute, lSecond, nMillisecond, nMicrosecond, nNanosecond))
    {
        return false;
    }
    mYear = nYear;
    mMonth = nMonth;
    mDay = nDay;
    mHour = nHour;
    mMinute = nMinute;
    mSecond = lSecond;
    mMillisecond = nMillisecond;
    mMicrosecond = nMicrosecond;
    mNanosecond = nNanosecond;
    return true;
}

bool Time::get(unsigned short* npYear, unsigned short* npMonth, unsigned short* npDay, unsigned short* npHour,
               unsigned short* npMinute, unsigned short* npSecond, unsigned short* npMillisecond,
               unsigned short* npMicrosecond, unsigned short* npNanosecond) const
{
    if (!isValid())
    {
        return false;
    }
    auto const lStore = [](unsigned short* npField, unsigned short nValue)
    {
        if (npField != nullptr)
        {
            *npField = nValue;
        }
    };
    lStore(npYear, mYear);
    lStore(npMonth, mMonth);
    lStore(npDay, mDay);
    lStore(npHour, mHour);
    lStore(npMinute, mMinute);
    lStore(npSecond, mSecond);
    lStore(npMillisecond, mMillisecond);
    lStore(npMicrosecond, mMicrosecond);
    lStore(npNanosecond, mNanosecond);
    return true;
}

bool Time::isValid() const
{
    return isValidFields(mYear, mMonth, mDay, mHour, mMinute, mSecond, mMillisecond, mMicrosecond, mNanosecond);
}

unsigned int Time::getDays() const
{
    if (!isValid())
    {
        return FAILED;
    }
    unsigned int lDays = DAYS_BEFORE_MONTH[mMonth - 1] + mDay - 1U;
    if (mMonth > 2 && isLeapYear(mYear))
    {
        ++lDays;
    }
    if (mYear > 0)
    {
        unsigned int const lLastYear = mYear - 1U;
        lDays += 365 * lLastYear + 365 + lLastYear / 4 - lLastYear / 100 + lLastYear / 400;
    }
    return lDays;
}

int Time::compare(Time const& nOther) const
{
    auto const lFields = [](Time const& nTime)
    {
        return std::tie(nTime.mYear, nTime.mMonth, nTime.mDay, nTime.mHour, nTime.mMinute, nTime.mSecond,
                        nTime.mMillisecond, nTime.mMicrosecond, nTime.mNanosecond);
    };
    return lFields(*this) < lFields(nOther) ? -1 : lFields(nOther) < lFields(*this) ? 1 : 0;
}

unsigned int Time::secondsOfDay() const
{
    return 3600U * mHour + 60U * mMinute + mSecond;
}

unsigned int Time::nanoseconds() const
{
    return 1000000U * mMillisecond + 1000U * mMicrosecond + mNanosecond;
}

// The arithmetic wraps at 32 bits: callers rely on these results.
unsigned int Time::getElapsedDays(Time const& nOther) const
{
    if (!isValid() || !nOther.isValid() || *this < nOther)
    {
        return FAILED;
    }
    unsigned int const lDays = getDays() - nOther.getDays();
    if (lDays == 0)
    {
        return 0;
    }
    unsigned int const lSeconds = secondsOfDay();
    unsigned int const lOtherSeconds = nOther.secondsOfDay();
    bool const lIsShort =
        lSeconds != lOtherSeconds ? lSeconds < lOtherSeconds : isPartShort(nanoseconds(), nOther.nanoseconds());
    return lIsShort ? lDays - 1 : lDays;
}

unsigned int Time::getElapsedSeconds(Time const& nOther) const
{
    if (!isValid() || !nOther.isValid() || *this < nOther)
    {
        return FAILED;
    }
    unsigned int const lDays = getElapsedDays(nOther);
    unsigned int const lDifference = secondsOfDay() - nOther.secondsOfDay();
    if (lDays > MAX_SPAN_DAYS || (lDays == MAX_SPAN_DAYS && lDifference >= MAX_SPAN_REST))
    {
        return FAILED;
    }
    unsigned int const lSeconds = lDifference + SECONDS_PER_DAY * lDays;
    return lSeconds != 0 && isPartShort(nanoseconds(), nOther.nanoseconds()) ? lSeconds - 1 : lSeconds;
}

bool Time::getHttpDate(char* npBuffer, unsigned int nSize) const
{
    if (mYear < 100 || !isValidFields(mYear, mMonth, mDay, mHour, mMinute, mSecond))
    {
        return false;
    }
    char lText[sizeof("Sun, 06 Nov 65534 08:49:37 GMT")];
    char* lpEnd = lText;
    if (std::make_tuple(mYear, mMonth, mDay) >= std::make_tuple(1582, 10, 15))
    {
        lpEnd = putText(putText(lpEnd, WEEKDAY_NAMES[weekdayOf(mYear, mMonth, mDay)]), ", ");
    }
    lpEnd = putText(putText(putText(putNumber(lpEnd, mDay, 2), " "), MONTH_NAMES[mMonth - 1]), " ");
    lpEnd = putText(putNumber(lpEnd, mYear, mYear < 1000 ? 3 : mYear < 10000 ? 4 : 5), " ");
    lpEnd = putText(putNumber(lpEnd, mHour, 2), ":");
    lpEnd = putText(putNumber(lpEnd, mMinute, 2), ":");
    lpEnd = putText(putNumber(lpEnd, mSecond, 2), " GMT");
    *lpEnd = 0;
    return formatStr<char>(npBuffer, nSize, "%s", lText) != STR_ERROR;
}

bool Time::setHttpDate(char const* npText)
{
    if (npText == nullptr)
    {
        return false;
    }
    HttpDateScanner lDate;
    lDate.scan(npText);
    // A second above 59 is refused here; set() would limit it.
    return lDate.mSecond <= 59 &&
           set(lDate.mYear, lDate.mMonth, lDate.mDay, lDate.mHour, lDate.mMinute, lDate.mSecond, 0, 0, 0);
}

// The line numbers of the reports are positions that readers of the watchdog's table know.

bool getSystemTime(Time* npTime)
{
    return readClock(npTime, "getSystemTime", 31, 39, gSystem.mGmtimeR);
}

bool getLocalTime(Time* npTime)
{
    return readClock(npTime, "getLocalTime", 81, 89, gSystem.mLocaltimeR);
}

} // namespace utl
