// A line of Japanese text: the classes of its blocks, and the results of all folds.
// japaneseText [LINE]; without a line it uses one of its own and checks the results.
#include <cstdio>
#include <cstring>
#include <string>

#include "UtlConvertAttrib.h"
#include "UtlStaticBuffer.h"

namespace
{

struct NamedClass
{
    int mClass;
    char const* mpName;
};

// Longer blocks first, so that a number is one block and not a row of digits.
NamedClass const CLASSES[] = {
    {utl::CHAR_ATTRIB_HAN_SIGNED, "signed number, half-width"},
    {utl::CHAR_ATTRIB_ZEN_SIGNED, "signed number, full-width"},
    {utl::CHAR_ATTRIB_HAN_HEX, "hexadecimal, half-width"},
    {utl::CHAR_ATTRIB_ZEN_HEX, "hexadecimal, full-width"},
    {utl::CHAR_ATTRIB_DAKU_HAN_KATA, "voiced katakana, half-width"},
    {utl::CHAR_ATTRIB_HANDAKU_HAN_KATA, "semi-voiced katakana, half-width"},
    {utl::CHAR_ATTRIB_DAKU_ZEN_KATA, "voiced katakana"},
    {utl::CHAR_ATTRIB_HANDAKU_ZEN_KATA, "semi-voiced katakana"},
    {utl::CHAR_ATTRIB_DAKU_HIRA, "voiced hiragana"},
    {utl::CHAR_ATTRIB_HANDAKU_HIRA, "semi-voiced hiragana"},
    {utl::CHAR_ATTRIB_NODAKU_HIRA, "hiragana"},
    {utl::CHAR_ATTRIB_NODAKU_ZEN_KATA, "katakana"},
    {utl::CHAR_ATTRIB_NODAKU_HAN_KATA, "katakana, half-width"},
    {utl::CHAR_ATTRIB_LOWER_HAN_NOHEX | utl::CHAR_ATTRIB_UPPER_HAN_NOHEX, "letter, half-width"},
    {utl::CHAR_ATTRIB_LOWER_ZEN_NOHEX | utl::CHAR_ATTRIB_UPPER_ZEN_NOHEX, "letter, full-width"},
    {utl::CHAR_ATTRIB_HAN_MARK, "mark, half-width"},
    {utl::CHAR_ATTRIB_ZEN_MARK, "mark, full-width"},
    {utl::CHAR_ATTRIB_HAN_SPACE | utl::CHAR_ATTRIB_ZEN_SPACE, "space"},
    {utl::CHAR_ATTRIB_KAIGYO | utl::CHAR_ATTRIB_TAB_FF | utl::CHAR_ATTRIB_CTL_OTHER, "control code"},
    {utl::CHAR_ATTRIB_OTHER, "other"},
};

// The length of the block at a text and the name of its class; 0 for malformed text.
unsigned int blockAt(char const* npText, char const*& npName)
{
    for (NamedClass const& lClass : CLASSES)
    {
        unsigned int const lSize = utl::attribBlockSize(npText, lClass.mClass);
        if (lSize != utl::STR_ERROR)
        {
            npName = lClass.mpName;
            return lSize;
        }
    }
    return 0;
}

// Prints the classes; neighbouring blocks of one class share a line. Gives "text=class;" for each line.
std::string printClasses(char const* npText)
{
    std::string lSummary;
    char const* lpName = "";
    unsigned int lSize = blockAt(npText, lpName);
    while (*npText != 0 && lSize > 0)
    {
        char const* const lpFirst = npText;
        char const* const lpRunName = lpName;
        do
        {
            npText += lSize;
            lSize = *npText != 0 ? blockAt(npText, lpName) : 0;
        } while (lSize > 0 && lpName == lpRunName);
        std::string const lRun(lpFirst, npText);
        std::printf("  %-34s %s\n", lpRunName, lRun.c_str());
        lSummary += lRun + "=" + lpRunName + ";";
    }
    if (*npText != 0)
    {
        std::printf("  malformed from byte 0x%02X on\n",
                    static_cast<unsigned int>(static_cast<unsigned char>(*npText)));
    }
    return lSummary;
}

struct NamedFold
{
    char const* mpName;
    utl::PairAttrib const* mpTable;
    int mReverse;
    char const* mpExpected; // for our own line
};

char const* const OWN_LINE = "ｶﾞｿﾘﾝ　ヴェガ店 +150円／Ｌ ぱぴ0x1F";

NamedFold const FOLDS[] = {
    {"full width", utl::HANKAKU_ZENKAKU_PAIR, 0, "ガソリン　ヴェガ店　＋１５０円／Ｌ　ぱぴ０ｘ１Ｆ"},
    {"half width", utl::HANKAKU_ZENKAKU_PAIR, 1, "ｶﾞｿﾘﾝ ｳﾞｪｶﾞ店 +150円/L ぱぴ0x1F"},
    {"capitals", utl::LOWER_UPPER_PAIR, 0, "ｶﾞｿﾘﾝ　ヴェガ店 +150円／Ｌ ぱぴ0X1F"},
    {"small letters", utl::LOWER_UPPER_PAIR, 1, "ｶﾞｿﾘﾝ　ヴェガ店 +150円／ｌ ぱぴ0x1f"},
    {"hiragana from full-width katakana", utl::ZENKATA_HIRAGANA_PAIR, 0, "ｶﾞｿﾘﾝ　う゛ぇが店 +150円／Ｌ ぱぴ0x1F"},
    {"full-width katakana from hiragana", utl::ZENKATA_HIRAGANA_PAIR, 1, "ｶﾞｿﾘﾝ　ヴェガ店 +150円／Ｌ パピ0x1F"},
    {"hiragana from half-width katakana", utl::HANKATA_HIRAGANA_PAIR, 0, "がそりん　ヴェガ店 +150円／Ｌ ぱぴ0x1F"},
    {"half-width katakana from hiragana", utl::HANKATA_HIRAGANA_PAIR, 1, "ｶﾞｿﾘﾝ　ヴェガ店 +150円／Ｌ ﾊﾟﾋﾟ0x1F"},
    {"without voicing", utl::NODAKUON_DAKUON_PAIR, 1, "ｶｿﾘﾝ　ウェカ店 +150円／Ｌ ぱぴ0x1F"},
    {"without semi-voicing", utl::NODAKUON_HANDAKUON_PAIR, 1, "ｶﾞｿﾘﾝ　ヴェガ店 +150円／Ｌ はひ0x1F"},
    // The fold from plain to voiced is left out: it is right only for plain half-width kana that have a voiced form.
};

bool printFolds(char const* npText, bool nIsOwn)
{
    bool lIsRight = true;
    for (NamedFold const& lFold : FOLDS)
    {
        // A size query first, since a fold may need more bytes than its source.
        unsigned int const lSize = utl::convertAttrib<char>(nullptr, 0, npText, lFold.mpTable, lFold.mReverse, 0);
        if (lSize == utl::STR_ERROR)
        {
            std::printf("  a line of %u bytes or more does not fold\n", utl::WorkingBuffer<char>::CAPACITY);
            return false;
        }
        std::string lFolded(lSize, '\0');
        utl::convertAttrib(lFolded.data(), lSize, npText, lFold.mpTable, lFold.mReverse, 0);
        std::printf("  %-34s %s\n", lFold.mpName, lFolded.c_str());
        lIsRight = lIsRight && (!nIsOwn || std::strcmp(lFolded.c_str(), lFold.mpExpected) == 0);
    }
    return lIsRight;
}

} // namespace

int main(int nCount, char** npValues)
{
    bool const lIsOwn = nCount < 2;
    char const* const lpLine = lIsOwn ? OWN_LINE : npValues[1];
    std::printf("%s\n\nClasses\n", lpLine);
    std::string const lClasses = printClasses(lpLine);
    std::printf("\nFolds\n");
    bool const lAreFoldsRight = printFolds(lpLine, lIsOwn);

    unsigned short lNumber = 0;
    bool const lIsNumber = utl::strToInt(&lNumber, lpLine, 0);
    std::printf("\n%s as a number: %s\n", lpLine, lIsNumber ? std::to_string(lNumber).c_str() : "none");
    bool const lAreClassesRight =
        lClasses == "ｶﾞ=voiced katakana, half-width;ｿﾘﾝ=katakana, half-width;　=space;ヴェガ=voiced katakana;店=other;"
                    " =space;+150=signed number, half-width;円=other;／=mark, full-width;Ｌ=letter, full-width; =space;"
                    "ぱぴ=semi-voiced hiragana;0x1F=hexadecimal, half-width;";
    return lAreFoldsRight && (!lIsOwn || (lAreClassesRight && !lIsNumber)) ? 0 : 1;
}
