// Files: writes and locks a diary, reads it back by lines, also from Shift-JIS, and lists the directory.
#include "UtlFile.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <unistd.h>

namespace
{

// "みさご" and "小屋", in UTF-8 and in Shift-JIS.
char const* const LINES[] = {"みさご", "小屋"};
char const SJIS[] = "\x82\xDD\x82\xB3\x82\xB2\r\n\x8F\xAC\x89\xAE";

/// Result: every line is the expected one, and there are no more.
bool readBack(utl::File& nFile)
{
    unsigned int lGood = 0;
    char lLine[64]; // three bytes for each byte of the file, and one more, are always enough
    while (nFile.readLine(lLine, sizeof lLine, nullptr) >= 0) // 0 is an empty line
    {
        std::printf("  %s\n", lLine);
        lGood += lGood < 2 && std::strcmp(lLine, LINES[lGood]) == 0 ? 1 : 3;
    }
    return lGood == 2;
}

bool keepDiary()
{
    // With write access open() makes the file, and the directories that are missing.
    utl::File lDiary("diary/april.txt", utl::FILE_TEXT_UTF8);
    bool lIsGood = lDiary.open(utl::FILE_OPEN_TRUNCATE, utl::FILE_ACCESS_WRITE);
    for (char const* const lpLine : LINES)
    {
        lIsGood = lDiary.writeLine(lpLine) == std::strlen(lpLine) + 1 && lIsGood;
    }

    // The writer's lock keeps other processes and other objects out.
    utl::File lReader(lDiary.getPath(), utl::FILE_TEXT_UTF8);
    bool const lIsLocked = !lReader.open(utl::FILE_OPEN_TOP, utl::FILE_ACCESS_READ);
    lDiary.close(); // from here on it is on the medium
    std::printf("%s: %s while it is written\n", lDiary.getPath(), lIsLocked ? "locked" : "NOT LOCKED");
    return lIsGood && lIsLocked && lReader.open(utl::FILE_OPEN_TOP, utl::FILE_ACCESS_READ) && readBack(lReader);
}

bool readSjis()
{
    // Whatever encoding a file has, its lines are read as UTF-8.
    utl::File lSjis("diary/march.txt", utl::FILE_TEXT_SJIS);
    return lSjis.open(utl::FILE_OPEN_TRUNCATE, utl::FILE_ACCESS_READ_WRITE) &&
           lSjis.write(SJIS, sizeof SJIS - 1) == sizeof SJIS - 1 && lSjis.seek(0, utl::FILE_SEEK_BEGIN) == 0 &&
           readBack(lSjis);
}

} // namespace

int main()
{
    // First of all: leave the modes of what exists alone, and honour the umask.
    utl::File::setModes(utl::FILE_MODES_UMASK);
    char lFolder[] = "/tmp/utlFilesXXXXXX";
    if (mkdtemp(lFolder) == nullptr || chdir(lFolder) != 0)
    {
        return 1;
    }
    bool lIsGood = keepDiary();
    lIsGood = readSjis() && lIsGood;

    utl::FileNames lNames(0, 1); // grows
    unsigned int const lCount = utl::File::children("diary", &lNames, utl::FILE_CHILD_FILES, "TXT", 0);
    std::printf("%u files, %lld bytes\n", lCount, utl::File::size("diary"));
    lIsGood = lIsGood && lCount == 2 && utl::File::size("diary") == 29;

    // Open files are not erased; those above were closed when their objects were destroyed.
    return utl::File::erase(lFolder, 0) && lIsGood ? 0 : 1;
}
