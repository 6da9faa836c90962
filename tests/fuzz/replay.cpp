// The main of a fuzz target among the tests, for any compiler and machine:  TARGET INPUTS [FILE]...
// Gives the target the files, such as seeds or what libFuzzer found, and then INPUTS that chance makes, each time the
// same ones. Where the target aborts, the input is shown in hexadecimal.
#include <csignal>
#include <fstream>
#include <iterator>
#include <random>

#include "reference/Input.h"
#include "reference/PlainRowScan.h"

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* npData, std::size_t nSize);

namespace
{

using Bytes = std::vector<std::uint8_t>; // in memory of exactly its size, for the address checks

Bytes const* gpInput = nullptr;

void showInput(int)
{
    for (std::uint8_t lByte : *gpInput)
    {
        std::fprintf(stderr, "%02x", static_cast<unsigned int>(lByte));
    }
    std::fputc('\n', stderr);
}

void give(Bytes const& nInput)
{
    gpInput = &nInput;
    LLVMFuzzerTestOneInput(nInput.data(), nInput.size());
}

/// Every character that a table knows, some that none knows, and pieces of characters.
std::vector<std::string> words()
{
    std::vector<std::string> lWords = {"漢",          "é",        "α",     "＂",     "￣",         "～",
                                       "ヵ",          "ヷ",       "a\x80", "あ\xBF", "\x80",       "\xE3\x81",
                                       "\xEF\xBD",    "\xC0\xB0", "\xFF",  "\uFEFF", "\U0001F600", std::string(1, '\0'),
                                       "\xED\xA0\x80"};
    for (scan::ClassTables const& lTables : scan::CLASSES)
    {
        for (utl::CodeRow const* lpRow = lTables.mpRows; lpRow != nullptr && lpRow->mChar != nullptr; ++lpRow)
        {
            lWords.emplace_back(lpRow->mChar);
        }
    }
    return lWords;
}

/// Mostly short, seldom long: any bytes, bytes of a few values, which repeat, or words.
Bytes randomInput(std::mt19937& nRandom)
{
    static std::vector<std::string> const WORDS = words();
    auto const lBelow = [&](unsigned long nLimit) { return static_cast<unsigned int>(nRandom() % nLimit); };
    unsigned int const LIMITS[] = {10, 10, 20, 64};
    unsigned int const lChoices = lBelow(8); // bytes ahead of a text choose what is done with it
    unsigned int const lSize = lChoices + lBelow(lBelow(128) == 0 ? 1000 : LIMITS[lBelow(4)]);
    unsigned int const lKind = lBelow(3);
    std::string const lValues = {static_cast<char>(nRandom()), static_cast<char>(nRandom()), '\n'};
    std::string lInput;
    for (unsigned int lAt = 0; lAt < lSize; ++lAt)
    {
        unsigned int const lBodyKind = lAt < lChoices ? 0 : lKind;
        lInput += lBodyKind == 0   ? std::string(1, static_cast<char>(nRandom()))
                  : lBodyKind == 1 ? std::string(1, lValues[lBelow(lValues.size())])
                                   : WORDS[lBelow(WORDS.size())];
    }
    return Bytes(lInput.begin(), lInput.end());
}

} // namespace

int main(int nArguments, char** npArguments)
{
    std::signal(SIGABRT, showInput);
    for (int lFile = 2; lFile < nArguments; ++lFile)
    {
        std::ifstream lStream(npArguments[lFile], std::ios::binary);
        utl::test::require(lStream.good());
        give(Bytes(std::istreambuf_iterator<char>(lStream), {}));
    }
    std::mt19937 lRandom(1);
    for (long lLeft = nArguments > 1 ? std::atol(npArguments[1]) : 0; lLeft > 0; --lLeft)
    {
        give(randomInput(lRandom));
    }
    return 0;
}
