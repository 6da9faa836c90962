// Conversions and lines of Japanese text beside iconv, on any processor: needs nothing but the library and the C
// library, so that it runs under an emulator, too. The least of eleven interleaved rounds counts.
//
//   textTimes [FILE]    FILE: UTF-8 that Shift-JIS has codes for; otherwise a made text of four megabytes.
#include "UtlCharSet.h"
#include "UtlFile.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fstream>
#include <functional>
#include <iterator>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include <fcntl.h>
#include <iconv.h>
#include <unistd.h>

namespace
{

constexpr std::size_t TEXT_BYTES = 4U << 20;
constexpr std::size_t BLOCK = 16384;
constexpr unsigned int ROUNDS = 11;

void check(bool nIsGood, char const* npWhat)
{
    if (!nIsGood)
    {
        std::perror(npWhat);
        std::exit(1);
    }
}

unsigned int random(unsigned int nBound)
{
    static unsigned int sState = 1;
    sState = sState * 1664525U + 1013904223U;
    return (sState >> 8) % nBound;
}

/// Lines of 10 to 60 characters in runs: hiragana, kanji, katakana, ASCII.
std::string makeText()
{
    std::string lText;
    while (lText.size() < TEXT_BYTES)
    {
        for (unsigned int lLeft = 10 + random(50); lLeft != 0;)
        {
            unsigned int const lKind = random(10);
            unsigned int const lRun = std::min(lLeft, 1 + random(8));
            for (unsigned int lCount = 0; lCount < lRun; ++lCount)
            {
                unsigned int const lUnit = lKind < 5   ? 0x3041 + random(80)
                                           : lKind < 7 ? utl::SJIS_TO_UNICODE[670 + random(2965)].mUtf16
                                           : lKind < 9 ? 0x30A1 + random(80)
                                                       : 'a' + random(25);
                char lBytes[4];
                lText.append(lBytes, utl::convertCharFromUtf16ToUtf8(lBytes, sizeof(lBytes),
                                                                     static_cast<unsigned short>(lUnit), nullptr));
            }
            lLeft -= lRun;
        }
        lText += '\n';
    }
    return lText;
}

/// A conversion by iconv, of a text at once or in blocks.
class Iconv
{
public:
    Iconv(char const* npTo, char const* npFrom)
        : mDescriptor(iconv_open(npTo, npFrom))
    {
        check(mDescriptor != reinterpret_cast<iconv_t>(-1), npFrom);
    }
    Iconv(Iconv const&) = delete;
    Iconv& operator=(Iconv const&) = delete;
    ~Iconv() { iconv_close(mDescriptor); }

    /// Result: what is stored. nSize receives the bytes that are left, of a character that is cut off.
    std::size_t run(char const* npFrom, std::size_t& nSize, char* npTo, std::size_t nRoom) const
    {
        char* lpFrom = const_cast<char*>(npFrom);
        char* lpTo = npTo;
        check(iconv(mDescriptor, &lpFrom, &nSize, &lpTo, &nRoom) == 0 || errno == EINVAL, "iconv");
        return static_cast<std::size_t>(lpTo - npTo);
    }

private:
    iconv_t const mDescriptor;
};

std::string converted(std::string const& nText, char const* npTo, char const* npFrom)
{
    std::string lResult(nText.size() * 3 + 4, '\0');
    std::size_t lLeft = nText.size();
    lResult.resize(Iconv(npTo, npFrom).run(nText.data(), lLeft, &lResult[0], lResult.size()));
    return lResult;
}

/// The lines of a file by read(), iconv() and memchr(), each copied to a buffer. Result: of all lines the bytes.
std::size_t linesByIconv(char const* npPath, char const* npEncoding)
{
    Iconv const lIconv("UTF-8", npEncoding);
    int const lFile = ::open(npPath, O_RDONLY);
    static char sBytes[BLOCK];
    static char sText[BLOCK * 4]; // the start of a line, and what a block becomes
    static char sLine[BLOCK];
    std::size_t lCut = 0;
    std::size_t lBegun = 0;
    std::size_t lTotal = 0;
    for (;;)
    {
        ssize_t const lRead = ::read(lFile, sBytes + lCut, BLOCK - lCut);
        if (lRead <= 0)
        {
            break;
        }
        std::size_t const lSize = lCut + static_cast<std::size_t>(lRead);
        lCut = lSize;
        char const* const lpEnd = sText + lBegun + lIconv.run(sBytes, lCut, sText + lBegun, sizeof(sText) - lBegun);
        std::memmove(sBytes, sBytes + lSize - lCut, lCut);
        char const* lpLine = sText;
        while (void const* const lpLf = std::memchr(lpLine, '\n', static_cast<std::size_t>(lpEnd - lpLine)))
        {
            std::size_t const lLength = static_cast<std::size_t>(static_cast<char const*>(lpLf) - lpLine);
            std::memcpy(sLine, lpLine, lLength);
            sLine[lLength] = 0;
            lTotal += lLength;
            lpLine += lLength + 1;
        }
        lBegun = static_cast<std::size_t>(lpEnd - lpLine);
        std::memmove(sText, lpLine, lBegun);
    }
    ::close(lFile);
    return lTotal;
}

std::size_t linesByUtl(utl::File& nFile)
{
    char lLine[BLOCK / 4];
    unsigned int lSize = 0;
    std::size_t lTotal = 0;
    check(nFile.seek(0, utl::FILE_SEEK_BEGIN) == 0, "seek");
    while (nFile.readLine(lLine, sizeof(lLine), &lSize) >= 0)
    {
        lTotal += lSize - 1;
    }
    return lTotal;
}

/// The same work by both. Each gives a size, which must be the same.
struct Work
{
    std::string mName;
    std::function<std::size_t()> mByUtl;
    std::function<std::size_t()> mByIconv;
    double mUtlNs = std::numeric_limits<double>::max();
    double mIconvNs = std::numeric_limits<double>::max();
};

void addConversions(std::vector<Work>& nWorks, std::string const& nUtf8)
{
    static std::string const sUtf8 = nUtf8;
    static std::string const sSjis = converted(sUtf8, "CP932", "UTF-8");
    static std::string const sUtf16 = converted(sUtf8, "UTF-16LE", "UTF-8") + std::string(2, '\0');
    static std::vector<char> sRoom(sUtf8.size() * 2 + 4);
    static char* const spRoom = sRoom.data();
    static unsigned int const sBytes = static_cast<unsigned int>(sRoom.size());
    auto const lByIconv = [](char const* npTo, char const* npFrom, std::string const& nText, std::size_t nSize)
    {
        return [=, &nText]
        {
            std::size_t lSize = nSize;
            return Iconv(npTo, npFrom).run(nText.data(), lSize, spRoom, sBytes);
        };
    };
    nWorks.push_back({"UTF-8 to Shift-JIS",
                      [] { return utl::convertStrFromUtf8ToSjis(spRoom, sBytes, sUtf8.c_str()) - 1; },
                      lByIconv("CP932", "UTF-8", sUtf8, sUtf8.size())});
    nWorks.push_back({"Shift-JIS to UTF-8",
                      [] { return utl::convertStrFromSjisToUtf8(spRoom, sBytes, sSjis.c_str()) - 1; },
                      lByIconv("UTF-8", "CP932", sSjis, sSjis.size())});
    static std::vector<unsigned short> sUnits(sUtf16.size() / 2);
    std::memcpy(sUnits.data(), sUtf16.data(), sUtf16.size());
    nWorks.push_back({"UTF-16 to UTF-8",
                      [] { return utl::convertStrFromUtf16ToUtf8(spRoom, sBytes, sUnits.data()) - 1; },
                      lByIconv("UTF-8", "UTF-16LE", sUtf16, sUtf16.size() - 2)});
    static std::vector<unsigned short> sUnitRoom(sUnits.size());
    nWorks.push_back({"UTF-8 to UTF-16",
                      []
                      {
                          return 2 * (utl::convertStrFromUtf8ToUtf16(sUnitRoom.data(),
                                                                     static_cast<unsigned int>(sUnitRoom.size()),
                                                                     sUtf8.c_str()) -
                                      1);
                      },
                      lByIconv("UTF-16LE", "UTF-8", sUtf8, sUtf8.size())});
}

struct Encoding
{
    char const* mpName;
    int mTextType;
};

constexpr Encoding ENCODINGS[] = {{"CP932", utl::FILE_TEXT_SJIS},
                                  {"UTF-8", utl::FILE_TEXT_UTF8},
                                  {"UTF-16BE", utl::FILE_TEXT_UTF16_BE},
                                  {"UTF-16LE", utl::FILE_TEXT_UTF16_LE}};

void addLines(std::vector<Work>& nWorks, std::string const& nUtf8, std::string const& nDirectory)
{
    for (Encoding const& lEncoding : ENCODINGS)
    {
        std::string const lPath = nDirectory + "/" + lEncoding.mpName;
        std::ofstream(lPath, std::ios::binary) << converted(nUtf8, lEncoding.mpName, "UTF-8");
        auto const lpFile = std::make_shared<utl::File>(lPath.c_str(), lEncoding.mTextType);
        check(lpFile->open(utl::FILE_OPEN_TOP, utl::FILE_ACCESS_READ), "open");
        nWorks.push_back({std::string("lines of ") + lEncoding.mpName, [lpFile] { return linesByUtl(*lpFile); },
                          [lPath, &lEncoding] { return linesByIconv(lPath.c_str(), lEncoding.mpName); }});
    }
}

double nanoseconds(std::function<std::size_t()> const& nCall, std::size_t& nSize)
{
    std::clock_t const lStart = std::clock(); // of the processor: other programs do not count
    nSize = nCall();
    return static_cast<double>(std::clock() - lStart) * (1e9 / CLOCKS_PER_SEC);
}

void measure(std::vector<Work>& nWorks)
{
    for (unsigned int lRound = 0; lRound < ROUNDS; ++lRound)
    {
        for (Work& lWork : nWorks)
        {
            std::size_t lUtl = 0;
            std::size_t lIconv = 0;
            lWork.mUtlNs = std::min(lWork.mUtlNs, nanoseconds(lWork.mByUtl, lUtl));
            lWork.mIconvNs = std::min(lWork.mIconvNs, nanoseconds(lWork.mByIconv, lIconv));
            check(lUtl == lIconv, lWork.mName.c_str());
        }
    }
}

} // namespace

int main(int nCount, char** npValues)
{
    std::string lText;
    if (nCount > 1)
    {
        std::ifstream lStream(npValues[1], std::ios::binary);
        lText.assign(std::istreambuf_iterator<char>(lStream), std::istreambuf_iterator<char>());
    }
    lText = lText.empty() ? makeText() : lText;
    char lDirectory[] = "/tmp/utlTextTimesXXXXXX";
    check(::mkdtemp(lDirectory) != nullptr, lDirectory);
    std::vector<Work> lWorks;
    addConversions(lWorks, lText);
    addLines(lWorks, lText, lDirectory);
    measure(lWorks);
    double const lCharacters = static_cast<double>(std::count_if(
        lText.begin(), lText.end(), [](char nByte) { return (static_cast<unsigned char>(nByte) & 0xC0) != 0x80; }));
    std::printf("%-20s %10s %10s %8s\n", "ns a character", "utl", "iconv", "ratio");
    for (Work const& lWork : lWorks)
    {
        std::printf("%-20s %10.2f %10.2f %8.2f\n", lWork.mName.c_str(), lWork.mUtlNs / lCharacters,
                    lWork.mIconvNs / lCharacters, lWork.mIconvNs / lWork.mUtlNs);
    }
    lWorks.clear(); // closes the files
    utl::File::erase(lDirectory, 1);
    return 0;
}
