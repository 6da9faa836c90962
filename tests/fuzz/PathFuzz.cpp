// Arbitrary bytes as a path: its parts against a plain string's. Bytes that are no UTF-8 need only come to an end.
#include "UtlFile.h"
#include "internal/base/UtlSystemCalls.h"
#include "reference/Input.h"

#include <functional>
#include <optional>

using namespace utl;

namespace
{

/// A part; none where the function gives false.
using Part = std::optional<std::string>;

std::string trimmed(std::string const& nText)
{
    return nText.substr(0, nText.find_last_not_of('/') + 1);
}

/// The parts of a path, by the rules alone.
struct Plain
{
    explicit Plain(std::string const& nPath)
        : mPath(nPath)
    {
        std::replace(mPath.begin(), mPath.end(), '\\', '/');
        mNormalised = mPath;
        mPath = trimmed(mPath);
        mIsValid = mNormalised.size() < FILE_PATH_MAX && mNormalised.find("//") == std::string::npos && !mPath.empty();
    }

    Part fileName(bool nWithoutExtension) const
    {
        std::string const lName = mPath.substr(mPath.rfind('/') + 1);
        return mIsValid ? Part(nWithoutExtension ? lName.substr(0, lName.rfind('.')) : lName) : Part();
    }

    Part directory() const { return mIsValid ? Part(trimmed(mPath.substr(0, mPath.rfind('/') + 1))) : Part(); }

    Part extension() const
    {
        Part const lName = fileName(false);
        std::size_t const lDot = lName ? lName->rfind('.') : std::string::npos;
        return lName ? Part(lDot == std::string::npos ? "" : lName->substr(lDot + 1)) : Part();
    }

    Part volume() const
    {
        std::size_t const lStart = !mPath.empty() && mPath[0] == '/' ? 1 : 0;
        return mIsValid ? Part(mPath.substr(lStart, mPath.find('/', lStart) - lStart)) : Part();
    }

    std::string mPath;
    std::string mNormalised;
    bool mIsValid = false;
};

bool isUtf8(std::string const& nText)
{
    char const* lpAt = nText.c_str();
    unsigned int lSize = 0;
    while (*lpAt != 0 && (lSize = t_charlen(lpAt, nullptr)) != STR_ERROR)
    {
        lpAt += lSize;
    }
    return *lpAt == 0;
}

/// The part that nCall stores in exactly nRoom bytes.
void check(Part const& nExpected, bool nIsUtf8, unsigned int nRoom,
           std::function<bool(char*, unsigned int)> const& nCall)
{
    std::vector<char> lDst(std::max(1U, nRoom), '#');
    bool const lIsStored = nCall(lDst.data(), nRoom);
    if (nIsUtf8)
    {
        test::require(lIsStored == (nExpected && nExpected->size() < nRoom));
        test::require(!lIsStored || *nExpected == lDst.data());
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* npData, std::size_t nSize)
{
    if (nSize < 1)
    {
        return 0;
    }
    // A File syncs its directory in the end, whatever that is here.
    internal::gSystem.mOpen.exchange([](char const*, int, mode_t) { return -1; });
    unsigned int const lRoom = npData[0] < 64 ? npData[0] : 300U;
    std::string const lText(std::string(reinterpret_cast<char const*>(npData + 1), nSize - 1).c_str());
    char const* const lpPath = lText.c_str();
    Plain const lPlain(lText);
    File const lFile(lpPath, 0);
    auto const lOwnName = [&](char* npDst, unsigned int nRoom)
    {
        BasicString<char> lOut(nRoom, 0);
        return lFile.getFileName(&lOut, 0) && nRoom != 0 &&
               copyStrBase<char>(npDst, nRoom, lOut.c_str(), STR_ALL, 0) != STR_ERROR;
    };
    bool const lIsUtf8 = isUtf8(lText);
    check(lPlain.fileName(false), lIsUtf8, lRoom, [&](auto... n) { return File::extractFileName(n..., lpPath, 0); });
    check(lPlain.fileName(true), lIsUtf8, lRoom, [&](auto... n) { return File::extractFileName(n..., lpPath, 1); });
    check(lPlain.fileName(false), lIsUtf8, lRoom, lOwnName);
    check(lPlain.directory(), lIsUtf8, lRoom, [&](auto... n) { return File::extractDirectoryPath(n..., lpPath); });
    check(lPlain.directory(), lIsUtf8, lRoom, [&](auto... n) { return lFile.getDirectoryPath(n...); });
    check(lPlain.extension(), lIsUtf8, lRoom, [&](auto... n) { return File::extractExtension(n..., lpPath); });
    check(lPlain.extension(), lIsUtf8, lRoom, [&](auto... n) { return lFile.getExtension(n...); });
    check(lPlain.volume(), lIsUtf8, lRoom, [&](auto... n) { return File::extractVolumeName(n..., lpPath); });
    check(lPlain.volume(), lIsUtf8, lRoom, [&](auto... n) { return lFile.getVolumeName(n...); });
    check(lPlain.mNormalised, lIsUtf8, lRoom, [&](auto... n) { return lFile.getPath(n...); });
    return 0;
}
