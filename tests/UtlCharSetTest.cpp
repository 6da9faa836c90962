#include "UtlCharSet.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <iconv.h>

#include "internal/UtlCodeTables.h"

using namespace utl;
using namespace std::string_literals;

namespace
{

template <class To, class From>
using Convert = unsigned int (*)(To*, unsigned int, From const*);

/// Source in memory of exactly its size, so that a sanitizer sees a read behind it.
template <class Unit, class Text>
std::vector<Unit> terminated(Text const& nText)
{
    std::vector<Unit> lUnits(nText.size() + 1);
    std::transform(nText.begin(), nText.end(), lUnits.begin(), [](auto nUnit) { return static_cast<Unit>(nUnit); });
    return lUnits;
}

/// Every capacity from 0 to one more than needed, null arguments, and that nothing is written past the capacity.
template <class To, class From, class Source, class Expected>
void checkStr(Convert<To, From> npConvert, Source const& nSource, Expected const& nExpected)
{
    SCOPED_TRACE(::testing::PrintToString(nSource));
    std::vector<From> const lSource = terminated<From>(nSource);
    std::vector<To> const lExpected = terminated<To>(nExpected);
    unsigned int const lNeeded = static_cast<unsigned int>(lExpected.size());
    To const UNTOUCHED = 0x55;
    for (unsigned int lCapacity = 0; lCapacity <= lNeeded + 1; ++lCapacity)
    {
        std::vector<To> lTarget(lNeeded + 2, UNTOUCHED);
        bool const lFits = lCapacity >= lNeeded;
        EXPECT_EQ(npConvert(lTarget.data(), lCapacity, lSource.data()), lFits || lCapacity == 0 ? lNeeded : STR_ERROR);
        EXPECT_TRUE(!lFits || std::equal(lExpected.begin(), lExpected.end(), lTarget.begin())) << lCapacity;
        EXPECT_EQ(std::count(lTarget.begin() + std::min(lCapacity, lNeeded), lTarget.end(), UNTOUCHED),
                  static_cast<long>(lTarget.size() - std::min(lCapacity, lNeeded)))
            << lCapacity;
    }
    EXPECT_EQ(npConvert(nullptr, 0, lSource.data()), lNeeded);
    EXPECT_EQ(npConvert(nullptr, 1, lSource.data()), STR_ERROR);
    EXPECT_EQ(npConvert(nullptr, 0, nullptr), STR_ERROR);
}

/// Enough room; for whole-space tests.
template <class To, class From>
auto convert(Convert<To, From> npConvert, From const* npSource)
{
    std::vector<To> lTarget(8);
    lTarget.resize(npConvert(lTarget.data(), 8, npSource) - 1);
    using Text = std::conditional_t<sizeof(To) == 1, std::string, std::u16string>;
    return Text(lTarget.begin(), lTarget.end());
}

/// Any Unicode code in UTF-8, terminated.
std::string utf8Of(unsigned int nCode)
{
    char lBytes[8] = {};
    wchar_t const lWide = static_cast<wchar_t>(nCode);
    jk_wctomb(lBytes, 8, &lWide, 1, KCP_UTF8);
    return lBytes;
}

unsigned int bigEndian(std::string const& nBytes)
{
    unsigned int lNumber = 0;
    for (char const lByte : nBytes)
    {
        lNumber = lNumber << 8 | static_cast<unsigned char>(lByte);
    }
    return lNumber;
}

std::string sjisOf(unsigned int nCode)
{
    return nCode > 0xFF ? std::string{static_cast<char>(nCode >> 8), static_cast<char>(nCode)}
                        : std::string(1, static_cast<char>(nCode));
}

/// What the sorted tables say; 0 for no row.
SjisToUnicode const* findSjis(unsigned int nCode)
{
    auto const* const lpEnd = SJIS_TO_UNICODE + SJIS_TO_UNICODE_COUNT;
    auto const* const lpRow = std::lower_bound(
        SJIS_TO_UNICODE, lpEnd, nCode, [](SjisToUnicode const& nRow, unsigned int n) { return nRow.mSjis < n; });
    return lpRow != lpEnd && lpRow->mSjis == nCode ? lpRow : nullptr;
}

unsigned int findKey(unsigned int nKey)
{
    auto const* const lpEnd = UTF8_TO_SJIS + UTF8_TO_SJIS_COUNT;
    auto const* const lpRow = std::lower_bound(UTF8_TO_SJIS, lpEnd, nKey,
                                               [](Utf8ToSjis const& nRow, unsigned int n) { return nRow.mKey < n; });
    return lpRow != lpEnd && lpRow->mKey == nKey ? lpRow->mSjis : 0;
}

bool isLead(unsigned int nByte)
{
    return (nByte >= 0x81 && nByte <= 0x9F) || (nByte >= 0xE0 && nByte <= 0xEF) || (nByte >= 0xFA && nByte <= 0xFC);
}

bool isKeyLead(unsigned int nByte)
{
    return (nByte >= 0xC2 && nByte <= 0xD1) || (nByte >= 0xE2 && nByte <= 0xE9) || nByte == 0xEF;
}

} // namespace

TEST(CharSet, EveryShiftJisCodeDecodesAsTheTableSays)
{
    for (unsigned int lCode = 1; lCode < 0x10000; ++lCode)
    {
        bool const lIsDouble = isLead(lCode >> 8);
        if (lIsDouble == (lCode <= 0xFF) || isLead(lCode))
        {
            continue; // not a code of one character
        }
        bool const lIsInTable = lIsDouble || (lCode >= 0xA1 && lCode <= 0xDF);
        SjisToUnicode const* const lpRow = findSjis(lCode);
        std::string const lSource = sjisOf(lCode);
        std::string const lUtf8 = !lIsInTable ? lSource : lpRow != nullptr ? utf8Of(lpRow->mUtf16) : "\0"s;
        unsigned int const lUnit = !lIsInTable ? lCode : lpRow != nullptr ? lpRow->mUtf16 : 0;
        unsigned int lConsumed = 0;
        unsigned short lTarget = 0xFFFF;
        char lBytes[3];
        ASSERT_EQ(convertCharFromSjisToUtf8(lBytes, 3, lSource.c_str(), &lConsumed), lUtf8.size()) << lCode;
        ASSERT_EQ(std::string(lBytes, lUtf8.size()), lUtf8) << lCode;
        ASSERT_EQ(lConsumed, lSource.size());
        ASSERT_EQ(convertCharFromSjisToUtf16(&lTarget, lSource.c_str(), &lConsumed), lIsInTable ? 1U : 2U);
        ASSERT_EQ(lConsumed, lSource.size());
        ASSERT_EQ(lTarget, lUnit) << lCode;
        ASSERT_EQ(convert(convertStrFromSjisToUtf8, lSource.c_str()), lUtf8) << lCode;
        auto const lUnits = convert(convertStrFromSjisToUtf16, lSource.c_str());
        ASSERT_TRUE(lUnits.size() == 1 && lUnits[0] == (lUnit == 0 ? 0x203B : lUnit)) << lCode;
    }
}

TEST(CharSet, EveryUnicodeCharacterGoesThereAndBack)
{
    for (unsigned int lCode = 1; lCode <= 0x10FFFF; ++lCode)
    {
        std::string const lUtf8 = utf8Of(lCode);
        if (lUtf8.empty())
        {
            ASSERT_TRUE(lCode >= 0xD800 && lCode <= 0xDFFF);
            continue;
        }
        // Shift-JIS
        unsigned int const lKey = bigEndian(lUtf8);
        bool const lIsLookedUp = isKeyLead(static_cast<unsigned char>(lUtf8[0]));
        unsigned int const lSjis = lIsLookedUp ? findKey(lKey) : 0;
        std::string const lExpected = lIsLookedUp ? sjisOf(lSjis) : lUtf8;
        ASSERT_EQ(convert(convertStrFromUtf8ToSjis, lUtf8.c_str()), lExpected) << lCode;
        unsigned int lConsumed = 0;
        char lBytes[2];
        ASSERT_EQ(convertCharFromUtf8ToSjis(lBytes, 2, lUtf8.c_str(), &lConsumed), lIsLookedUp ? lExpected.size() : 1);
        ASSERT_EQ(lConsumed, lIsLookedUp ? lUtf8.size() : 1) << lCode;
        ASSERT_EQ(lBytes[0], lExpected[0]) << lCode;
        ASSERT_TRUE(lSjis == 0 || convert(convertStrFromSjisToUtf8, lExpected.c_str()) == lUtf8) << lCode;
        // UTF-16
        unsigned short const lUnit[2] = {static_cast<unsigned short>(lCode < 0x10000 ? lCode : 0x203B), 0};
        ASSERT_TRUE(convert(convertStrFromUtf8ToUtf16, lUtf8.c_str()) == std::u16string(1, lUnit[0])) << lCode;
        bool const lIsMark = lCode == 0xFEFF || lCode == 0xFFFE;
        ASSERT_TRUE(lCode >= 0x10000 || lIsMark || convert(convertStrFromUtf16ToUtf8, lUnit) == lUtf8) << lCode;
    }
}

TEST(CharSet, DiffersFromTheCLibrarysConverterOnlyWhereMeant)
{
    iconv_t const lDecoder = iconv_open("UTF-16LE", "CP932");
    iconv_t const lEncoder = iconv_open("CP932", "UTF-16LE");
    if (lDecoder == iconv_t(-1) || lEncoder == iconv_t(-1))
    {
        GTEST_SKIP() << "no CP932 in this C library";
    }
    auto const lCall = [](iconv_t npConverter, std::string nSource)
    {
        char lTarget[8];
        char* lpSource = &nSource[0];
        char* lpTarget = lTarget;
        std::size_t lLeft = nSource.size();
        std::size_t lRoom = sizeof(lTarget);
        iconv(npConverter, nullptr, nullptr, nullptr, nullptr);
        bool const lIsDone = iconv(npConverter, &lpSource, &lLeft, &lpTarget, &lRoom) != std::size_t(-1);
        return lIsDone ? std::string(lTarget, lpTarget) : ""s;
    };
    // Decoding. Theirs has private-use characters for the user-defined area, whose lead bytes we pass on, and nothing
    // for the five other bytes that we pass on.
    auto const lDecoded = [](unsigned int nCode, unsigned int nOurs)
    {
        unsigned int const lLead = nCode >> 8;
        unsigned int const lTrail = nCode & 0xFF;
        bool const lIsUserDefined = lLead >= 0xF0 && lLead <= 0xF9;
        bool const lIsTrail = lTrail >= 0x40 && lTrail != 0x7F && lTrail <= 0xFC;
        bool const lIsPassedOn = lLead == 0 && (lTrail == 0x80 || lTrail == 0xA0 || lTrail >= 0xF0);
        return lIsPassedOn       ? 0
               : !lIsUserDefined ? nOurs
               : lIsTrail        ? 0xE000 + (lLead - 0xF0) * 188 + lTrail - 0x40 - (lTrail > 0x7F)
                                 : 0;
    };
    for (unsigned int lCode = 1; lCode < 0x10000; ++lCode)
    {
        unsigned int const lLead = lCode >> 8;
        if (lLead == 0 ? isLead(lCode) : (!isLead(lLead) && (lLead < 0xF0 || lLead > 0xF9)) || lCode % 256 == 0)
        {
            continue; // not a code of one character
        }
        std::string const lBytes = lCall(lDecoder, sjisOf(lCode));
        unsigned int const lTheirs = bigEndian(std::string(lBytes.rbegin(), lBytes.rend()));
        unsigned short lOurs = 0;
        convertCharFromSjisToUtf16(&lOurs, sjisOf(lCode).c_str(), nullptr);
        ASSERT_EQ(lTheirs, lDecoded(lCode, lOurs)) << lCode;
    }
    // Encoding. Theirs takes characters that only look like one of the page, IBM's codes before NEC's (so do we from
    // 0xFC40 on), and the lowest code of U+222A.
    std::map<unsigned int, unsigned int> const LOOK_ALIKE = {
        {0xA2, 0x8191},   {0xA3, 0x8192}, {0xA5, 0x5C},     {0xAC, 0x81CA},   {0x2014, 0x815C},
        {0x2016, 0x8161}, {0x203E, 0x7E}, {0x2212, 0x817C}, {0x301C, 0x8160}, {0x222A, 0x81BE}};
    for (unsigned int lUnit = 0x80; lUnit < 0x10000; lUnit = lUnit == 0xD7FF ? 0xF900 : lUnit + 1)
    {
        std::string const lBytes{static_cast<char>(lUnit), static_cast<char>(lUnit >> 8)};
        unsigned int const lTheirs = bigEndian(lCall(lEncoder, lBytes));
        unsigned int const lOurs = findKey(bigEndian(utf8Of(lUnit)));
        auto const lAlike = LOOK_ALIKE.find(lUnit);
        bool const lIsNec = lOurs >= 0xED40 && lOurs <= 0xEEFC && lTheirs >= 0xFA40 && lTheirs < 0xFC40;
        ASSERT_EQ(lTheirs, lAlike != LOOK_ALIKE.end() ? lAlike->second : lIsNec ? lTheirs : lOurs) << lUnit;
        ASSERT_TRUE(lAlike == LOOK_ALIKE.end() || lOurs == (lUnit == 0x222A ? 0x879CU : 0U)) << lUnit;
    }
    iconv_close(lDecoder);
    iconv_close(lEncoder);
}

TEST(CharSet, TextsConvertAtEveryCapacity)
{
    for (auto const& [lUtf8, lSjis] : std::vector<std::pair<std::string, std::string>>{
             {"", ""},
             {"A\u00A7\u3042\uFF61\u2252\u2160\u222A~", "A\x81\x98\x82\xA0\xA1\x81\xE0\x87\x54\x87\x9C~"},
             {"\u301C\u2016\u2212\u00A2\u00A3\u00ACx", "\0\0\0\0\0\0x"s}, // no row
             {"\uFEFFA", "\0A"s},                                         // a byte-order mark has none
             {"\xF0\xA0\xAE\xB7\xE1\x80\x80\xEA\x80\x80", "\xF0\xA0\xAE\xB7\xE1\x80\x80\xEA\x80\x80"}, // as it is
             {"\x80\xC1\xD2\xFF", "\x80\xC1\xD2\xFF"},
             {"A\xE3\x81", "A\0"s}, // cut off by the end
             {"\xE3", "\0"s},
             {"\xC2", "\0"s},
             {"\xE3GHI\xC2JK", "\0I\0K"s}}) // wrong tails are taken along
    {
        checkStr(convertStrFromUtf8ToSjis, lUtf8, lSjis);
    }
    for (auto const& [lSjis, lUtf8] : std::vector<std::pair<std::string, std::string>>{
             {"", ""},
             {"A\x82\xA0\xB1\x81\x5F\x83\xBF~", "A\u3042\uFF71\uFF3C\u03B1~"},
             {"\xF0\x40\x80\xA0\xFD\xFF", "\xF0\x40\x80\xA0\xFD\xFF"}, // as it is
             {"\x85\x40\x81\x20\x81\x7F\xFC\xFD.", "\0\0\0\0."s},      // double-byte, no row
             {"\x81\0A"s, "\0A"s}})                                    // the terminator taken as trail byte
    {
        checkStr(convertStrFromSjisToUtf8, lSjis, lUtf8);
    }
    for (auto const& [lSjis, lUtf16] : std::vector<std::pair<std::string, std::u16string>>{
             {"", u""}, {"\x82\xA0\xB1\x85\x40", u"\u3042\uFF71\u203B"}, {"\x81\0\x82\xA0"s, u"\u203B\u3042"}})
    {
        checkStr(convertStrFromSjisToUtf16, lSjis, lUtf16);
    }
    for (auto const& [lUtf16, lUtf8] : std::vector<std::pair<std::u16string, std::string>>{
             {u"", ""},
             {u"\x7F\x80\u07FF\u0800\uFFFF", "\x7F\u0080\u07FF\u0800\uFFFF"},
             {{u'A', 0xD842, 0xDFB7, 0xDC00, u'Z'}, "A\xED\xA1\x82\xED\xBE\xB7\xED\xB0\x80Z"}})
    {
        checkStr(convertStrFromUtf16ToUtf8, lUtf16, lUtf8);
    }
    for (auto const& [lUtf8, lUtf16] : std::vector<std::pair<std::string, std::u16string>>{
             {"", u""},
             {"A\u00A7\u3042\uFEFF\U00020BB7Z", u"A\u00A7\u3042\uFEFF\u203BZ"},
             {"\xED\xA1\x82", {0xD842}},
             {"A\xE3\x81", u"A"}, // a wrong, overlong or cut-off tail ends the text
             {"A\xC0\x80Z", u"A"},
             {"A\xE0\x9F\xBFZ", u"A"},
             {"\u3042\xE3\x81Z", u"\u3042"}})
    {
        checkStr(convertStrFromUtf8ToUtf16, lUtf8, lUtf16);
    }
    for (char const* const lpText : {"abc", "\u3042\xFF"})
    {
        std::string const lText = lpText;
        checkStr(convertStrFromTcharToChar, lText, lText);
        checkStr(convertStrFromCharToTchar, lText, lText);
    }
    checkStr(convertCharSet, "\u3042x"s, "\u3042x"s);
}

TEST(CharSet, SharpEdgesAreAsDocumented)
{
    // ASCII is stored past the capacity, with a 0 behind, and even with none; the terminator then fails.
    for (unsigned int const lCapacity : {0U, 1U, 3U, 4U})
    {
        unsigned short lTarget[6] = {9, 9, 9, 9, 9, 9};
        EXPECT_EQ(convertStrFromSjisToUtf16(lTarget, lCapacity, "abc"), lCapacity % 4 == 0 ? 4U : STR_ERROR);
        EXPECT_EQ(std::vector<unsigned short>(lTarget, lTarget + 5),
                  (std::vector<unsigned short>{'a', 'b', 'c', 0, 9}));
    }
    unsigned short lUnits[8] = {};
    EXPECT_EQ(convertStrFromSjisToUtf16(lUnits, 2, "ab\xB1"), STR_ERROR);
    EXPECT_EQ(lUnits[1], 'b');

    // A byte that cannot lead repeats what is before it until the capacity is used up.
    EXPECT_EQ(convertStrFromUtf8ToUtf16(lUnits, 8, "xA\x80z"), STR_ERROR);
    EXPECT_EQ(std::vector<unsigned short>(lUnits, lUnits + 7),
              (std::vector<unsigned short>{'x', 'A', 0x203B, 'A', 0x203B, 'A', 0x203B}));
    EXPECT_EQ(convertStrFromUtf8ToUtf16(lUnits, 8, "\xFFz"), STR_ERROR);
    EXPECT_EQ(lUnits[6], 0x203B);
    EXPECT_EQ(convertStrFromUtf8ToUtf16(nullptr, 0, "A\x80"), STR_ERROR);

    // A mark fails the text wherever it stands.
    for (std::u16string const& lText : {u"\uFEFFa"s, std::u16string{u'a', 0xFFFE}})
    {
        auto const lSource = terminated<unsigned short>(lText);
        char lBytes[16];
        EXPECT_EQ(convertStrFromUtf16ToUtf8(nullptr, 0, lSource.data()), STR_ERROR);
        EXPECT_EQ(convertStrFromUtf16ToUtf8(lBytes, 16, lSource.data()), STR_ERROR);
    }
}

TEST(CharSet, CharactersAgainstTheirCapacity)
{
    struct Row
    {
        unsigned int (*mpConvert)(char*, unsigned int, char const*, unsigned int*);
        std::string mSource;
        unsigned int mSize;
        unsigned int mConsumed;
    };
    for (Row const& lRow :
         {Row{convertCharFromUtf8ToSjis, "\u3042", 2, 3}, Row{convertCharFromUtf8ToSjis, "\u00A7", 2, 2},
          Row{convertCharFromUtf8ToSjis, "\uFF61", 1, 3}, Row{convertCharFromUtf8ToSjis, "\u2212", 1, 3},
          Row{convertCharFromUtf8ToSjis, "\xE3", 1, 3}, Row{convertCharFromSjisToUtf8, "\x82\xA0", 3, 2},
          Row{convertCharFromSjisToUtf8, "\x83\xBF", 2, 2}, Row{convertCharFromSjisToUtf8, "\xB1", 3, 1},
          Row{convertCharFromSjisToUtf8, "\x81", 1, 2}})
    {
        for (unsigned int lCapacity = 0; lCapacity < 4; ++lCapacity)
        {
            std::vector<char> const lSource = terminated<char>(lRow.mSource);
            std::vector<char> lTarget(lCapacity);
            unsigned int lConsumed = 0;
            bool const lFits = lCapacity == 0 || lCapacity >= lRow.mSize;
            EXPECT_EQ(lRow.mpConvert(lTarget.data(), lCapacity, lSource.data(), &lConsumed),
                      lFits ? lRow.mSize : STR_ERROR);
            EXPECT_EQ(lConsumed, lRow.mConsumed) << lRow.mSource;
            EXPECT_EQ(lRow.mpConvert(nullptr, lCapacity, lSource.data(), nullptr),
                      lCapacity == 0 ? lRow.mSize : STR_ERROR);
        }
    }
    for (auto const lpConvert : {convertCharFromUtf8ToSjis, convertCharFromSjisToUtf8})
    {
        char lByte = 0;
        EXPECT_EQ(lpConvert(&lByte, 0, "\xF4", nullptr), 1U); // stored without a look at the capacity
        EXPECT_EQ(lByte, '\xF4');
        EXPECT_EQ(lpConvert(nullptr, 0, "A", nullptr), 1U);
        EXPECT_EQ(lpConvert(&lByte, 1, nullptr, nullptr), STR_ERROR);
    }
    for (auto const& [lUnit, lCapacity, lSize, lBom] : std::vector<std::array<unsigned int, 4>>{
             {0xFEFF, 4, 0, 1}, {0xFFFE, 0, 0, 2}, {0x3042, 2, STR_ERROR, 0}, {0x3042, 0, 3, 0}, {0, 1, 1, 0}})
    {
        char lBytes[4];
        int lFound = 0;
        unsigned short const lSource = static_cast<unsigned short>(lUnit);
        EXPECT_EQ(convertCharFromUtf16ToUtf8(lBytes, lCapacity, lSource, &lFound), lSize);
        EXPECT_EQ(lFound, static_cast<int>(lBom));
        EXPECT_EQ(convertCharFromUtf16ToUtf8(nullptr, lCapacity, lSource, nullptr),
                  lSize == 0 || lCapacity == 0 ? lSize : STR_ERROR);
    }
    unsigned short lUnit = 7;
    for (char const* const lpText : {"", "\xE3\x81", "\x80", "\xF0\xA0\xAE\xB7", static_cast<char const*>(nullptr)})
    {
        EXPECT_EQ(convertCharFromUtf8ToUtf16(&lUnit, lpText, nullptr), STR_ERROR);
        EXPECT_EQ(lUnit, 7);
    }
    unsigned int lConsumed = 0;
    EXPECT_EQ(convertCharFromUtf8ToUtf16(&lUnit, "\xEF\xBB\xBF", &lConsumed), 1U);
    EXPECT_EQ(lUnit, 0xFEFF);
    EXPECT_EQ(lConsumed, 3U);
    EXPECT_EQ(convertCharFromUtf8ToUtf16(nullptr, "a", nullptr), STR_ERROR);
    EXPECT_EQ(convertCharFromSjisToUtf16(nullptr, "a", nullptr), STR_ERROR);
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

    wchar_t lUnits[4] = {9, 9};
    char lBytes[8] = {9, 9};
    EXPECT_EQ(convertStrFromTcharToWchar(lUnits, 1, "") + convertStrFromWcharToTchar(lBytes, 1, L""), 2U);
    EXPECT_EQ(lUnits[0] + lBytes[0], 0);
    EXPECT_EQ(convertStrFromTcharToWchar(nullptr, 1, "") & convertStrFromTcharToWchar(lUnits, 0, nullptr), STR_ERROR);
    EXPECT_EQ(convertStrFromWcharToTchar(nullptr, 1, L"") & convertStrFromWcharToTchar(lBytes, 0, nullptr), STR_ERROR);

    for (char const* const lpMalformed : {"\x80", "\xC1\xBF", "\xE3\x81", "\xE3\x81Z", "\xE0\x9F\xBF", "\xED\xA0\x80",
                                          "\xF0\x8F\xBF\xBF", "\xF4\x90\x80\x80", "\xF8\x88\x80\x80"})
    {
        EXPECT_EQ(convertStrFromTcharToWchar(lUnits, 4, lpMalformed), STR_ERROR) << lpMalformed;
        EXPECT_EQ(lUnits[0], 0);
    }
    for (unsigned int const lCode : {0xD800U, 0xDFFFU, 0x110000U, 0xFFFFFFFFU})
    {
        wchar_t const lMalformed[2] = {static_cast<wchar_t>(lCode), 0};
        EXPECT_EQ(convertStrFromWcharToTchar(lBytes, 8, lMalformed), STR_ERROR);
    }
    EXPECT_EQ(jk_mbtowc(lUnits, 4, "abcdef", 2, KCP_UTF8), 2); // counted
    EXPECT_EQ(std::wstring(lUnits), L"ab");
    EXPECT_EQ(jk_mbtowc(lUnits, 4, "\u3042", 2, KCP_UTF8), -1); // the count cuts the character off
    EXPECT_EQ(jk_wctomb(lBytes, 8, L"abcdef", 2, KCP_UTF8), 2);
    EXPECT_EQ(lBytes, "ab"s);
    EXPECT_EQ(jk_wctomb(lBytes, 8, L"abc", -1, KCP_UTF8), -1);
    EXPECT_EQ(jk_mbtowc(lUnits, 4, "a", 1, static_cast<EN_KCP>(1)), -1);
    EXPECT_EQ(jk_wctomb(lBytes, 8, L"a", 1, static_cast<EN_KCP>(1)), -1);
    EXPECT_EQ(jk_mbtowc(lUnits, 0, "a", 1, KCP_UTF8), -1);
}

TEST(CharSet, RawDataTakesTheByteOrderAskedFor)
{
    std::vector<unsigned short> const UNITS = {0x1234, 0xFF80, 0, 0x5678};
    std::vector<unsigned char> const BIG = {0x12, 0x34, 0xFF, 0x80, 0, 0, 0x56, 0x78};
    std::vector<unsigned char> const LITTLE = {0x34, 0x12, 0x80, 0xFF, 0, 0, 0x78, 0x56};
    for (int const lOrder : {1, 0, 2})
    {
        std::vector<unsigned char> const& lBytes = lOrder == 1 ? BIG : LITTLE;
        std::vector<unsigned char> lStored(4);
        std::vector<unsigned short> lBack(4);
        EXPECT_EQ(convertStrFromDcharToUint8(lStored.data(), 4, UNITS.data(), STR_ALL, lOrder), 4U); // to the 0 unit
        EXPECT_TRUE(std::equal(lStored.begin(), lStored.end(), lBytes.begin()));
        EXPECT_EQ(convertBinFromUint8ToDchar(lBack.data(), 4, lBytes.data(), 8, lOrder), 4U); // through it
        EXPECT_EQ(lBack, UNITS);
    }
    unsigned char lStored[4];
    unsigned short lBack[4];
    EXPECT_EQ(convertStrFromDcharToUint8(nullptr, 0, UNITS.data(), 1, 1), 2U);
    EXPECT_EQ(convertStrFromDcharToUint8(lStored, 3, UNITS.data(), STR_ALL, 1), STR_ERROR);
    EXPECT_EQ(convertStrFromDcharToUint8(nullptr, 4, UNITS.data(), STR_ALL, 1), STR_ERROR);
    EXPECT_EQ(convertStrFromDcharToUint8(lStored, 4, nullptr, 1, 1), STR_ERROR);
    EXPECT_EQ(convertBinFromUint8ToDchar(nullptr, 0, BIG.data(), 6, 1), 3U);
    EXPECT_EQ(convertBinFromUint8ToDchar(lBack, 4, BIG.data(), 3, 1), STR_ERROR);
    EXPECT_EQ(convertBinFromUint8ToDchar(lBack, 2, BIG.data(), 6, 1), STR_ERROR);
    EXPECT_EQ(convertBinFromUint8ToDchar(nullptr, 4, BIG.data(), 6, 1), STR_ERROR);
    EXPECT_EQ(convertBinFromUint8ToDchar(lBack, 4, nullptr, 2, 1), STR_ERROR);
}
