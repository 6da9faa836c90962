// Character classes: the exported tables, and their index.
#include "UtlCharAttrib.h"

#include <array>
#include <cstdint>
#include <cstring>
#include <initializer_list>

#include "internal/text/UtlCharNumber.h"
#include "tables/UtlClassRows.h"

namespace utl
{

namespace
{

using internal::CHAR_NUMBER_COUNT;
using internal::charNumber;
using internal::charNumberSize;

// The classification does not scan tables: it looks up a character once and finds the roles it can have in a block of
// each class. The roles are sets of class bits, made from the rows of the tables at compile time.
struct CharRoles
{
    std::uint32_t mWhole; // classes of which the character is a row: a block, or the kana of a voiced block
    std::uint32_t mFirst; // classes with longer blocks that may begin with it: sign, hexadecimal digit, plain kana
    std::uint32_t mMark;  // voiced classes of which it is the mark
    std::uint32_t mTail;  // classes in which it may follow the first part: digit, small kana, hexadecimal suffix

    constexpr bool operator==(CharRoles const& nOther) const
    {
        return mWhole == nOther.mWhole && mFirst == nOther.mFirst && mMark == nOther.mMark && mTail == nOther.mTail;
    }
};

using AllRoles = std::array<CharRoles, CHAR_NUMBER_COUNT>;

constexpr std::uint32_t HAN_HEX = CHAR_ATTRIB_HAN_HEX;
constexpr std::uint32_t ZEN_HEX = CHAR_ATTRIB_ZEN_HEX;
constexpr std::uint32_t SIGNED = CHAR_ATTRIB_HAN_SIGNED | CHAR_ATTRIB_ZEN_SIGNED;
constexpr std::uint32_t VOICED_HAN_KATA = CHAR_ATTRIB_DAKU_HAN_KATA | CHAR_ATTRIB_HANDAKU_HAN_KATA;
constexpr std::uint32_t VOICED_ZEN_KATA = CHAR_ATTRIB_DAKU_ZEN_KATA | CHAR_ATTRIB_HANDAKU_ZEN_KATA;
constexpr std::uint32_t VOICED_HIRA = CHAR_ATTRIB_DAKU_HIRA | CHAR_ATTRIB_HANDAKU_HIRA;
constexpr std::uint32_t VOICED = VOICED_HAN_KATA | VOICED_ZEN_KATA | VOICED_HIRA;

constexpr bool isOneCharacter(char const* npText)
{
    return npText[charNumberSize(charNumber(npText))] == 0;
}

// Gives the roles to each row of one character. Rows of two characters need none: a half-width voiced kana is a plain
// kana and a mark too, and the hexadecimal prefixes are compared as they are.
constexpr void give(AllRoles& nRoles, std::initializer_list<char const*> nTexts, CharRoles nGiven)
{
    for (char const* lpText : nTexts)
    {
        if (isOneCharacter(lpText))
        {
            CharRoles& lRoles = nRoles[charNumber(lpText)];
            lRoles.mWhole |= nGiven.mWhole;
            lRoles.mFirst |= nGiven.mFirst;
            lRoles.mMark |= nGiven.mMark;
            lRoles.mTail |= nGiven.mTail;
        }
    }
}

#define UTL_ROW_TEXT(TEXT) TEXT,
#define UTL_GIVE(TABLE, WHOLE, FIRST, MARK, TAIL)                                                                      \
    give(nRoles, {UTL_##TABLE##_ROWS(UTL_ROW_TEXT)},                                                                   \
         {static_cast<std::uint32_t>(WHOLE), static_cast<std::uint32_t>(FIRST), static_cast<std::uint32_t>(MARK),      \
          static_cast<std::uint32_t>(TAIL)})

constexpr void giveLatinRoles(AllRoles& nRoles)
{
    UTL_GIVE(KAIGYO, CHAR_ATTRIB_KAIGYO, 0, 0, 0);
    UTL_GIVE(TAB_FF, CHAR_ATTRIB_TAB_FF, 0, 0, 0);
    UTL_GIVE(CTL_OTHER, CHAR_ATTRIB_CTL_OTHER, 0, 0, 0);
    UTL_GIVE(HAN_SPACE, CHAR_ATTRIB_HAN_SPACE, 0, 0, 0);
    UTL_GIVE(ZEN_SPACE, CHAR_ATTRIB_ZEN_SPACE, 0, 0, 0);
    UTL_GIVE(HAN_MARK, CHAR_ATTRIB_HAN_MARK, 0, 0, 0);
    UTL_GIVE(ZEN_MARK, CHAR_ATTRIB_ZEN_MARK, 0, 0, 0);
    UTL_GIVE(HAN_SIGN, 0, CHAR_ATTRIB_HAN_SIGNED, 0, 0);
    UTL_GIVE(ZEN_SIGN, 0, CHAR_ATTRIB_ZEN_SIGNED, 0, 0);
    UTL_GIVE(HAN_DIGIT, CHAR_ATTRIB_HAN_DIGIT, HAN_HEX, 0, CHAR_ATTRIB_HAN_SIGNED);
    UTL_GIVE(ZEN_DIGIT, CHAR_ATTRIB_ZEN_DIGIT, ZEN_HEX, 0, CHAR_ATTRIB_ZEN_SIGNED);
    UTL_GIVE(LOWER_HAN_HEX_ALPHA, CHAR_ATTRIB_LOWER_HAN_HEX, HAN_HEX, 0, 0);
    UTL_GIVE(LOWER_ZEN_HEX_ALPHA, CHAR_ATTRIB_LOWER_ZEN_HEX, ZEN_HEX, 0, 0);
    UTL_GIVE(UPPER_HAN_HEX_ALPHA, CHAR_ATTRIB_UPPER_HAN_HEX, HAN_HEX, 0, 0);
    UTL_GIVE(UPPER_ZEN_HEX_ALPHA, CHAR_ATTRIB_UPPER_ZEN_HEX, ZEN_HEX, 0, 0);
    UTL_GIVE(LOWER_HAN_NOHEX_ALPHA, CHAR_ATTRIB_LOWER_HAN_NOHEX, 0, 0, 0);
    UTL_GIVE(LOWER_ZEN_NOHEX_ALPHA, CHAR_ATTRIB_LOWER_ZEN_NOHEX, 0, 0, 0);
    UTL_GIVE(UPPER_HAN_NOHEX_ALPHA, CHAR_ATTRIB_UPPER_HAN_NOHEX, 0, 0, 0);
    UTL_GIVE(UPPER_ZEN_NOHEX_ALPHA, CHAR_ATTRIB_UPPER_ZEN_NOHEX, 0, 0, 0);
    UTL_GIVE(HAN_HEX_SUFFIX, 0, 0, 0, HAN_HEX);
    UTL_GIVE(ZEN_HEX_SUFFIX, 0, 0, 0, ZEN_HEX);
}

constexpr void giveKanaRoles(AllRoles& nRoles)
{
    UTL_GIVE(NODAKU_HAN_KATA, CHAR_ATTRIB_NODAKU_HAN_KATA, VOICED_HAN_KATA, 0, 0);
    UTL_GIVE(NODAKU_ZEN_KATA, CHAR_ATTRIB_NODAKU_ZEN_KATA, VOICED_ZEN_KATA, 0, 0);
    UTL_GIVE(NODAKU_HIRA, CHAR_ATTRIB_NODAKU_HIRA, VOICED_HIRA, 0, 0);
    UTL_GIVE(DAKU_HAN_KATA, CHAR_ATTRIB_DAKU_HAN_KATA, 0, 0, 0);
    UTL_GIVE(DAKU_ZEN_KATA, CHAR_ATTRIB_DAKU_ZEN_KATA, 0, 0, 0);
    UTL_GIVE(DAKU_HIRA, CHAR_ATTRIB_DAKU_HIRA, 0, 0, 0);
    UTL_GIVE(HANDAKU_HAN_KATA, CHAR_ATTRIB_HANDAKU_HAN_KATA, 0, 0, 0);
    UTL_GIVE(HANDAKU_ZEN_KATA, CHAR_ATTRIB_HANDAKU_ZEN_KATA, 0, 0, 0);
    UTL_GIVE(HANDAKU_HIRA, CHAR_ATTRIB_HANDAKU_HIRA, 0, 0, 0);
    UTL_GIVE(HAN_DAKUTEN, 0, 0, CHAR_ATTRIB_DAKU_HAN_KATA, 0);
    UTL_GIVE(ZEN_DAKUTEN, 0, 0, CHAR_ATTRIB_DAKU_ZEN_KATA | CHAR_ATTRIB_DAKU_HIRA, 0);
    UTL_GIVE(HAN_HANDAKUTEN, 0, 0, CHAR_ATTRIB_HANDAKU_HAN_KATA, 0);
    UTL_GIVE(ZEN_HANDAKUTEN, 0, 0, CHAR_ATTRIB_HANDAKU_ZEN_KATA | CHAR_ATTRIB_HANDAKU_HIRA, 0);
    UTL_GIVE(HAN_KATA_YOUSOKU, 0, 0, 0, VOICED_HAN_KATA);
    UTL_GIVE(ZEN_KATA_YOUSOKU, 0, 0, 0, VOICED_ZEN_KATA);
    UTL_GIVE(HIRA_YOUSOKU, 0, 0, 0, VOICED_HIRA);
}

constexpr AllRoles makeAllRoles()
{
    AllRoles lRoles{};
    lRoles[0].mWhole = CHAR_ATTRIB_NUL;
    giveLatinRoles(lRoles);
    giveKanaRoles(lRoles);
    return lRoles;
}

// There are few different sets of roles: each is stored once, and the index has one byte for each character.
struct RoleIndex
{
    unsigned char mKinds[CHAR_NUMBER_COUNT];
    CharRoles mRoles[48]; // too few is a compile error
};

constexpr RoleIndex makeRoleIndex()
{
    AllRoles const lAll = makeAllRoles();
    RoleIndex lIndex{};
    unsigned int lCount = 1; // the first set: no role
    for (unsigned int lNumber = 0; lNumber < CHAR_NUMBER_COUNT; ++lNumber)
    {
        unsigned int lKind = 0;
        while (lKind < lCount && !(lIndex.mRoles[lKind] == lAll[lNumber]))
        {
            ++lKind;
        }
        if (lKind == lCount)
        {
            lIndex.mRoles[lCount++] = lAll[lNumber];
        }
        lIndex.mKinds[lNumber] = static_cast<unsigned char>(lKind);
    }
    return lIndex;
}

constexpr RoleIndex ROLE_INDEX = makeRoleIndex();

CharRoles const& rolesOf(char const* npStr)
{
    return ROLE_INDEX.mRoles[ROLE_INDEX.mKinds[charNumber(npStr)]];
}

// Size of a character that has a role.
unsigned int knownSize(char const* npStr)
{
    return static_cast<unsigned char>(*npStr) < 0x80U ? 1U : 3U;
}

char const* skipTail(char const* npStr, std::uint32_t nClass)
{
    while ((rolesOf(npStr).mTail & nClass) != 0)
    {
        npStr += knownSize(npStr);
    }
    return npStr;
}

// The functions below give the end of the block of one class at the start of a text; null if there is none.

char const* signedEnd(char const* npStr, std::uint32_t nClass)
{
    char const* const lpDigits = npStr + knownSize(npStr);
    char const* const lpEnd = skipTail(lpDigits, nClass);
    return lpEnd != lpDigits ? lpEnd : nullptr;
}

char const* hexEnd(char const* npStr, std::uint32_t nClass)
{
    CodeRow const& lPrefix = nClass == HAN_HEX ? HAN_HEX_PREFIX_TBL[0] : ZEN_HEX_PREFIX_TBL[0];
    std::size_t const lPrefixSize = std::strlen(lPrefix.mChar);
    bool const lHasPrefix = std::strncmp(npStr, lPrefix.mChar, lPrefixSize) == 0;
    char const* const lpDigits = npStr + (lHasPrefix ? lPrefixSize : 0);
    char const* lpEnd = lpDigits;
    while ((rolesOf(lpEnd).mFirst & nClass) != 0)
    {
        lpEnd += knownSize(lpEnd);
    }
    bool const lHasDigits = lpEnd != lpDigits;
    bool const lHasSuffix = (rolesOf(lpEnd).mTail & nClass) != 0;
    if (!lHasDigits || (lHasPrefix && lHasSuffix))
    {
        return nullptr;
    }
    return lpEnd + (lHasSuffix ? knownSize(lpEnd) : 0);
}

char const* voicedEnd(char const* npStr, std::uint32_t nClass)
{
    char const* lpEnd = npStr + knownSize(npStr);
    if ((rolesOf(npStr).mWhole & nClass) == 0)
    {
        if ((rolesOf(lpEnd).mMark & nClass) == 0)
        {
            return nullptr;
        }
        lpEnd += knownSize(lpEnd);
    }
    return skipTail(lpEnd, nClass);
}

// nAttrib: a class in mWhole or mFirst of the character at npStr.
char const* blockEnd(char const* npStr, std::uint32_t nClass)
{
    if ((nClass & SIGNED) != 0)
    {
        return signedEnd(npStr, nClass);
    }
    if ((nClass & (HAN_HEX | ZEN_HEX)) != 0)
    {
        return hexEnd(npStr, nClass);
    }
    return (nClass & VOICED) != 0 ? voicedEnd(npStr, nClass) : npStr + knownSize(npStr);
}

} // namespace

template <class T>
T* findCodeTable(T const* npStr, DualType<T const*, wchar_t const*> const* npTable, unsigned int* npOffset)
{
    if (npStr == nullptr || npTable == nullptr || npOffset == nullptr)
    {
        return nullptr;
    }
    T const* const lpText = npStr + *npOffset;
    for (; npTable->mChar != nullptr; ++npTable)
    {
        std::size_t const lSize = std::strlen(npTable->mChar);
        if (std::strncmp(lpText, npTable->mChar, lSize) == 0)
        {
            *npOffset += static_cast<unsigned int>(lSize);
            return const_cast<T*>(npTable->mChar);
        }
    }
    return nullptr;
}

template <class T>
unsigned int attribBlockSize(T const* npStr, int nAttrib)
{
    if (npStr == nullptr)
    {
        return STR_ERROR;
    }
    CharRoles const& lRoles = rolesOf(npStr);
    std::uint32_t const lKnown = lRoles.mWhole | lRoles.mFirst;
    // The last class that matches decides: from the highest bit down, the first one.
    std::uint32_t lClasses = lKnown & static_cast<std::uint32_t>(nAttrib);
    while (lClasses != 0)
    {
        std::uint32_t const lClass = 0x80000000U >> __builtin_clz(lClasses);
        if (T const* const lpEnd = blockEnd(npStr, lClass))
        {
            return static_cast<unsigned int>(lpEnd - npStr);
        }
        lClasses ^= lClass;
    }
    // Every character that may begin a longer block is a block of some class alone, so that it is not OTHER.
    if ((nAttrib & CHAR_ATTRIB_OTHER) == 0 || lKnown != 0)
    {
        return STR_ERROR;
    }
    unsigned int const lSize = t_charlen<T>(npStr, nullptr);
    return lSize == 0 ? STR_ERROR : lSize;
}

template <class T>
bool isStrAttribBase(T const* npStr, int nAttrib)
{
    T const* lpBlock = npStr != nullptr ? npStr : &EMPTY_CHAR;
    do
    {
        unsigned int const lSize = attribBlockSize(lpBlock, nAttrib);
        if (lSize == STR_ERROR)
        {
            return false;
        }
        lpBlock += *lpBlock == 0 ? 0 : lSize;
    } while (*lpBlock != 0);
    return true;
}

template <class T>
bool isCharAttribBase(T const* npStr, int nAttrib)
{
    if (npStr == nullptr || *npStr == 0)
    {
        return isStrAttribBase(&EMPTY_CHAR, nAttrib);
    }
    bool lIsBom = false;
    unsigned int const lSize = strCharBytesBase(npStr, &lIsBom);
    if (lIsBom || lSize == 0 || lSize == STR_ERROR)
    {
        return false;
    }
    T lCharacter[5] = {};
    return copyStrBase(lCharacter, sizeof(lCharacter), npStr, lSize, 0) != STR_ERROR &&
           isStrAttribBase(lCharacter, nAttrib);
}

template UTL_API char* findCodeTable<char>(char const*, CodeRow const*, unsigned int*);
template UTL_API unsigned int attribBlockSize<char>(char const*, int);
template UTL_API bool isStrAttribBase<char>(char const*, int);
template UTL_API bool isCharAttribBase<char>(char const*, int);

} // namespace utl
