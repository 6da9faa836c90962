// HTTP dates of arbitrary bytes: the same as a slow scan gives that folds and converts each piece anew, and a date that
// was read is written and read back. The first byte chooses: when odd, the other bytes choose words that dates are made
// of.

#include "UtlConvertAttrib.h"
#include "UtlTimepiece.h"
#include "reference/Input.h"

using namespace utl;
using test::require;

namespace
{

std::string const DIGITS = "0123456789";
std::string const DELIMITERS = std::string("\0\t", 2) + " !\"#$%&'()*+,-./;<=>?@[\\]^_`{|}~";

/// A scan that keeps positions in a string and gives up as soon as something does not fit.
struct SlowScan
{
    explicit SlowScan(std::string const& nText)
        : mText(nText + '\0')
    {
        for (std::size_t lAt = 0; lAt < nText.size(); ++lAt)
        {
            if (DELIMITERS.find(mText[lAt]) == std::string::npos)
            {
                (!mHasTime && time(lAt)) || (!mHasDay && number(lAt, 1, 2, mDay, mHasDay)) ||
                    (!mHasMonth && month(lAt)) || (!mHasYear && number(lAt, 2, 4, mYear, mHasYear));
            }
        }
        if (mHasYear && mYear < 100)
        {
            mYear = static_cast<unsigned short>(mYear + (mYear < 70 ? 2000 : 1900));
        }
    }

    std::string digits(std::size_t nAt) const { return mText.substr(nAt, mText.find_first_not_of(DIGITS, nAt) - nAt); }

    bool convert(std::string const& nDigits, std::size_t nMin, std::size_t nMax, unsigned short& nValue) const
    {
        return nDigits.size() >= nMin && nDigits.size() <= nMax && strToInt(&nValue, nDigits.c_str(), 10);
    }

    bool number(std::size_t& nAt, std::size_t nMin, std::size_t nMax, unsigned short& nValue, bool& nHas)
    {
        if (!convert(digits(nAt), nMin, nMax, nValue))
        {
            return false;
        }
        nAt = mText.find_first_of(DELIMITERS, nAt);
        return nHas = true;
    }

    bool time(std::size_t& nAt)
    {
        unsigned short lValues[3] = {};
        std::size_t lAt = nAt;
        for (int lField = 0; lField < 3; ++lField)
        {
            std::string const lDigits = digits(lAt);
            if (!convert(lDigits, 1, 2, lValues[lField]) || (lField < 2 && mText[lAt + lDigits.size()] != ':'))
            {
                return false;
            }
            lAt += lDigits.size() + (lField < 2 ? 1 : 0);
        }
        mHour = lValues[0];
        mMinute = lValues[1];
        mSecond = lValues[2];
        nAt = mText.find_first_of(DELIMITERS, lAt);
        return mHasTime = true;
    }

    bool month(std::size_t& nAt)
    {
        char const* const NAMES[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                     "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
        for (unsigned short lIndex = 0; lIndex < 12; ++lIndex)
        {
            if (compareStrNoCase(mText.c_str() + nAt, NAMES[lIndex], 3) == 0)
            {
                mMonth = static_cast<unsigned short>(lIndex + 1);
                nAt = mText.find_first_of(DELIMITERS, nAt + 3);
                return mHasMonth = true;
            }
        }
        return false;
    }

    bool isDate() const
    {
        return mHasTime && mHasDay && mHasMonth && mHasYear && mDay >= 1 && mDay <= 31 && mHour < 24 && mMinute < 60 &&
               mSecond < 60;
    }

    std::string mText;
    bool mHasTime = false;
    bool mHasDay = false;
    bool mHasMonth = false;
    bool mHasYear = false;
    unsigned short mYear = 0;
    unsigned short mMonth = 0;
    unsigned short mDay = 0;
    unsigned short mHour = 0;
    unsigned short mMinute = 0;
    unsigned short mSecond = 0;
};

char const* const WORDS[] = {"jan", "Feb",  "DEC",    "may", " ",       ", ",           "-",  ":",
                             ":",   "0",    "1",      "6",   "31",      "99",           "70", "1994",
                             "08",  "8:49", "GMT",    "Sun", "\t",      "\x80",         "T",  "\n",
                             "ja",  "24",   "0:0:0 ", "59",  "October", "\xE3\x81\x82", "/",  "60"};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* npData, std::size_t nSize)
{
    if (nSize == 0)
    {
        return 0;
    }
    std::string const lBytes(npData + 1, npData + nSize);
    std::string const lText = npData[0] % 2 != 0 ? test::wordsOf(WORDS, lBytes) : std::string(lBytes.c_str());
    SlowScan const lSlow(lText);
    Time lTime;
    require(lTime.setHttpDate(lText.c_str()) == lSlow.isDate() && lTime.isValid() == lSlow.isDate());
    if (lSlow.isDate())
    {
        require(lTime ==
                Time(lSlow.mYear, lSlow.mMonth, lSlow.mDay, lSlow.mHour, lSlow.mMinute, lSlow.mSecond, 0, 0, 0));
        char lWritten[32];
        Time lBack;
        require(lTime.getHttpDate(lWritten, sizeof(lWritten)) && lBack.setHttpDate(lWritten) && lBack == lTime);
    }
    return 0;
}
