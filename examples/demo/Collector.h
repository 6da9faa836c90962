/// The listeners that share the message thread "Collector". Each picks what concerns it from what the worker posts.
#ifndef DEMO_COLLECTOR_H
#define DEMO_COLLECTOR_H

#include "DemoMsg.h"

#include <UtlMsgDrivenSharedThread.h>

namespace demo
{

// Threads: the message thread alone calls a listener, so its data needs no lock. print() is for other threads once the
// collector has answered ReportMsg: nothing is on its way then, and the answer makes visible what was written before.

/// Keeps the totals of a text, answers ReportMsg, and shows progress at each time-out of its timer.
class TotalsListener : public utl::ThreadMsgListener
{
public:
    /// nIsTerminal: progress overwrites itself.
    explicit TotalsListener(bool nIsTerminal);

    void receiveMsg(int nThreadId, utl::ThreadRawMsg& nRawMsg) override;

private:
    void add(Finding const& nFinding);
    void showProgress() const;

    bool const mIsTerminal;
    Totals mTotals;
};

/// Looks for a word in each LineMsg.
class WordListener : public utl::ThreadMsgListener
{
public:
    /// npWord: not owned; null: there is nothing to look for.
    explicit WordListener(char const* npWord);

    void receiveMsg(int nThreadId, utl::ThreadRawMsg& nRawMsg) override;
    void print() const;

private:
    char const* const mpWord;
    LineMsg mLine;
    unsigned long long mCount = 0; // lines that hold the word
    unsigned long long mFirst = 0; // the number of the first one
};

/// Notes the first lines, then leaves the thread by itself, in the middle of the text.
class JournalListener : public utl::ThreadMsgListener
{
public:
    /// nThread: the thread to leave; outlives this object.
    explicit JournalListener(utl::MsgDrivenSharedThread& nThread);

    void receiveMsg(int nThreadId, utl::ThreadRawMsg& nRawMsg) override;
    void print() const;

private:
    static constexpr unsigned int PAGE_LINES = 5;

    utl::MsgDrivenSharedThread& mThread;
    unsigned int mLengths[PAGE_LINES]; // characters
    unsigned int mCount = 0;           // lines it has heard of, at most PAGE_LINES unless it could not leave
};

} // namespace demo

#endif
