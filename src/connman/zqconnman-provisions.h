/**
 *  @file
 *    The provisioning file, between what it says and how it is stored.
 */

#ifndef ZQCONNMAN_PROVISIONS_H
#define ZQCONNMAN_PROVISIONS_H

#include "zqconnman-private.h"

#include <string>

namespace zq
{

namespace ConnMan
{

constexpr const char *kProvisionsDirectory = "/var/lib/connman";
constexpr const char *kProvisionsPath      = "/var/lib/connman/quil.config";

} // namespace ConnMan

} // namespace zq

/** Make a text the contents of the provisioning file, unless it is already. @retval 0, -1. */
zqError WriteProvisionsFile(const std::string &aText, unsigned long aCount);

/** True when the file as it stands cannot be parsed to its end. */
bool IsProvisionsFileDamaged();

#endif // ZQCONNMAN_PROVISIONS_H
