#include "Options.h"

#include "Worker.h"

#include <cstdlib>
#include <cstring>

#include <getopt.h>

namespace demo
{

namespace
{

struct Encoding
{
    char const* mpArgument;
    char const* mpName;
};

// By text type.
constexpr Encoding ENCODINGS[] = {
    {"sjis", "Shift-JIS"},
    {"utf-8", "UTF-8"},
    {"utf-16be", "UTF-16, high byte first"},
    {"utf-16le", "UTF-16, low byte first"},
};
static_assert(utl::FILE_TEXT_SJIS == 0 && utl::FILE_TEXT_UTF8 == 1 && utl::FILE_TEXT_UTF16_BE == 2 &&
              utl::FILE_TEXT_UTF16_LE == 3);

constexpr option OPTIONS[] = {
    {"encoding", required_argument, nullptr, 'e'},
    {"word", required_argument, nullptr, 'w'},
    {"log", required_argument, nullptr, 'l'},
    {"for", required_argument, nullptr, 'f'},
    {"stall", no_argument, nullptr, 's'},
    {"starve", no_argument, nullptr, 'S'},
    {"inside", no_argument, nullptr, 'i'},
    {"help", no_argument, nullptr, 'h'},
    {nullptr, 0, nullptr, 0},
};

constexpr unsigned int MAX_REPEAT_S = 1000000; // the milliseconds of a tick counter wrap after 49 days

bool parseEncoding(char const* npText, int* npTextType)
{
    for (Encoding const& lEncoding : ENCODINGS)
    {
        if (std::strcmp(npText, lEncoding.mpArgument) == 0)
        {
            *npTextType = static_cast<int>(&lEncoding - ENCODINGS);
            return true;
        }
    }
    return false;
}

bool parseSeconds(char const* npText, unsigned int* npMs)
{
    char* lpEnd = nullptr;
    unsigned long const lSeconds = std::strtoul(npText, &lpEnd, 10);
    *npMs = static_cast<unsigned int>(lSeconds) * 1000;
    return *npText >= '0' && *npText <= '9' && *lpEnd == '\0' && lSeconds > 0 && lSeconds <= MAX_REPEAT_S;
}

bool parseText(char const* npText, char const** npOut)
{
    *npOut = npText;
    return *npText != '\0';
}

} // namespace

bool Options::take(int nOption, int* npTextType)
{
    switch (nOption)
    {
    case 'e':
        return parseEncoding(optarg, npTextType);
    case 'w':
        return parseText(optarg, &mpWord);
    case 'l':
        return parseText(optarg, &mpLogPath);
    case 'f':
        return parseSeconds(optarg, &mRepeatMs);
    case 's':
        return mIsStallWanted = true;
    case 'S':
        return mIsStarvingWanted = true;
    case 'i':
        return mIsInsideWanted = true;
    case 'h':
        return mIsHelpWanted = true;
    default:
        return false;
    }
}

bool Options::parse(int nCount, char* const* npArguments)
{
    opterr = 0; // the caller shows what there is
    int lTextType = -1;
    bool lIsGood = true;
    for (int lOption; (lOption = getopt_long(nCount, npArguments, "h", OPTIONS, nullptr)) != -1;)
    {
        lIsGood &= take(lOption, &lTextType);
    }
    if (optind < nCount)
    {
        mpPath = npArguments[optind];
        mTextType = lTextType != -1 ? lTextType : utl::FILE_TEXT_UTF8;
        return lIsGood && optind + 1 == nCount;
    }
    return lIsGood && (lTextType == -1 || lTextType == mTextType);
}

char const* Options::inputName() const
{
    return std::strcmp(mpPath, "-") == 0 ? "standard input" : mpPath;
}

char const* Options::encodingName() const
{
    return ENCODINGS[mTextType].mpName;
}

void Options::printUsage(FILE* npFile)
{
    static_assert(WorkerListener::STALL_MS == 2000 && STALL_PASSES == 100, "as usage.txt says");
    std::fputs(
#include "usage.txt"
        , npFile);
}

} // namespace demo
