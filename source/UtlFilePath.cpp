// Paths as text: their parts, and the members of File that give them.
#include "UtlFile.h"

#include "UtlConvertAttrib.h"
#include "internal/file/UtlFileCalls.h"
#include "internal/text/UtlStringSearch.h"

#include <cstring>

namespace utl
{

namespace internal
{

BasicString<char> normalisedPath(char const* npPath)
{
    BasicString<char> lPath(npPath, 0, 0);
    if (std::strchr(lPath.c_str(), '\\') != nullptr) // nearly no path has one
    {
        lPath.replace("\\", "/", 0);
    }
    return lPath;
}

bool isValidPath(char const* npPath)
{
    if (npPath == nullptr || ::strnlen(npPath, FILE_PATH_MAX) == FILE_PATH_MAX)
    {
        return false;
    }
    for (char const* const lpDoubled : {"\\\\", "//", "\\/", "/\\"})
    {
        if (std::strstr(npPath, lpDoubled) != nullptr)
        {
            return false;
        }
    }
    return true;
}

} // namespace internal

namespace
{

using internal::findToken;

constexpr char SEPARATORS[] = "\\/";
using PathBuffer = char[FILE_PATH_MAX];

/// Copies a path, normalised, without separators at its end. Uses no heap: destructors that restore modes call it.
/// Result: false for a path without parts.
bool preparePath(PathBuffer& nBuffer, char const* npDst, unsigned int nDstSize, char const* npPath)
{
    if (npDst == nullptr || nDstSize == 0 || !internal::isValidPath(npPath))
    {
        return false;
    }
    if (std::strchr(npPath, '\\') == nullptr ||
        replaceStr<char>(nBuffer, FILE_PATH_MAX, npPath, "\\", "/", 0) == STR_ERROR)
    {
        std::strcpy(nBuffer, npPath); // malformed text stays as it is
    }
    trimStrRight<char>(nBuffer, SEPARATORS);
    return true;
}

/// Where the last component begins; STR_ERROR if there is none.
unsigned int lastToken(char const* npPath)
{
    unsigned int lStart = STR_ERROR;
    unsigned int lEnd = 0;
    do
    {
        lStart = findToken(npPath, SEPARATORS, lEnd, &lEnd);
    } while (lStart != STR_ERROR && npPath[lEnd] != 0);
    return lStart;
}

bool store(char* npDst, unsigned int nDstSize, char const* npPart)
{
    return copyStrBase<char>(npDst, nDstSize, npPart, STR_ALL, 0) != STR_ERROR;
}

/// Stores what nExtract puts into the buffer it is given.
template <class F>
bool storeExtracted(BasicString<char>* npOut, F nExtract)
{
    PathBuffer lPart;
    return npOut != nullptr && nExtract(lPart) && npOut->copy(lPart, STR_ALL, 0);
}

} // namespace

bool File::extractFileName(char* npDst, unsigned int nDstSize, char const* npPath, int nWithoutExtension)
{
    PathBuffer lPath;
    unsigned int const lStart = preparePath(lPath, npDst, nDstSize, npPath) ? lastToken(lPath) : STR_ERROR;
    if (lStart == STR_ERROR)
    {
        return false;
    }
    eraseStrSpan<char>(lPath, 0, lStart);
    unsigned int const lDot = nWithoutExtension == 1 ? findReverseChar<char>(lPath, ".", STR_ALL, nullptr) : STR_ERROR;
    if (lDot != STR_ERROR)
    {
        truncateStr<char>(lPath, lDot);
    }
    return store(npDst, nDstSize, lPath);
}

bool File::extractDirectoryPath(char* npDst, unsigned int nDstSize, char const* npPath)
{
    PathBuffer lPath;
    unsigned int const lStart = preparePath(lPath, npDst, nDstSize, npPath) ? lastToken(lPath) : STR_ERROR;
    if (lStart == STR_ERROR)
    {
        return false;
    }
    eraseStrSpan<char>(lPath, lStart, STR_ALL);
    trimStrRight<char>(lPath, SEPARATORS);
    return store(npDst, nDstSize, lPath);
}

bool File::extractExtension(char* npDst, unsigned int nDstSize, char const* npPath)
{
    PathBuffer lName;
    if (npDst == nullptr || nDstSize == 0 || !extractFileName(lName, FILE_PATH_MAX, npPath, 0))
    {
        return false;
    }
    unsigned int const lDot = findReverseChar<char>(lName, ".", STR_ALL, nullptr);
    return store(npDst, nDstSize, lDot != STR_ERROR ? lName + lDot + 1 : "");
}

bool File::extractVolumeName(char* npDst, unsigned int nDstSize, char const* npPath)
{
    PathBuffer lPath;
    unsigned int lEnd = 0;
    unsigned int const lStart =
        preparePath(lPath, npDst, nDstSize, npPath) ? findToken(lPath, SEPARATORS, 0, &lEnd) : STR_ERROR;
    if (lStart == STR_ERROR)
    {
        return false;
    }
    lPath[lEnd] = 0;
    return store(npDst, nDstSize, lPath + lStart);
}

char const* File::getPath() const
{
    return mPath.c_str();
}

bool File::getPath(char* npDst, unsigned int nDstSize) const
{
    return npDst != nullptr && nDstSize != 0 && store(npDst, nDstSize, mPath.c_str());
}

bool File::getPath(BasicString<char>* npOut) const
{
    return npOut != nullptr && npOut->copy(mPath.c_str(), STR_ALL, 0);
}

bool File::getFileName(char* npDst, unsigned int nDstSize, int nWithoutExtension) const
{
    return extractFileName(npDst, nDstSize, mPath.c_str(), nWithoutExtension);
}

bool File::getFileName(BasicString<char>* npOut, int nWithoutExtension) const
{
    return storeExtracted(npOut,
                          [&](PathBuffer& nPart) { return getFileName(nPart, FILE_PATH_MAX, nWithoutExtension); });
}

bool File::getDirectoryPath(char* npDst, unsigned int nDstSize) const
{
    return extractDirectoryPath(npDst, nDstSize, mPath.c_str());
}

bool File::getDirectoryPath(BasicString<char>* npOut) const
{
    return storeExtracted(npOut, [&](PathBuffer& nPart) { return getDirectoryPath(nPart, FILE_PATH_MAX); });
}

bool File::getExtension(char* npDst, unsigned int nDstSize) const
{
    return extractExtension(npDst, nDstSize, mPath.c_str());
}

bool File::getExtension(BasicString<char>* npOut) const
{
    return storeExtracted(npOut, [&](PathBuffer& nPart) { return getExtension(nPart, FILE_PATH_MAX); });
}

bool File::getVolumeName(char* npDst, unsigned int nDstSize) const
{
    return extractVolumeName(npDst, nDstSize, mPath.c_str());
}

bool File::getVolumeName(BasicString<char>* npOut) const
{
    return storeExtracted(npOut, [&](PathBuffer& nPart) { return getVolumeName(nPart, FILE_PATH_MAX); });
}

} // namespace utl
