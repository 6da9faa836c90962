/// A file replaced as a whole: readers find the old content or the new one. Layer: text files.
#ifndef UTL_FILE_REPLACEMENT_H
#define UTL_FILE_REPLACEMENT_H

#include "UtlFile.h"
#include "UtlLines.h"

#include <optional>

namespace utl
{

/// What became of a file that was to be replaced.
enum class [[nodiscard]] Replaced{
    DONE,     ///< the new content is there, and on the medium
    UNSYNCED, ///< it is there; its directory could not be synced, so that a loss of power may bring the old one back
    FAILED    ///< the old content is there, untouched
};

/// Writes a new content beside a file and puts it in the place of the old one in one step, once it is on the medium.
///
///     utl::FileReplacement lNew("settings.txt", utl::FILE_TEXT_UTF8);
///     if (lNew.open() && lNew.write(lBytes, lSize) && lNew.commit() == utl::Replaced::DONE)
///     {
///         return true; // otherwise the old file stands
///     }
///
/// Beside:  "<path>.<process>-<number>.new" in the same directory, locked. It goes with a failure, cancel(), or the end
///          of this object; a process that is killed leaves it.
/// Failure: one that write() told is remembered, and commit() then fails.
/// Mode:    that of the old file, and as setModes() tells if there is none. An old file that is read-only is refused.
/// Locks:   a writer who holds the old file makes commit() fail. Readers of it keep the old content as long as they
///          have it open.
/// Caution: the new file belongs to the user of this process, whoever owned the old one; check with stat() if that
/// matters.
/// Caution: other hard links of the old file keep the old content, and a symbolic link is itself replaced by the file;
/// give the path that the link leads to.
/// Threads: one at a time uses an object.
/// Signals: no.
/// Forks:   the child's copy of the object does nothing at its end.
/// Blocking: open(), write() as File; commit() until all is on the medium.
class UTL_API FileReplacement
{
public:
    /// Does nothing yet. npPath: copied; nTextType: FILE_TEXT_..., for lines.
    FileReplacement(char const* npPath, int nTextType);
    FileReplacement(FileReplacement const&) = delete;
    FileReplacement& operator=(FileReplacement const&) = delete;
    virtual ~FileReplacement(); ///< cancel()

    /// Makes the file beside, empty, and the directories that are missing.
    /// nMode: of the new file, up to 07777; -1 for that of the old one.
    /// Result: false if it is open already, for a directory, a read-only file or a path that is too long by the ending,
    ///         and if the system refuses.
    bool open(int nMode = -1);
    bool isOpened() const; ///< There is a file beside.

    /// Appends bytes, all of them. Result: false if not open or not all could be written, now or earlier.
    bool write(void const* npBytes, unsigned int nSize);

    /// Appends a line, as the function of that name. Result: as write() if not DONE or REPLACED.
    LineWritten writeLine(std::string_view nText, std::string_view nEol = "\n");

    /// Replaces, and closes. FAILED also if not open, or if anything was not written.
    Replaced commit();
    void cancel(); ///< Removes the file beside, and closes.

private:
    bool isOurs() const;
    bool makeBeside(int nMode);

    BasicString<char> const mPath;
    std::optional<File> mBeside; // none if not open
    int const mTextType;
    int mProcess = 0; // that opened
    bool mHasFailed = false;
};

} // namespace utl

#endif
