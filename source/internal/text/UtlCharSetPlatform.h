/// The converter between UTF-8 and wide text: the platform's if the process has it, otherwise our own. Layer:
/// internal, below the conversions.
#ifndef UTL_CHAR_SET_PLATFORM_H
#define UTL_CHAR_SET_PLATFORM_H

namespace utl::internal
{

/// As jk_mbtowc() and jk_wctomb() with KCP_UTF8.
int toWide(wchar_t* npDst, unsigned int nDstSize, char const* npSrc, unsigned int nSrcBytes);
int toNarrow(char* npDst, unsigned int nDstSize, wchar_t const* npSrc, int nSrcCount);

} // namespace utl::internal

#endif
