/// Parts of paths, operations on paths, open files, Japanese text. Layer: paths, file system, open and text files.
#ifndef UTL_FILE_H
#define UTL_FILE_H

#include "UtlArray.h"
#include "UtlBasicString.h"
#include "UtlSmartPointer.h"

namespace utl
{

namespace internal
{
class ReadAhead;
}

constexpr unsigned int FILE_PATH_MAX = 260; ///< Bytes of a path, terminator included.

// What open() does with the content, and where the position is then.
constexpr int FILE_OPEN_TOP = 0;      ///< Keeps the content, position at 0.
constexpr int FILE_OPEN_END = 1;      ///< Keeps the content, position at the end.
constexpr int FILE_OPEN_TRUNCATE = 2; ///< Empties the file; not with FILE_ACCESS_READ.

/// The access that open() gives.
constexpr int FILE_ACCESS_READ = 0;
constexpr int FILE_ACCESS_WRITE = 1;
constexpr int FILE_ACCESS_READ_WRITE = 2;

/// The origins of seek(). Caution: not the platform's numbers.
constexpr int FILE_SEEK_BEGIN = 0;
constexpr int FILE_SEEK_END = 1;
constexpr int FILE_SEEK_CURRENT = 2;

// What children() lists.
constexpr int FILE_CHILD_FILES = 0;       ///< Everything that is not a directory.
constexpr int FILE_CHILD_DIRECTORIES = 1; ///< Only directories.
constexpr int FILE_CHILD_ALL = 2;         ///< Both.

// The encoding of a text file.
constexpr int FILE_TEXT_SJIS = 0;     ///< Shift-JIS, code page 932; read only.
constexpr int FILE_TEXT_UTF8 = 1;     ///< UTF-8, with or without a byte-order mark.
constexpr int FILE_TEXT_UTF16_BE = 2; ///< UTF-16, high byte first.
constexpr int FILE_TEXT_UTF16_LE = 3; ///< UTF-16, low byte first.

// The modes of directories and files, for setModes().
constexpr int FILE_MODES_OPEN = 0;  ///< Open to everybody. The default.
constexpr int FILE_MODES_UMASK = 1; ///< What exists keeps its mode, what is created follows the umask.

constexpr unsigned int FILE_TEXT_CHUNK_MAX = 5120; ///< Bytes. readText(), readLine(), writeText() take fewer at a time.

constexpr int FILE_READ_ERROR = -1;              ///< Result of read(), readText(), readLine(): failure.
constexpr int FILE_READ_END = -3;                ///< Result of the same: nothing left in the file.
constexpr unsigned int FILE_ERROR = 0xFFFFFFFFU; ///< Result of functions that give a count: failure.
constexpr long long FILE_NOT_FOUND = -2;         ///< Result of seekKey().

/// Names or paths.
using FileNames = Array<BasicString<char>, BasicString<char> const&>;

/// A file: a normalised path, a shared descriptor and a text type. The static members work on a path; most have a form
/// for the object's own path with the same results.
///
///     File::setModes(FILE_MODES_UMASK);              // first in main(), see setModes()
///     File lFile("log/today.txt", FILE_TEXT_UTF8);
///     if (lFile.open(FILE_OPEN_END, FILE_ACCESS_WRITE))
///     {
///         lFile.writeLine("started");
///         lFile.close();
///     }
///
/// Paths:     UTF-8, terminated, fewer than FILE_PATH_MAX bytes, separator '/'. Every function takes a backslash for a
///            separator and replaces it. A path that is null, too long or has a doubled separator is refused, unless
///            said otherwise; open() for reading and isOpened() take what the system takes.
/// Caution:   a name on the medium that is not UTF-8 (on a card written elsewhere, for example) has no extension here,
///            and directories with such names cannot be made.
/// Locks:     an open file holds an advisory flock: many readers, or one writer, across processes and also among the
///            objects of one process. Opening a file that is locked the other way fails at once; nothing waits.
/// Caution:   listing, sizing, copying or erasing a directory whose path ends in '/' meets doubled separators below it
///            and fails there; pass it without.
/// Medium:    the last close of a descriptor is fsync() and close(). Destroying a File, open or not, also syncs the
///            directory of its path.
/// Modes:     see setModes(), which a program calls first. By default writing, creating, copying and erasing give the
///            parent directory mode 0777 for the length of the operation and then restore its mode, on failure too, if
///            the process may do so.
/// Caution:   with the default modes two operations in one directory at a time may restore the wrong mode, and a
///            process that is killed meanwhile leaves the directory open; use FILE_MODES_UMASK, or a lock.
/// Links:     symbolic links are followed, by recursive operations also out of the tree. A link to a directory above
///            itself makes recursive operations fail once paths grow too long.
/// Results:   false, -1 or FILE_ERROR for failure, with the reason in the log (type UTL_LOG_TYPE) if the system
///            refused. Nothing is retried, and a failed recursive operation leaves what it has done.
/// Threads:   one at a time uses an object. Copies share descriptor and position: one thread at a time uses all of
///            them. Static members: any thread.
/// Signals:   no.
/// Forks:     the child shares descriptor, position and lock: the lock is free when both have closed the file. A
///            program that either of them executes does not get the descriptor.
/// Blocking:  as long as the device does. Nearly every system call stands between two reports to the watchdog, but the
///            fsync() and close() at the end do not, although they may take long. The first report of a process makes
///            the registry of threads. open() and copy() of a FIFO wait for its other end; the functions that only ask,
///            and erase(), do not. Functions for paths and text take the StaticBuffer's lock for a short time, reports
///            of a watched thread the watchdog's; no lock is held across a system call.
class UTL_API File
{
public:
    /// Closes a file at the end of a scope. The file must outlive it.
    /// Safety: that of close().
    class UTL_API AutoClose
    {
    public:
        /// The file, open or not.
        explicit AutoClose(File& nFile)
            : mFile(nFile)
        {
        }
        AutoClose(AutoClose const&) = delete;
        AutoClose& operator=(AutoClose const&) = delete;
        virtual ~AutoClose(); ///< Closes.

    private:
        File& mFile;
    };

    /// Opens nothing. npPath: copied, null counts as empty, not checked. nTextType: FILE_TEXT_..., not checked.
    File(char const* npPath, int nTextType);
    /// Copy path and text type, and share the descriptor with its position and lock. Assigning first lets go of the
    /// object's own descriptor.
    File(File const& nOther);
    File& operator=(File const& nOther);

    /// Lets go of the descriptor and syncs the directory of the path.
    virtual ~File();

    // --- Parts of paths: text only, the file system is not asked and nothing is logged ---
    //
    // npDst, nDstSize: the destination and its capacity, terminator included. Left as it was on failure.
    // npOut:           not null; in expand mode 1 it grows to what is needed.
    // Result:          false also for a null or empty destination and if the part does not fit.

    /// The last component: "b" for "a/b/", false for "/". nWithoutExtension: 1 cuts at the last dot.
    static bool extractFileName(char* npDst, unsigned int nDstSize, char const* npPath, int nWithoutExtension);
    /// All but the last component, without a separator at its end: "/a" for "/a/b.txt".
    /// Caution: "" and true for "b.txt" and for "/b.txt" alike; the root itself is never given.
    static bool extractDirectoryPath(char* npDst, unsigned int nDstSize, char const* npPath);
    /// What follows the last dot of the last component, "" without a dot: "profile" for ".profile".
    static bool extractExtension(char* npDst, unsigned int nDstSize, char const* npPath);
    /// The first component: "mnt" for "/mnt/sd/a.txt".
    static bool extractVolumeName(char* npDst, unsigned int nDstSize, char const* npPath);

    char const* getPath() const; ///< Valid until the object is destroyed or assigned to.

    /// The same parts of the object's own path.
    bool getPath(char* npDst, unsigned int nDstSize) const;
    bool getPath(BasicString<char>* npOut) const;
    bool getFileName(char* npDst, unsigned int nDstSize, int nWithoutExtension) const;
    bool getFileName(BasicString<char>* npOut, int nWithoutExtension) const;
    bool getDirectoryPath(char* npDst, unsigned int nDstSize) const;
    bool getDirectoryPath(BasicString<char>* npOut) const;
    bool getExtension(char* npDst, unsigned int nDstSize) const;
    bool getExtension(BasicString<char>* npOut) const;
    bool getVolumeName(char* npDst, unsigned int nDstSize) const;
    bool getVolumeName(BasicString<char>* npOut) const;

    // --- The file system ---

    /// Chooses how this process treats modes. Call it first in main().
    ///
    /// FILE_MODES_OPEN:  an operation gives the parent directory mode 0777 while it runs. makeDirectories() gives every
    ///                   directory on the way 0777 for good. Files are created with mode 0777, whatever the umask says.
    /// FILE_MODES_UMASK: nothing that exists changes its mode, except by changeParentAccessMode(), applyReadOnly(),
    ///                   which then takes the write bits away, and liftReadOnly(), which gives the owner's back.
    ///                   Directories are created with 0777 and files with 0666 less the umask, a copy with the
    ///                   permissions of its source less the umask. Operations that need more rights than the process
    ///                   has fail. write() makes one system call instead of four.
    /// Any other value counts as FILE_MODES_UMASK.
    /// Threads: any; operations under way may still follow the former choice.
    static void setModes(int nModes);

    /// Sets the mode of the directory that holds npPath. To undo that, call it again with *npOldMode and a null.
    ///
    /// npOldMode: may be null; receives the former mode, with the bits of the file's kind.
    /// Result:    true if the mode was changed and must be restored. False for failure, for a path without a
    ///            directory, and if nMode is the former mode, kind bits included.
    static bool changeParentAccessMode(char const* npPath, int nMode, int* npOldMode);

    /// Whether the owner's write bit is clear; false also if the system refuses to tell. The path is not checked.
    static bool isReadOnly(char const* npPath);
    static bool exists(char const* npPath);      ///< The path is not checked.
    static bool isDirectory(char const* npPath); ///< Whether there is a directory of that name.

    /// Creates a directory and those above it that are missing. Result: true also for one that exists, which stays
    /// untouched, and for the empty path; false for a file.
    /// Caution: with the default modes, if one is missing, every directory on the way gets mode 0777 for good if the
    /// process may do that, the root of an absolute path included; call setModes(FILE_MODES_UMASK) first.
    /// Caution: a missing one of FILE_PATH_MAX - 1 bytes is created and gives false; stay a byte below.
    static bool makeDirectories(char const* npPath);

    /// Lists a directory, but not the directories in it, in the order of the file system.
    ///
    /// npPath:      a directory; the last component may be a pattern of "*?[]" if there is no directory of that
    ///              very name.
    /// npList:      emptied first; receives "npPath/name". Grows in expand mode 1.
    /// nKind:       FILE_CHILD_...; if the file system does not tell kinds, everything counts as a file.
    /// npExtension: null for all; otherwise only files with this extension, small and capital letters being equal; ""
    ///              for files without one.
    /// nMaxCount:   the most entries to list; 0 for no limit.
    /// Result:      entries stored; 0 for a file; FILE_ERROR for failure, for a pattern above the last component, and
    ///              if the list was too small. The list may then be incomplete.
    /// Caution: a pattern needs a directory in front: "*" and "/*" give FILE_ERROR, "./*" does not.
    static unsigned int children(char const* npPath, FileNames* npList, int nKind, char const* npExtension,
                                 unsigned int nMaxCount);

    /// Bytes of a file, or of all files below a directory. Result: -1 for failure, even of one of these files.
    static long long size(char const* npPath);

    /// Take write access away, or give it, with modes as setModes() tells. Result: false at the first failure.
    /// nRecursive: 1: first the directory, then everything below it.
    static bool applyReadOnly(char const* npPath, int nRecursive);
    static bool liftReadOnly(char const* npPath, int nRecursive);

    /// Whether somebody has the file locked at this moment; false also for a directory and for a file that this process
    /// may not read. npShared: may be null; receives true if only readers have it locked.
    static bool isOpened(char const* npPath, bool* npShared);

    /// Renames within one file system; missing directories of the destination are created.
    /// Result: false for a destination that exists and is no directory, and for a locked source; true for equal paths.
    static bool move(char const* npSource, char const* npDestination);

    /// Renames a file within one file system, in one step also if the destination exists: at any moment there is the
    /// old file or the new one, as a whole. Who has the old one open keeps it. Directories are not synced: see
    /// FileReplacement.
    /// Result: false for a source that is no file or is locked, and for a destination that is a directory or that a
    ///         writer has locked; true for equal paths.
    static bool replace(char const* npSource, char const* npDestination);

    /// Copies a file with its mode (see setModes()), or a directory with everything below it; missing directories are
    /// created.
    ///
    /// nOverwrite: 1 overwrites a file that exists; any other value refuses it.
    /// Result:     false for a source that a writer has locked, and at the first failure; true for equal paths. A
    ///             failed write leaves a part of the copy.
    /// Caution: an error while reading the source counts as its end; compare size() of both if that matters.
    /// Caution: locks on the destination are ignored: it is overwritten even while somebody reads or writes it. Ask
    /// isOpened() first.
    /// Caution: a directory copied to an empty destination is spread over the root; check for it first.
    /// Caution: a directory copied to a place below itself fills that place until paths grow too long; check first.
    UTL_SHARP_EDGE("compare size() of both afterwards")
    static bool copy(char const* npSource, char const* npDestination, int nOverwrite);

    /// Removes a file, or a directory with everything below it.
    ///
    /// nForce: 1 also removes what is read-only; with any other value the result is then false.
    /// Result: false for a file that somebody else has locked, and at the first failure; what was removed before stays
    ///         removed.
    /// Caution: a symbolic link to a directory gives false, with the directory emptied, and one to nothing gives false;
    /// use unlink() for links.
    static bool erase(char const* npPath, int nForce);

    /// The same for the object's own path.
    bool isReadOnly() const;
    bool exists() const;
    bool isDirectory() const;
    bool makeDirectories();
    unsigned int children(FileNames* npList, int nKind, char const* npExtension, unsigned int nMaxCount) const;
    bool applyReadOnly(int nRecursive);
    bool liftReadOnly(int nRecursive);
    bool move(char const* npDestination); ///< False while this object has the file open; the path stays the old one.
    bool copy(char const* npDestination, int nOverwrite) const;
    bool erase(int nForce); ///< False while this object has the file open.

    // --- Open files ---

    /// Opens and locks the file. With write access the lock is exclusive, and a missing file is created, with its
    /// missing directories as by makeDirectories() and with modes as setModes() tells. With read access the lock is
    /// shared, and the file must exist.
    ///
    /// nOpenMode, nAccessMode: FILE_OPEN_..., FILE_ACCESS_....
    /// Result: false for an object that is open, which stays open. False, and not open, for a directory, a read-only
    ///         file with write access, a file that somebody else has locked, and if the system refuses or gives
    ///         descriptor 0.
    /// Caution: a directory whose path has a doubled separator opens for reading, and every read() then fails; check
    /// with isDirectory() of the path without it.
    /// Caution: FILE_OPEN_TRUNCATE empties a file even if another holder's lock then makes it fail; open with
    /// FILE_OPEN_TOP and call resize(0) to be safe.
    UTL_SHARP_EDGE("instead of FILE_OPEN_TRUNCATE open with FILE_OPEN_TOP, then resize(0)")
    bool open(int nOpenMode, int nAccessMode);

    /// Creates the file, which must not exist, with exactly this mode, whatever setModes() and the umask say; then as
    /// open(). The file never has more rights than that, not even for a moment.
    ///
    /// nAccessMode: FILE_ACCESS_WRITE or FILE_ACCESS_READ_WRITE.
    /// nMode:       permissions, 07777 at most; -1 for those that open() gives to a new file.
    /// Result:      false for an object that is open, a path that exists, other arguments, and if the system refuses.
    ///              Missing directories may have been created then, the file was not.
    bool create(int nAccessMode, int nMode);

    /// Lets go of the descriptor; the last copy to do so syncs and closes it. Result: false if not open.
    bool close();
    bool isOpened() const; ///< Whether this object has the file open.
    bool flush();          ///< Does nothing: writing does not buffer. Result: true.
    bool sync();           ///< Waits until all is on the medium. Result: false if not open, or if it may not be there.

    /// Reads at the position, which moves behind the bytes.
    /// Result: the number of bytes, which may be less than nSize; FILE_READ_END; FILE_READ_ERROR, also for a null
    ///         buffer and an nSize of 0 or above INT_MAX.
    int read(void* npBuffer, unsigned int nSize);

    /// Writes at the position, which moves behind the bytes.
    /// Result: the number of bytes, which may be less than nSize; FILE_ERROR, also for a null buffer and an nSize of 0.
    unsigned int write(void const* npBuffer, unsigned int nSize);

    /// Moves the position. nOrigin: FILE_SEEK_....
    /// Result: the new position from the start, which may lie past the end; -1 for failure.
    long long seek(long long nOffset, int nOrigin);
    long long position() const;      ///< From the start, in bytes; -1 for failure and if not open.
    long long size() const;          ///< In bytes; if not open, of the file of that path. -1 for failure.
    long long availableSize() const; ///< From the position to the end, never negative. -1 for failure and if not open.

    /// Cuts the file off at the position, or extends it to there.
    bool resize();

    /// Sets the length; new bytes are 0. The position stays, or goes to the new end if it was past that.
    bool resize(unsigned long long nNewSize);

    // --- Text ---
    //
    // Text is passed as UTF-8; the file has the encoding of the text type, which is never guessed from its bytes. Sizes
    // of sources count bytes of the file, sizes of results bytes of UTF-8 with the terminator.
    //
    // Line ends: LF with all CR directly before it; at the end of the file also CR alone. Other CR are text. A stray
    //            continuation byte of UTF-8 behind an LF does not change that: the line ends there. Behind a CR at the
    //            end of the file it is passed over, as one byte of line end, and the CR is given as text.
    // Reading:   a few pages are read ahead into a buffer that all copies share (37 KB of heap, from the first call
    //            on). Calls that move the position otherwise drop what was read ahead. Bytes that somebody changes
    //            meanwhile without the lock may be seen as they were. After a fork each call asks the descriptor for
    //            the position first and moves it last: two system calls. If the file is open for writing, each call
    //            then reads it again, so that parent and child see what the other writes.
    // Results:   of readLine() and readText(): source bytes read; FILE_READ_ERROR; FILE_READ_END.

    bool setTextType(int nTextType);           ///< FILE_TEXT_...; false for another value: nothing changes.
    int textType() const { return mTextType; } ///< The text type that was set, or given to the constructor.

    /// Bytes of the line end that begins at the position, which stays: 2 for CR LF, 1 for CR or LF, 0 at the end of the
    /// file and if it is not open, -1 for anything else and a failed read. Not for UTF-16.
    int nextEOLSize();

    /// Measures the line at the position, which moves behind it.
    ///
    /// nReserved:  not used.
    /// npTextSize: may be null; receives the bytes before the line end.
    /// npEolSize:  may be null; receives the bytes of the line end. If malformed bytes or byte-order marks are between
    ///             CR and LF, both still count as line end, and those bytes count as text.
    /// Result:     the sum of both sizes, 2147483647 at most; 0 if the file ends before an LF; -1 for failure.
    /// Caution: if a lead byte of Shift-JIS ends the file, *npTextSize is a byte more than there is, and the
    /// position is then past the end.
    int findNextLineSize(unsigned int nReserved, unsigned int* npTextSize, unsigned int* npEolSize);

    /// Reads a line without its line end.
    ///
    /// npDst, nDstSize: room for the source bytes plus one terminator (two for UTF-16), and for the result; three times
    ///                  the source bytes plus two are enough for any line. Below FILE_TEXT_CHUNK_MAX. An nDstSize of 0
    ///                  asks for the size: the position stays.
    /// npOutSize:       may be null; receives the size of the result, 1 for an empty line; untouched on failure.
    /// Result:          source bytes of the text, 0 for an empty line. FILE_READ_ERROR, with the position left on the
    ///                  line, for FILE_TEXT_CHUNK_MAX source bytes or more, and for more than npDst has room for.
    ///                  FILE_READ_ERROR, with the position behind the text, so that the next call gives an empty line,
    ///                  for a result that does not fit npDst, malformed text, and UTF-16 with a byte-order mark. A
    ///                  failed read leaves the position where it failed.
    /// Caution: with an odd byte at the end of a UTF-16 file every call gives an empty line and none FILE_READ_END;
    /// stop if the position does not move.
    /// Caution: a line of more than 1706 bytes of half-width katakana in Shift-JIS fits no buffer that is allowed; read
    /// it with readText() in pieces.
    /// Caution: an empty line stores a terminator at npDst even if nDstSize is 0; pass null to ask for the size.
    /// Caution: a Shift-JIS code without a character ends the text there, while *npOutSize counts the whole line.
    UTL_SHARP_EDGE("pass null to ask for the size")
    int readLine(char* npDst, unsigned int nDstSize, unsigned int* npOutSize);

    /// The same into a string, whose capacity does not grow. Null asks for the size.
    int readLine(BasicString<char>* npLine, unsigned int* npOutSize);

    /// Reads text at the position, line ends included, and stores it at npDst + nDstOffset.
    ///
    /// nSrcBytes: 1 to FILE_TEXT_CHUNK_MAX - 1; with UTF-16 an odd number counts as one less.
    /// nDstSize:  the size of npDst as a whole: nDstOffset more than readLine() needs. 0 asks for the size, and the
    ///            position moves all the same.
    /// Result:    as readLine(). The position moves behind the bytes even if they are malformed; a leading
    ///            byte-order mark of UTF-8 is left out.
    int readText(char* npDst, unsigned int nDstSize, unsigned int nSrcBytes, unsigned int nDstOffset,
                 unsigned int* npOutSize);
    int readText(BasicString<char>* npText, unsigned int nSrcBytes, unsigned int nDstOffset, unsigned int* npOutSize);

    /// Writes the text from npText + nOffset on. No byte-order mark, no line end.
    ///
    /// nMaxBytes: below FILE_TEXT_CHUNK_MAX; cuts the bytes written, also inside a character.
    /// Result:    bytes written; FILE_ERROR also for Shift-JIS, which is not written, and for an nOffset past the text.
    /// Caution: with UTF-16 a text of one character writes nothing and gives 0, or FILE_ERROR with an nOffset, and an
    /// empty one gives FILE_ERROR; write at least two characters, or the bytes with write().
    /// Caution: with UTF-16 a character of four bytes is written as U+203B, a stray byte gives FILE_ERROR, and any
    /// other malformed character ends the text; check with getNearCharIndex(text, length, 1), which gives STR_ERROR.
    UTL_SHARP_EDGE("write UTF-16 in texts of two characters at least, checked with t_charlen()")
    unsigned int writeText(char const* npText, unsigned int nMaxBytes, unsigned int nOffset);

    /// Writes a text and LF. Result: bytes written; FILE_ERROR if either was refused.
    /// Caution: writes no line end in UTF-16, since that is a text of one character; write it together with the text.
    UTL_SHARP_EDGE("in UTF-16 write the line end together with the text")
    unsigned int writeLine(char const* npText);

    /// Searches for bytes. The position moves to the key, or stays if the key is not found.
    ///
    /// nStart:    the position at which to begin; -2 for the current one.
    /// nMaxBytes: how many bytes to search; -1 for all.
    /// nMode:     1 moves behind the key, any other value to its first byte.
    /// Result:    the new position; FILE_NOT_FOUND; -1 for failure and for a null or empty key.
    /// Caution: a byte that ends a partial match is not tried as the first of another: "aab" is missed in "aaab".
    UTL_SHARP_EDGE("search for a key whose first byte does not repeat")
    long long seekKey(unsigned char const* npKey, unsigned int nKeySize, unsigned long long nStart,
                      unsigned long long nMaxBytes, int nMode);
    long long seekKey(char const* npKey, unsigned long long nStart, unsigned long long nMaxBytes, int nMode);

private:
    friend class Lines; // shares what was read ahead

    /// Moves the descriptor to the caller's position and drops what was read ahead. Every function that moves the
    /// position or writes does this first, except the text functions.
    /// Result: false, with nothing dropped, if the seek failed.
    bool settle() const;
    bool take(SmartHandle<DestructCloseFile> const& nHandle, int nAccessMode);

    // All used by one thread at a time.
    BasicString<char> mPath; // changed by assignment only
    SmartHandle<DestructCloseFile> mHandle;
    int mTextType;
    SmartPointer<internal::ReadAhead> mpReadAhead; // shared by copies; empty if not open
};

} // namespace utl

#endif
