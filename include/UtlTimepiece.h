/// Calendar dates and times, HTTP dates, the system clock. Layer: calendar time, above the thread registry.
#ifndef UTL_TIMEPIECE_H
#define UTL_TIMEPIECE_H

#include "UtlMacros.h"

namespace utl
{

/// A date and a time of day in nine fields, down to the nanosecond. It has no time zone: the caller knows which one it
/// means. Years count from 0 by the Gregorian rule throughout, and year 0 has 365 days.
///
///     Time lNow;
///     if (getLocalTime(&lNow)) { std::printf("%u-%02u-%02u\n", lNow.year(), lNow.month(), lNow.day()); }
///
/// Fields:  year 0 to 65534, month 1 to 12, day 1 to 31, hour 0 to 23, minute and second 0 to 59, millisecond,
///          microsecond and nanosecond 0 to 999 each. The day is not checked against the month. In an empty time every
///          field has the first value past its range.
/// Safety:  a value, unless a function says otherwise.
/// Errors:  false or FAILED, without a line in the log; targets are unchanged then.
class UTL_API Time
{
public:
    static constexpr unsigned int FAILED = 0xFFFFFFFFU; ///< No number of days or seconds.

    static Time const DEFAULT_REFERENCE_TIME; ///< The first moment of year 0. Constant-initialised.

    /// The empty time.
    Time() = default;

    /// As set(); the empty time if a field is out of range.
    Time(unsigned short nYear, unsigned short nMonth, unsigned short nDay, unsigned short nHour, unsigned short nMinute,
         unsigned short nSecond, unsigned short nMillisecond, unsigned short nMicrosecond, unsigned short nNanosecond);

    /// A second above 59, such as a leap second, is stored as 59. Result: false if another field is out of range.
    bool set(unsigned short nYear, unsigned short nMonth, unsigned short nDay, unsigned short nHour,
             unsigned short nMinute, unsigned short nSecond, unsigned short nMillisecond, unsigned short nMicrosecond,
             unsigned short nNanosecond);

    /// Gives the fields. Any pointer may be null. Result: false for a time that is not valid.
    bool get(unsigned short* npYear, unsigned short* npMonth, unsigned short* npDay, unsigned short* npHour,
             unsigned short* npMinute, unsigned short* npSecond, unsigned short* npMillisecond,
             unsigned short* npMicrosecond, unsigned short* npNanosecond) const;

    /// Sets the empty time.
    void reset() { *this = Time(); }

    /// Whether every field is in its range.
    bool isValid() const;

    /// The fields as stored, also of an empty time.
    unsigned short year() const { return mYear; }
    unsigned short month() const { return mMonth; }
    unsigned short day() const { return mDay; }
    unsigned short hour() const { return mHour; }
    unsigned short minute() const { return mMinute; }
    unsigned short second() const { return mSecond; }
    unsigned short millisecond() const { return mMillisecond; }
    unsigned short microsecond() const { return mMicrosecond; }
    unsigned short nanosecond() const { return mNanosecond; }

    /// Days from the first day of year 0 to the date; a day past the end of its month is a day of the next month.
    /// Result: FAILED for a time that is not valid.
    unsigned int getDays() const;

    /// Compare field after field as stored, from the year on; an empty time is later than every valid one.
    bool operator==(Time const& nOther) const { return compare(nOther) == 0; }
    bool operator!=(Time const& nOther) const { return compare(nOther) != 0; }
    bool operator<(Time const& nOther) const { return compare(nOther) < 0; }
    bool operator>(Time const& nOther) const { return compare(nOther) > 0; }
    bool operator<=(Time const& nOther) const { return compare(nOther) <= 0; }
    bool operator>=(Time const& nOther) const { return compare(nOther) >= 0; }

    /// Whether this time is before nOther.
    bool isPastTime(Time const& nOther) const { return *this < nOther; }

    /// Whole days from nOther, the earlier one, to this time; two times of one date give 0.
    /// Result: FAILED if one is not valid or this time is before nOther.
    /// Caution: if both times of day are equal to the second, the last day counts as whole even if it is more than a
    /// millisecond too short; clear the fields below the second of both times if that matters.
    /// Caution: from the 31st of a shorter month to the first days of the next one the difference of days can be
    /// negative and wraps; use dates that exist.
    unsigned int getElapsedDays(Time const& nOther) const;

    /// Whole seconds from nOther, the earlier one, to this time.
    /// Result: FAILED as in getElapsedDays(), and for spans of 2^32 seconds or more (49710 days and 23296 seconds).
    /// Caution: if this time of day is before that of nOther, the result is one day too small, and wraps within the
    /// first day: from 23:00:00 to the next 00:00:00 it is 4294884496. Compute the difference of getDays() times 86400
    /// plus the difference of the seconds of the day instead.
    unsigned int getElapsedSeconds(Time const& nOther) const;

    /// Writes the fields in the form "Sun, 06 Nov 1994 08:49:37 GMT", terminated: 30 bytes up to the year 9999. The
    /// fields are not converted to GMT. A date before 15 October 1582 gets no weekday and begins with the day.
    ///
    /// Signals: no.
    /// nSize:  capacity in bytes.
    /// Result: false for a year below 100, a field from year to second out of range, a null buffer, and no room, for
    ///         which the text is cut to fit.
    bool getHttpDate(char* npBuffer, unsigned int nSize) const;

    /// Reads a date and a time of day in any of the three forms of HTTP, and more: a time with colons, a day, an
    /// English month of which the first three letters count, and a year, in any order and with any delimiters. The
    /// first number of one or two digits is the day, the next of two to four digits is the year; 70 to 99 are in the
    /// 20th century, 0 to 69 in the 21st. Other letters are skipped; weekday and zone are ignored. The fields below
    /// the second become 0.
    ///
    /// Signals: no.
    /// Caution: a month is not found if text of WorkingBuffer<char>::CAPACITY bytes or more begins with it, nor if a
    /// stray continuation byte directly follows its small third letter, as in "06 Nov\x80 1994 08:49:37", which gives
    /// false; pass the value of one header field only.
    /// Result:  false for null, if a part is missing, and for a field out of range, a second above 59 included.
    bool setHttpDate(char const* npText);

private:
    // A date at 00:00:00, not checked.
    constexpr Time(unsigned short nYear, unsigned short nMonth, unsigned short nDay)
        : mYear(nYear),
          mMonth(nMonth),
          mDay(nDay),
          mHour(0),
          mMinute(0),
          mSecond(0),
          mMillisecond(0),
          mMicrosecond(0),
          mNanosecond(0)
    {
    }

    int compare(Time const& nOther) const;
    unsigned int secondsOfDay() const;
    unsigned int nanoseconds() const; // below the second

    // One thread at a time. These values are the empty time.
    unsigned short mYear = 65535;
    unsigned short mMonth = 13;
    unsigned short mDay = 32;
    unsigned short mHour = 24;
    unsigned short mMinute = 60;
    unsigned short mSecond = 60;
    unsigned short mMillisecond = 1000;
    unsigned short mMicrosecond = 1000;
    unsigned short mNanosecond = 1000;
};

/// Read the system clock, to the second, in coordinated universal time or in local time; the fields below the second
/// are 0. Also past January 2038 on 32-bit machines.
///
/// npTime:   written on success only.
/// Result:   false for null, if the clock or the conversion fails, and for years past 65534.
/// Threads:  any; each call into the system stands between two reports to the watchdog, which create the registry.
/// Signals:  no.
/// Forks:    usable in the child, unless a thread of the parent was itself calling localtime_r() or the like.
/// Blocking: for the lock that these two share; a watched thread also for the watchdog's.
/// Caution: local time is that of the zone that the process used first; call tzset() after a change of zone.
UTL_API bool getSystemTime(Time* npTime);
UTL_API bool getLocalTime(Time* npTime);

} // namespace utl

#endif
