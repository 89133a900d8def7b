/**
 *  @file
 *    Values of CoreFoundation as texts that can be compared.
 */

#ifndef ZQ_TEST_DESCRIBE_H
#define ZQ_TEST_DESCRIBE_H

#include <string>

#include <CFUtilities.h>

namespace zq::Test
{

/**
 *  text, 1, true, [a, b], {name: value} with entries in the dictionary's order,
 *  <1, 255> for data, null.
 *
 *  @param[in]  aTyped  Strings are quoted, and numbers have their type's code before them: 'text', 2:1.
 */
std::string Describe(CFTypeRef aValue, bool aTyped = false);

} // namespace zq::Test

#endif // ZQ_TEST_DESCRIBE_H
