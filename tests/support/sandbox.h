/**
 *  @file
 *    The places that are fixed in the library, in a file system of the test's own.
 *
 *  ctest starts a program that is declared with SANDBOX through the script
 *  `sandbox` beside this file. A test that needs those places begins with
 *  ZQ_REQUIRE_SANDBOX(), so that the program started by hand leaves them alone.
 */

#ifndef ZQ_TEST_SANDBOX_H
#define ZQ_TEST_SANDBOX_H

#include <string>

#include <gtest/gtest.h>
#include <sys/types.h>

namespace zq::Test
{

bool InSandbox();

/** Write a file with this mode, whatever the umask. */
bool WriteFile(const std::string &aPath, const std::string &aText, mode_t aMode = 0644);

/** A file's content; empty when it cannot be read. */
std::string ReadFile(const std::string &aPath);

/** Its permission bits; 0 when there is none. */
mode_t FileMode(const std::string &aPath);

/** Make a directory of the sandbox empty again, and writable. */
void EmptyDirectory(const std::string &aPath);

} // namespace zq::Test

#define ZQ_REQUIRE_SANDBOX()                                                                                           \
    do                                                                                                                 \
    {                                                                                                                  \
        if (!zq::Test::InSandbox())                                                                                    \
            GTEST_SKIP() << "start it with tests/support/sandbox";                                                     \
    } while (false)

#endif // ZQ_TEST_SANDBOX_H
