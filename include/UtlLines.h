/// Lines of text files in a loop, and written in any of the encodings. Layer: text files.
#ifndef UTL_LINES_H
#define UTL_LINES_H

#include "UtlFile.h"

#include <cstddef>
#include <iterator>
#include <memory>
#include <string_view>

namespace utl
{

namespace internal
{
class TextReader;

/// Positions from mFrom to before mTo.
struct FileRange
{
    long long mFrom = 0;
    long long mTo = 0;
};
} // namespace internal

constexpr unsigned int LINE_CAPACITY = 8192; ///< The default size in bytes of the buffer for a line, with terminator.

/// A line of a text file, or a part of one that is too long for the buffer.
struct Line
{
    /// Well-formed UTF-8 without the line end, followed by a NUL; valid until the next line is read. Malformed bytes
    /// and codes without a character are U+FFFD here, one for each fault that convertText() would find.
    std::string_view mText;
    /// The number of the line, counted from 1 at the start of the loop; the same for all parts of a line.
    unsigned long long mNumber = 0;
    long long mPosition = 0; ///< Where its first byte is in the file.
    long long mSize = 0;     ///< Bytes in the file, with the line end.
    long long mEolSize = 0;  ///< How many of these are the line end: 0 for a part that goes on, or without a line end.
    /// Whether a U+FFFD in the text replaces malformed bytes or a Shift-JIS code without a character.
    bool mIsMalformed = false;
    bool mGoesOn = false; ///< Whether the next Line is the next part of this line.
};

/// The lines of an open file, from its position on. Whatever they hold, no line fails, is skipped or comes twice.
///
///     utl::File lFile("names.txt", utl::FILE_TEXT_SJIS);
///     lFile.open(utl::FILE_OPEN_TOP, utl::FILE_ACCESS_READ);
///     utl::Lines lLines(lFile);
///     for (utl::Line const& lLine : lLines)
///         use(lLine.mText);
///     if (lLines.hasFailed())
///         complain(lLines.error());
///
/// Encoding:  a byte-order mark at the start of the file decides, and otherwise the text type of the file, which is not
///            changed. That mark is no part of the text. Anywhere else U+FEFF is a character like others.
/// Line ends: those of File::readLine(): LF, with all CR directly before it, and CR at the end of the file. If a line
///            comes in parts, all CR before its LF are line end, too. Unlike there, a stray lead byte of Shift-JIS
///            before an LF does not hide it.
/// Malformed: as in UtlCheckedText.h; an odd byte at the end of UTF-16, too. A NUL is text.
/// Position:  that of the file is behind the last Line that was given. Before the loop and between its steps the file
///            may be read, written and its position moved; the next line is the one at the position. A second loop goes
///            on where the first ended.
/// Results:   the loop ends at the end of the file; another loop goes on there if the file has grown. The loop also
///            ends at a failure: hasFailed() tells, and no later loop gives a line.
/// Memory:    one buffer, made by the constructor or given by the caller, and what the file reads ahead.
/// Threads:   those of the file.
/// Signals:   no.
/// Forks:     as the file.
/// Blocking:  as File::readLine(); no locks of its own.
class UTL_API Lines
{
public:
    /// The place in the loop. All iterators of one Lines share its position: what one reads, the others skip.
    /// Safety: that of Lines.
    class Iterator
    {
    public:
        using iterator_category = std::input_iterator_tag; ///< The standard library needs these five types.
        using value_type = Line;                           ///< What the iterator gives.
        using difference_type = std::ptrdiff_t;            ///< Not used.
        using pointer = Line const*;                       ///< To a line.
        using reference = Line const&;                     ///< To a line.

        Iterator() = default; ///< The end of the loop.
        /// Reads the first line. npLines: not owned, must outlive this.
        explicit Iterator(Lines* npLines)
            : mpLines(npLines),
              mpLine(npLines->next())
        {
        }
        Line const& operator*() const { return *mpLine; }
        Line const* operator->() const { return mpLine; }
        /// Reads the next line.
        Iterator& operator++()
        {
            mpLine = mpLines->next();
            return *this;
        }
        /// The same. It gives no iterator to the old line, because reading the next one overwrites that line's text.
        void operator++(int) { ++*this; }
        bool operator==(Iterator const& nOther) const { return mpLine == nOther.mpLine; }
        bool operator!=(Iterator const& nOther) const { return mpLine != nOther.mpLine; }

    private:
        Lines* mpLines = nullptr;
        Line const* mpLine = nullptr;
    };

    /// nFile:     must be open for reading when the loop begins, and outlive this object.
    /// nCapacity: bytes of the buffer, terminator included. At least 5, which is room for any character; with less the
    ///            loop fails with EINVAL.
    explicit Lines(File& nFile, unsigned int nCapacity = LINE_CAPACITY);
    /// The same with a buffer of the caller's.
    /// npBuffer: nCapacity bytes, which must outlive this object; with null the loop fails with EINVAL.
    Lines(File& nFile, char* npBuffer, unsigned int nCapacity);
    Lines(Lines const&) = delete;
    Lines& operator=(Lines const&) = delete;

    Iterator begin() { return Iterator(this); } ///< Reads a line.
    Iterator end() { return Iterator(); }       ///< Behind the last line.

    /// Reads the next line, for loops of another shape.
    /// Result: the line, valid until the next call; null at the end of the file and for a failure.
    Line const* next();

    bool hasFailed() const { return mError != 0; } ///< Whether a failure ended the loop before the end of the file.
    /// The error number of the failure: 0 for none, EBADF for a file that is not open, EINVAL for an unknown text type.
    int error() const { return mError; }
    /// The encoding, FILE_TEXT_..., in which the file is read; before the first line the text type of the file.
    int textType() const { return mTextType; }

private:
    bool begin(internal::TextReader& nReader);
    Line const* fail(int nError);

    // One thread at a time.
    File& mFile;
    std::unique_ptr<char[]> mpOwned; // null if the caller gave the buffer
    char* const mpBuffer;
    unsigned int const mCapacity; // constant, bytes
    int mTextType;
    int mError = 0;
    bool mIsBegun = false;
    internal::FileRange mTextCrs; // CR that are known to be text
    Line mLine;
};

/// The result of writing a line.
enum class [[nodiscard]] LineWritten{
    DONE,     ///< the line is in the file
    REPLACED, ///< the same, with replacements for malformed bytes and for characters without a code
    FAILED    ///< the line is not in the file, or only a part of it is, which the log tells
};

/// Writes UTF-8 and a line end at the file's position, in the encoding of its text type, Shift-JIS too. No byte-order
/// mark is written.
///
/// nText:  of any length. A malformed byte becomes U+FFFD; in Shift-JIS it becomes U+203B, and so does a character
///         without a code. A line of up to FILE_TEXT_CHUNK_MAX bytes in the file is one File::write().
/// nEol:   the line end; "" for none.
/// Result: FAILED also for a file that is not open for writing, and for an unknown text type.
/// Safety: that of File; takes 5 KB of stack.
UTL_API LineWritten writeLine(File& nFile, std::string_view nText, std::string_view nEol = "\n");

} // namespace utl

#endif
