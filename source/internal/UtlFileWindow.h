/// What an open file has read ahead. Layer: internal, open files.
#ifndef UTL_FILE_WINDOW_H
#define UTL_FILE_WINDOW_H

namespace utl::internal
{

/// The text functions keep bytes of the file here. While mIsAhead, the descriptor stands elsewhere than the caller
/// believes, and File::settle() brings it back. It may be ahead only between two calls on one object whose descriptor
/// no copy shares (a count of 1).
struct FileWindow
{
    bool mIsAhead = false;
    long long mPosition = 0; // where the caller stands, while ahead
};

} // namespace utl::internal

#endif
