/// A text of any encoding as lines of UTF-8.
#ifndef DEMO_LINE_SOURCE_H
#define DEMO_LINE_SOURCE_H

#include "DemoMsg.h"
#include "Input.h"

#include <UtlFile.h>

namespace demo
{

/// Reads with two Files, each of which goes through the text from its beginning to its end: one measures a line, then
/// the other one reads so many bytes. A single one would have to go back for each line, and to read it twice.
///
/// UTF-8 comes as it is, with its line ends, byte-order marks, NULs and malformed bytes. The other encodings are
/// converted; a line for which that is not possible ends the text. A mark at the top of UTF-16 is left out. A NUL in a
/// last line without line feed ends it unnoticed. One thread.
class LineSource
{
public:
    /// npPath: a file's path, or "-" for standard input; outlives this object. nTextType: utl::FILE_TEXT_....
    LineSource(char const* npPath, int nTextType);

    /// Locks the file against those who write. Result: false if it cannot be opened, see errorText().
    bool open();

    /// It cannot be read a second time.
    bool isStream() const { return mInput.isStream(); }

    /// Gets the next line, with its line end. Blocking: until there is one, or a signal.
    ReadResult next(LineMsg* npLine, Interruption const& nInterruption);

    /// The reason of the last failure.
    char const* errorText() const { return mpErrorText; }

private:
    ReadResult measure(unsigned int* npBytes, bool* npIsEnded, Interruption const& nInterruption);
    ReadResult refill(Interruption const& nInterruption);
    bool skipMark(unsigned int* npBytes);
    ReadResult take(LineMsg* npLine, unsigned int nBytes, bool nIsEnded);
    ReadResult takeAsItIs(LineMsg* npLine, unsigned int nBytes);
    ReadResult failed(int nErrno);

    Input mInput;
    int const mTextType;
    utl::File mMeasuring;
    utl::File mReading;
    long long mStart = 0; // of the next line, in the file
    bool mIsAtTop = true;
    bool mIsMoreToCome; // a line that the file does not end may go on
    char const* mpErrorText = "";
    char mText[3 * utl::FILE_TEXT_CHUNK_MAX]; // the longest line as UTF-8: half-width kana grow from one byte to three
};

} // namespace demo

#endif
