// Lines of ten megabytes of Japanese text in each encoding, beside fgets() with iconv() and plain fgets(); the loop of
// Lines beside readLine(), and a line in small parts beside large ones; a key that stands at the end of them, beside
// read() with memmem(); a copy of 100 MB beside a plain loop; a directory of 10,000 entries beside readdir(). Then the
// system calls that a line costs, read or logged.
//
// The files are in memory if the machine has /dev/shm: the medium is not what is measured.
#include "UtlApplog.h"
#include "UtlCharSet.h"
#include "UtlFile.h"
#include "UtlLines.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <map>
#include <memory>
#include <string>
#include <type_traits>
#include <vector>

#include <dirent.h>
#include <fcntl.h>
#include <iconv.h>
#include <sys/stat.h>
#include <unistd.h>

#include "internal/base/UtlSystemCalls.h"
#include "support/Ratios.h"

namespace
{

struct Encoding
{
    char const* mpName;
    char const* mpIconvName;
    int mTextType;
};

constexpr Encoding ENCODINGS[] = {
    {"Sjis", "CP932", utl::FILE_TEXT_SJIS},
    {"Utf8", "UTF-8", utl::FILE_TEXT_UTF8},
    {"Utf16Be", "UTF-16BE", utl::FILE_TEXT_UTF16_BE},
    {"Utf16Le", "UTF-16LE", utl::FILE_TEXT_UTF16_LE},
};

constexpr std::size_t FILE_BYTES = 10U << 20;
constexpr unsigned int ENTRIES = 10000;
constexpr char const* KEY = "zzz key";

std::string gDirectory;
unsigned int gLines[4]; // by encoding
std::map<std::string, std::unique_ptr<utl::File>> gFiles;

std::string pathOf(Encoding const& nEncoding)
{
    return gDirectory + "/" + nEncoding.mpName;
}

unsigned int random(unsigned int nBound)
{
    static unsigned int sState = 1;
    sState = sState * 1664525U + 1013904223U;
    return (sState >> 8) % nBound;
}

void append(std::string& nText, int nTextType, unsigned short nUnit)
{
    if (nTextType >= utl::FILE_TEXT_UTF16_BE)
    {
        char const lHigh = static_cast<char>(nUnit >> 8);
        char const lLow = static_cast<char>(nUnit);
        nText += nTextType == utl::FILE_TEXT_UTF16_LE ? std::string{lLow, lHigh} : std::string{lHigh, lLow};
        return;
    }
    char lUtf8[4] = {};
    char lSjis[4] = {};
    unsigned int const lSize = utl::convertCharFromUtf16ToUtf8(lUtf8, sizeof(lUtf8), nUnit, nullptr);
    if (nTextType == utl::FILE_TEXT_UTF8)
    {
        nText.append(lUtf8, lSize);
        return;
    }
    nText.append(lSjis, utl::convertCharFromUtf8ToSjis(lSjis, sizeof(lSjis), lUtf8, nullptr));
}

/// Lines of 10 to 60 characters: hiragana, kanji and one in seven ASCII.
void makeFile(unsigned int nIndex)
{
    Encoding const& lEncoding = ENCODINGS[nIndex];
    std::string lText;
    while (lText.size() < FILE_BYTES)
    {
        for (unsigned int lLeft = 10 + random(50); lLeft != 0; --lLeft)
        {
            unsigned int const lKind = random(7);
            unsigned int const lUnit = lKind < 4   ? 0x3041 + random(80)
                                       : lKind < 6 ? utl::SJIS_TO_UNICODE[670 + random(2965)].mUtf16
                                                   : 'a' + random(25);
            append(lText, lEncoding.mTextType, static_cast<unsigned short>(lUnit));
        }
        append(lText, lEncoding.mTextType, '\n');
        ++gLines[nIndex];
    }
    std::ofstream(pathOf(lEncoding), std::ios::binary) << lText << "the " << KEY << "\n";
}

void check(bool nIsGood, char const* npWhat)
{
    if (!nIsGood)
    {
        std::fprintf(stderr, "FileBench: %s\n", npWhat);
        std::exit(1);
    }
}

/// The buffer of stdio and of utl's copy, so that every floor makes as many calls.
constexpr std::size_t BLOCK = 16384;

/// Opened once: closing a file waits for the medium.
utl::File& openFile(Encoding const& nEncoding)
{
    std::unique_ptr<utl::File>& lpFile = gFiles[nEncoding.mpName];
    if (lpFile == nullptr)
    {
        lpFile = std::make_unique<utl::File>(pathOf(nEncoding).c_str(), nEncoding.mTextType);
        check(lpFile->open(utl::FILE_OPEN_TOP, utl::FILE_ACCESS_READ), "open");
    }
    check(lpFile->seek(0, utl::FILE_SEEK_BEGIN) == 0, "seek");
    return *lpFile;
}

void readByUtl(Encoding const& nEncoding)
{
    utl::File& lFile = openFile(nEncoding);
    char lLine[512];
    while (lFile.readLine(lLine, sizeof(lLine), nullptr) >= 0)
    {
        benchmark::DoNotOptimize(lLine);
    }
    check(lFile.availableSize() == 0, "stopped before the end");
}

void readByLoop(Encoding const& nEncoding)
{
    utl::Lines lLines(openFile(nEncoding));
    unsigned int lCount = 0;
    for (utl::Line const& lLine : lLines)
    {
        benchmark::DoNotOptimize(lLine.mText.data());
        ++lCount;
    }
    check(lCount == gLines[&nEncoding - ENCODINGS] + 1, "a wrong number of lines");
}

constexpr Encoding LONG_LINE{"LongLine", "UTF-8", utl::FILE_TEXT_UTF8};

/// A megabyte without a line end.
void makeLongLine()
{
    std::ofstream lStream(pathOf(LONG_LINE), std::ios::binary);
    for (unsigned int lCount = 0; lCount < (1U << 20) / 3; ++lCount)
    {
        lStream << "あ";
    }
}

template <unsigned int CAPACITY>
void readByParts(Encoding const& nEncoding)
{
    utl::Lines lLines(openFile(nEncoding), CAPACITY);
    for (utl::Line const& lPart : lLines)
    {
        benchmark::DoNotOptimize(lPart.mText.data());
    }
}

/// What fgets() is for UTF-16, which it cannot read: lines out of blocks. Result: false at the end of the file.
bool getUtf16Line(std::FILE* npFile, bool nIsBig, char* npLine, std::size_t& nSize)
{
    static char sBlock[BLOCK];
    static std::size_t sAt = 0;
    static std::size_t sEnd = 0;
    for (nSize = 0;; nSize += 2)
    {
        if (sAt == sEnd)
        {
            sAt = 0;
            sEnd = std::fread(sBlock, 1, sizeof(sBlock), npFile);
            if (sEnd < 2)
            {
                sEnd = 0;
                return nSize != 0;
            }
        }
        npLine[nSize] = sBlock[sAt];
        npLine[nSize + 1] = sBlock[sAt + 1];
        sAt += 2;
        if (npLine[nSize + (nIsBig ? 1 : 0)] == '\n' && npLine[nSize + (nIsBig ? 0 : 1)] == 0)
        {
            nSize += 2;
            return true;
        }
    }
}

/// fgets(), or its like for UTF-16.
template <class Use>
void readByLibc(Encoding const& nEncoding, Use nUse)
{
    std::FILE* const lpFile = std::fopen(pathOf(nEncoding).c_str(), "rb");
    check(lpFile != nullptr, "fopen");
    std::setvbuf(lpFile, nullptr, _IOFBF, BLOCK);
    char lLine[1024];
    if (nEncoding.mTextType <= utl::FILE_TEXT_UTF8)
    {
        while (std::fgets(lLine, sizeof(lLine), lpFile) != nullptr)
        {
            nUse(lLine, std::strlen(lLine));
        }
    }
    else
    {
        std::size_t lSize = 0;
        while (getUtf16Line(lpFile, nEncoding.mTextType == utl::FILE_TEXT_UTF16_BE, lLine, lSize))
        {
            nUse(lLine, lSize);
        }
    }
    std::fclose(lpFile);
}

void readByIconv(Encoding const& nEncoding)
{
    iconv_t const lDescriptor = iconv_open("UTF-8", nEncoding.mpIconvName);
    readByLibc(nEncoding,
               [lDescriptor](char* npLine, std::size_t nSize)
               {
                   char lOut[2048];
                   char* lpOut = lOut;
                   std::size_t lRoom = sizeof(lOut);
                   iconv(lDescriptor, nullptr, nullptr, nullptr, nullptr); // each line begins anew
                   check(iconv(lDescriptor, &npLine, &nSize, &lpOut, &lRoom) == 0, "iconv");
                   benchmark::DoNotOptimize(lOut);
               });
    iconv_close(lDescriptor);
}

void readPlainly(Encoding const& nEncoding)
{
    readByLibc(nEncoding, [](char* npLine, std::size_t) { benchmark::DoNotOptimize(npLine); });
}

void seekByUtl(Encoding const& nEncoding)
{
    check(openFile(nEncoding).seekKey(KEY, 0, ~0ULL, 0) > 0, "key not found");
}

void seekByMemmem(Encoding const& nEncoding)
{
    static std::vector<char> sBytes(FILE_BYTES + 4096);
    int const lFile = ::open(pathOf(nEncoding).c_str(), O_RDONLY);
    ssize_t const lCount = ::read(lFile, sBytes.data(), sBytes.size());
    ::close(lFile);
    check(lCount > 0 && ::memmem(sBytes.data(), static_cast<std::size_t>(lCount), KEY, std::strlen(KEY)) != nullptr,
          "memmem");
}

// --- Copies and directories ---

std::string copySource()
{
    return gDirectory + "/source";
}

std::string copyTarget()
{
    return gDirectory + "/target";
}

void copyByUtl(Encoding const&)
{
    check(utl::File::copy(copySource().c_str(), copyTarget().c_str(), 1), "copy");
}

void copyPlainly(Encoding const&)
{
    static std::vector<char> sBytes(BLOCK);
    int const lSource = ::open(copySource().c_str(), O_RDONLY);
    int const lTarget = ::open(copyTarget().c_str(), O_WRONLY | O_CREAT, 0777);
    ssize_t lCount = 0;
    while ((lCount = ::read(lSource, sBytes.data(), sBytes.size())) > 0)
    {
        check(::write(lTarget, sBytes.data(), static_cast<std::size_t>(lCount)) == lCount, "write");
    }
    ::close(lTarget);
    ::close(lSource);
}

std::string listed()
{
    return gDirectory + "/entries";
}

void listByUtl(Encoding const&)
{
    utl::FileNames lNames(64, 1);
    check(utl::File::children(listed().c_str(), &lNames, utl::FILE_CHILD_ALL, nullptr, 0) == ENTRIES, "children");
}

void listByReaddir(Encoding const&)
{
    unsigned int lCount = 0;
    DIR* const lpDirectory = ::opendir(listed().c_str());
    while (::readdir(lpDirectory) != nullptr)
    {
        ++lCount;
    }
    ::closedir(lpDirectory);
    check(lCount == ENTRIES + 2, "readdir");
}

void makeFilesToCopyAndList()
{
    std::vector<char> const lBytes(1U << 20, 'x');
    std::ofstream lStream(copySource(), std::ios::binary);
    for (unsigned int lMegabytes = 0; lMegabytes < 100; ++lMegabytes)
    {
        lStream.write(lBytes.data(), static_cast<std::streamsize>(lBytes.size()));
    }
    ::mkdir(listed().c_str(), 0777);
    for (unsigned int lIndex = 0; lIndex < ENTRIES; ++lIndex)
    {
        std::ofstream(listed() + "/entry" + std::to_string(lIndex));
    }
}

void add(std::string const& nName, void (*npCall)(Encoding const&), Encoding const& nEncoding)
{
    benchmark::RegisterBenchmark(nName.c_str(),
                                 [npCall, &nEncoding](benchmark::State& nState)
                                 {
                                     for (auto lRound : nState)
                                     {
                                         npCall(nEncoding);
                                     }
                                 })
        ->Unit(benchmark::kMillisecond);
}

/// Counts the library's system calls on open files.
template <auto ENTRY>
class Counted
{
    template <class F>
    struct Traits;

    template <class R, class... A>
    struct Traits<utl::internal::SystemCall<R(A...)> utl::internal::SystemCalls::*>
    {
        using Function = R (*)(A...);
        static inline Function sOriginal = nullptr;

        static R call(A... nArguments)
        {
            ++sCalls;
            return sOriginal(nArguments...);
        }
    };
    using Entry = Traits<std::remove_const_t<decltype(ENTRY)>>;

public:
    Counted()
    {
        sCalls = 0;
        Entry::sOriginal = (utl::internal::gSystem.*ENTRY).exchange(&Entry::call);
    }
    ~Counted() { (utl::internal::gSystem.*ENTRY).exchange(Entry::sOriginal); }
    Counted(Counted const&) = delete;
    Counted& operator=(Counted const&) = delete;

    static unsigned int calls() { return sCalls; }

private:
    static inline unsigned int sCalls = 0;
};

void printCallsPerLine(unsigned int nIndex)
{
    using utl::internal::SystemCalls;
    Counted<&SystemCalls::mPread> const lReads;
    Counted<&SystemCalls::mLseek> const lSeeks;
    Counted<&SystemCalls::mFstat> const lStats;
    readByUtl(ENCODINGS[nIndex]);
    unsigned int const lCalls = lReads.calls() + lSeeks.calls() + lStats.calls();
    std::printf("  %-8s %u lines, %u system calls, %.4f a line\n", ENCODINGS[nIndex].mpName, gLines[nIndex], lCalls,
                static_cast<double>(lCalls) / gLines[nIndex]);
}

/// A line of the log to a file and an unbuffered console, with the modes the library's and the system's.
void printCallsPerLogLine()
{
    using utl::internal::SystemCalls;
    int const lConsole = ::dup(2);
    ::dup2(::open("/dev/null", O_WRONLY), 2);
    utl::setLogSinks(utl::LOG_SINK_ERROR);
    utl::File lFile((gDirectory + "/log").c_str(), utl::FILE_TEXT_UTF8);
    check(lFile.open(utl::FILE_OPEN_TOP, utl::FILE_ACCESS_WRITE), "log file");
    for (int lModes : {utl::FILE_MODES_OPEN, utl::FILE_MODES_UMASK})
    {
        utl::File::setModes(lModes);
        Counted<&SystemCalls::mStat> const lStats;
        Counted<&SystemCalls::mChmod> const lChmods;
        Counted<&SystemCalls::mWrite> const lWrites;
        Counted<&SystemCalls::mPoll> const lPolls;
        Counted<&SystemCalls::mPrintError> const lPrints;
        applog(utl::DEFAULT_LOG_TYPE, utl::LOG_LEVEL_DETAIL, &lFile, "a line");
        unsigned int const lFileCalls = lStats.calls() + lChmods.calls() + lWrites.calls();
        unsigned int const lConsoleCalls = lPolls.calls() + lPrints.calls();
        std::printf("  a log line, modes %d: %u for the file, %u for the console\n", lModes, lFileCalls, lConsoleCalls);
    }
    ::dup2(lConsole, 2);
}

void addLines(Encoding const& nEncoding)
{
    std::string const lGroup = nEncoding.mpName;
    add("Line" + lGroup + "ToIconv/utl", readByUtl, nEncoding);
    add("Line" + lGroup + "ToIconv/floorFgetsIconv", readByIconv, nEncoding);
    add("Line" + lGroup + "ToFgets/utl", readByUtl, nEncoding);
    add("Line" + lGroup + "ToFgets/floorFgets", readPlainly, nEncoding);
    add("Loop" + lGroup + "ToReadLine/utl", readByLoop, nEncoding);
    add("Loop" + lGroup + "ToReadLine/floorReadLine", readByUtl, nEncoding);
}

} // namespace

int main(int argc, char** argv)
{
    char lName[] = "/dev/shm/utlFileBenchXXXXXX";
    char lOther[] = "/tmp/utlFileBenchXXXXXX";
    char const* const lpMade = ::mkdtemp(lName);
    gDirectory = lpMade != nullptr ? lpMade : ::mkdtemp(lOther);
    for (unsigned int lIndex = 0; lIndex < 4; ++lIndex)
    {
        makeFile(lIndex);
        addLines(ENCODINGS[lIndex]);
    }
    makeLongLine();
    add("PartsOf64BytesTo8K/utl", readByParts<64>, LONG_LINE);
    add("PartsOf64BytesTo8K/floorParts8K", readByParts<8192>, LONG_LINE);
    makeFilesToCopyAndList();
    ::sync();
    Encoding const& lUtf8 = ENCODINGS[1];
    add("SeekKeyUtf8/utl", seekByUtl, lUtf8);
    add("SeekKeyUtf8/floorMemmem", seekByMemmem, lUtf8);
    add("Copy100MB/utl", copyByUtl, lUtf8);
    add("Copy100MB/floorReadWrite", copyPlainly, lUtf8);
    add("List10000/utl", listByUtl, lUtf8);
    add("List10000/floorReaddir", listByReaddir, lUtf8);
    int const lResult = utl::bench::runWithRatios(argc, argv);
    std::printf("\nSystem calls\n");
    for (unsigned int lIndex = 0; lIndex < 4; ++lIndex)
    {
        printCallsPerLine(lIndex);
    }
    printCallsPerLogLine();
    gFiles.clear(); // and their locks
    utl::File::erase(gDirectory.c_str(), 1);
    return lResult;
}
