#include "UtlString.h"

#include "UtlRawMemory.h"
#include "UtlStaticBuffer.h"
#include "support/Test.h"

using utl::test::said;
using namespace utl;

namespace
{

char const* const MIXED = "a\xC3\xA9\xE3\x81\x82\xF0\x9F\x98\x80z"; // characters at 0, 1, 3, 6, 10; 11 bytes

// What a call leaves in a buffer of '#': its result, a colon and the buffer up to the last byte that was touched.
template <class Call>
std::string shown(Call nCall)
{
    char lBuffer[65];
    std::memset(lBuffer, '#', sizeof(lBuffer));
    unsigned int const lResult = nCall(lBuffer);
    std::string lText(lBuffer, 64);
    lText.erase(lText.find_last_not_of('#') + 1);
    for (std::size_t lNul = lText.find('\0'); lNul != std::string::npos; lNul = lText.find('\0'))
    {
        lText[lNul] = '$';
    }
    return std::to_string(static_cast<int>(lResult)) + ":" + lText;
}

// Sizes of all characters, boundaries, copies and searches in all texts: see tests/fuzz/Utf8Fuzz.cpp, which the tests
// run too.

TEST(String, CharacterSizesOfCutTextAndNulls)
{
    EXPECT_EQ(0U, strCharBytesBase<char>("\xEF\xBB", nullptr));
    EXPECT_EQ(STR_ERROR, strCharBytesBase<char>("\xF8\x80\x80\x80\x80", nullptr));
    EXPECT_EQ(4U, strCharBytesBase<char>("\xF7\xBF\xBF\xBF", nullptr)); // more than Unicode has
    bool lFlag = true;
    EXPECT_EQ(0, t_charlen<char>(nullptr, &lFlag) + strCharBytesBase<char>(nullptr, nullptr));
    EXPECT_TRUE(lFlag);
    EXPECT_EQ(0, t_charlen<char>("", &lFlag));
    EXPECT_FALSE(lFlag);
    EXPECT_EQ(getNearCharIndex<char>(nullptr, 0, 1), STR_ERROR);
    EXPECT_EQ(t_strstr<char>(nullptr, "a"), STR_ERROR);
    EXPECT_EQ(t_strcspn<char>("abc", nullptr), 3U);
}

TEST(String, WritersTakeTheirStepsInOrder)
{
    static char const* const MESSED = "\x80\x80z";
    struct
    {
        char const* mExpected;
        unsigned int (*mCall)(char*);
    } const ROWS[] = {{"-1:", [](char* npTo) { return copyStrBase<char>(npTo, 16, nullptr, 0, 0); }},
                      {"0:", [](char* npTo) { return copyStrBase(npTo, 16, "abc", 0, 0); }},
                      {"-1:", [](char*) { return copyStrBase<char>(nullptr, 1, "abc", 5, 1); }},
                      {"-1:", [](char* npTo) { return t_strncpy<char>(npTo, 0, nullptr, 5); }},
                      {"1:$", [](char* npTo) { return t_strncpy<char>(npTo, 1, nullptr, 5); }},
                      {"3:\xC3\xA9$", [](char* npTo) { return t_strncpy(npTo, 6, MIXED + 1, 4); }},
                      {"-1:", [](char* npTo) { return t_strncpy(npTo, 4, MIXED + 1, 4); }},
                      {"-1:", [](char* npTo) { return copyGeneral<char>(npTo, 9, 3, nullptr, 0, 1, 0); }},
                      {"-1:", [](char* npTo) { return copyGeneral(npTo, 9, 3, "xyz", 4, STR_ALL, 0); }},
                      {"6:###yz$", [](char* npTo) { return copyGeneral(npTo, 6, 3, "xyz", 1, STR_ALL, 0); }},
                      {"-1:", [](char* npTo) { return copyGeneral(npTo, 4, 5, "xyz", 0, STR_ALL, 1); }},
                      {"6:#####$", [](char* npTo) { return copyGeneral(npTo, 4, 5, "xyz", 3, STR_ALL, 0); }},
                      {"2:", [](char* npTo) { return copyGeneral(npTo, 9, 3, MESSED, 0, 1, 0); }},
                      {"4:007$", [](char* npTo) { return formatStr<char>(npTo, 4, "%03u", 7U); }},
                      {"-1:", [](char*) { return formatStr<char>(nullptr, 4, "%03u", 7U); }},
                      {"-1:", [](char* npTo) { return t_strrev(npTo, 11, MIXED, 0); }},
                      {"3:cb$", [](char* npTo) { return t_strrev(npTo, 3, "abc", 1); }},
                      {"3:z\xE3$\x82", [](char* npTo) { return t_strrev(npTo, 3, "\xE3\x81\x82z", 1); }},
                      {"2:z$", [](char* npTo) { return t_strrev(npTo, 2, "\xE3\x81\x82z", 1); }},
                      {"-1:", [](char* npTo) { return t_strrev(npTo, 9, "a\x80", 1); }},
                      {"1:$", [](char* npTo) { return t_strrev<char>(npTo, 9, nullptr, 0); }},
                      {"-1:", [](char* npTo) { return reverseStrBase<char>(npTo, 9, nullptr, 0); }},
                      {"-1:", [](char*) { return reverseStrBase<char>(nullptr, 12, MIXED, 0); }},
                      {"3:ba$", [](char* npTo) { return replaceStr(npTo, 20, "aaa", "aa", "b", 0); }},
                      {"0:", [](char* npTo) { return replaceStr(npTo, 20, "", "", "+", 0); }},
                      {"8:", [](char*) { return replaceStr<char>(nullptr, 0, "a-b-c", "-", "<>", 0); }},
                      {"-1:a<>b<>$", [](char* npTo) { return replaceStr(npTo, 7, "a-b-c", "-", "<>", 0); }},
                      {"5:a<>b$", [](char* npTo) { return replaceStr(npTo, 5, "a-b-c", "-", "<>", 1); }},
                      {"-1:", [](char* npTo) { return replaceStr(npTo, 2, "long a", "a", "b", 0); }}, // what is before
                      {"-1:", [](char* npTo) { return replaceStr<char>(npTo, 20, nullptr, "a", "b", 0); }},
                      {"-1:", [](char* npTo) { return replaceStr<char>(npTo, 20, "a", "a", nullptr, 0); }}};
    for (auto const& lRow : ROWS)
    {
        EXPECT_EQ(shown(lRow.mCall), lRow.mExpected) << "row " << &lRow - ROWS;
    }
    char lText[4];
    char const* lpNone = nullptr;
    EXPECT_EQ(formatStr(lText, 4, lpNone, 1), STR_ERROR);
}

TEST(String, ErasingWorksInPlace)
{
    char lText[] = "abcdefgh";
    EXPECT_EQ(7, eraseStrSpan(lText, 2, 2));
    EXPECT_EQ(6, eraseStrSpan(lText, 0, 1));
    EXPECT_EQ("befgh", std::string(lText));
    EXPECT_EQ(6, eraseStrSpan(lText, 5, 1));
    EXPECT_EQ(STR_ERROR, eraseStrSpan(lText, 6, 1));
    EXPECT_EQ(4, eraseStrSpan(lText, 3, STR_ALL));
    EXPECT_EQ("bef", std::string(lText));
    EXPECT_EQ(1, eraseStrSpan(lText, 0, 4));
    EXPECT_EQ(0, *lText);
    EXPECT_EQ(STR_ERROR, truncateStr<char>(nullptr, 1));
    EXPECT_EQ(STR_ERROR, eraseStrSpan<char>(nullptr, 0, 1));
}

TEST(String, BackwardSearchesGiveTheLastByteOfTheMatch)
{
    unsigned int lBefore = 0;
    for (char const* lpText : {"", "a\x80", static_cast<char const*>(nullptr)})
    {
        lBefore = 1;
        EXPECT_EQ(STR_ERROR, findReverseStr(lpText, "a", 0, &lBefore));
        EXPECT_EQ(STR_ERROR, lBefore);
    }
    EXPECT_EQ(findReverseStr<char>("a", nullptr, 0, nullptr), STR_ERROR);
    EXPECT_EQ(3, findReverseStr("abc", "", STR_ALL, &lBefore));
    EXPECT_EQ(2, lBefore);
    EXPECT_EQ(3, findReverseChar("a.b.c.", ".xyz", 4, &lBefore));
    EXPECT_EQ(2, lBefore);
    EXPECT_EQ(findReverseChar("\xEF\xBB\xBF", "\xEF\xBB\xBF", STR_ALL, nullptr), STR_ERROR);
    EXPECT_EQ(findReverseChar("abc", "\x80", STR_ALL, nullptr), STR_ERROR);
    EXPECT_EQ(findReverseChar("abc", "\xE3\x81", STR_ALL, nullptr), 3U);
    EXPECT_EQ(findReverseChar<char>("abc", nullptr, STR_ALL, &lBefore), STR_ERROR);
    EXPECT_EQ(lBefore, STR_ERROR);
}

TEST(String, ScratchRowsLimitTheText)
{
    std::string lText(WorkingBuffer<char>::CAPACITY, 'x');
    EXPECT_EQ(eraseStrSpan(&lText[0], 0, 1), STR_ERROR);
    EXPECT_EQ(findReverseStr("x", lText.c_str(), STR_ALL, nullptr), STR_ERROR);
    lText.pop_back();
    EXPECT_EQ(findReverseStr(lText.c_str(), lText.c_str(), STR_ALL, nullptr), lText.size() - 1);
    EXPECT_EQ(eraseStrSpan(&lText[0], 0, 1), lText.size());
}

TEST(RawMemory, NullPointersDoNothing)
{
    char lBytes[7] = "";
    copyMemory(lBytes, "abcdef", 7);
    moveMemory(lBytes + 1, lBytes, 4);
    EXPECT_STREQ(lBytes, "aabcdf");
    copyMemory(nullptr, lBytes, 1);
    moveMemory(nullptr, lBytes, 1);
    zeroMemory(nullptr, 1);
    fillMemory(lBytes + 2, 3, '#');
    EXPECT_STREQ(lBytes, "aa###f");
    EXPECT_EQ("yn", said({compareMemory(lBytes, "aab", 2), compareMemory(lBytes, "ab", 2)}));
    EXPECT_FALSE(compareMemory(nullptr, lBytes, 0));
}

} // namespace
