#include "UtlConvertAttrib.h"

#include <type_traits>

#include "internal/base/UtlImmortal.h"
#include "tables/UtlPairRows.h"

namespace utl
{

namespace
{

// clang-format off
#define UTL_PAIR_TABLES(TABLE) \
    TABLE(LOWER_UPPER) TABLE(HANKAKU_ZENKAKU) TABLE(NODAKUON_DAKUON) TABLE(NODAKUON_HANDAKUON) \
    TABLE(ZENKATA_HIRAGANA) TABLE(HANKATA_HIRAGANA)
// clang-format on

#define UTL_PAIR_ROW(LEFT, RIGHT) {LEFT, L##LEFT, RIGHT, L##RIGHT},
#define UTL_MEMBER(NAME) std::remove_reference_t<decltype(NAME##_PAIR)> m##NAME = {UTL_##NAME##_ROWS(UTL_PAIR_ROW){}};

struct PairTables
{
    UTL_PAIR_TABLES(UTL_MEMBER)
};

UTL_CONSTINIT UTL_RELRO internal::Undestroyed<PairTables> const TABLES;

} // namespace

#define UTL_TABLE(NAME) UTL_CONSTINIT decltype(NAME##_PAIR) NAME##_PAIR = TABLES.mValue.m##NAME;
UTL_PAIR_TABLES(UTL_TABLE)

} // namespace utl
