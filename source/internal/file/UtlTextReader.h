/// Finds lines and pieces of text in what a file has read ahead. Layer: internal, text files.
#ifndef UTL_TEXT_READER_H
#define UTL_TEXT_READER_H

#include "UtlCheckedText.h"
#include "internal/file/UtlReadAhead.h"
#include "internal/file/UtlTextWalk.h"

#include <climits>

namespace utl::internal
{

inline bool isUtf16(int nTextType)
{
    return nTextType == FILE_TEXT_UTF16_BE || nTextType == FILE_TEXT_UTF16_LE;
}

inline bool isTextType(int nTextType)
{
    return static_cast<unsigned int>(nTextType) <= FILE_TEXT_UTF16_LE;
}

/// nTextType: a valid one.
inline Encoding encodingOf(int nTextType)
{
    constexpr Encoding ENCODINGS[] = {Encoding::SJIS, Encoding::UTF8, Encoding::UTF16_BE, Encoding::UTF16_LE};
    return ENCODINGS[nTextType];
}

/// A line, as far as it was walked, in bytes of the file.
struct WalkedLine
{
    static constexpr unsigned int SIZE_MAX_TOLD = INT_MAX; // the largest mSize, also for longer lines

    unsigned int mSize = 0;    // with the line end
    unsigned int mEolSize = 0; // the line end so far
    bool mIsEnded = false;     // the LF was found
};

/// The use of an open file by one text function, on the caller's thread.
class TextReader
{
public:
    /// nPath: the file's path for the log. Both must outlive this object.
    TextReader(ReadAhead& nAhead, BasicString<char> const& nPath)
        : mAhead(nAhead),
          mPath(nPath),
          mIsReady(nAhead.begin())
    {
    }
    TextReader(TextReader const&) = delete;
    TextReader& operator=(TextReader const&) = delete;
    ~TextReader()
    {
        if (mIsReady)
        {
            mAhead.end();
        }
    }

    /// The caller's position; -1 if the file does not tell it: then call nothing else.
    long long position() const { return mIsReady ? mAhead.here() : -1; }

    /// The position at which the window ends.
    long long end() const { return mAhead.window().end(); }

    /// The byte of the window at a position.
    unsigned char* at(long long nPosition) { return mAhead.window().mBytes + (nPosition - mAhead.window().mStart); }

    /// Room for the result of one conversion.
    char* room() { return mAhead.window().mText; }

    /// Moves the position. Result: false with a line in the log if the file refuses; the position stays, or goes to the
    /// end of the file if a walk took it past that.
    bool moveTo(long long nPosition);

    /// Whether there are bytes behind the position: 0 at the end of the file, -1 for failure, otherwise above 0: the
    /// bytes to the end of the window or of the file.
    long long available();

    /// Reads once at the end of the window and drops what is before nKeepFrom. Result: as File::read().
    int fill(long long nKeepFrom);

    /// Reads until nCount bytes follow the position or the file ends. Result: the bytes, nCount at most; -1.
    int require(unsigned int nCount);

    /// Takes a usual line: as a whole in the window, shorter than FILE_TEXT_CHUNK_MAX, nothing malformed, no NUL, no
    /// byte-order mark but one in front of UTF-8. The position moves behind it if nDstSize is large enough.
    /// Result: false, with nothing changed, for any other line.
    bool takeUsualLine(int nTextType, unsigned int nDstSize, Piece& nText);

    /// Measures the line at the position, which moves behind what was walked.
    /// Result: false for an invalid text type, and with a line in the log for a read error.
    bool measure(int nTextType, WalkedLine& nLine);

    /// Moves behind a line that was measured; counts an odd byte at the end of the file, and a lead byte's missing
    /// trail byte.
    bool moveBehindWalk(WalkedLine const& nLine);

    /// File::readText() after its first checks.
    int readPiece(int nTextType, char* npDst, unsigned int nDstSize, unsigned int nSrcBytes, unsigned int nDstOffset,
                  unsigned int* npOutSize);

private:
    template <class Chars>
    bool measureChars(WalkedLine& nLine);
    /// Takes bytes at the position and converts them. nRoom: for the bytes before conversion. Result: as readPiece().
    int takePiece(int nTextType, unsigned int nSrcBytes, unsigned int nRoom, Piece& nPiece);

    ReadAhead& mAhead;
    BasicString<char> const& mPath;
    bool const mIsReady;
};

} // namespace utl::internal

#endif
