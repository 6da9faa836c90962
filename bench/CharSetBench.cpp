// Conversions of mixed Japanese text, compared with the C library's iconv, ICU if it was found, and memcpy of the
// source. "Text" is four megabytes, "Short" a string of 32 characters. The ratios at the end are those of the fastest
// rounds of one interleaved run, since machines run at more than one speed. "checked" are the functions that take text
// of any bytes; from UTF-16 to Shift-JIS there are no others.
#include "UtlCharSet.h"
#include "UtlCheckedText.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>
#include <iconv.h>
#ifdef UTL_BENCH_ICU
#include <unicode/ucnv.h>
#include <unicode/ustring.h>
#endif

#include "internal/text/UtlCodeTables.h"

namespace
{

/// One text in three encodings, each with a terminator.
struct Text
{
    std::string mSjis;
    std::string mUtf8;
    std::vector<unsigned short> mUtf16;
    unsigned int mCharacters;
};

unsigned int random(unsigned int nBound)
{
    static unsigned int sState = 1;
    sState = sState * 1664525U + 1013904223U;
    return (sState >> 8) % nBound;
}

/// Runs of hiragana, kanji (common ones more often), katakana, ASCII, half-width katakana and marks.
unsigned int randomCode(unsigned int nKind)
{
    return nKind < 42   ? 0x829F + random(83)
           : nKind < 74 ? utl::SJIS_TO_UNICODE[670 + std::min(random(2965), random(2965))].mSjis
           : nKind < 84 ? 0x8380 + random(23)
           : nKind < 95 ? 'a' + random(26)
           : nKind < 97 ? 0xB1 + random(40)
                        : 0x8141 + random(4);
}

Text makeText(unsigned int nCharacters)
{
    Text lText{{}, {}, {}, nCharacters};
    for (unsigned int lLeft = nCharacters; lLeft != 0;)
    {
        unsigned int const lKind = random(100);
        for (unsigned int lRun = std::min(lLeft, 1 + random(8)); lRun != 0; --lRun, --lLeft)
        {
            unsigned int const lCode = randomCode(lKind);
            if (lCode > 0xFF)
            {
                lText.mSjis += static_cast<char>(lCode >> 8);
            }
            lText.mSjis += static_cast<char>(lCode);
        }
    }
    lText.mUtf8.resize(nCharacters * 3 + 1);
    unsigned int const lBytes =
        utl::convertStrFromSjisToUtf8(&lText.mUtf8[0], nCharacters * 3 + 1, lText.mSjis.c_str());
    lText.mUtf8.resize(lBytes - 1);
    lText.mUtf16.resize(nCharacters + 1);
    utl::convertStrFromUtf8ToUtf16(lText.mUtf16.data(), nCharacters + 1, lText.mUtf8.c_str());
    return lText;
}

std::vector<char> gTarget(8U << 20);

char* target()
{
    return gTarget.data();
}
unsigned int capacity()
{
    return static_cast<unsigned int>(gTarget.size());
}
unsigned short* target16()
{
    return reinterpret_cast<unsigned short*>(gTarget.data());
}

/// One iconv descriptor, opened once; a failing conversion ends the program.
class Iconv
{
public:
    Iconv(char const* npTo, char const* npFrom)
        : mDescriptor(iconv_open(npTo, npFrom))
    {
    }

    void operator()(void const* npSrc, std::size_t nBytes) const
    {
        char* lpSrc = const_cast<char*>(static_cast<char const*>(npSrc));
        char* lpDst = target();
        std::size_t lRoom = gTarget.size();
        if (iconv(mDescriptor, &lpSrc, &nBytes, &lpDst, &lRoom) == static_cast<std::size_t>(-1))
        {
            std::perror("iconv");
            std::exit(1);
        }
    }

private:
    iconv_t mDescriptor;
};

/// Registers nName/nWhat, a call that converts the whole text.
template <class Call>
void add(std::string const& nName, char const* npWhat, Text const& nText, Call nCall)
{
    benchmark::RegisterBenchmark((npWhat + ("/" + nName)).c_str(),
                                 [&nText, nCall](benchmark::State& nState)
                                 {
                                     for (auto lRound : nState)
                                     {
                                         nCall(nText);
                                         benchmark::ClobberMemory();
                                     }
                                     nState.SetItemsProcessed(nState.iterations() *
                                                              static_cast<std::int64_t>(nText.mUtf16.size() - 1));
                                 });
}

void addUtl(std::string const& nSize, Text const& nText)
{
    std::string const lName = nSize + "/utl";
    add(lName, "SjisToUtf8", nText,
        [](Text const& nFrom) { utl::convertStrFromSjisToUtf8(target(), capacity(), nFrom.mSjis.c_str()); });
    add(lName, "Utf8ToSjis", nText,
        [](Text const& nFrom) { utl::convertStrFromUtf8ToSjis(target(), capacity(), nFrom.mUtf8.c_str()); });
    add(lName, "SjisToUtf16", nText,
        [](Text const& nFrom) { utl::convertStrFromSjisToUtf16(target16(), capacity() / 2, nFrom.mSjis.c_str()); });
    add(lName, "Utf16ToUtf8", nText,
        [](Text const& nFrom) { utl::convertStrFromUtf16ToUtf8(target(), capacity(), nFrom.mUtf16.data()); });
    add(lName, "Utf8ToUtf16", nText,
        [](Text const& nFrom) { utl::convertStrFromUtf8ToUtf16(target16(), capacity() / 2, nFrom.mUtf8.c_str()); });
}

/// Text that is known to be converted whole.
std::string_view sourceOf(Text const& nText, utl::Encoding nEncoding)
{
    return nEncoding == utl::Encoding::SJIS   ? std::string_view(nText.mSjis)
           : nEncoding == utl::Encoding::UTF8 ? std::string_view(nText.mUtf8)
                                              : utl::bytesOfUnits(nText.mUtf16.data(), nText.mUtf16.size() - 1);
}

void addChecked(std::string const& nSize, Text const& nText)
{
    using utl::Encoding;
    struct
    {
        char const* mpName;
        Encoding mFrom;
        Encoding mTo;
    } const DIRECTIONS[] = {
        {"SjisToUtf8", Encoding::SJIS, Encoding::UTF8},       {"Utf8ToSjis", Encoding::UTF8, Encoding::SJIS},
        {"SjisToUtf16", Encoding::SJIS, utl::ENCODING_UTF16}, {"Utf16ToUtf8", utl::ENCODING_UTF16, Encoding::UTF8},
        {"Utf8ToUtf16", Encoding::UTF8, utl::ENCODING_UTF16}, {"Utf16ToSjis", utl::ENCODING_UTF16, Encoding::SJIS}};
    for (auto const& lDirection : DIRECTIONS)
    {
        std::string_view const lSource = sourceOf(nText, lDirection.mFrom);
        add(nSize + "/checked", lDirection.mpName, nText,
            [=](Text const&)
            {
                if (!utl::convertText(lDirection.mTo, target(), capacity(), lDirection.mFrom, lSource).isWhole())
                {
                    std::exit(1);
                }
            });
    }
}

void addIconv(std::string const& nSize, Text const& nText)
{
    std::string const lName = nSize + "/iconv";
    add(lName, "SjisToUtf8", nText,
        [lCall = Iconv("UTF-8", "CP932")](Text const& nFrom) { lCall(nFrom.mSjis.data(), nFrom.mSjis.size()); });
    add(lName, "Utf8ToSjis", nText,
        [lCall = Iconv("CP932", "UTF-8")](Text const& nFrom) { lCall(nFrom.mUtf8.data(), nFrom.mUtf8.size()); });
    add(lName, "SjisToUtf16", nText,
        [lCall = Iconv("UTF-16LE", "CP932")](Text const& nFrom) { lCall(nFrom.mSjis.data(), nFrom.mSjis.size()); });
    add(lName, "Utf16ToUtf8", nText,
        [lCall = Iconv("UTF-8", "UTF-16LE")](Text const& nFrom)
        { lCall(nFrom.mUtf16.data(), (nFrom.mUtf16.size() - 1) * 2); });
    add(lName, "Utf8ToUtf16", nText,
        [lCall = Iconv("UTF-16LE", "UTF-8")](Text const& nFrom) { lCall(nFrom.mUtf8.data(), nFrom.mUtf8.size()); });
    add(lName, "Utf16ToSjis", nText,
        [lCall = Iconv("CP932", "UTF-16LE")](Text const& nFrom)
        { lCall(nFrom.mUtf16.data(), (nFrom.mUtf16.size() - 1) * 2); });
}

#ifdef UTL_BENCH_ICU
UConverter* openConverter(char const* npName)
{
    UErrorCode lError = U_ZERO_ERROR;
    return ucnv_open(npName, &lError);
}

/// Bytes to bytes through a pivot, as ICU does between two narrow encodings.
void convertByIcu(UConverter* npTo, UConverter* npFrom, std::string const& nFrom)
{
    static UChar sPivot[4096];
    UErrorCode lError = U_ZERO_ERROR;
    char* lpDst = target();
    char const* lpSrc = nFrom.data();
    UChar* lpPivotSource = sPivot;
    UChar* lpPivotTarget = sPivot;
    ucnv_convertEx(npTo, npFrom, &lpDst, target() + capacity(), &lpSrc, nFrom.data() + nFrom.size(), sPivot,
                   &lpPivotSource, &lpPivotTarget, sPivot + 4096, true, true, &lError);
}

void addIcu(std::string const& nSize, Text const& nText)
{
    std::string const lName = nSize + "/ICU";
    static UConverter* const spSjis = openConverter("windows-31j");
    static UConverter* const spUtf8 = openConverter("UTF-8");
    add(lName, "SjisToUtf8", nText, [](Text const& nFrom) { convertByIcu(spUtf8, spSjis, nFrom.mSjis); });
    add(lName, "Utf8ToSjis", nText, [](Text const& nFrom) { convertByIcu(spSjis, spUtf8, nFrom.mUtf8); });
    add(lName, "SjisToUtf16", nText,
        [](Text const& nFrom)
        {
            UErrorCode lError = U_ZERO_ERROR;
            ucnv_toUChars(spSjis, reinterpret_cast<UChar*>(target16()), static_cast<int>(capacity() / 2),
                          nFrom.mSjis.data(), static_cast<int>(nFrom.mSjis.size()), &lError);
        });
    add(lName, "Utf16ToUtf8", nText,
        [](Text const& nFrom)
        {
            UErrorCode lError = U_ZERO_ERROR;
            u_strToUTF8(target(), static_cast<int>(capacity()), nullptr,
                        reinterpret_cast<UChar const*>(nFrom.mUtf16.data()), -1, &lError);
        });
    add(lName, "Utf8ToUtf16", nText,
        [](Text const& nFrom)
        {
            UErrorCode lError = U_ZERO_ERROR;
            u_strFromUTF8(reinterpret_cast<UChar*>(target16()), static_cast<int>(capacity() / 2), nullptr,
                          nFrom.mUtf8.c_str(), -1, &lError);
        });
}
#else
void addIcu(std::string const&, Text const&) {}
#endif

void addAll(std::string const& nSize, Text const& nText)
{
    addUtl(nSize, nText);
    addChecked(nSize, nText);
    addIconv(nSize, nText);
    addIcu(nSize, nText);
    add(nSize + "/memcpy", "Utf8", nText,
        [](Text const& nFrom) { std::memcpy(target(), nFrom.mUtf8.data(), nFrom.mUtf8.size()); });
}

/// Keeps the fastest round of each benchmark.
class FastestReporter : public benchmark::BenchmarkReporter
{
public:
    bool ReportContext(Context const&) override { return true; }

    void ReportRuns(std::vector<Run> const& nRuns) override
    {
        for (Run const& lRun : nRuns)
        {
            if (lRun.run_type == Run::RT_Iteration)
            {
                double& lTime = mTimes.emplace(lRun.run_name.function_name, 1e18).first->second;
                lTime = std::min(lTime, lRun.GetAdjustedCPUTime());
            }
        }
    }

    void print(std::string const& nSize, unsigned int nCharacters) const
    {
        for (char const* const lpWhat :
             {"SjisToUtf8", "Utf8ToSjis", "SjisToUtf16", "Utf16ToUtf8", "Utf8ToUtf16", "Utf16ToSjis"})
        {
            std::string const lName = lpWhat + ("/" + nSize);
            double const lOurs = timeOf(lName + "/utl");
            double const lChecked = timeOf(lName + "/checked");
            double const lBest = lOurs != 0 ? lOurs : lChecked;
            std::printf(
                "%-18s %6.2f ns a character, checked %4.2f times that; %4.1f times as fast as iconv, %4.1f as ICU; "
                "memcpy %3.0f times\n",
                lName.c_str(), lBest / nCharacters, lChecked / lBest, timeOf(lName + "/iconv") / lBest,
                timeOf(lName + "/ICU") / lBest, lBest / timeOf("Utf8/" + nSize + "/memcpy"));
        }
    }

private:
    /// 0 for what was not run.
    double timeOf(std::string const& nName) const
    {
        auto const lFound = mTimes.find(nName);
        return lFound == mTimes.end() ? 0 : lFound->second;
    }

    std::map<std::string, double> mTimes; // nanoseconds
};

} // namespace

int main(int argc, char** argv)
{
    std::printf("read-only data: SJIS_TO_UNICODE %zu bytes, UTF8_TO_SJIS %zu; index from Shift-JIS %u, to it %u\n",
                sizeof(utl::SJIS_TO_UNICODE), sizeof(utl::UTF8_TO_SJIS), utl::internal::INDEX_BYTES_FROM_SJIS,
                utl::internal::INDEX_BYTES_TO_SJIS);
    Text const lLong = makeText(1500000);
    Text const lShort = makeText(32);
    addAll("Text", lLong);
    addAll("Short", lShort);
    char lProgram[] = "CharSetBench";
    char lRepetitions[] = "--benchmark_repetitions=15";
    char lInterleaved[] = "--benchmark_enable_random_interleaving=true";
    char lMinTime[] = "--benchmark_min_time=0.02";
    std::vector<char*> lArguments{lProgram, lRepetitions, lInterleaved, lMinTime};
    lArguments.insert(lArguments.end(), argv + 1, argv + argc);
    int lCount = static_cast<int>(lArguments.size());
    benchmark::Initialize(&lCount, lArguments.data());
    FastestReporter lReporter;
    benchmark::RunSpecifiedBenchmarks(&lReporter);
    lReporter.print("Text", lLong.mCharacters);
    lReporter.print("Short", lShort.mCharacters);
}
