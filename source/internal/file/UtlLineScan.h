/// The next line of a file, or a part of it, as well-formed text. Layer: internal, text files.
#ifndef UTL_LINE_SCAN_H
#define UTL_LINE_SCAN_H

#include "UtlLines.h"
#include "internal/file/UtlTextReader.h"
#include "internal/text/UtlCodec.h"

namespace utl::internal
{

/// What was found at a position.
struct LinePart
{
    unsigned int mLength = 0; // of the text in bytes of UTF-8
    long long mSize = 0;      // in the file, with the line end
    long long mEolSize = 0;   // of the line end
    bool mIsMalformed = false;
    bool mGoesOn = false;
};

/// Takes lines for one call. Not moved by a failure.
class LineScan
{
public:
    /// nTextType: one that there is. npText: room for nRoom bytes, 4 at least. nTextCrs: kept from call to call, CR
    /// that are known to be text.
    LineScan(TextReader& nReader, int nTextType, char* npText, unsigned int nRoom, FileRange& nTextCrs)
        : mReader(nReader),
          mTextType(nTextType),
          mEncoding(encodingOf(nTextType)),
          mpText(npText),
          mRoom(nRoom),
          mTextCrs(nTextCrs)
    {
    }

    /// Takes a line, or the part of it that there is room for, and moves behind it.
    /// Result: 1; FILE_READ_END; FILE_READ_ERROR with a message.
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
