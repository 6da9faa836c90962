#include "UtlCharSet.h"

#include "internal/text/UtlCharSetPlatform.h"
#include "support/Test.h"

using namespace utl;
using namespace std::string_literals;

namespace
{

// Each character: see UtlCheckedTextTest.cpp.

template <class To, class From>
using Convert = unsigned int (*)(To*, unsigned int, From const*);

/// What a text becomes, in room for seven units. Smaller capacities and queries of the size: see
/// tests/fuzz/CheckedTextFuzz.cpp, which the tests run too.
template <class To, class From>
auto convert(Convert<To, From> npConvert, From const* npSource)
{
    std::vector<To> lTarget(8);
    lTarget.resize(npConvert(lTarget.data(), 8, npSource) - 1);
    using Text = std::conditional_t<sizeof(To) == 1, std::string, std::u16string>;
    return Text(lTarget.begin(), lTarget.end());
}

} // namespace

TEST(CharSet, PlainAndMalformedTexts)
{
    struct
    {
        Convert<char, char> mpConvert;
        char const* mpText;
        std::string mExpected;
    } const ROWS[] = {
        {convertStrFromUtf8ToSjis, "A\u00A7\u3042\uFF61~", "A\x81\x98\x82\xA0\xA1~"s},
        {convertStrFromUtf8ToSjis, "\u301C\u2016x\uFEFF", "\0\0x\0"s}, // no row; a byte-order mark has none
        {convertStrFromUtf8ToSjis, "\xF0\xA0\x80\xC1\xD2\xFF", "\xF0\xA0\x80\xC1\xD2\xFF"s}, // as it is
        {convertStrFromUtf8ToSjis, "A\xE3\x81", "A\0"s},                                     // cut off
        {convertStrFromUtf8ToSjis, "\xE3GHI\xC2JK\xC2", "\0I\0K\0"s}, // wrong tails are taken along
        {convertStrFromSjisToUtf8, "A\xB1\x83\xBF~", "A\uFF71\u03B1~"s},
        {convertStrFromSjisToUtf8, "\xF0\x40\x80\xA0\xFD\xFF", "\xF0\x40\x80\xA0\xFD\xFF"s},
        {convertStrFromSjisToUtf8, "\x85\x40\x81\x20\x81\x7F\xFC\xFD.", "\0\0\0\0."s},
        {convertStrFromSjisToUtf8, "\x81\0A", "\0A"s}, // the terminator taken as trail byte
        {convertStrFromTcharToChar, "a\xE3\x81", "a\xE3\x81"},
        {convertStrFromCharToTchar, "a\xE3\x81", "a\xE3\x81"},
        {convertCharSet, "a\xE3\x81", "a\xE3\x81"}};
    for (auto const& lRow : ROWS)
    {
        char lBytes[8];
        unsigned int const lSize = static_cast<unsigned int>(lRow.mExpected.size()) + 1;
        EXPECT_EQ(convert(lRow.mpConvert, lRow.mpText), lRow.mExpected);
        EXPECT_EQ(lRow.mpConvert(nullptr, 0, lRow.mpText), lSize);
        EXPECT_EQ(lRow.mpConvert(lBytes, lSize - 1, lRow.mpText), STR_ERROR);
        EXPECT_EQ(convert(lRow.mpConvert, ""), "");
        EXPECT_EQ(lRow.mpConvert(nullptr, 1, "a") & lRow.mpConvert(nullptr, 0, nullptr), STR_ERROR);
    }
    EXPECT_TRUE(convert(convertStrFromSjisToUtf16, "\xB1\x85\x40\x81\0\x82\xA0") == u"\uFF71\u203B\u203B\u3042"s);
    unsigned short const UNITS[] = {0x7F, 0x80, 0xD842, 0};
    EXPECT_EQ(convert(convertStrFromUtf16ToUtf8, UNITS), "\x7F\u0080\xED\xA1\x82");
    EXPECT_TRUE(convert(convertStrFromUtf8ToUtf16, "A\uFEFF\U00020BB7Z") == u"A\uFEFF\u203BZ"s);
    for (char const* const lpEnded : {"A", "A\xE3\x81", "A\xC0\x80Z", "A\xE0\x9F\xBFZ", "A\xE3\x81Z"})
    {
        EXPECT_TRUE(convert(convertStrFromUtf8ToUtf16, lpEnded) == u"A"s); // by a wrong, overlong or cut-off tail
    }
}

TEST(CharSet, SharpEdgesAreAsDocumented)
{
    using Units = std::vector<unsigned short>;
    // With no capacity ASCII is stored all the same; with too small a one nothing behind it is touched.
    for (unsigned int const lCapacity : {0U, 1U, 3U, 4U})
    {
        Units lTarget(5, 9);
        EXPECT_EQ(convertStrFromSjisToUtf16(lTarget.data(), lCapacity, "abc"), lCapacity % 4 == 0 ? 4U : STR_ERROR);
        Units const lStored = {'a', 'b', 'c', 0, 9};
        std::size_t const lTouched = lCapacity != 0 ? lCapacity : 4;
        EXPECT_TRUE(
            std::equal(lTarget.begin() + static_cast<std::ptrdiff_t>(lTouched), lTarget.end(), Units(5, 9).begin()));
        if (lCapacity % 4 == 0)
        {
            EXPECT_EQ(lTarget, lStored) << lCapacity;
        }
    }
    Units lUnits(8);
    EXPECT_EQ(convertStrFromSjisToUtf16(lUnits.data(), 2, "ab\xB1"), STR_ERROR);

    // A byte that cannot lead repeats what is before it until the capacity is used up.
    EXPECT_EQ(convertStrFromUtf8ToUtf16(lUnits.data(), 8, "xA\x80z"), STR_ERROR);
    EXPECT_EQ(lUnits, (Units{'x', 'A', 0x203B, 'A', 0x203B, 'A', 0x203B, lUnits[7]}));
    EXPECT_EQ(convertStrFromUtf8ToUtf16(lUnits.data(), 8, "\xFFz"), STR_ERROR);
    EXPECT_EQ(convertStrFromUtf8ToUtf16(nullptr, 0, "A\x80"), STR_ERROR);

    // A mark fails the text wherever it stands.
    for (Units const& lText : {Units{0xFEFF, 'a', 0}, Units{'a', 0xFFFE, 0}})
    {
        char lBytes[16];
        EXPECT_EQ(convertStrFromUtf16ToUtf8(nullptr, 0, lText.data()), STR_ERROR);
        EXPECT_EQ(convertStrFromUtf16ToUtf8(lBytes, 16, lText.data()), STR_ERROR);
    }
}

// Every character in every capacity: see tests/fuzz/CheckedTextFuzz.cpp.
TEST(CharSet, CharactersOutOfTheOrdinary)
{
    char lBytes[4] = {};
    unsigned int lConsumed = 0;
    for (auto const lpConvert : {convertCharFromUtf8ToSjis, convertCharFromSjisToUtf8})
    {
        lBytes[0] = 0;
        EXPECT_EQ(lpConvert(lBytes, 0, "\xF4", nullptr), 1U); // stored without a look at the capacity
        EXPECT_EQ(lBytes[0], '\xF4');
        EXPECT_EQ(lpConvert(nullptr, 0, "A", nullptr), 1U);
        EXPECT_EQ(lpConvert(lBytes, 1, nullptr, nullptr) & lpConvert(nullptr, 3, "\u3042", nullptr), STR_ERROR);
    }
    for (auto const& [lUnit, lCapacity, lSize, lBom] : std::vector<std::array<unsigned int, 4>>{
             {0xFEFF, 4, 0, 1}, {0xFFFE, 0, 0, 2}, {0x3042, 2, STR_ERROR, 0}, {0x3042, 0, 3, 0}, {0, 1, 1, 0}})
    {
        int lFound = 0;
        EXPECT_EQ(convertCharFromUtf16ToUtf8(lBytes, lCapacity, static_cast<unsigned short>(lUnit), &lFound), lSize);
        EXPECT_EQ(lFound, static_cast<int>(lBom));
    }
    unsigned short lUnit = 7;
    for (char const* const lpText : {"", "\xE3\x81", "\x80", "\xF0\xA0\xAE\xB7", static_cast<char const*>(nullptr)})
    {
        EXPECT_EQ(convertCharFromUtf8ToUtf16(&lUnit, lpText, nullptr), STR_ERROR);
        EXPECT_EQ(lUnit, 7);
    }
    EXPECT_EQ(convertCharFromUtf8ToUtf16(&lUnit, "\xEF\xBB\xBF", &lConsumed), 1U);
    EXPECT_EQ(0xFEFF, lUnit);
    EXPECT_EQ(3, lConsumed);
    EXPECT_EQ(convertCharFromSjisToUtf16(&lUnit, nullptr, nullptr), STR_ERROR);
}

TEST(CharSet, WideTextGoesThroughTheConverterAndBack)
{
    std::wstring const lWide = L"A\u00A7\u3042\U00020BB7\U0010FFFF";
    std::string const lUtf8 = "A\u00A7\u3042\U00020BB7\U0010FFFF";
    for (unsigned int lCapacity = 1; lCapacity <= lUtf8.size() + 1; ++lCapacity)
    {
        std::vector<wchar_t> lUnits(lCapacity, L'?');
        std::vector<char> lBytes(lCapacity, '?');
        EXPECT_EQ(convertStrFromTcharToWchar(lUnits.data(), lCapacity, lUtf8.c_str()), lCapacity >= 6 ? 6 : STR_ERROR);
        EXPECT_EQ(lUnits.data(), lWide.substr(0, lCapacity - 1)); // terminated, also after a failure
        EXPECT_EQ(convertStrFromWcharToTchar(lBytes.data(), lCapacity, lWide.c_str()),
                  lCapacity == lUtf8.size() + 1 ? lCapacity : STR_ERROR);
        EXPECT_EQ(lUtf8.find(lBytes.data()), 0U);
    }
    EXPECT_EQ(convertStrFromTcharToWchar(nullptr, 0, lUtf8.c_str()), lUtf8.size() + 1); // upper bounds
    EXPECT_EQ(convertStrFromWcharToTchar(nullptr, 0, lWide.c_str()), 6 * lWide.size() + 1);

    wchar_t lUnits[4];
    char lBytes[8];
    EXPECT_EQ(convertStrFromTcharToWchar(lUnits, 4, "\x80"), STR_ERROR);
    EXPECT_EQ(convertStrFromWcharToTchar(lBytes, 8, L"\xD800"), STR_ERROR);
    EXPECT_EQ(internal::toWide(lUnits, 4, "\u3042", 2), -1); // counted
}

TEST(CharSet, RawDataTakesTheByteOrderAskedFor)
{
    using Bytes = std::vector<unsigned char>;
    using Units = std::vector<unsigned short>;
    Units const UNITS = {0x1234, 0xFF80, 0, 0x5678};
    Bytes const BIG = {0x12, 0x34, 0xFF, 0x80, 0, 0, 0x56, 0x78};
    Bytes const LITTLE = {0x34, 0x12, 0x80, 0xFF, 0, 0, 0x78, 0x56};
    for (int const lOrder : {1, 0, 2})
    {
        Bytes const& lBytes = lOrder == 1 ? BIG : LITTLE;
        Bytes lStored(4);
        Units lUnits(4);
        for (unsigned int const lSize : {0U, 3U, 4U}) // of the destination
        {
            unsigned int const lExpected = lSize == 3 ? STR_ERROR : 4;
            EXPECT_EQ(Bytes(4), lStored);
            EXPECT_EQ(Units(4), lUnits);
            EXPECT_EQ(convertStrFromDcharToUint8(lStored.data(), lSize, UNITS.data(), STR_ALL, lOrder), lExpected);
            EXPECT_EQ(convertBinFromUint8ToDchar(lUnits.data(), lSize, lBytes.data(), 8, lOrder), lExpected);
        }
        EXPECT_EQ(lStored, Bytes(lBytes.begin(), lBytes.begin() + 4)); // to the 0 unit
        EXPECT_EQ(lUnits, UNITS);                                      // through it
    }
    unsigned char lStored[4];
    unsigned short lUnits[4];
    EXPECT_EQ(convertStrFromDcharToUint8(lStored, 4, UNITS.data(), 1, 1), 2U);
    EXPECT_EQ(convertBinFromUint8ToDchar(lUnits, 4, BIG.data(), 3, 1) &
                  convertBinFromUint8ToDchar(nullptr, 4, BIG.data(), 2, 1) &
                  convertStrFromDcharToUint8(nullptr, 4, UNITS.data(), 1, 1),
              STR_ERROR);
}
