// Classes and folds, compared with the plain scan of all rows and with the nearest functions of ICU if it is installed:
// the normaliser and the case map on UTF-8, the transliterators on UTF-16, without the way there and back.
//
// "checked" is foldText() beside convertAttrib(). One item is one character of the source text.

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include "../tests/fuzz/reference/PlainRowScan.h"
#include "UtlCheckedText.h"
#include "UtlConvertAttrib.h"
#include "internal/text/UtlFoldIndex.h"
#include "support/Ratios.h"

#ifdef UTL_BENCH_ICU
#include <unicode/bytestream.h>
#include <unicode/normalizer2.h>
#include <unicode/ucasemap.h>
#include <unicode/ustring.h>
#include <unicode/utrans.h>
#endif

namespace
{

using namespace utl;

char const* const HALF_WIDTH = "ｶﾞｿﾘﾝ ｽﾀﾝﾄﾞ 12:30 ABC-xyz ﾊﾟｰｷﾝｸﾞ ｺﾝﾋﾞﾆ(24h)"; // half-width throughout
char const* const MIXED = "東京都のガソリンスタンド、ＡＢＣ-xyz １２:30 ﾊﾟｰｷﾝｸﾞとコンビニ";

unsigned int characterCount(std::string const& nText)
{
    unsigned int lCount = 0;
    for (char lByte : nText)
    {
        lCount += (static_cast<unsigned char>(lByte) & 0xC0U) != 0x80U ? 1U : 0U;
    }
    return lCount;
}

// The first 32 characters of a line, or as many whole lines as a fold takes at once.
std::string textOf(char const* npLine, bool nIsLong)
{
    std::string lText(npLine);
    while (nIsLong && lText.size() + std::strlen(npLine) < WorkingBuffer<char>::CAPACITY)
    {
        lText += npLine;
    }
    while (!nIsLong && characterCount(lText) > 32)
    {
        lText.resize(getNearCharIndex(lText.c_str(), static_cast<unsigned int>(lText.size()) - 1, 1));
    }
    return lText;
}

template <class Work>
void run(benchmark::State& nState, std::string const& nText, Work nWork)
{
    for (auto lRound : nState)
    {
        benchmark::DoNotOptimize(nWork());
    }
    nState.SetItemsProcessed(nState.iterations() * characterCount(nText));
}

using FoldFunction = unsigned int (*)(char*, unsigned int, char const*, PairAttrib const*, int, int);
void runChecked(benchmark::State& nState, std::string const& nText, Fold nFold)
{
    std::vector<char> lDst(nText.size() * 3);
    run(nState, nText, [&] { return foldText(nFold, lDst.data(), lDst.size(), nText).mWritten; });
}

using SizeFunction = unsigned int (*)(char const*, int);

void runFold(benchmark::State& nState, std::string const& nText, FoldFunction npFold, PairAttrib const* npTable,
             int nReverse)
{
    std::vector<char> lDst(nText.size() * 3);
    unsigned int const lSize = static_cast<unsigned int>(lDst.size());
    run(nState, nText, [&] { return npFold(lDst.data(), lSize, nText.c_str(), npTable, nReverse, 0); });
}

void runClasses(benchmark::State& nState, std::string const& nText, SizeFunction npBlockSize)
{
    auto const lWork = [&]
    {
        unsigned int lBlocks = 0;
        for (char const* lpText = nText.c_str(); *lpText != 0; ++lBlocks)
        {
            lpText += npBlockSize(lpText, -1);
        }
        return lBlocks;
    };
    run(nState, nText, lWork);
}

#ifdef UTL_BENCH_ICU

template <class Container>
int32_t sizeOf(Container const& nContainer)
{
    return static_cast<int32_t>(nContainer.size());
}

std::vector<UChar> utf16Of(std::string const& nText)
{
    std::vector<UChar> lUnits(nText.size() + 1);
    int32_t lCount = 0;
    UErrorCode lError = U_ZERO_ERROR;
    u_strFromUTF8(lUnits.data(), sizeOf(lUnits), &lCount, nText.c_str(), -1, &lError);
    lUnits.resize(static_cast<std::size_t>(lCount));
    return lUnits;
}

void check(benchmark::State& nState, UErrorCode nError)
{
    if (U_FAILURE(nError))
    {
        nState.SkipWithError(u_errorName(nError));
    }
}

void runTransliterator(benchmark::State& nState, std::string const& nText, std::string const& nId)
{
    UErrorCode lError = U_ZERO_ERROR;
    std::vector<UChar> const lId = utf16Of(nId);
    std::vector<UChar> const lSource = utf16Of(nText);
    std::vector<UChar> lDst(lSource.size() * 3);
    UTransliterator* const lpTrans =
        utrans_openU(lId.data(), sizeOf(lId), UTRANS_FORWARD, nullptr, 0, nullptr, &lError);
    auto const lWork = [&]
    {
        std::copy(lSource.begin(), lSource.end(), lDst.begin());
        int32_t lLength = sizeOf(lSource);
        int32_t lLimit = lLength;
        utrans_transUChars(lpTrans, lDst.data(), &lLength, sizeOf(lDst), 0, &lLimit, &lError);
        return lLimit;
    };
    run(nState, nText, lWork);
    utrans_close(lpTrans);
    check(nState, lError);
}

void runNormaliser(benchmark::State& nState, std::string const& nText, std::string const&)
{
    UErrorCode lError = U_ZERO_ERROR;
    icu::Normalizer2 const* const lpNfkc = icu::Normalizer2::getNFKCInstance(lError);
    std::vector<char> lDst(nText.size() * 3);
    auto const lWork = [&]
    {
        icu::CheckedArrayByteSink lSink(lDst.data(), sizeOf(lDst));
        lpNfkc->normalizeUTF8(0, nText, lSink, nullptr, lError);
        return lSink.NumberOfBytesWritten();
    };
    run(nState, nText, lWork);
    check(nState, lError);
}

void runCaseMap(benchmark::State& nState, std::string const& nText, std::string const& nId)
{
    auto* const lpFold = nId == "Upper" ? ucasemap_utf8ToUpper : ucasemap_utf8ToLower;
    UErrorCode lError = U_ZERO_ERROR;
    UCaseMap* const lpMap = ucasemap_open("", 0, &lError);
    std::vector<char> lDst(nText.size() * 3);
    auto const lWork = [&] { return lpFold(lpMap, lDst.data(), sizeOf(lDst), nText.c_str(), sizeOf(nText), &lError); };
    run(nState, nText, lWork);
    ucasemap_close(lpMap);
    check(nState, lError);
}

#endif

struct FoldCase
{
    char const* mpName;
    PairAttrib const* mpTable;
    int mReverse;
    Fold mFold;
    char const* mpLine;
#ifdef UTL_BENCH_ICU
    void (*mpIcu)(benchmark::State&, std::string const&, std::string const&); // what comes nearest; may be null
    char const* mpId;
#endif
};

#ifdef UTL_BENCH_ICU
#define ICU_CASE(FUNCTION, ID) , FUNCTION, ID
#else
#define ICU_CASE(FUNCTION, ID)
#endif

FoldCase const FOLDS[] = {
    {"full_width", HANKAKU_ZENKAKU_PAIR, 0, Fold::FULL_WIDTH, HALF_WIDTH ICU_CASE(runNormaliser, "")},
    {"full_width_mixed", HANKAKU_ZENKAKU_PAIR, 0, Fold::FULL_WIDTH, MIXED ICU_CASE(runNormaliser, "")},
    {"full_width_trans", HANKAKU_ZENKAKU_PAIR, 0, Fold::FULL_WIDTH,
     HALF_WIDTH ICU_CASE(runTransliterator, "Halfwidth-Fullwidth")},
    {"half_width", HANKAKU_ZENKAKU_PAIR, 1, Fold::HALF_WIDTH, MIXED ICU_CASE(runTransliterator, "Fullwidth-Halfwidth")},
    {"hiragana", ZENKATA_HIRAGANA_PAIR, 0, Fold::KATAKANA_TO_HIRAGANA,
     MIXED ICU_CASE(runTransliterator, "Katakana-Hiragana")},
    {"lower", LOWER_UPPER_PAIR, 1, Fold::LOWER, MIXED ICU_CASE(runCaseMap, "Lower")},
    {"upper", LOWER_UPPER_PAIR, 0, Fold::UPPER, MIXED ICU_CASE(runCaseMap, "Upper")},
    {"unvoiced", NODAKUON_DAKUON_PAIR, 1, Fold::NOT_VOICED, MIXED ICU_CASE(nullptr, "")},
};

// A group for each floor, so that each has its ratio.
void registerAll(std::string const& nLength, bool nIsLong)
{
    for (FoldCase const& lCase : FOLDS)
    {
        std::string const lText = textOf(lCase.mpLine, nIsLong);
        std::string const lName = lCase.mpName + nLength;
        benchmark::RegisterBenchmark((lName + ".scan/utl").c_str(), runFold, lText, convertAttrib<char>, lCase.mpTable,
                                     lCase.mReverse);
        benchmark::RegisterBenchmark((lName + ".scan/floor").c_str(), runFold, lText, scan::convertAttrib,
                                     lCase.mpTable, lCase.mReverse);
        benchmark::RegisterBenchmark((lName + ".checked/utl").c_str(), runChecked, lText, lCase.mFold);
        benchmark::RegisterBenchmark((lName + ".checked/floor").c_str(), runFold, lText, convertAttrib<char>,
                                     lCase.mpTable, lCase.mReverse);
#ifdef UTL_BENCH_ICU
        if (lCase.mpIcu != nullptr)
        {
            benchmark::RegisterBenchmark((lName + ".icu/utl").c_str(), runFold, lText, convertAttrib<char>,
                                         lCase.mpTable, lCase.mReverse);
            benchmark::RegisterBenchmark((lName + ".icu/floor").c_str(), lCase.mpIcu, lText, lCase.mpId);
        }
#endif
    }
    std::string const lText = textOf(MIXED, nIsLong);
    benchmark::RegisterBenchmark(("compare" + nLength + ".checked/utl").c_str(),
                                 [lText](benchmark::State& nState)
                                 {
                                     std::string const lOther = lText + "b";
                                     run(nState, lText, [&] { return compareTextNoCase(lText, lOther); });
                                 });
    benchmark::RegisterBenchmark(("compare" + nLength + ".checked/floor").c_str(),
                                 [lText](benchmark::State& nState)
                                 {
                                     std::string const lOther = lText + "b";
                                     run(nState, lText,
                                         [&] { return compareStrNoCase(lText.c_str(), lOther.c_str(), STR_ALL); });
                                 });
    benchmark::RegisterBenchmark(("classes" + nLength + ".scan/utl").c_str(), runClasses, lText, attribBlockSize<char>);
    benchmark::RegisterBenchmark(("classes" + nLength + ".scan/floor").c_str(), runClasses, lText,
                                 scan::attribBlockSize);
}

void printSizes()
{
#define INDEX_SIZE(TABLE) sizeof(internal::FoldIndex<sizeof(TABLE) / sizeof(TABLE[0]) - 1>)
    std::printf("Constant data: pair tables %zu bytes, the index in front of them %zu bytes\n",
                sizeof(LOWER_UPPER_PAIR) + sizeof(HANKAKU_ZENKAKU_PAIR) + sizeof(NODAKUON_DAKUON_PAIR) +
                    sizeof(NODAKUON_HANDAKUON_PAIR) + sizeof(ZENKATA_HIRAGANA_PAIR) + sizeof(HANKATA_HIRAGANA_PAIR),
                INDEX_SIZE(LOWER_UPPER_PAIR) + INDEX_SIZE(HANKAKU_ZENKAKU_PAIR) + INDEX_SIZE(NODAKUON_DAKUON_PAIR) +
                    INDEX_SIZE(NODAKUON_HANDAKUON_PAIR) + INDEX_SIZE(ZENKATA_HIRAGANA_PAIR) +
                    INDEX_SIZE(HANKATA_HIRAGANA_PAIR));
}

} // namespace

int main(int nCount, char** npValues)
{
    printSizes();
    registerAll("_32", false);
    registerAll("_10k", true);
    return bench::runWithRatios(nCount, npValues);
}
