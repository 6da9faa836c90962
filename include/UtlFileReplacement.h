/// Replaces a file as a whole: readers find the old content or the new one. Layer: text files.
#ifndef UTL_FILE_REPLACEMENT_H
#define UTL_FILE_REPLACEMENT_H

#include "UtlFile.h"
#include "UtlLines.h"

#include <optional>

namespace utl
{

/// The result of a replacement.
enum class [[nodiscard]] Replaced{
    DONE,     ///< the file has the new content, which is on the medium
    UNSYNCED, ///< the file has the new content; its directory was not synced: a power loss may bring the old one back
    FAILED    ///< the file has its old content, untouched
};

/// Writes the new content to another file in the same directory. Once that is on the medium, commit() puts it in the
/// place of the old file in one step.
///
///     utl::FileReplacement lNew("settings.txt", utl::FILE_TEXT_UTF8);
///     if (lNew.open() && lNew.write(lBytes, lSize) && lNew.commit() == utl::Replaced::DONE)
///     {
///         return true; // otherwise the old file is untouched
///     }
///
/// New file: "<path>.<process>-<number>.new", locked. A failure, cancel() and the destructor remove it; a process that
///          is killed leaves it behind.
/// Failure: once write() has failed, commit() fails, too.
/// Mode:    that of the old file; as setModes() tells if there is none. A read-only old file is refused.
/// Locks:   while a writer has the old file locked, commit() fails. Readers keep the old content while they have it
///          open.
/// Caution: the new file belongs to the user of this process, whoever owned the old one; check with stat() if that
/// matters.
/// Caution: other hard links of the old file keep the old content, and a symbolic link is itself replaced by the file;
/// give the path that the link leads to.
/// Threads: one at a time uses an object.
/// Signals: no.
/// Forks:   the destructor does nothing in the child.
/// Blocking: open() and write() as File; commit() until all is on the medium.
class UTL_API FileReplacement
{
public:
    /// Opens nothing. npPath: of the file to be replaced, copied. nTextType: FILE_TEXT_..., for writeLine(), which
    /// fails with any other number.
    FileReplacement(char const* npPath, int nTextType);
    FileReplacement(FileReplacement const&) = delete;
    FileReplacement& operator=(FileReplacement const&) = delete;
    virtual ~FileReplacement(); ///< cancel()

    /// Creates the new file, empty, and the directories that are missing.
    /// nMode:  the mode of the new file, up to 07777; -1 for that of the old one.
    /// Result: false if it is open already, for a directory, for a read-only file, if the path with its ending is too
    ///         long, and if the system refuses.
    bool open(int nMode = -1);
    bool isOpened() const; ///< Whether the new file is open.

    /// Appends bytes. npBytes: may be null if nSize is 0.
    /// Result: false if not open, for a null, and if not all bytes of this or an earlier call were written.
    bool write(void const* npBytes, unsigned int nSize);

    /// Appends a line, as utl::writeLine() does. Result: FAILED in the cases of write().
    LineWritten writeLine(std::string_view nText, std::string_view nEol = "\n");

    /// Puts the new file in the place of the old one, and closes. Result: FAILED also if not open, and if a write()
    /// failed.
    Replaced commit();
    void cancel(); ///< Removes the new file, and closes.

private:
    bool isOurs() const;
    bool makeBeside(int nMode);

    BasicString<char> const mPath;
    std::optional<File> mBeside; // the new file; none if not open
    int const mTextType;
    int mProcess = 0; // id of the process that called open()
    bool mHasFailed = false;
};

} // namespace utl

#endif
