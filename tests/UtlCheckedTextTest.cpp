// Checked text: every character in every direction, what the functions below and iconv do otherwise, faults. Texts in
// pieces, folds and comparison of any bytes: see fuzz/CheckedTextFuzz.cpp, which the tests run too.
#include "UtlCheckedText.h"

#include "UtlCharSet.h"
#include "support/Test.h"

#include <map>

#include <iconv.h>

using namespace utl;
using namespace std::string_literals;

namespace
{

constexpr Encoding ENCODINGS[] = {Encoding::UTF8, Encoding::SJIS, Encoding::UTF16_LE, Encoding::UTF16_BE,
                                  Encoding::WIDE};

std::string bytes(std::initializer_list<unsigned int> nBytes)
{
    return std::string(nBytes.begin(), nBytes.end());
}

std::string sjisOf(unsigned int nCode)
{
    return nCode > 0xFF ? bytes({nCode >> 8, nCode & 0xFF}) : bytes({nCode});
}

/// Of two bytes of Shift-JIS, and of UTF-8 that is looked up in the table.
bool isLead(unsigned int nByte)
{
    return (nByte >= 0x81 && nByte <= 0x9F) || (nByte >= 0xE0 && nByte <= 0xEF) || (nByte >= 0xFA && nByte <= 0xFC);
}

bool isKeyLead(unsigned int nByte)
{
    return (nByte >= 0xC2 && nByte <= 0xD1) || (nByte >= 0xE2 && nByte <= 0xE9) || nByte == 0xEF;
}

/// The one code of each character that has one, by the published table.
std::map<unsigned int, unsigned int> const& codes()
{
    static auto const CODES = []
    {
        std::map<unsigned int, unsigned int> lUnits;
        std::map<unsigned int, unsigned int> lCodes;
        for (SjisToUnicode const& lRow : SJIS_TO_UNICODE)
        {
            lUnits[lRow.mUtf8] = lRow.mUtf16;
        }
        for (Utf8ToSjis const& lRow : UTF8_TO_SJIS)
        {
            lCodes[lUnits[lRow.mKey]] = lRow.mSjis;
        }
        for (unsigned int lCode = 0; lCode < 0x80; ++lCode)
        {
            lCodes[lCode] = lCode;
        }
        return lCodes;
    }();
    return CODES;
}

/// A character as the definitions of the encodings have it; empty if it has no code.
std::string encoded(Encoding nEncoding, unsigned int nCode)
{
    unsigned int const lHigh = nCode < 0x10000 ? nCode : 0xD7C0 + (nCode >> 10);
    unsigned int const lLow = 0xDC00 + (nCode & 0x3FF);
    wchar_t const lWide = static_cast<wchar_t>(nCode);
    auto const lTail = [nCode](unsigned int nShift) { return 0x80 + (nCode >> nShift) % 64; };
    switch (nEncoding)
    {
    case Encoding::UTF8:
        return nCode < 0x80      ? bytes({nCode})
               : nCode < 0x800   ? bytes({0xC0 + nCode / 64, lTail(0)})
               : nCode < 0x10000 ? bytes({0xE0 + nCode / 4096, lTail(6), lTail(0)})
                                 : bytes({0xF0 + nCode / 262144, lTail(12), lTail(6), lTail(0)});
    case Encoding::SJIS:
        return codes().count(nCode) != 0 ? sjisOf(codes().at(nCode)) : "";
    case Encoding::UTF16_LE:
        return bytes({lHigh % 256, lHigh / 256}) + (nCode < 0x10000 ? "" : bytes({lLow % 256, lLow / 256}));
    case Encoding::UTF16_BE:
        return bytes({lHigh / 256, lHigh % 256}) + (nCode < 0x10000 ? "" : bytes({lLow / 256, lLow % 256}));
    default:
        return std::string(bytesOfUnits(&lWide, 1));
    }
}

struct Converted
{
    std::string mText;
    TextResult mResult;
};

Converted convert(Encoding nTo, Encoding nFrom, std::string_view nText, TextOptions const& nOptions = TextOptions())
{
    std::string lText;
    TextResult const lResult = convertText(nTo, lText, nFrom, nText, nOptions);
    return {lText, lResult};
}

using Iconv = std::unique_ptr<void, int (*)(iconv_t)>;

/// What iconv makes of one character; empty if it knows none.
std::string convert(Iconv const& nIconv, std::string nText)
{
    char lBytes[8];
    char* lpSrc = &nText[0];
    char* lpDst = lBytes;
    std::size_t lLeft = nText.size();
    std::size_t lRoom = sizeof(lBytes);
    return iconv(nIconv.get(), &lpSrc, &lLeft, &lpDst, &lRoom) == 0 ? std::string(lBytes, lpDst) : "";
}

} // namespace

TEST(CheckedText, EveryCharacterInEveryDirection)
{
    bool lIsInSjis = false;
    do
    {
        std::map<Encoding, std::string> lTexts; // all characters, some of the high ones; or those that Shift-JIS has
        for (unsigned int lCode = 0; lCode <= 0x10FFFF; lCode += lCode == 0xD7FF ? 0x801 : lCode < 0x10000 ? 1 : 255)
        {
            std::string const lSjis = encoded(Encoding::SJIS, lCode);
            for (Encoding const lEncoding : ENCODINGS)
            {
                lTexts[lEncoding] += lIsInSjis && lSjis.empty() ? "" : encoded(lEncoding, lCode);
            }
            if (!lIsInSjis && lSjis.empty())
            {
                EXPECT_EQ(convert(Encoding::SJIS, Encoding::UTF16_BE, encoded(Encoding::UTF16_BE, lCode)).mResult.mStop,
                          TextStop::NO_CODE);
            }
        }
        for (Encoding const lFrom : ENCODINGS)
        {
            EXPECT_TRUE(isWellFormed(lTexts[lFrom], lFrom));
            for (Encoding const lTo : ENCODINGS)
            {
                bool const lIsPart = lFrom == Encoding::SJIS || (lTo == Encoding::SJIS && !lIsInSjis);
                std::string const& lExpected = lTexts[lTo];
                Converted const lConverted = convert(lTo, lFrom, lTexts[lFrom]);
                EXPECT_EQ(lConverted.mResult.isWhole(), lFrom == Encoding::SJIS || !lIsPart || lFrom == lTo);
                EXPECT_EQ(lConverted.mText == lExpected, !lIsPart || lIsInSjis || lFrom == lTo)
                    << int(lFrom) << int(lTo);
            }
        }
        lIsInSjis = !lIsInSjis;
    } while (lIsInSjis);
}

// The list of docs/japanese-text.md, and the only differences: nothing else changes in a text that comes through whole.
// So this tests the functions below, too.
TEST(CheckedText, DiffersFromTheFunctionsBelowOnlyAsThePageSays)
{
    for (unsigned int lCode = 1; lCode <= 0x10FFFF; lCode += lCode == 0xD7FF ? 0x801 : lCode < 0x10000 ? 1 : 257)
    {
        std::string const lText = encoded(Encoding::UTF8, lCode);
        char lNarrow[8];
        unsigned short lUnits[8] = {};
        Converted const lSjis = convert(Encoding::SJIS, Encoding::UTF8, lText);
        // Without a code: a NUL or raw bytes there, NO_CODE here.
        bool const lIsRaw = !isKeyLead(static_cast<unsigned char>(lText[0]));
        std::string const lExpected = lSjis.mResult.isWhole() ? lSjis.mText : lIsRaw ? lText : "\0"s;
        unsigned int lSize = convertStrFromUtf8ToSjis(lNarrow, 8, lText.c_str());
        ASSERT_EQ(std::string(lNarrow, lSize - 1), lExpected) << lText;
        unsigned int lConsumed = 0;
        char lFirst[2];
        ASSERT_EQ(convertCharFromUtf8ToSjis(lFirst, 2, lText.c_str(), &lConsumed), lIsRaw ? 1 : lExpected.size());
        ASSERT_EQ(lConsumed, lIsRaw ? 1 : lText.size()) << lText;
        ASSERT_EQ(lFirst[0], lExpected[0]) << lText;
        lSize = convertStrFromUtf8ToUtf16(lUnits, 8, lText.c_str());
        Converted const lUtf16 = convert(ENCODING_UTF16, Encoding::UTF8, lText);
        // Four bytes: U+203B there, a pair here.
        ASSERT_EQ(lUtf16.mText == bytesOfUnits(lUnits, lSize - 1), lText.size() < 4) << lText;
        ASSERT_TRUE(lUtf16.mResult.isWhole());
        lSize = convertStrFromUtf16ToUtf8(lNarrow, 8, lUnits);
        // The marks fail there, and are characters here.
        bool const lIsMark = lUnits[0] == 0xFEFF || lUnits[0] == 0xFFFE;
        ASSERT_EQ(lSize == STR_ERROR, lIsMark);
        ASSERT_EQ(lIsMark ? "" : lText.size() < 4 ? lText : "\u203B", lIsMark ? "" : lNarrow) << lText;
        ASSERT_EQ(convert(Encoding::UTF8, ENCODING_UTF16, lUtf16.mText).mText, lText);
    }
}

TEST(CheckedText, DiffersFromTheFunctionsBelowForShiftJisOnlyAsThePageSays)
{
    for (unsigned int lCode = 1; lCode < 0x10000; ++lCode)
    {
        bool const lIsDouble = isLead(lCode >> 8);
        if (lIsDouble == (lCode <= 0xFF) || isLead(lCode))
        {
            continue; // not a code of one character
        }
        std::string const lText = sjisOf(lCode);
        Converted const lUtf8 = convert(Encoding::UTF8, Encoding::SJIS, lText);
        Converted const lUtf16 = convert(ENCODING_UTF16, Encoding::SJIS, lText);
        bool const lIsWhole = lUtf8.mResult.isWhole();
        ASSERT_EQ(lUtf16.mResult.isWhole(), lIsWhole);
        // Without a character: a NUL and U+203B or the byte itself there, a fault here.
        std::string const lExpected = lIsWhole ? lUtf8.mText : lIsDouble ? "\0"s : lText;
        unsigned short const lNone = static_cast<unsigned short>(lIsDouble ? 0x203B : lCode);
        char lNarrow[8];
        unsigned short lUnits[8];
        ASSERT_EQ(convertStrFromSjisToUtf8(lNarrow, 8, lText.c_str()), lExpected.size() + 1) << lCode;
        ASSERT_EQ(std::string(lNarrow, lExpected.size()), lExpected) << lCode;
        ASSERT_EQ(convertStrFromSjisToUtf16(lUnits, 8, lText.c_str()), 2U) << lCode;
        ASSERT_EQ(bytesOfUnits(lUnits, 1), lIsWhole ? lUtf16.mText : bytesOfUnits(&lNone, 1)) << lCode;
        unsigned int lConsumed[2] = {};
        ASSERT_EQ(convertCharFromSjisToUtf8(lNarrow, 3, lText.c_str(), &lConsumed[0]), lExpected.size()) << lCode;
        ASSERT_EQ(std::string(lNarrow, lExpected.size()), lExpected) << lCode;
        bool const lIsInTable = lIsDouble || (lCode >= 0xA1 && lCode <= 0xDF);
        ASSERT_EQ(convertCharFromSjisToUtf16(&lUnits[1], lText.c_str(), &lConsumed[1]), lIsInTable ? 1U : 2U);
        ASSERT_EQ(lUnits[1], lIsWhole || !lIsDouble ? lUnits[0] : 0) << lCode;
        ASSERT_EQ(lConsumed[0], lText.size());
        ASSERT_EQ(lConsumed[1], lText.size());
    }
}

TEST(CheckedText, DiffersFromIconvOnlyAsThePageSays)
{
    TextOptions lLike;
    lLike.mIsLikeIconv = true;
    lLike.mReplacement = "\u301C"; // has a code there only
    lLike.mOnMalformed = OnFault::REPLACE;
    EXPECT_EQ(convert(Encoding::SJIS, Encoding::UTF8, "\xFFz", lLike).mText, "\x81\x60z");
    EXPECT_EQ(measureConverted(Encoding::SJIS, Encoding::UTF8, "\xFFz", lLike).mWritten, 3U);
    lLike.mOnMalformed = OnFault::STOP;
    Iconv const lToSjis(iconv_open("CP932", "UTF-8"), iconv_close);
    Iconv const lFromSjis(iconv_open("UTF-8", "CP932"), iconv_close);
    if (convert(lToSjis, "a") + convert(lFromSjis, "a") != "aa")
    {
        GTEST_SKIP() << "iconv knows no CP932 here";
    }
    std::map<std::string, unsigned int> lCounts;
    for (unsigned int lCode = 0x80; lCode <= 0xFFFF; lCode += lCode == 0xD7FF ? 0x801 : 1)
    {
        std::string const lUtf8 = encoded(Encoding::UTF8, lCode);
        std::string const lTheirs = convert(lToSjis, lUtf8);
        std::string const lOurs = convert(Encoding::SJIS, Encoding::UTF8, lUtf8).mText;
        ASSERT_EQ(convert(Encoding::SJIS, Encoding::UTF8, lUtf8, lLike).mText, lTheirs) << std::hex << lCode;
        if (lOurs != lTheirs)
        {
            ++lCounts[!lOurs.empty() ? "other" : lCode >= 0xE000 && lCode <= 0xE757 ? "private" : "near"];
        }
    }
    EXPECT_EQ(lCounts, (std::map<std::string, unsigned int>{{"other", 362}, {"private", 1880}, {"near", 9}}));
    for (unsigned int lCode = 0x80; lCode < 0x10000; ++lCode)
    {
        std::string const lText = sjisOf(lCode);
        std::string const lTheirs = convert(lFromSjis, lText);
        bool const lIsPrivate = lText[0] >= '\xF0' && lText[0] <= '\xF9';
        Converted const lLikeTheirs = convert(Encoding::UTF8, Encoding::SJIS, lText, lLike);
        Converted const lOurs = convert(Encoding::UTF8, Encoding::SJIS, lText);
        ASSERT_EQ(lLikeTheirs.mResult.isWhole() ? lLikeTheirs.mText : "", lTheirs) << std::hex << lCode;
        ASSERT_EQ(lOurs.mResult.isWhole() ? lOurs.mText : "", lIsPrivate ? "" : lTheirs) << std::hex << lCode;
    }
}

TEST(CheckedText, FaultsAreMetAsChosen)
{
    constexpr Encoding UTF8 = Encoding::UTF8;
    constexpr Encoding SJIS = Encoding::SJIS;
    constexpr Encoding LE = Encoding::UTF16_LE;
    constexpr Encoding BE = Encoding::UTF16_BE;
    struct
    {
        Encoding mTo;
        Encoding mFrom;
        std::string mText;
        std::size_t mStopAt;
        TextStop mStop;     // when faults stop it
        TextStop mStopMore; // the same if the text goes on
        std::string mReplaced;
    } const CASES[] = {
        {SJIS, UTF8, "a\u00E9b", 1, TextStop::NO_CODE, TextStop::NO_CODE, "a<>b"},
        {UTF8, UTF8, "a\x80", 1, TextStop::MALFORMED, TextStop::MALFORMED, "a<\u00E9>"},
        {UTF8, UTF8, "\xE3\x81", 0, TextStop::MALFORMED, TextStop::CUT_OFF, "<\u00E9>"},
        {UTF8, UTF8, "\xE3\x81Z", 0, TextStop::MALFORMED, TextStop::MALFORMED, "<\u00E9>Z"},
        {UTF8, UTF8, "\xED\xA0\x80", 0, TextStop::MALFORMED, TextStop::MALFORMED, "<\u00E9><\u00E9><\u00E9>"},
        {UTF8, UTF8, "\xF4\x90", 0, TextStop::MALFORMED, TextStop::MALFORMED, "<\u00E9><\u00E9>"},
        {UTF8, UTF8, "\xC0\xAF", 0, TextStop::MALFORMED, TextStop::MALFORMED, "<\u00E9><\u00E9>"},
        {UTF8, SJIS, "\x82", 0, TextStop::MALFORMED, TextStop::CUT_OFF, "<\u00E9>"},
        {UTF8, SJIS, "\x82\x0A.", 0, TextStop::MALFORMED, TextStop::MALFORMED, "<\u00E9>\n."},
        {UTF8, SJIS, "\xB1\x85\x40", 1, TextStop::NO_CODE, TextStop::NO_CODE, "\uFF71<\u00E9>"},
        {UTF8, SJIS, "\xF0\x40\x80", 0, TextStop::NO_CODE, TextStop::NO_CODE, "<\u00E9><\u00E9>"},
        {SJIS, SJIS, "\xF0\x40\xFA\x5C\xFF", 4, TextStop::MALFORMED, TextStop::MALFORMED, "\xF0\x40\xFA\x5C<>"},
        {UTF8, LE, "a\0\0\xD8"s, 2, TextStop::MALFORMED, TextStop::CUT_OFF, "a<\u00E9>"},
        {UTF8, LE, "a\0\0\xDC."s, 2, TextStop::MALFORMED, TextStop::MALFORMED, "a<\u00E9><\u00E9>"},
        {UTF8, BE, "\xD8\0\0a\0"s, 0, TextStop::MALFORMED, TextStop::MALFORMED, "<\u00E9>a<\u00E9>"},
        {UTF8, Encoding::WIDE, std::string(bytesOfUnits(L"a\x110000", 2)) + "xy", 4, TextStop::MALFORMED,
         TextStop::MALFORMED, "a<\u00E9><\u00E9>"},
    };
    for (auto const& lCase : CASES)
    {
        TextOptions lOptions;
        Converted lDone = convert(lCase.mTo, lCase.mFrom, lCase.mText, lOptions);
        EXPECT_EQ(lDone.mResult.mStop, lCase.mStop) << lCase.mText;
        EXPECT_EQ(lDone.mResult.mConsumed, lCase.mStopAt) << lCase.mText;
        EXPECT_EQ(wellFormedSize(lCase.mText, lCase.mFrom) == lCase.mStopAt, lCase.mStop == TextStop::MALFORMED);
        lOptions.mHasMore = true;
        EXPECT_EQ(convert(lCase.mTo, lCase.mFrom, lCase.mText, lOptions).mResult.mStop, lCase.mStopMore) << lCase.mText;
        lOptions.mHasMore = false;
        lOptions.mOnMalformed = lOptions.mOnNoCode = OnFault::REPLACE;
        lOptions.mReplacement = "<\u00E9>"; // Shift-JIS has no such letter
        lDone = convert(lCase.mTo, lCase.mFrom, lCase.mText, lOptions);
        EXPECT_EQ(lDone.mText, lCase.mReplaced) << lCase.mText;
        EXPECT_NE(lDone.mResult.mFaults, 0U);
        EXPECT_EQ(measureConverted(lCase.mTo, lCase.mFrom, lCase.mText, lOptions).mWritten, lDone.mText.size());
        lOptions.mOnMalformed = lOptions.mOnNoCode = OnFault::SKIP;
        EXPECT_EQ(convert(lCase.mTo, lCase.mFrom, lCase.mText, lOptions).mText.find('<'), std::string::npos);
    }
}
