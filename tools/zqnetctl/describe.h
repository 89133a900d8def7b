/**
 *  @file
 *    Services and events in a few words.
 */

#ifndef ZQNETCTL_DESCRIBE_H
#define ZQNETCTL_DESCRIBE_H

#include "json.h"

#include <map>
#include <string>

namespace zqnetctl
{

/** "*" online, "+" ready, "~" on its way there, "!" failed, otherwise " ". */
std::string GetStateMark(const Json &aProperties);

/** A service's name, or what stands for it where the network hides it. */
std::string DescribeName(const std::string &aPath, const Json &aProperties);

/** A service's IPv4 address, otherwise its IPv6 one, otherwise "-". */
std::string DescribeAddress(const Json &aProperties);

/** The last segment of an object path. */
std::string GetLastSegment(const std::string &aPath);

/**
 *  Tells events one after the other, each in one line.
 *
 *  It remembers the properties that it has told, so that a change is told by
 *  what differs and not by the whole dictionary that the event may carry.
 */
class Narrator
{
public:
    std::string Tell(const Json &anEvent);

private:
    std::string TellObjects(const Json &anObjects, bool aGone);
    std::string TellChange(const std::string &aPath, const Json &aProperties);
    std::string TellName(const Json &aPath) const;

    std::map<std::string, Json> mKnown; // by object path; the manager's own under ""
};

} // namespace zqnetctl

#endif // ZQNETCTL_DESCRIBE_H
