/**
 *  @file
 *    How a text becomes a zqString without being lost.
 *
 *  Where memory is exhausted, a zqString is empty and its operators leave out
 *  what they could not add, without a word. So the utilities compose texts in
 *  buffers, and make strings of them here alone.
 */

#ifndef ZQNETWORKMANAGER_UTILITIES_TEXT_H
#define ZQNETWORKMANAGER_UTILITIES_TEXT_H

#include <zqstring.h>

namespace zq::NetworkManager::Utilities
{

/** @retval 0, -2, or -5 for what is no UTF-8, which is logged. */
zqError MakeText(const char *aText, zqString &aResult);

/** Needs no memory. @retval 0, or -5 for a string that C would end early, at a NUL inside, which is logged. */
zqError MakeText(CFStringRef aText, zqString &aResult);

} // namespace zq::NetworkManager::Utilities

#endif // ZQNETWORKMANAGER_UTILITIES_TEXT_H
