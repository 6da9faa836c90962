/// What an open file has read ahead. Layer: internal, open files.
#ifndef UTL_FILE_WINDOW_H
#define UTL_FILE_WINDOW_H

#include "UtlFile.h"

namespace utl::internal
{

/// The text functions keep bytes of the file here, and room for one conversion. The descriptor stands behind the last
/// of the bytes, mostly ahead of where the caller believes; File::settle() brings it back. Between two calls only an
/// object whose descriptor no copy shares (a count of 1) has one.
struct FileWindow
{
    static constexpr unsigned int CAPACITY = 16384;
    static constexpr unsigned int SLACK = 8; // zeros behind the last byte: a cut-off character ends in them

    long long end() const { return mStart + mSize; }

    long long mPosition = 0; // where the caller stands
    long long mStart = 0;    // where the first byte stands in the file
    unsigned int mSize = 0;
    unsigned char mBytes[CAPACITY + SLACK];
    unsigned short mUnits[FILE_TEXT_CHUNK_MAX / 2 + 1]; // UTF-16 in host order
    char mText[FILE_TEXT_CHUNK_MAX * 3];                // UTF-8: three bytes at most for a byte of Shift-JIS
};

} // namespace utl::internal

#endif
