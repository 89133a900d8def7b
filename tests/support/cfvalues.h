/**
 *  @file
 *    Values of CoreFoundation, made in a word.
 */

#ifndef ZQ_TEST_CFVALUES_H
#define ZQ_TEST_CFVALUES_H

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include <CFUtilities.h>

#include "describe.h"

namespace zq::Test
{

using String     = CFUSharedRef<CFStringRef>;
using Value      = CFUSharedRef<CFTypeRef>;
using Dictionary = CFUSharedRef<CFMutableDictionaryRef>;

String                   Str(const std::string &aText);
Value                    Number(std::int64_t aValue);
Value                    Bool(bool aValue);
CFUSharedRef<CFArrayRef> Strings(const std::vector<std::string> &aTexts);
Dictionary               Dict(const std::vector<std::pair<CFStringRef, Value>> &anEntries = {});

/** As Describe: "null" for null. */
inline std::string Text(CFTypeRef aValue)
{
    return Describe(aValue);
}

} // namespace zq::Test

#endif // ZQ_TEST_CFVALUES_H
