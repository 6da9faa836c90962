/// The messages of the demo, and what they carry.
#ifndef DEMO_MSG_H
#define DEMO_MSG_H

#include <UtlMsg.h>

namespace demo
{

/// Bytes of the longest line, its line feed included. Every slot of a queue has room for the largest message, so there
/// is a largest message, and what does not fit has to be told to the user.
constexpr unsigned int MAX_LINE_BYTES = 4096;

// Ids below MSG_ID_FIRST_USER and above it are free for applications; small numbers do.
constexpr int MSG_ID_LINE = 1;     ///< LineMsg, posted: reader to worker, which passes it on to who looks for a word.
constexpr int MSG_ID_FINDING = 2;  ///< FindingMsg, posted: worker to collector.
constexpr int MSG_ID_BEGIN = 3;    ///< Interrupt: forget what was counted, a text begins.
constexpr int MSG_ID_ALL_READ = 4; ///< Sent synchronously to the worker behind the last line: its return is the answer.
constexpr int MSG_ID_REPORT = 5;   ///< ReportMsg, sent synchronously to the collector.

/// One line of the text. A message holds its values itself: the reader's buffer may change as soon as it is posted.
class LineMsg : public utl::Msg
{
public:
    /// Bytes of the largest LineMsg, for the constructor of the thread that receives it.
    static constexpr unsigned int MAX_BYTES = sizeof(unsigned long long) + sizeof(unsigned int) + MAX_LINE_BYTES;

    LineMsg();

    void storeDataTo(utl::MsgDataBroker* npBroker) const override;
    void restoreDataFrom(utl::MsgDataBroker& nBroker) override;

    unsigned long long mNumber = 0; // from 1
    unsigned int mSize = 0;         // bytes, with the line feed; only the last line may lack it
    char mText[MAX_LINE_BYTES + 1]; // terminated; a text may hold NULs of its own, so mSize counts
};

/// What the worker found in one line.
struct Finding
{
    unsigned long long mNumber = 0;
    unsigned int mBytes = 0;          // with the line feed, as all here but mLength
    unsigned int mCharacters = 0;     // well-formed UTF-8 characters
    unsigned int mWords = 0;          // runs of printing characters, between white space
    unsigned int mLength = 0;         // characters without the line feed
    unsigned int mMalformedBytes = 0; // bytes that belong to no character
    unsigned int mChecksum = 0;       // over all bytes from the beginning of the text to the end of this line
};

/// A Finding on its way.
class FindingMsg : public utl::Msg
{
public:
    static constexpr unsigned int MAX_BYTES = sizeof(unsigned long long) + 6 * sizeof(unsigned int);

    FindingMsg();

    void storeDataTo(utl::MsgDataBroker* npBroker) const override;
    void restoreDataFrom(utl::MsgDataBroker& nBroker) override;

    Finding mFinding;
};

/// What the collector knows of a text.
struct Totals
{
    unsigned long long mLines = 0;
    unsigned long long mBytes = 0;
    unsigned long long mCharacters = 0;
    unsigned long long mWords = 0;
    unsigned long long mMalformedLines = 0;
    unsigned long long mFirstMalformed = 0; // line number, 0: none
    unsigned long long mMisplacedLines = 0; // whose number is not the next one
    unsigned int mChecksum = 0;
    Finding mLongest; // the first line with the most characters
};

/// Asks for the totals. Carries the place to write them to: a pointer is good across threads as long as its owner waits
/// for the answer, which sendMsgSync() does. Never post such a message.
class ReportMsg : public utl::Msg
{
public:
    static constexpr unsigned int MAX_BYTES = sizeof(void*);

    explicit ReportMsg(Totals* npTotals = nullptr);

    void storeDataTo(utl::MsgDataBroker* npBroker) const override;
    void restoreDataFrom(utl::MsgDataBroker& nBroker) override;

    Totals* mpTotals; // not owned
};

/// The checksum of no bytes.
constexpr unsigned int EMPTY_CHECKSUM = 2166136261U;

/// Carries a checksum on over more bytes. It depends on their order, so equal sums mean that nothing was lost, changed
/// or swapped.
unsigned int addToChecksum(unsigned int nChecksum, char const* npBytes, unsigned int nSize);

} // namespace demo

#endif
