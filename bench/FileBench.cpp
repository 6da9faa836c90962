// Lines of ten megabytes of Japanese text in each encoding, beside fgets() with iconv() and plain fgets(); a key that
// stands at the end of them, beside read() with memmem(). Then the system calls that a line costs.
#include "UtlCharSet.h"
#include "UtlFile.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>
#include <vector>

#include <fcntl.h>
#include <iconv.h>
#include <unistd.h>

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

std::string gDirectory;
unsigned int gLines[4]; // by encoding

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
    std::ofstream(pathOf(lEncoding), std::ios::binary) << lText << "the zzz key";
}

void check(bool nIsGood, char const* npWhat)
{
    if (!nIsGood)
    {
        std::fprintf(stderr, "FileBench: %s\n", npWhat);
        std::exit(1);
    }
}

void readByUtl(Encoding const& nEncoding)
{
    utl::File lFile(pathOf(nEncoding).c_str(), nEncoding.mTextType);
    check(lFile.open(utl::FILE_OPEN_TOP, utl::FILE_ACCESS_READ), "open");
    char lLine[512];
    while (lFile.readLine(lLine, sizeof(lLine), nullptr) >= 0)
    {
        benchmark::DoNotOptimize(lLine);
    }
    check(lFile.availableSize() == 0, "stopped before the end");
}

/// fgets() for narrow text. UTF-16, which it cannot read, unit by unit with fread().
template <class Use>
void readByLibc(Encoding const& nEncoding, Use nUse)
{
    std::FILE* const lpFile = std::fopen(pathOf(nEncoding).c_str(), "rb");
    check(lpFile != nullptr, "fopen");
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
        bool const lIsBig = nEncoding.mTextType == utl::FILE_TEXT_UTF16_BE;
        std::size_t lSize = 0;
        while (std::fread(lLine + lSize, 1, 2, lpFile) == 2)
        {
            lSize += 2;
            if (lSize > 1000 || (lLine[lSize - (lIsBig ? 1 : 2)] == '\n' && lLine[lSize - (lIsBig ? 2 : 1)] == 0))
            {
                nUse(lLine, lSize);
                lSize = 0;
            }
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
                   iconv(lDescriptor, &npLine, &nSize, &lpOut, &lRoom);
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
    utl::File lFile(pathOf(nEncoding).c_str(), nEncoding.mTextType);
    check(lFile.open(utl::FILE_OPEN_TOP, utl::FILE_ACCESS_READ), "open");
    check(lFile.seekKey("zzz key", 0, ~0ULL, 0) > 0, "key not found");
}

void seekByMemmem(Encoding const& nEncoding)
{
    static std::vector<char> sBytes(FILE_BYTES + 4096);
    int const lFile = ::open(pathOf(nEncoding).c_str(), O_RDONLY);
    ssize_t const lCount = ::read(lFile, sBytes.data(), sBytes.size());
    ::close(lFile);
    check(lCount > 0 && ::memmem(sBytes.data(), static_cast<std::size_t>(lCount), "zzz key", 7) != nullptr, "memmem");
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

/// As the kernel counts them.
void printCallsPerLine(unsigned int nIndex)
{
    auto const lReads = []
    {
        std::ifstream lStream("/proc/self/io");
        std::string lName;
        unsigned long long lValue = 0;
        while (lStream >> lName >> lValue && lName != "syscr:")
        {
        }
        return lValue;
    };
    unsigned long long const lBefore = lReads();
    readByUtl(ENCODINGS[nIndex]);
    double const lCalls = static_cast<double>(lReads() - lBefore);
    // Each read of a window comes with one fstat() and one lseek().
    std::printf("  %-8s %u lines, %.0f reads, about %.4f system calls a line\n", ENCODINGS[nIndex].mpName,
                gLines[nIndex], lCalls, 3 * lCalls / gLines[nIndex]);
}

} // namespace

int main(int argc, char** argv)
{
    char lName[] = "/tmp/utlFileBenchXXXXXX";
    gDirectory = ::mkdtemp(lName);
    for (unsigned int lIndex = 0; lIndex < 4; ++lIndex)
    {
        Encoding const& lEncoding = ENCODINGS[lIndex];
        makeFile(lIndex);
        std::string const lGroup = lEncoding.mpName;
        add("Line" + lGroup + "ToIconv/utl", readByUtl, lEncoding);
        add("Line" + lGroup + "ToIconv/floorFgetsIconv", readByIconv, lEncoding);
        add("Line" + lGroup + "ToFgets/utl", readByUtl, lEncoding);
        add("Line" + lGroup + "ToFgets/floorFgets", readPlainly, lEncoding);
    }
    ::sync(); // closing a file waits for the medium
    add("SeekKeyUtf8/utl", seekByUtl, ENCODINGS[1]);
    add("SeekKeyUtf8/floorMemmem", seekByMemmem, ENCODINGS[1]);
    int const lResult = utl::bench::runWithRatios(argc, argv);
    std::printf("\nSystem calls\n");
    for (unsigned int lIndex = 0; lIndex < 4; ++lIndex)
    {
        printCallsPerLine(lIndex);
        ::unlink(pathOf(ENCODINGS[lIndex]).c_str());
    }
    ::rmdir(gDirectory.c_str());
    return lResult;
}
