#include "sandbox.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

#include <sys/stat.h>

namespace zq::Test
{

bool InSandbox()
{
    return std::getenv("ZQ_SANDBOX") != nullptr;
}

bool WriteFile(const std::string &aPath, const std::string &aText, mode_t aMode)
{
    std::ofstream lFile(aPath, std::ios::binary | std::ios::trunc);

    lFile << aText;
    lFile.close();

    return !lFile.fail() && (chmod(aPath.c_str(), aMode) == 0);
}

std::string ReadFile(const std::string &aPath)
{
    std::ifstream lFile(aPath, std::ios::binary);

    return std::string(std::istreambuf_iterator<char>(lFile), {});
}

mode_t FileMode(const std::string &aPath)
{
    struct stat lStatus;

    return (stat(aPath.c_str(), &lStatus) == 0) ? (lStatus.st_mode & 07777) : 0;
}

void EmptyDirectory(const std::string &aPath)
{
    std::error_code lError;

    if (!InSandbox())
        return;

    chmod(aPath.c_str(), 0755);
    for (const auto &lEntry : std::filesystem::directory_iterator(aPath, lError))
        std::filesystem::remove_all(lEntry.path(), lError);
}

} // namespace zq::Test
