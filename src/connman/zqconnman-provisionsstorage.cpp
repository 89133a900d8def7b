/**
 *  @file
 *    How the provisioning file is stored: it holds secrets, several processes
 *    may write it, and the daemon reads it whenever it changes. So it is never
 *    changed in place, and after a crash at any instant it is wholly the old
 *    one or wholly the new one.
 */

#include "zqconnman-provisions.h"

#include <cerrno>
#include <cstdio>
#include <new>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace zq::ConnMan
{

namespace
{

constexpr const char *kFileName      = "quil.config";
constexpr const char *kTemporaryName = "quil.tmp";
constexpr const char *kDamagedName   = "quil.damaged"; // without the suffix that the daemon reads

bool HasText(int aFile, const std::string &aText)
{
    char        lBuffer[1024];
    std::size_t lOffset = 0;

    while (lOffset < aText.size())
    {
        const ssize_t lCount = ::read(aFile, lBuffer, sizeof lBuffer);

        if (lCount < 0 && errno == EINTR)
            continue;
        if (lCount <= 0 ||
            aText.compare(lOffset, static_cast<std::size_t>(lCount), lBuffer, static_cast<std::size_t>(lCount)) != 0)
            return false;
        lOffset += static_cast<std::size_t>(lCount);
    }
    return true;
}

/** @returns null when it could not be created. */
std::FILE *CreateTemporary(int aDirectory)
{
    // What is left of a writer that died may have another mode, or be open elsewhere.
    (void)::unlinkat(aDirectory, kTemporaryName, 0);

    Descriptor lFile(::openat(aDirectory, kTemporaryName, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));

    if (!lFile.IsOpen() || ::fchmod(lFile.Get(), 0600) != 0) // the umask may have taken even the owner's bits
        return nullptr;

    std::FILE *lStream = ::fdopen(lFile.Get(), "w");

    if (lStream != nullptr)
    {
        (void)lFile.Leak();
        (void)std::setvbuf(lStream, nullptr, _IONBF, 0); // one write, not one for each block
    }
    return lStream;
}

zqError WriteTemporary(int aDirectory, const std::string &aText)
{
    std::FILE *fp = CreateTemporary(aDirectory);

    ZQ_REQUIRE(fp != NULL, zqError_Failed);

    const std::size_t len       = aText.size();
    const std::size_t len2      = std::fwrite(aText.data(), 1, len, fp);
    const bool        lIsStored = ::fsync(::fileno(fp)) == 0;
    const bool        lIsClosed = std::fclose(fp) == 0;

    ZQ_REQUIRE(len2 == len, zqError_Failed);
    ZQ_REQUIRE(lIsStored && lIsClosed, zqError_Failed);

    return zqError_None;
}

/** Nothing replaces what no set has without a copy of it, which is a secret as the file is. */
bool KeepOld(int aDirectory)
{
    struct stat lStatus = {};

    if (::fstatat(aDirectory, kFileName, &lStatus, 0) != 0 || !S_ISREG(lStatus.st_mode))
        return true; // nothing that could be kept

    (void)::unlinkat(aDirectory, kDamagedName, 0);
    if (::linkat(aDirectory, kFileName, aDirectory, kDamagedName, 0) == 0 &&
        ::fchmodat(aDirectory, kDamagedName, 0600, 0) == 0)
        return true;

    ZQ_LOG(zqLogLevel_Error, "connman: cannot keep the damaged %s: error %d", kProvisionsPath, errno);
    return false;
}

void Flush(int aDirectory)
{
    if (::fsync(aDirectory) != 0)
        ZQ_LOG(zqLogLevel_Error, "connman: cannot flush the directory %s: error %d", kProvisionsDirectory, errno);
}

zqError MapError(int anError) noexcept
{
    switch (anError)
    {
    case EACCES:
    case EPERM:
        return zqError_PermissionDenied;
    case EMFILE:
    case ENFILE:
    case ENOMEM:
        return zqError_NoResources;
    default:
        return zqError_Failed;
    }
}

} // namespace

zqError ReadProvisions(std::string &aText)
try
{
    const Descriptor lFile(::open(kProvisionsPath, O_RDONLY | O_CLOEXEC));
    ssize_t          lCount = lFile.IsOpen() ? 1 : -1;
    char             lBuffer[4096];

    aText.clear();
    if (!lFile.IsOpen() && errno == ENOENT)
        return zqError_None;

    while (lCount > 0 || (lCount < 0 && lFile.IsOpen() && errno == EINTR))
        if ((lCount = ::read(lFile.Get(), lBuffer, sizeof lBuffer)) > 0)
            aText.append(lBuffer, static_cast<std::size_t>(lCount));

    if (lCount == 0)
        return zqError_None;

    const int lError = errno;

    ZQ_LOG(zqLogLevel_Notice, "connman: cannot read %s: error %d", kProvisionsPath, lError);
    return MapError(lError);
}
catch (const std::bad_alloc &)
{
    return zqError_NoResources;
}

zqError ProvisionsFile::Open(int aTimeout)
{
    mDirectory.Reset(::open(kProvisionsDirectory, O_RDONLY | O_DIRECTORY | O_CLOEXEC));

    if (!ZQ_CHECK_TEXT(mDirectory.IsOpen(), "fp != __null"))
        return zqError_Failed;

    return mLock.Take(mDirectory.Get(), aTimeout);
}

bool ProvisionsFile::Holds(const std::string &aText) const
{
    const Descriptor lFile(::openat(mDirectory.Get(), kFileName, O_RDONLY | O_CLOEXEC));
    struct stat      lStatus = {};

    if (!lFile.IsOpen() || ::fstat(lFile.Get(), &lStatus) != 0 ||
        static_cast<std::size_t>(lStatus.st_size) != aText.size() || !HasText(lFile.Get(), aText))
        return false;

    if ((lStatus.st_mode & 07177) != 0 && ::fchmod(lFile.Get(), 0600) != 0)
        ZQ_LOG(zqLogLevel_Error, "connman: cannot narrow %s: error %d", kProvisionsPath, errno);
    return true;
}

zqError ProvisionsFile::Replace(const std::string &aText, unsigned long aCount, bool aKeepsOld)
{
    zqError lReturn = WriteTemporary(mDirectory.Get(), aText);

    if (lReturn == zqError_None && aKeepsOld && !KeepOld(mDirectory.Get()))
        lReturn = zqError_Failed;
    if (lReturn == zqError_None)
    {
        const int ret = ::renameat(mDirectory.Get(), kTemporaryName, mDirectory.Get(), kFileName);

        if (!ZQ_CHECK(ret == 0))
            lReturn = zqError_Failed;
    }
    if (lReturn != zqError_None)
    {
        (void)::unlinkat(mDirectory.Get(), kTemporaryName, 0); // it holds secrets, and room that may be short
        return lReturn;
    }

    // The new file is in place; only whether it stays there after a loss of power is open.
    Flush(mDirectory.Get());
    ZQ_LOG(zqLogLevel_Information, "Wrote %lu provisions to file %s with length %u", aCount, kProvisionsPath,
           static_cast<unsigned int>(aText.size()));
    return zqError_None;
}

zqError ProvisionsFile::RemoveLeftovers()
{
    zqError lReturn = zqError_None;

    for (const char *lName : { kDamagedName, kTemporaryName })
    {
        if (::unlinkat(mDirectory.Get(), lName, 0) != 0 && errno != ENOENT)
        {
            ZQ_LOG(zqLogLevel_Error, "connman: cannot remove %s/%s: error %d", kProvisionsDirectory, lName, errno);
            lReturn = zqError_Failed;
        }
    }
    Flush(mDirectory.Get());
    return lReturn;
}

} // namespace zq::ConnMan
