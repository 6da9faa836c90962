// A fuzz target on inputs that chance makes, the same ones each time: among the tests, with any compiler and machine.
// Where the target aborts, the input is shown in hexadecimal.
#include <csignal>
#include <cstdio>
#include <random>
#include <string>
#include <vector>

#include "support/PlainRowScan.h"

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* npData, std::size_t nSize);

namespace
{

std::string gInput;

void showInput(int)
{
    for (char lByte : gInput)
    {
        std::fprintf(stderr, "%02x", static_cast<unsigned int>(static_cast<unsigned char>(lByte)));
    }
}

// Every character that a table knows, some that none knows, and pieces of characters.
std::vector<std::string> words()
{
    std::vector<std::string> lWords = {"漢",       "é",        "α",     "＂",     "￣",         "～",
                                       "ヵ",       "ヷ",       "a\x80", "あ\xBF", "\x80",       "\xE3\x81",
                                       "\xEF\xBD", "\xC0\xB0", "\xFF",  "\uFEFF", "\U0001F600", std::string(1, '\0')};
    for (scan::ClassTables const& lTables : scan::CLASSES)
    {
        for (utl::CodeRow const* lpRow = lTables.mpRows; lpRow != nullptr && lpRow->mChar != nullptr; ++lpRow)
        {
            lWords.emplace_back(lpRow->mChar);
        }
    }
    return lWords;
}

} // namespace

int main()
{
    std::signal(SIGABRT, showInput);
    std::vector<std::string> const WORDS = words();
    std::mt19937 lRandom(1);
    for (int lRound = 0; lRound < 60000; ++lRound)
    {
        gInput.clear();
        unsigned long const lChoices = lRandom() % 7; // bytes ahead of a text choose what is done with it
        unsigned long const lSize = lChoices + lRandom() % (lRound % 64 == 0 ? 1000 : 10);
        bool const lIsText = lRandom() % 2 == 0;
        for (unsigned long lIndex = 0; lIndex < lSize; ++lIndex)
        {
            bool const lIsWord = lIsText && lIndex >= lChoices;
            gInput += lIsWord ? WORDS[lRandom() % WORDS.size()] : std::string(1, static_cast<char>(lRandom()));
        }
        std::vector<std::uint8_t> const lInput(gInput.begin(), gInput.end()); // in memory of exactly its size
        LLVMFuzzerTestOneInput(lInput.data(), lInput.size());
    }
}
