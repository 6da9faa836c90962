/// Encodes lines for a text file, in any of the encodings. Layer: internal, text files.
#ifndef UTL_LINE_OUTPUT_H
#define UTL_LINE_OUTPUT_H

#include "UtlCheckedText.h"
#include "UtlLines.h"
#include "internal/file/UtlTextReader.h"

namespace utl::internal
{

/// Encodes a text and its line end, and passes them on in pieces of whole characters: in one piece if they fit the
/// buffer.
class LineOutput
{
public:
    static constexpr unsigned int CAPACITY = FILE_TEXT_CHUNK_MAX;
    static constexpr unsigned int GROWTH_MAX = 3; // bytes for one byte of the text: a malformed one becomes U+FFFD

    /// nTextType: FILE_TEXT_..., not checked.
    explicit LineOutput(int nTextType)
        : mTextType(nTextType)
    {
        mOptions.mOnMalformed = mOptions.mOnNoCode = OnFault::REPLACE;
        mOptions.mReplacement = nTextType == FILE_TEXT_SJIS ? "\u203B" : "\uFFFD";
    }

    /// nSink: called with a pointer and a size for each piece; its result false ends the writing. It is not called for
    ///        empty texts.
    template <class Sink>
    LineWritten write(std::string_view nText, std::string_view nEol, Sink nSink)
    {
        if (!isTextType(mTextType) || !put(nText, nSink) || !put(nEol, nSink) || (mUsed != 0 && !nSink(mBytes, mUsed)))
        {
            return LineWritten::FAILED;
        }
        return mFaults != 0 ? LineWritten::REPLACED : LineWritten::DONE;
    }

    /// How many bytes write() would pass on.
    std::size_t sizeOf(std::string_view nText, std::string_view nEol) const
    {
        if (!isTextType(mTextType))
        {
            return 0;
        }
        Encoding const lTo = encodingOf(mTextType);
        return measureConverted(lTo, Encoding::UTF8, nText, mOptions).mWritten +
               measureConverted(lTo, Encoding::UTF8, nEol, mOptions).mWritten;
    }

private:
    template <class Sink>
    bool put(std::string_view nText, Sink& nSink)
    {
        for (;;)
        {
            TextResult const lDone =
                convertText(encodingOf(mTextType), mBytes + mUsed, CAPACITY - mUsed, Encoding::UTF8, nText, mOptions);
            mUsed += static_cast<unsigned int>(lDone.mWritten);
            mFaults += lDone.mFaults;
            if (lDone.mStop == TextStop::END)
            {
                return true;
            }
            nText.remove_prefix(lDone.mConsumed); // there was no room for more
            if (!nSink(mBytes, mUsed))
            {
                return false;
            }
            mUsed = 0;
        }
    }

    int const mTextType;
    TextOptions mOptions;
    std::size_t mFaults = 0;
    unsigned int mUsed = 0;
    unsigned char mBytes[CAPACITY]; // not cleared
};

} // namespace utl::internal

#endif
