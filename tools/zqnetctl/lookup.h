/**
 *  @file
 *    What the words of a command line stand for.
 */

#ifndef ZQNETCTL_LOOKUP_H
#define ZQNETCTL_LOOKUP_H

#include "events.h"

#include <string>

namespace zqnetctl
{

/**
 *  The service of an object path, of its last segment, or of a name; what
 *  comes first in this order.
 *
 *  @retval   0
 *  @retval -17  There is none.
 *  @retval -18  Several services have this name.
 */
zqError FindService(Manager &aManager, const std::string &aWord, zqSharedPtr<Service> &aService);

/** A property's value: true, false, an integer, a JSON object, array or string; anything else is itself a string. */
Json ParseValue(const std::string &aText);

} // namespace zqnetctl

#endif // ZQNETCTL_LOOKUP_H
