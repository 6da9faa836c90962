/// A position in the source, reported to the watchdog. Layer: event, priority, statement record.
#ifndef UTL_STATEMENT_INFO_H
#define UTL_STATEMENT_INFO_H

#include "UtlMacros.h"

namespace utl
{

/// The place in the source where a thread last reported. A blocking call has two reports with the same line: sub 1 just
/// before it, sub 2 just after it.
///
/// Ownership: the texts are not owned and must live for ever; pass literals. Copies copy the pointers.
/// Safety:    a value.
class UTL_API StatementInfo
{
public:
    /// npFile: the path of the source file, stored as it is. npFunction: the function's name; null counts as empty.
    constexpr StatementInfo(char const* npFile, char const* npFunction, unsigned int nLine, unsigned int nSub)
        : mFile(npFile),
          mFunction(npFunction != nullptr ? npFunction : ""),
          mLine(nLine),
          mSub(nSub)
    {
    }
    StatementInfo(StatementInfo const&) = default;
    StatementInfo& operator=(StatementInfo const&) = default;
    virtual ~StatementInfo() = default;

    /// The arguments of the constructor.
    char const* file() const { return mFile; }
    char const* function() const { return mFunction; }
    unsigned int line() const { return mLine; }
    unsigned int sub() const { return mSub; }

    /// Compares the contents of the texts, a null counting as empty, then line and sub.
    bool operator==(StatementInfo const& nOther) const;
    bool operator!=(StatementInfo const& nOther) const { return !(*this == nOther); }

    /// No position: two empty texts, line 0, sub 0. Constant-initialised.
    static StatementInfo const INVALID;

private:
    char const* mFile;
    char const* mFunction;
    unsigned int mLine;
    unsigned int mSub;
};

} // namespace utl

#endif
