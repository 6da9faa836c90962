// Checked text of arbitrary bytes: no access outside source and destination, the same result in one piece and in any
// pieces of source and destination, and what the plain ways give if they can. The functions below, for any text, too.
// The first six bytes choose what is done, its options and the sizes of the pieces.
#include "UtlCheckedText.h"

#include "UtlCharSet.h"
#include "reference/Input.h"
#include "reference/PlainRowScan.h"

using namespace utl;
using test::require;

namespace
{

using Bytes = std::vector<char>; // in memory of exactly its size

std::string_view viewOf(Bytes const& nBytes)
{
    return std::string_view(nBytes.data(), nBytes.size());
}

struct Work
{
    TextResult operator()(char* npDst, std::size_t nSize, std::string_view nText, TextOptions const& nOptions) const
    {
        return mIsFold ? foldText(mFold, npDst, nSize, nText, nOptions)
                       : convertText(mTo, npDst, nSize, mFrom, nText, nOptions);
    }

    bool mIsFold;
    Fold mFold;
    Encoding mTo;
    Encoding mFrom;
};

void requireSame(TextResult const& nLeft, TextResult const& nRight)
{
    require(nLeft.mWritten == nRight.mWritten);
    require(nLeft.mConsumed == nRight.mConsumed);
    require(nLeft.mFaults == nRight.mFaults);
    require(nLeft.mStop == nRight.mStop);
}

/// In one piece: a query, exactly that size, one byte less, and a string.
std::string checkWhole(Work const& nWork, Bytes const& nText, TextOptions const& nOptions, TextResult& nResult)
{
    nResult = nWork.mIsFold ? measureFolded(nWork.mFold, viewOf(nText), nOptions)
                            : measureConverted(nWork.mTo, nWork.mFrom, viewOf(nText), nOptions);
    Bytes lExact(nResult.mWritten);
    requireSame(nWork(lExact.data(), lExact.size(), viewOf(nText), nOptions), nResult);
    std::string lString = "x";
    requireSame(nWork.mIsFold ? foldText(nWork.mFold, lString, viewOf(nText), nOptions)
                              : convertText(nWork.mTo, lString, nWork.mFrom, viewOf(nText), nOptions),
                nResult);
    require(lString == "x" + std::string(viewOf(lExact)));
    if (!lExact.empty())
    {
        Bytes lShort(lExact.size() - 1);
        TextResult const lPart = nWork(lShort.data(), lShort.size(), viewOf(nText), nOptions);
        require(lPart.mStop == TextStop::NO_ROOM);
        require(
            std::equal(lShort.begin(), lShort.begin() + static_cast<std::ptrdiff_t>(lPart.mWritten), lExact.begin()));
    }
    return lString.substr(1);
}

/// The same in pieces: nSizes gives those of the source and of the destination in turn.
void checkPieces(Work const& nWork, Bytes const& nText, TextOptions nOptions, std::string const& nExpected,
                 TextResult const& nResult, std::uint8_t const* npSizes)
{
    TextResult lTotal{0, 0, 0, TextStop::END};
    std::string lDone;
    std::size_t lFed = 0;
    std::size_t lRoom = 0;
    for (unsigned int lTurn = 0; lTotal.mStop != TextStop::MALFORMED && lTotal.mStop != TextStop::NO_CODE; ++lTurn)
    {
        bool const lIsHungry = lTotal.mStop != TextStop::NO_ROOM;
        if (lIsHungry && lFed == nText.size() && !nOptions.mHasMore && lTurn != 0)
        {
            break;
        }
        lFed = lIsHungry ? std::min(nText.size(), lFed + npSizes[lTurn % 2] % 9 + 1) : lFed;
        lRoom = lIsHungry ? npSizes[lTurn % 2] / 9 % 12 : lRoom + 7;
        nOptions.mHasMore = lFed != nText.size();
        Bytes const lPiece(nText.begin() + static_cast<std::ptrdiff_t>(lTotal.mConsumed),
                           nText.begin() + static_cast<std::ptrdiff_t>(lFed));
        Bytes lTarget(lRoom + 1);
        TextResult const lPart = nWork(lTarget.data(), lRoom, viewOf(lPiece), nOptions);
        if (lPart.mStop == TextStop::CUT_OFF)
        {
            require(nOptions.mHasMore);
            require(lPiece.size() - lPart.mConsumed <= 5);
        }
        lDone.append(lTarget.data(), lPart.mWritten);
        lTotal = {lTotal.mWritten + lPart.mWritten, lTotal.mConsumed + lPart.mConsumed, lTotal.mFaults + lPart.mFaults,
                  lPart.mStop};
    }
    requireSame(lTotal, nResult);
    require(lDone == nExpected);
}

/// A function below on any text: the size that was asked for is the size that is needed, of wide text a bound of it.
/// npExpected: what it gives; null for any.
template <class To, class From>
void checkBelow(unsigned int (*npConvert)(To*, unsigned int, From const*), Bytes const& nText, std::size_t nTerminators,
                std::string const* npExpected)
{
    std::vector<From> lSource(nText.size() / sizeof(From) + nTerminators);
    std::copy_n(nText.data(), nText.size() / sizeof(From) * sizeof(From), reinterpret_cast<char*>(lSource.data()));
    unsigned int const lAsked = npConvert(nullptr, 0, lSource.data());
    for (unsigned int const lMore : {0U, 40U}) // between narrow texts nothing changes behind the terminator
    {
        std::vector<To> lTarget((lAsked == STR_ERROR ? 64 : lAsked) + lMore, To('#'));
        unsigned int const lSize = npConvert(lTarget.data(), static_cast<unsigned int>(lTarget.size()), lSource.data());
        require(lSize == lAsked || sizeof(To) + sizeof(From) > 4);
        if (lSize != STR_ERROR)
        {
            require(lSize <= lAsked);
            require(lTarget[lSize - 1] == 0);
            auto const lIsKept = [](To nUnit) { return nUnit == To('#'); };
            require(std::all_of(lTarget.begin() + lSize, lTarget.end(), lIsKept) || sizeof(To) + sizeof(From) > 2);
            std::vector<To> lShort(lSize - 1);
            require(lShort.empty() || npConvert(lShort.data(), lSize - 1, lSource.data()) == STR_ERROR);
        }
        require(npExpected == nullptr || bytesOfUnits(lTarget.data(), lSize - 1) == *npExpected);
    }
}

/// A character into every capacity from 1.
void checkChar(unsigned int (*npConvert)(char*, unsigned int, char const*, unsigned int*), Bytes nText)
{
    nText.push_back(0);
    nText.shrink_to_fit();
    for (unsigned int lCapacity = 1; lCapacity < 4; ++lCapacity)
    {
        Bytes lTarget(lCapacity);
        unsigned int lConsumed = 0;
        require(npConvert(lTarget.data(), lCapacity, nText.data(), &lConsumed) - 1 < lCapacity ||
                npConvert(nullptr, 0, nText.data(), nullptr) > lCapacity);
        require(lConsumed >= 1 && lConsumed <= 3);
    }
}

/// Whether a text is whole, without what the page of differences names.
bool isTheSameBelow(Work const& nWork, Bytes const& nText)
{
    std::string lWide;
    bool lIsSame = convertText(Encoding::WIDE, lWide, nWork.mFrom, viewOf(nText)).isWhole();
    for (std::size_t lAt = 0; lAt < lWide.size(); lAt += sizeof(wchar_t))
    {
        wchar_t lCode = 0;
        lWide.copy(reinterpret_cast<char*>(&lCode), sizeof(lCode), lAt);
        lIsSame = lIsSame && lCode != 0 && lCode != 0xFEFF && lCode != 0xFFFE && lCode <= 0xFFFF;
    }
    return lIsSame;
}

void checkBelow(Work const& nWork, Bytes const& nText, std::string const* npExpected)
{
    auto const lIs = [&](Encoding nFrom, Encoding nTo) { return nWork.mFrom == nFrom && nWork.mTo == nTo; };
    lIs(Encoding::UTF8, Encoding::SJIS)   ? checkBelow(convertStrFromUtf8ToSjis, nText, 1, npExpected)
    : lIs(Encoding::SJIS, Encoding::UTF8) ? checkBelow(convertStrFromSjisToUtf8, nText, 2, npExpected)
    : lIs(Encoding::SJIS, ENCODING_UTF16) ? checkBelow(convertStrFromSjisToUtf16, nText, 2, npExpected)
    : lIs(ENCODING_UTF16, Encoding::UTF8) ? checkBelow(convertStrFromUtf16ToUtf8, nText, 1, npExpected)
    : lIs(Encoding::UTF8, ENCODING_UTF16) ? checkBelow(convertStrFromUtf8ToUtf16, nText, 1, npExpected)
    : lIs(Encoding::UTF8, Encoding::WIDE) ? checkBelow(convertStrFromTcharToWchar, nText, 1, npExpected)
    : lIs(Encoding::WIDE, Encoding::UTF8) ? checkBelow(convertStrFromWcharToTchar, nText, 1, npExpected)
                                          : void();
}

/// A whole text: all rows of the table tried one after the other, but those with an empty key.
void checkRows(Fold nFold, Bytes const& nText, std::string const& nExpected)
{
    int const lReverse = static_cast<int>(nFold) % 2;
    std::vector<PairAttrib> lRows;
    for (PairAttrib const* lpRow = scan::PAIRS[static_cast<int>(nFold) / 2]; lpRow->mFirst.mChar != nullptr; ++lpRow)
    {
        if (*(lReverse != 0 ? lpRow->mSecond : lpRow->mFirst).mChar != 0)
        {
            lRows.push_back(*lpRow);
        }
    }
    lRows.emplace_back();
    Bytes lTarget(nText.size() * 3 + 1);
    std::string const lText(viewOf(nText));
    if (lText.find('\0') == std::string::npos)
    {
        unsigned int const lSize = scan::convertAttrib(lTarget.data(), static_cast<unsigned int>(lTarget.size()),
                                                       lText.c_str(), lRows.data(), lReverse, 0);
        require(std::string(lTarget.data(), lSize - 1) == nExpected);
    }
}

std::string lowered(std::string_view nText)
{
    std::string lLower;
    while (!nText.empty())
    {
        TextResult const lPart = foldText(Fold::LOWER, lLower, nText);
        nText.remove_prefix(lPart.mConsumed);
        lLower += nText.substr(0, 1); // malformed
        nText.remove_prefix(nText.empty() ? 0 : 1);
    }
    return lLower;
}

void checkComparison(Bytes const& nText, std::size_t nSplit)
{
    Bytes const lLeft(nText.begin(), nText.begin() + static_cast<std::ptrdiff_t>(nSplit));
    Bytes const lRight(nText.begin() + static_cast<std::ptrdiff_t>(nSplit), nText.end());
    auto const lSign = [](int nOrder) { return (nOrder > 0) - (nOrder < 0); };
    int const lExpected = lowered(viewOf(lLeft)).compare(lowered(viewOf(lRight)));
    require(lSign(compareTextNoCase(viewOf(lLeft), viewOf(lRight))) == lSign(lExpected));
    std::string lUpper;
    if (foldText(Fold::UPPER, lUpper, viewOf(nText)).isWhole())
    {
        require(compareTextNoCase(lUpper, viewOf(nText)) == 0);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* npData, std::size_t nSize)
{
    if (nSize < 6)
    {
        return 0;
    }
    Work const lWork{npData[0] % 3 == 0, static_cast<Fold>(npData[1] % 12), static_cast<Encoding>(npData[1] % 5),
                     npData[0] % 3 == 0 ? Encoding::UTF8 : static_cast<Encoding>(npData[1] / 5 % 5)};
    TextOptions lOptions;
    lOptions.mOnMalformed = static_cast<OnFault>(npData[2] % 3);
    lOptions.mOnNoCode = static_cast<OnFault>(npData[2] / 3 % 3);
    lOptions.mReplacement = npData[2] / 9 % 2 != 0 ? "<\u3042\U00010000>" : "\u203B";
    lOptions.mIsLikeIconv = npData[2] / 18 % 2 != 0;
    Bytes lText(npData + 6, npData + nSize);
    if (npData[3] % 2 != 0) // text that most likely is good
    {
        TextOptions lSkip;
        lSkip.mOnMalformed = lSkip.mOnNoCode = OnFault::SKIP;
        std::string lGood;
        require(convertText(lWork.mFrom, lGood, Encoding::UTF8, viewOf(lText), lSkip).mStop == TextStop::END);
        lText.assign(lGood.begin(), lGood.end());
    }
    lText.shrink_to_fit();
    TextResult lResult{};
    std::string const lExpected = checkWhole(lWork, lText, lOptions, lResult);
    checkPieces(lWork, lText, lOptions, lExpected, lResult, npData + 4);
    bool const lIsUsual = lResult.isWhole() && !lOptions.mIsLikeIconv;
    if (!lWork.mIsFold)
    {
        checkBelow(lWork, lText, lIsUsual && isTheSameBelow(lWork, lText) ? &lExpected : nullptr);
    }
    else if (lIsUsual)
    {
        checkRows(lWork.mFold, lText, lExpected);
    }
    checkChar(convertCharFromUtf8ToSjis, lText);
    checkChar(convertCharFromSjisToUtf8, lText);
    TextOptions lForm;
    lForm.mOnNoCode = OnFault::SKIP;
    require(wellFormedSize(viewOf(lText), lWork.mFrom) ==
            measureConverted(Encoding::UTF16_BE, lWork.mFrom, viewOf(lText), lForm).mConsumed);
    checkComparison(lText, npData[5] % (lText.size() + 1));
    return 0;
}
