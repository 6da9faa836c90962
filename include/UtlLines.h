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

constexpr unsigned int LINE_CAPACITY = 8192; ///< Bytes of UTF-8 in a part of a line, terminator included, by default.

/// A line of a text file, or a part of one that is too long for the buffer.
struct Line
{
    /// Well-formed UTF-8 without the line end, in the buffer until the next line, a NUL behind it. What is malformed in
    /// the file, or has no character, is U+FFFD here, one for each fault that convertText() would find.
    std::string_view mText;
    unsigned long long mNumber =
        0;                   ///< Of the line, counted from 1 where the loop began; parts of a line have the same.
    long long mPosition = 0; ///< Of the first byte in the file.
    long long mSize = 0;     ///< Bytes in the file, with the line end.
    long long mEolSize = 0;  ///< Of these the line end: 0 for a part that goes on, and if the file ends without.
    /// There is U+FFFD in the text for something malformed, or for a Shift-JIS code without a character.
    bool mIsMalformed = false;
    bool mGoesOn = false; ///< The next Line is the next part of this line.
};

/// The lines of an open file from its position on, whatever they hold: no line fails, is skipped or comes twice.
///
///     utl::File lFile("names.txt", utl::FILE_TEXT_SJIS);
///     lFile.open(utl::FILE_OPEN_TOP, utl::FILE_ACCESS_READ);
///     utl::Lines lLines(lFile);
///     for (utl::Line const& lLine : lLines)
///         use(lLine.mText);
///     if (lLines.hasFailed())
///         complain(lLines.error());
///
/// Encoding:  a byte-order mark at the start of the file tells it, and otherwise the text type of the file, which stays
///            as it is. The mark is no text. Anywhere else U+FEFF is a character like others.
/// Line ends: where File::readLine() finds them: LF, with all CR directly before it, and CR at the end of the file. Of
///            a line in parts all CR before the LF are line end too. A stray lead byte of Shift-JIS does not take the
///            LF behind it along, as it does there.
/// Malformed: as in UtlCheckedText.h; an odd byte at the end of UTF-16 too. A NUL is text.
/// Position:  the file stands behind the last Line that was given; before the loop, and between its steps, it may be
///            moved, read and written, and the next line is the one at its position. A second loop goes on where the
///            first was left.
/// Results:   the loop ends at the end of the file, and goes on later if the file has grown; or at a failure, which
///            hasFailed() tells and which is for good.
/// Memory:    one buffer, made by the constructor or brought by the caller, and what the file reads ahead.
/// Threads:   those of the file. Signals: no. Forks: as the file.
/// Blocking:  as File::readLine(); no locks of its own.
class UTL_API Lines
{
public:
    /// The loop's place: all that begin() gives walk together.
    /// Safety: that of Lines.
    class Iterator
    {
    public:
        using iterator_category = std::input_iterator_tag; ///< For the standard library, as the next four.
        using value_type = Line;                           ///< What it shows.
        using difference_type = std::ptrdiff_t;            ///< Of no use.
        using pointer = Line const*;                       ///< To a line.
        using reference = Line const&;                     ///< To a line.

        Iterator() = default; ///< The end.
        /// Takes the first line; npLines: not owned, must outlive this.
        explicit Iterator(Lines* npLines)
            : mpLines(npLines),
              mpLine(npLines->next())
        {
        }
        Line const& operator*() const { return *mpLine; }
        Line const* operator->() const { return mpLine; }
        /// The next line.
        Iterator& operator++()
        {
            mpLine = mpLines->next();
            return *this;
        }
        /// The same. No result, which would have to keep a line whose text is gone by then.
        void operator++(int) { ++*this; }
        bool operator==(Iterator const& nOther) const { return mpLine == nOther.mpLine; }
        bool operator!=(Iterator const& nOther) const { return mpLine != nOther.mpLine; }

    private:
        Lines* mpLines = nullptr;
        Line const* mpLine = nullptr;
    };

    /// nFile: open for reading at the latest when the loop begins; must outlive this object. nCapacity: of the buffer,
    /// terminator included; below 5, which holds any character, the loop fails with EINVAL.
    explicit Lines(File& nFile, unsigned int nCapacity = LINE_CAPACITY);
    /// The same with a buffer of the caller's, of nCapacity bytes, which must outlive this object; null fails with
    /// EINVAL.
    Lines(File& nFile, char* npBuffer, unsigned int nCapacity);
    Lines(Lines const&) = delete;
    Lines& operator=(Lines const&) = delete;

    Iterator begin() { return Iterator(this); } ///< Reads a line.
    Iterator end() { return Iterator(); }       ///< Behind the last line.

    /// The next line, for loops of another shape. Result: valid until the next call; null at the end and for a failure.
    Line const* next();

    bool hasFailed() const { return mError != 0; } ///< The file was not read to its end.
    /// An error number; 0 for none, EBADF for a file that is not open, EINVAL for a text type that there is not.
    int error() const { return mError; }
    /// How the file is read: FILE_TEXT_...; before the first line the text type of the file.
    int textType() const { return mTextType; }

private:
    bool begin(internal::TextReader& nReader);
    Line const* fail(int nError);

    // One thread at a time.
    File& mFile;
    std::unique_ptr<char[]> mpOwned; // null for a buffer of the caller's
    char* const mpBuffer;
    unsigned int const mCapacity; // constant, bytes
    int mTextType;
    int mError = 0;
    bool mIsBegun = false;
    internal::FileRange mTextCrs; // CR that are known to be text
    Line mLine;
};

/// What became of a line that was to be written.
enum class [[nodiscard]] LineWritten{
    DONE,     ///< it is there
    REPLACED, ///< it is there, with a replacement for what was malformed or has no code
    FAILED    ///< it is not, or a part of it is, which the log tells
};

/// Writes UTF-8 and a line end at the file's position, in the encoding of its text type, Shift-JIS too.
///
/// nText: of any length; what is malformed becomes U+FFFD. In Shift-JIS that and what has no code becomes U+203B.
/// nEol:  the line end; "" for none.
/// A line of up to FILE_TEXT_CHUNK_MAX bytes in the file is one File::write(). No byte-order mark is written.
/// Result: FAILED too for a file that is not open for writing or has no text type that there is.
/// Safety: that of File; takes 5 KB of stack.
UTL_API LineWritten writeLine(File& nFile, std::string_view nText, std::string_view nEol = "\n");

} // namespace utl

#endif
