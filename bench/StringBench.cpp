// The string primitives on 1 KB, 100 KB and 10 MB of Japanese text, compared with the C library's: the ratio to the
// floor stays about the same if the work grows in proportion to the text.
#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "UtlBasicString.h"
#include "support/Ratios.h"

namespace
{

using namespace utl;

constexpr std::size_t LIMIT = 10239; // of a text that is searched backwards

/// A text whose commas are its matches, and room for what is made of it. Then a run of a letter, and a pattern that
/// fails only in its middle wherever it is tried.
struct Work
{
    std::string mText;
    std::string mTail;
    std::string mRun;
    std::string mPattern;
    std::vector<char> mDst;

    explicit Work(std::size_t nSize)
        : mRun(std::min(nSize, LIMIT), 'a'),
          mPattern(std::string(mRun.size() / 4, 'a') + "b" + std::string(mRun.size() / 4, 'a'))
    {
        while (mText.size() < nSize)
        {
            mText += "東京都のガソリンスタンド,ABC xyz,";
            mTail = mText.size() <= LIMIT ? mText : mTail;
        }
        mDst.resize(mText.size() * 2);
    }
    unsigned int capacity() const { return static_cast<unsigned int>(mDst.size()); }
};

struct Case
{
    char const* mpName;
    unsigned int (*mpOurs)(Work&);
    std::size_t (*mpFloor)(Work&);
};

std::size_t copyBytes(Work& nWork)
{
    std::memcpy(nWork.mDst.data(), nWork.mText.data(), nWork.mText.size());
    return nWork.mText.size();
}

Case const CASES[] = {
    {"replace",
     [](Work& nWork)
     { return replaceStr<char>(nWork.mDst.data(), nWork.capacity(), nWork.mText.c_str(), ",", "、", 0); },
     copyBytes},
    {"cspnAscii", [](Work& nWork) { return t_strcspn<char>(nWork.mText.c_str(), "!\"#$%&'()*"); },
     [](Work& nWork) { return std::strcspn(nWork.mText.c_str(), "!\"#$%&'()*"); }},
    {"cspn", [](Work& nWork) { return t_strcspn<char>(nWork.mText.c_str(), "。「」・ー!"); },
     [](Work& nWork) { return std::strcspn(nWork.mText.c_str(), "!\"#$%&'()*"); }},
    {"find", [](Work& nWork) { return t_strstr<char>(nWork.mText.c_str(), "東京府"); },
     [](Work& nWork) { return std::strstr(nWork.mText.c_str(), "東京府") == nullptr ? 0 : std::size_t(1); }},
    {"findReverse", [](Work& nWork) { return findReverseStr<char>(nWork.mTail.c_str(), "東京府", STR_ALL, nullptr); },
     [](Work& nWork) { return std::size_t(std::strstr(nWork.mTail.c_str(), "東京府") == nullptr ? 0 : 1); }},
    {"findReverseRun",
     [](Work& nWork) { return findReverseStr(nWork.mRun.c_str(), nWork.mPattern.c_str(), STR_ALL, nullptr); },
     [](Work& nWork)
     { return std::size_t(std::strstr(nWork.mRun.c_str(), nWork.mPattern.c_str()) == nullptr ? 0 : 1); }},
    {"cut",
     [](Work& nWork)
     { return copyStrBase<char>(nWork.mDst.data(), nWork.capacity(), nWork.mText.c_str(), STR_ALL, 1); },
     copyBytes},
    {"reverse", [](Work& nWork) { return t_strrev<char>(nWork.mDst.data(), nWork.capacity(), nWork.mText.c_str(), 0); },
     copyBytes},
};

template <class Call>
void add(std::string const& nName, Work& nWork, Call nCall)
{
    benchmark::RegisterBenchmark(nName.c_str(),
                                 [&nWork, nCall](benchmark::State& nState)
                                 {
                                     for (auto lRound : nState)
                                     {
                                         benchmark::DoNotOptimize(nCall(nWork));
                                     }
                                 });
}

} // namespace

int main(int nCount, char** npValues)
{
    static struct
    {
        char const* mpName;
        Work mWork;
    } sSizes[] = {{"_1k", Work(1U << 10)}, {"_100k", Work(100U << 10)}, {"_10m", Work(10U << 20)}};
    for (auto& lSize : sSizes)
    {
        for (Case const& lCase : CASES)
        {
            std::string const lName = lCase.mpName + std::string(lSize.mpName);
            add(lName + "/utl", lSize.mWork, lCase.mpOurs);
            add(lName + "/floor", lSize.mWork, lCase.mpFloor);
        }
    }
    return bench::runWithRatios(nCount, npValues);
}
