#include "support/LogCapture.h"

#include <cstdio>

namespace utl::test
{

namespace
{

std::mutex gMutex;
LogLines gLines;

std::string withoutFrame(std::string nLine)
{
    std::size_t const STAMP_LENGTH = 20; // "Nov 15 08:55:34.123 "
    if (nLine.size() >= STAMP_LENGTH + 2 && nLine[15] == '.' && nLine.compare(nLine.size() - 2, 2, "\r\n") == 0)
    {
        return nLine.substr(STAMP_LENGTH, nLine.size() - STAMP_LENGTH - 2);
    }
    return nLine;
}

} // namespace

LogCapture::LogCapture()
    : mpOriginal(internal::gSystem.mPrintf.exchange(&LogCapture::write))
{
    clear();
}

LogCapture::~LogCapture()
{
    internal::gSystem.mPrintf.exchange(mpOriginal);
}

void LogCapture::write(char const* npFormat)
{
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-security" // a format by contract of the sink
    char lLine[1024];
    std::snprintf(lLine, sizeof(lLine), npFormat);
#pragma GCC diagnostic pop
    std::lock_guard<std::mutex> lGuard(gMutex);
    gLines.emplace_back(lLine);
}

LogLines LogCapture::rawLines() const
{
    std::lock_guard<std::mutex> lGuard(gMutex);
    return gLines;
}

LogLines LogCapture::lines() const
{
    LogLines lLines = rawLines();
    for (std::string& lLine : lLines)
    {
        lLine = withoutFrame(lLine);
    }
    return lLines;
}

unsigned int LogCapture::count(std::string const& nText) const
{
    unsigned int lCount = 0;
    for (std::string const& lLine : lines())
    {
        lCount += lLine.find(nText) != std::string::npos ? 1U : 0U;
    }
    return lCount;
}

void LogCapture::clear()
{
    std::lock_guard<std::mutex> lGuard(gMutex);
    gLines.clear();
}

} // namespace utl::test
