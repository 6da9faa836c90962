/// Calendar dates and times, HTTP dates, the system clock. Layer: calendar time, above the thread registry.
#ifndef UTL_TIMEPIECE_H
#define UTL_TIMEPIECE_H

#include "UtlMacros.h"

namespace utl
{

/// A date and a time of day in nine fields, down to the nanosecond. It knows no time zone: it is what the caller took
/// it for. Years count from 0 by the Gregorian rule throughout, and year 0 has 365 days.
///
/// Fields:  year 0 to 65534, month 1 to 12, day 1 to 31, hour to 23, minute and second to 59, millisecond, microsecond
///          and nanosecond to 999 each. The day is not checked against the month. An empty time holds the first value
///          past the range in every field.
/// Safety:  a value, unless a function says otherwise.
/// Errors:  false or FAILED, in silence; what was to be written is as it was.
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

    /// Any pointer may be null. Result: false for a time that is not valid.
    bool get(unsigned short* npYear, unsigned short* npMonth, unsigned short* npDay, unsigned short* npHour,
             unsigned short* npMinute, unsigned short* npSecond, unsigned short* npMillisecond,
             unsigned short* npMicrosecond, unsigned short* npNanosecond) const;

    /// Back to the empty time.
    void reset() { *this = Time(); }

    /// Every field is in its range.
    bool isValid() const;

    /// The fields as stored, of an empty time too.
    unsigned short year() const { return mYear; }
    unsigned short month() const { return mMonth; }
    unsigned short day() const { return mDay; }
    unsigned short hour() const { return mHour; }
    unsigned short minute() const { return mMinute; }
    unsigned short second() const { return mSecond; }
    unsigned short millisecond() const { return mMillisecond; }
    unsigned short microsecond() const { return mMicrosecond; }
    unsigned short nanosecond() const { return mNanosecond; }

    /// Days from the first day of year 0 to the date; a day past the end of its month counts on into the next.
    /// Result: FAILED for a time that is not valid.
    unsigned int getDays() const;

    /// Field after field as stored, from the year on; an empty time is later than every valid one.
    bool operator==(Time const& nOther) const { return compare(nOther) == 0; }
    bool operator!=(Time const& nOther) const { return compare(nOther) != 0; }
    bool operator<(Time const& nOther) const { return compare(nOther) < 0; }
    bool operator>(Time const& nOther) const { return compare(nOther) > 0; }
    bool operator<=(Time const& nOther) const { return compare(nOther) <= 0; }
    bool operator>=(Time const& nOther) const { return compare(nOther) >= 0; }

    /// This time is before nOther.
    bool isPastTime(Time const& nOther) const { return *this < nOther; }

    /// Whole days from nOther, the earlier one, to this time; two times of one date give 0.
    /// Result: FAILED if one is not valid or this time is before nOther.
    /// Caution: between two equal times of day to the second, a last day that lacks more than a millisecond counts as
    /// whole; clear the parts below the second on both sides if that matters.
    /// Caution: between the 31st of a shorter month and the first days of the next the difference of days can be
    /// negative and wraps; use dates that exist.
    unsigned int getElapsedDays(Time const& nOther) const;

    /// Whole seconds from nOther, the earlier one, to this time.
    /// Result: FAILED as in getElapsedDays(), and for spans of 2^32 seconds or more (49710 days and 23296 seconds).
    /// Caution: if this time of day is before that of nOther, the result is one day short, and wraps within the
    /// first day: from 23:00:00 to the next 00:00:00 it is 4294884496. Take the difference of getDays() times 86400
    /// plus the difference of the seconds of the day instead.
    unsigned int getElapsedSeconds(Time const& nOther) const;

    /// Writes "Sun, 06 Nov 1994 08:49:37 GMT", as the fields stand, terminated: 30 bytes up to the year 9999. A date
    /// before 15 October 1582 has no weekday and begins with the day.
    ///
    /// Signals: no.
    /// nSize:  capacity in bytes.
    /// Result: false for a year below 100, a field from year to second out of range, a null buffer, no room: then the
    ///         text is cut to fit.
    bool getHttpDate(char* npBuffer, unsigned int nSize) const;

    /// Reads a date and a time of day in any of the three forms of HTTP, and more: a time with colons, a day, an
    /// English month of which the first three letters count, and a year, in any order and between any delimiters. The
    /// first number of one or two digits is the day, the next of two to four is the year; 70 to 99 are of the
    /// 20th century, 0 to 69 of the 21st. Other letters are passed over; a weekday or zone is not looked at. The
    /// fields below the second become 0.
    ///
    /// Signals: no.
    /// Caution: a month is not seen if text of WorkingBuffer<char>::CAPACITY bytes or more begins with it, nor if
    /// a stray continuation byte follows its small third letter directly, as in "06 Nov\x80 1994 08:49:37", which gives
    /// false; pass the value of one header field alone.
    /// Result:  false for null, if a piece is missing, and for a field out of range, a second above 59 too.
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

    // One thread at a time. As they stand here they are the empty time.
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

/// The system clock to the second, in coordinated universal time or in local time; parts below a second are 0. Past
/// January 2038 on 32-bit machines too.
///
/// npTime:   written on success only.
/// Result:   false for null, if the clock or the conversion fails, and for years past 65534.
/// Threads:  any; each call into the system stands between two reports to the watchdog, which create the registry.
/// Signals:  no.
/// Forks:    usable in the child, unless a thread of the parent was inside localtime_r() or its kin by itself.
/// Blocking: for the lock of these two calls, and a watched thread's report for the watchdog's.
/// Caution: local time is of the zone that the process looked up first; call tzset() after a change of zone.
UTL_API bool getSystemTime(Time* npTime);
UTL_API bool getLocalTime(Time* npTime);

} // namespace utl

#endif
