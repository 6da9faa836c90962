#include "Options.h"

#include "Worker.h"

#include <cstdlib>
#include <cstring>

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

bool Options::parse(int nCount, char const* const* npArguments)
{
    char const* lpPath = nullptr;
    int lTextType = -1;
    for (int lIndex = 1; lIndex < nCount; ++lIndex)
    {
        char const* const lpArgument = npArguments[lIndex];
        char const* const lpValue = lIndex + 1 < nCount ? npArguments[lIndex + 1] : "";
        auto const lIs = [lpArgument](char const* npName) { return std::strcmp(lpArgument, npName) == 0; };
        if (lIs("--help") || lIs("-h"))
        {
            mIsHelpWanted = true;
        }
        else if (lIs("--stall"))
        {
            mIsStallWanted = true;
        }
        else if ((lIs("--word") && parseText(lpValue, &mpWord)) || (lIs("--log") && parseText(lpValue, &mpLogPath)) ||
                 (lIs("--encoding") && parseEncoding(lpValue, &lTextType)) ||
                 (lIs("--for") && parseSeconds(lpValue, &mRepeatMs)))
        {
            ++lIndex;
        }
        else if ((lpArgument[0] == '-' && lpArgument[1] != '\0') || lpPath != nullptr)
        {
            return false;
        }
        else
        {
            lpPath = lpArgument;
        }
    }
    if (lpPath != nullptr)
    {
        mpPath = lpPath;
        mTextType = lTextType != -1 ? lTextType : utl::FILE_TEXT_UTF8;
    }
    return lpPath != nullptr || lTextType == -1 || lTextType == mTextType;
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
    std::fprintf(
        npFile,
        "usage: utlDemo [OPTION]... [FILE]\n"
        "Counts a Japanese text with message-driven threads. FILE is a path, or - for standard input; without\n"
        "it the program takes its own sample, which is in Shift-JIS.\n"
        "  --encoding NAME  of FILE: sjis, utf-8 (default), utf-16be, utf-16le\n"
        "  --word TEXT      counts the lines that hold TEXT\n"
        "  --log FILE       appends to FILE what the program logs; a full one is put aside as FILE.old\n"
        "  --stall          makes a thread hang for %u ms, which the watchdog reports\n"
        "  --for SECONDS    reads FILE again and again for so long, and reports the last time; with --stall\n"
        "                   the thread hangs in the first pass of every %u\n"
        "  --help, -h       shows this\n"
        "Counts are those of the text as UTF-8.\n"
        "Exit codes:\n"
        "  0    all was read; malformed lines of UTF-8 are counted, and told of\n"
        "  1    a file could not be opened or read, is locked by another process, or holds a line that is\n"
        "       too long or, in another encoding than UTF-8, malformed; what came before is reported\n"
        "  2    wrong arguments\n"
        "  3    the threads did not do as they should\n"
        "  130, 143   interrupted; what was read is reported\n",
        WorkerListener::STALL_MS, STALL_PASSES);
}

} // namespace demo
