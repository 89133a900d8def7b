#include "logcapture.h"

#include <algorithm>

#include <zqlog.h>

#include <waituntil.h>

namespace zq::Test
{

namespace
{

// A thread may still be inside the handler when the capture is taken away, so
// what the handler touches outlives every capture.
std::mutex                    sLock;
std::vector<LogCapture::Line> sLines;

} // namespace

LogCapture::LogCapture()
{
    Clear();
    zqLogSetHandler(Handle, nullptr, zqLogLevel_Detail);
}

LogCapture::~LogCapture()
{
    zqLogSetHandler(nullptr, nullptr, zqLogLevel_Notice);
}

void LogCapture::Handle(void *, const char *aComponent, int aLevel, const char *aText) noexcept
{
    std::lock_guard<std::mutex> lGuard(sLock);

    sLines.push_back({ aComponent, aLevel, aText });
}

std::vector<LogCapture::Line> LogCapture::GetLines() const
{
    std::lock_guard<std::mutex> lGuard(sLock);

    return sLines;
}

void LogCapture::Clear()
{
    std::lock_guard<std::mutex> lGuard(sLock);

    sLines.clear();
}

std::size_t LogCapture::Count(const std::string &aText, int aLevel) const
{
    std::lock_guard<std::mutex> lGuard(sLock);

    return static_cast<std::size_t>(std::count_if(sLines.begin(), sLines.end(),
                                                  [&](const Line &aLine) {
                                                      return (aLevel == 0 || aLine.mLevel == aLevel) &&
                                                             aLine.mText.find(aText) != std::string::npos;
                                                  }));
}

bool LogCapture::WaitFor(const std::string &aText, int aLevel) const
{
    return Mock::WaitUntil([&] { return Contains(aText, aLevel); });
}

std::string LogCapture::GetText() const
{
    std::string lText;

    for (const Line &lLine : GetLines())
        lText += std::to_string(lLine.mLevel) + " [" + lLine.mComponent + "] " + lLine.mText + "\n";

    return lText;
}

} // namespace zq::Test
