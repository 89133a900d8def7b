#include "log.h"

#include <zqlog.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstring>

namespace zqnetctl
{

namespace
{

std::atomic<unsigned> sNumErrors{ 0 };

void Log(void *, const char *, int aLevel, const char *aText) noexcept
{
    const std::size_t lLength = strlen(aText);
    const bool        lEnded  = lLength > 0 && aText[lLength - 1] == '\n';

    if (aLevel >= zqLogLevel_Error)
        sNumErrors++;
    fprintf(stderr, "[%d] %s%s", aLevel, aText, lEnded ? "" : "\n");
}

} // namespace

void StartLog(int aVerbosity)
{
    zqLogSetHandler(Log, nullptr, std::max<int>(zqLogLevel_Error - aVerbosity, zqLogLevel_Detail));
}

unsigned GetNumErrors()
{
    return sNumErrors;
}

} // namespace zqnetctl
