/// The options of the command line.
#ifndef DEMO_OPTIONS_H
#define DEMO_OPTIONS_H

#include <UtlFile.h>

#include <cstdio>

namespace demo
{

constexpr unsigned int STALL_PASSES = 100; ///< The first of so many stalls.

struct Options
{
    char const* mpPath = UTL_DEMO_SAMPLE; // "-": standard input
    int mTextType = utl::FILE_TEXT_SJIS;  // that of the sample
    char const* mpWord = nullptr;         // to look for; null: none
    char const* mpLogPath = nullptr;      // null: none
    unsigned int mRepeatMs = 0;           // how long to begin again; 0: one pass
    bool mIsStallWanted = false;
    bool mIsStarvingWanted = false;
    bool mIsInsideWanted = false;
    bool mIsHelpWanted = false;

    /// Result: false for arguments that make no sense.
    bool parse(int nCount, char* const* npArguments);

    /// For messages.
    char const* inputName() const;
    char const* encodingName() const;

    /// Writes usage.txt, which scripts/demo.sh shows too.
    static void printUsage(FILE* npFile);

private:
    /// nOption: as in OPTIONS, with its argument in optarg. npTextType: changed by the encoding only.
    bool take(int nOption, int* npTextType);
};

} // namespace demo

#endif
