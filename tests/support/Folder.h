/// An empty folder for a test, and what its files hold.
#ifndef UTL_TEST_FOLDER_H
#define UTL_TEST_FOLDER_H

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include <sys/stat.h>

namespace utl::test
{

/// While one lives, the process stands in it.
class Folder
{
public:
    Folder()
    {
        ::mkdtemp(mPath);
        std::filesystem::current_path(mPath);
    }
    ~Folder()
    {
        std::filesystem::current_path("/");
        std::filesystem::remove_all(mPath);
    }
    Folder(Folder const&) = delete;
    Folder& operator=(Folder const&) = delete;

private:
    char mPath[24] = "/tmp/utlTestXXXXXX";
};

inline void put(std::string const& nPath, std::string const& nContent, mode_t nMode = 0640)
{
    std::ofstream(nPath, std::ios::binary) << nContent;
    ::chmod(nPath.c_str(), nMode);
}

inline std::string contentOf(std::string const& nPath)
{
    std::ifstream lStream(nPath, std::ios::binary);
    return {std::istreambuf_iterator<char>(lStream), {}};
}

/// 0 if there is no such file.
inline mode_t modeOf(std::string const& nPath)
{
    struct stat lStat = {};
    return ::stat(nPath.c_str(), &lStat) == 0 ? lStat.st_mode & 07777U : 0;
}

} // namespace utl::test

#endif
