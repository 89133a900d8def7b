#include "output.h"

#include <algorithm>
#include <cstdio>
#include <ctime>

namespace zqnetctl
{

namespace
{

bool sProgressShown = false;

/** Characters, not bytes: a continuation byte of UTF-8 takes no column. */
std::size_t GetWidth(const std::string &aText)
{
    return static_cast<std::size_t>(
        std::count_if(aText.begin(), aText.end(), [](char aByte) { return (aByte & 0xC0) != 0x80; }));
}

} // namespace

std::string Printable(const std::string &aText)
{
    std::string lResult;

    for (std::size_t lIndex = 0; lIndex < aText.size(); lIndex++)
    {
        const auto lByte = static_cast<unsigned char>(aText[lIndex]);
        const bool lC1 =
            lByte == 0xC2 && lIndex + 1 < aText.size() && static_cast<unsigned char>(aText[lIndex + 1]) < 0xA0;

        if (lByte < 0x20 || lByte == 0x7F || lC1)
            lResult += '?';
        else
            lResult += aText[lIndex];

        if (lC1)
            lIndex++;
    }
    return lResult;
}

std::string Describe(const Json &aValue)
{
    if (aValue.is_string())
        return Printable(aValue.get_ref<const std::string &>());
    if (aValue.is_boolean())
        return aValue.get<bool>() ? "yes" : "no";
    if (!aValue.is_array())
        return Printable(ToLine(aValue));

    std::string lList;

    for (const Json &lElement : aValue)
        lList += (lList.empty() ? "" : ",") + Describe(lElement);
    return lList;
}

std::string Describe(const Json &aProperties, const char *aKey, const char *aDefault)
{
    const auto lFound = aProperties.find(aKey);

    if (lFound == aProperties.end())
        return aDefault;

    std::string lText = Describe(*lFound);
    return lText.empty() ? aDefault : lText;
}

std::string GetTimeOfDay()
{
    timespec lNow   = {};
    tm       lLocal = {};
    char     lText[sizeof "hh:mm:ss"];

    (void)clock_gettime(CLOCK_REALTIME, &lNow);
    (void)localtime_r(&lNow.tv_sec, &lLocal);
    (void)strftime(lText, sizeof lText, "%H:%M:%S", &lLocal);

    const std::string lMilliseconds = std::to_string(1000 + lNow.tv_nsec / 1000000);
    return lText + ("." + lMilliseconds.substr(1));
}

bool PrintLine(const std::string &aLine)
{
    ClearProgress();
    return fwrite(aLine.data(), 1, aLine.size(), stdout) == aLine.size() && fputc('\n', stdout) != EOF &&
           fflush(stdout) == 0;
}

bool PrintLine(const Json &aValue)
{
    return PrintLine(ToLine(aValue));
}

bool Table::Print() const
{
    std::vector<std::size_t> lWidths(mRows.front().size());

    for (const auto &lRow : mRows)
        for (std::size_t lColumn = 0; lColumn < lRow.size(); lColumn++)
            lWidths[lColumn] = std::max(lWidths[lColumn], GetWidth(lRow[lColumn]));

    for (const auto &lRow : mRows)
    {
        std::string lLine;

        for (std::size_t lColumn = 0; lColumn < lRow.size(); lColumn++)
        {
            lLine += lRow[lColumn];
            if (lColumn + 1 < lRow.size())
                lLine.append(lWidths[lColumn] - GetWidth(lRow[lColumn]) + 2, ' ');
        }

        if (!PrintLine(lLine))
            return false;
    }
    return true;
}

void ShowProgress(const std::string &aText, long aSeconds)
{
    printf("\r%s ... %ld s", Printable(aText).c_str(), aSeconds);
    (void)fflush(stdout);
    sProgressShown = true;
}

void ClearProgress()
{
    if (!sProgressShown)
        return;

    fputs("\r\033[K", stdout);
    (void)fflush(stdout);
    sProgressShown = false;
}

} // namespace zqnetctl
