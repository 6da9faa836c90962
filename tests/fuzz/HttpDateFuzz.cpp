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

std::string const DELIMITERS = std::string("\0\t", 2) + " !\"#$%&'()*+,-./;<=>?@[\\]^_`{|}~";

/// A scan that keeps positions in a string and gives up as soon as something does not fit.
struct SlowScan
{
    explicit SlowScan(std::string const& nText)
        : mText(nText + '\0')
    {
        for (std::size_t lAt = 0; lAt < nText.size(); ++lAt)
        {
            if (DELIMITERS.find(mText[lAt]) == std::string::npos &&
                (time(lAt) || number(mDay, lAt, 1, 2) || month(lAt) || number(mYear, lAt, 2, 4)))
            {
                lAt = mText.find_first_of(DELIMITERS, lAt);
            }
        }
        mYear += mYear < 0 || mYear >= 100 ? 0 : mYear < 70 ? 2000 : 1900;
    }

    /// A field that is not known so far, of so many digits. Result: it is one, and nAt behind it.
    bool number(int& nField, std::size_t& nAt, std::size_t nMin, std::size_t nMax)
    {
        std::string const lDigits = mText.substr(nAt, mText.find_first_not_of("0123456789", nAt) - nAt);
        bool const lIsField = nField == UNKNOWN && lDigits.size() >= nMin && lDigits.size() <= nMax;
        nField = lIsField ? std::stoi(lDigits) : nField;
        nAt += lIsField ? lDigits.size() : 0;
        return lIsField;
    }

    bool time(std::size_t& nAt)
    {
        std::size_t lAt = nAt;
        int lTime[3] = {mHour, UNKNOWN, UNKNOWN};
        bool const lIsTime = number(lTime[0], lAt, 1, 2) && mText[lAt++] == ':' && number(lTime[1], lAt, 1, 2) &&
                             mText[lAt++] == ':' && number(lTime[2], lAt, 1, 2);
        mHour = lIsTime ? lTime[0] : mHour;
        mMinute = lIsTime ? lTime[1] : mMinute;
        mSecond = lIsTime ? lTime[2] : mSecond;
        nAt = lIsTime ? lAt : nAt;
        return lIsTime;
    }

    bool month(std::size_t& nAt)
    {
        char const* const NAMES = "JanFebMarAprMayJunJulAugSepOctNovDec";
        int lMonth = mMonth == UNKNOWN ? 1 : 13;
        while (lMonth <= 12 && compareStrNoCase(mText.c_str() + nAt, NAMES + 3 * (lMonth - 1), 3) != 0)
        {
            ++lMonth;
        }
        mMonth = lMonth <= 12 ? lMonth : mMonth;
        nAt += lMonth <= 12 ? 3 : 0;
        return lMonth <= 12;
    }

    bool isDate() const
    {
        return mYear >= 0 && mMonth >= 1 && mDay >= 1 && mDay <= 31 && mHour >= 0 && mHour < 24 && mMinute < 60 &&
               mSecond < 60;
    }

    static constexpr int UNKNOWN = -1;
    std::string mText;
    int mYear = UNKNOWN;
    int mMonth = UNKNOWN;
    int mDay = UNKNOWN;
    int mHour = UNKNOWN;
    int mMinute = UNKNOWN;
    int mSecond = UNKNOWN;
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
        std::vector<int> const lFields = {lSlow.mYear, lSlow.mMonth,  lSlow.mDay,
                                          lSlow.mHour, lSlow.mMinute, lSlow.mSecond};
        require(lFields == std::vector<int>{lTime.year(), lTime.month(), lTime.day(), lTime.hour(), lTime.minute(),
                                            lTime.second()});
        char lWritten[32];
        Time lBack;
        require(lTime.getHttpDate(lWritten, sizeof(lWritten)) && lBack.setHttpDate(lWritten) && lBack == lTime);
    }
    return 0;
}
