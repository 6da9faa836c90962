// Arbitrary bytes as a text file: the text functions against the slow and obvious reader, after the same calls with the
// same results, destinations and positions; then the loop over all that is left. Short reads, so that a few bytes are
// many pieces read ahead.
//
// The input: text type and how the file is made of bytes, bytes given by a read (0: all; more with a long run in
// front), length of a run of 'x' in front, number of calls of four bytes, the calls, the file.
#include "UtlApplog.h"
#include "internal/base/UtlSystemCalls.h"
#include "reference/Input.h"
#include "reference/PlainLines.h"
#include "reference/PlainTextReader.h"

#include <atomic>

#include <sys/mman.h>
#include <unistd.h>

using namespace utl;
using namespace utl::test;

namespace
{

std::atomic<std::size_t> gReadMax{SIZE_MAX}; // the watchdog's thread reads its pipe meanwhile

ssize_t readSome(int nDescriptor, void* npBuffer, std::size_t nSize, off_t nPosition)
{
    return ::pread(nDescriptor, npBuffer, std::min(nSize, gReadMax.load()), nPosition);
}

/// A file in memory with a path.
int memoryFile()
{
    static int const sFile = []
    {
        internal::gSystem.mPread.exchange(&readSome);
        setAllFilterLevel(0);
        return ::memfd_create("text", 0);
    }();
    return sFile;
}

/// Text of what decides about lines and characters. nIsRich: of little else than faults.
std::string piecesOf(std::string const& nBytes, int nTextType, bool nIsRich)
{
    static constexpr unsigned int COUNT = 16;
    static std::string const NUL(1, '\0');
    static std::string const SJIS[COUNT] = {"\n",       "\r\n",     "\r",       "\r\r\n", "a",      "xyz",
                                            "\xB1\xB2", "\x82\xA0", "\x83\\",   "\x81",   "\x81\n", "\xF5",
                                            "\xFC\xFC", "\x80",     "\x8A\xBF", NUL};
    static std::string const UTF8[COUNT] = {"\n", "\r\n",   "\r",       "\r\r\n",   "a",    "xyz",  "あ", "é",
                                            "😀",  "\uFEFF", "\xE3\x81", "\xC0\xAF", "\xFF", "\x80", "漢", NUL};
    static std::u16string const UTF16[COUNT] = {
        u"\n",     u"\r\n",   u"\r",     u"\r\r",   u"a",      u"xyz", u"あ", u"漢",
        u"\u0A0A", u"\u0D0D", u"\uFEFF", u"\xFFFE", u"\u0A00", u"😀",   u"é",  std::u16string(1, u'\0')};
    std::string lText;
    for (char lByte : nBytes)
    {
        unsigned int const lValue = static_cast<unsigned char>(lByte);
        unsigned int const lPiece = nIsRich || lValue < 40 ? lValue % COUNT : 4 + lValue % 4;
        if (nTextType <= FILE_TEXT_UTF8)
        {
            lText += nTextType == FILE_TEXT_UTF8 ? UTF8[lPiece] : SJIS[lPiece];
            continue;
        }
        for (char16_t lUnit : UTF16[lPiece])
        {
            int const lFirst = nTextType == FILE_TEXT_UTF16_BE ? 8 : 0;
            lText += static_cast<char>(lUnit >> lFirst);
            lText += static_cast<char>(lUnit >> (8 - lFirst));
        }
    }
    return lText;
}

/// What the call that four bytes choose gives and leaves behind, in words.
template <class AnyFile>
std::string outcomeOf(std::uint8_t const* npCall, std::string const& nContent, AnyFile& nFile)
{
    unsigned int const lFirst = npCall[1];
    unsigned int const lSecond = npCall[2];
    unsigned int const lThird = npCall[3];
    unsigned int const SIZES[] = {5119, 0, 5120, lFirst, lFirst * 25, 16000, 300, 400};
    unsigned int const lDstSize = SIZES[npCall[0] >> 4 & 7];
    std::vector<char> lDst(std::max(1U, lDstSize), '#'); // no byte more, for the address checks
    std::string const lKey = nContent.substr(std::min<std::size_t>(lFirst, nContent.size()), lSecond % 8);
    unsigned int lOut = 7;
    unsigned int lEol = 7;
    unsigned long long const lStart = (lThird & 1) != 0 ? ~1ULL : lThird == 254 ? ~0ULL : lThird;
    auto const lCall = [&]() -> long long
    {
        switch (npCall[0] % 16)
        {
        case 1:
            return nFile.readText(lDst.data(), lDstSize, lSecond * (npCall[0] < 0x80 ? 1 : 21), lThird, &lOut);
        case 2:
            return nFile.findNextLineSize(0, &lOut, &lEol);
        case 3:
            return nFile.seekKey(reinterpret_cast<unsigned char const*>(lKey.data()),
                                 static_cast<unsigned int>(lKey.size()), lStart, (lThird & 2) != 0 ? ~0ULL : lSecond,
                                 (lThird & 4) != 0 ? 1 : 0);
        case 4:
            return nFile.nextEOLSize();
        case 5:
            return nFile.read(lDst.data(), 1);
        case 6:
            return nFile.seek(lThird, FILE_SEEK_BEGIN);
        default:
            return nFile.readLine(lDst.data(), lDstSize, &lOut);
        }
    };
    long long const lResult = lCall();
    std::ostringstream lWords;
    lWords << "kind " << npCall[0] % 16 << ", capacity " << lDstSize << ": " << lResult << ", sizes " << lOut << ' '
           << lEol << ", position " << nFile.position() << ", left " << nFile.availableSize() << ", "
           << std::string(lDst.data(), lDst.size());
    return lWords.str();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* npData, std::size_t nSize)
{
    if (nSize < 4)
    {
        return 0;
    }
    int const lTextType = npData[0] % 4;
    gReadMax = npData[1] == 0 ? SIZE_MAX : npData[1] + (npData[2] < 192 ? 0 : 1000U);
    std::size_t const lCalls = std::min<std::size_t>(npData[3] % 32, (nSize - 4) / 8); // the rest is the file
    std::uint8_t const* const lpCalls = npData + 4;
    std::string lContent(npData[2] < 192 ? npData[2] : (npData[2] - 190U) * 160, 'x'); // seldom long lines
    std::string const lBytes(lpCalls + 4 * lCalls, npData + nSize);
    lContent += (npData[0] & 4) != 0 ? piecesOf(lBytes, lTextType, (npData[0] & 8) != 0) : lBytes;
    int const lDescriptor = memoryFile();
    require(::ftruncate(lDescriptor, 0) == 0);
    require(::pwrite(lDescriptor, lContent.data(), lContent.size(), 0) == static_cast<ssize_t>(lContent.size()));
    File lFile(("/proc/self/fd/" + std::to_string(lDescriptor)).c_str(), lTextType);
    PlainText lPlain(lContent, lTextType);
    require(lFile.open(FILE_OPEN_TOP, FILE_ACCESS_READ));
    File lCopy("", 0);
    for (std::size_t lIndex = 0; lIndex < lCalls; ++lIndex)
    {
        if (lIndex == 2 && npData[0] >= 224) // from here on the descriptor is shared, and never ahead
        {
            npData[3] % 64 < 32 ? lCopy = lFile : lCopy = File(lFile);
            require(lCopy.position() == lPlain.position());
        }
        std::string const lExpected = outcomeOf(lpCalls + 4 * lIndex, lContent, lPlain);
        std::string const lOutcome = outcomeOf(lpCalls + 4 * lIndex, lContent, lFile);
        if (lOutcome != lExpected)
        {
            std::fprintf(stderr, "type %d, call %zu\n%s\n%s\n", lTextType, lIndex, lExpected.c_str(), lOutcome.c_str());
            std::abort();
        }
        require(!lCopy.isOpened() || lCopy.position() == lPlain.position());
    }
    if (npData[3] % 4 == 0)
    {
        lFile.seek(0, FILE_SEEK_BEGIN);
    }
    if (lContent.size() < 600 || npData[1] % 32 == 0) // the slow way is slow
    {
        compareLines(lFile, lContent, npData[3] < 128 ? 5 + npData[3] % 32 : LINE_CAPACITY);
    }
    return 0;
}
