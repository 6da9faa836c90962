/// Takes the next line of a file, or a part of it, as well-formed text. Layer: internal, text files.
#ifndef UTL_LINE_SCAN_H
#define UTL_LINE_SCAN_H

#include "UtlLines.h"
#include "internal/file/UtlTextReader.h"
#include "internal/text/UtlCodec.h"

namespace utl::internal
{

/// The line, or the part of one, at a position.
struct LinePart
{
    unsigned int mLength = 0; // of the text in bytes of UTF-8
    long long mSize = 0;      // in the file, with the line end
    long long mEolSize = 0;   // of the line end
    bool mIsMalformed = false;
    bool mGoesOn = false;
};

/// Takes a line on behalf of one call of Lines. A failure does not move the position.
class LineScan
{
public:
    /// nTextType: a valid one.
    /// npText:    room for nRoom bytes, at least 4.
    /// nTextCrs:  CR that are known to be text; the caller keeps it from call to call.
    LineScan(TextReader& nReader, int nTextType, char* npText, unsigned int nRoom, FileRange& nTextCrs)
        : mReader(nReader),
          mTextType(nTextType),
          mEncoding(encodingOf(nTextType)),
          mpText(npText),
          mRoom(nRoom),
          mTextCrs(nTextCrs)
    {
    }

    /// Takes a line, or the part of it that fits, and moves behind it.
    /// Result: 1; FILE_READ_END; FILE_READ_ERROR with a line in the log.
    int take(LinePart& nPart);

private:
    int takeUsual(LinePart& nPart);
    DecodedChar charHere(int nLeft) const;
    bool store(DecodedChar const& nChar, LinePart& nPart);
    int takeChars(LinePart& nPart);
    int measureCrs(LinePart& nPart);

    TextReader& mReader;
    int const mTextType;
    Encoding const mEncoding;
    char* const mpText;
    unsigned int const mRoom;
    FileRange& mTextCrs;
};

} // namespace utl::internal

#endif
