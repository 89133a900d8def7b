/**
 *  @file
 *    What goes to standard output: lines, aligned columns, progress.
 */

#ifndef ZQNETCTL_OUTPUT_H
#define ZQNETCTL_OUTPUT_H

#include "json.h"

#include <string>
#include <vector>

namespace zqnetctl
{

/**
 *  The text as it may be shown: a network's name is chosen by whoever runs the
 *  network, so control characters, which a terminal would obey, become '?'.
 */
std::string Printable(const std::string &aText);

/** A value for people: a string bare, a list with commas, an object as JSON; printable. */
std::string Describe(const Json &aValue);

/** The value under a key, described; @a aDefault when there is none or it is empty. */
std::string Describe(const Json &aProperties, const char *aKey, const char *aDefault = "-");

/** The local time of day, to the millisecond. */
std::string GetTimeOfDay();

/** Write one line and flush it. @returns false when standard output is gone. */
bool PrintLine(const std::string &aLine);
bool PrintLine(const Json &aValue);

/** Rows of columns; the first row is the heading. Columns are two spaces apart. */
class Table
{
public:
    explicit Table(std::vector<std::string> aHeading) { mRows.push_back(std::move(aHeading)); }

    void Add(std::vector<std::string> aRow) { mRows.push_back(std::move(aRow)); }

    /** @returns false when standard output is gone. */
    bool Print() const;

private:
    std::vector<std::vector<std::string>> mRows;
};

/** Show on a terminal that something is going on, and for how long. */
void ShowProgress(const std::string &aText, long aSeconds);

/** Take that line away before anything else is written. */
void ClearProgress();

} // namespace zqnetctl

#endif // ZQNETCTL_OUTPUT_H
