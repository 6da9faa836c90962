/// Folds machine words of text in which only ASCII changes. Layer: folds.
#ifndef UTL_FOLD_WORDS_H
#define UTL_FOLD_WORDS_H

#include "internal/text/UtlFoldIndex.h"
#include "internal/text/UtlTextWord.h"

namespace utl::internal
{

/// Folds a word of usual text without the lead byte EF, with which all keys begin that are not ASCII.
struct FoldWords
{
    static constexpr unsigned int LARGEST = 3 * sizeof(Word); ///< bytes that a word becomes

    Word mFrom;                  // added to bytes below 0x80, sets the high bit of those from the first key on
    Word mBehind;                // added to bytes below 0x80, sets the high bit of those behind the last key
    bool mAreLetters;            // each key becomes the letter of the other case
    std::uint32_t mTexts[0x100]; // what each byte becomes, its first byte lowest, with the size in the top byte

    /// Marks the bytes that are ASCII keys.
    Word keys(Word nWord) const
    {
        Word const lLow = nWord & ~HIGH_BITS;
        return (lLow + mFrom) & ~((lLow + mBehind) | nWord) & HIGH_BITS;
    }

    /// The folded word, if mAreLetters.
    static Word otherCase(Word nWord, Word nKeys) { return nWord ^ nKeys >> 2; }

    /// Stores the folded word, and one byte more, to be overwritten. Result: the end of the word's text.
    char* put(char* npDst, Word nWord) const
    {
        for (unsigned int lIndex = 0; lIndex < sizeof(Word); ++lIndex)
        {
            std::uint32_t const lText = mTexts[nWord >> 8 * lIndex & 0xFFU];
            storeFour(npDst, lText);
            npDst += lText >> 24;
        }
        return npDst;
    }
};

/// What an ASCII character becomes, as in FoldWords::mTexts; 0 for more than three bytes.
template <std::size_t N>
constexpr std::uint32_t foldedAscii(FoldIndex<N> const& nIndex, unsigned int nSide, unsigned int nByte)
{
    unsigned int const lRow = nIndex.mFirst[nSide][nByte];
    FoldText const& lText = nIndex.mRows[lRow].mTexts[1 - nSide];
    if (lRow == 0)
    {
        return 1U << 24 | nByte;
    }
    std::uint32_t lFolded = 0;
    for (unsigned int lIndex = lText.mSize; lIndex-- > 0;)
    {
        lFolded = lFolded << 8 | static_cast<unsigned char>(lText.mBytes[lIndex]);
    }
    return lText.mSize <= 3 ? static_cast<std::uint32_t>(lText.mSize) << 24 | lFolded : 0;
}

template <std::size_t N>
constexpr FoldWords makeFoldWords(FoldIndex<N> const& nIndex, unsigned int nSide)
{
    FoldWords lWords{0, 0, true, {}};
    unsigned int lFrom = 0x80;
    unsigned int lTo = 0;
    for (unsigned int lByte = 0; lByte < 0x100; ++lByte)
    {
        bool const lIsKey = lByte < 0x80 && nIndex.mFirst[nSide][lByte] != 0;
        lWords.mTexts[lByte] = lIsKey ? foldedAscii(nIndex, nSide, lByte) : 1U << 24 | lByte;
        lWords.mAreLetters = lWords.mAreLetters && (!lIsKey || lWords.mTexts[lByte] == (1U << 24 | (lByte ^ 0x20U)));
        lFrom = lIsKey && lFrom == 0x80 ? lByte : lFrom;
        lTo = lIsKey ? lByte : lTo;
    }
    lWords.mFrom = everyByte(0x80 - lFrom);
    lWords.mBehind = everyByte(0x7F - lTo);
    return lWords;
}

/// Whether words can be folded: the ASCII keys are adjacent single characters, and become at most three bytes each.
template <std::size_t N>
constexpr bool hasFoldWords(FoldIndex<N> const& nIndex, unsigned int nSide)
{
    FoldWords const lWords = makeFoldWords(nIndex, nSide);
    bool lHas = (nIndex.mLeads[nSide] & 0x7FFFU) == 0;
    for (unsigned int lByte = 0x80 - (lWords.mFrom & 0xFFU); lByte <= 0x7F - (lWords.mBehind & 0xFFU); ++lByte)
    {
        unsigned int const lRow = nIndex.mFirst[nSide][lByte];
        lHas = lHas && lRow != 0 && nIndex.mRows[lRow].mTexts[nSide].mSize == 1 && lWords.mTexts[lByte] != 0;
    }
    return lHas;
}

} // namespace utl::internal

#endif
