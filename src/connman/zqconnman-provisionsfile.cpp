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
#include <utility>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace zq::ConnMan;

namespace
{

// Relative to the directory's descriptor: the directory may be replaced meanwhile.
constexpr const char *kFileName      = "quil.config";
constexpr const char *kTemporaryName = "quil.tmp";
constexpr const char *kDamagedName   = "quil.damaged"; // without the suffix that the daemon reads

/** A descriptor that closes itself. */
class Descriptor
{
public:
    explicit Descriptor(int aDescriptor) noexcept : mDescriptor(aDescriptor) {}
    ~Descriptor()
    {
        if (mDescriptor >= 0)
            (void)::close(mDescriptor);
    }
    Descriptor(const Descriptor &)            = delete;
    Descriptor &operator=(const Descriptor &) = delete;

    int  Get() const noexcept { return mDescriptor; }
    int  Leak() noexcept { return std::exchange(mDescriptor, -1); }
    bool IsOpen() const noexcept { return mDescriptor >= 0; }

private:
    int mDescriptor;
};

bool HoldsAlready(int aDirectory, const std::string &aText)
{
    const Descriptor lFile(::openat(aDirectory, kFileName, O_RDONLY | O_CLOEXEC));
    struct stat      lStatus = {};

    if (!lFile.IsOpen() || ::fstat(lFile.Get(), &lStatus) != 0 ||
        static_cast<std::size_t>(lStatus.st_size) != aText.size())
        return false;

    char        lBuffer[1024];
    std::size_t lOffset = 0;

    while (lOffset < aText.size())
    {
        const ssize_t lCount = ::read(lFile.Get(), lBuffer, sizeof lBuffer);

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

/** What cannot be parsed was not read either: its records are in no set that is written. */
void KeepDamaged(int aDirectory)
{
    struct stat lStatus = {};

    if (::fstatat(aDirectory, kFileName, &lStatus, 0) != 0 || !IsProvisionsFileDamaged())
        return;

    (void)::unlinkat(aDirectory, kDamagedName, 0);
    if (::linkat(aDirectory, kFileName, aDirectory, kDamagedName, 0) != 0)
        ZQ_LOG(zqLogLevel_Error, "connman: cannot keep the damaged %s: error %d", kProvisionsPath, errno);
}

zqError Replace(int aDirectory, const std::string &aText)
{
    const zqError lReturn = WriteTemporary(aDirectory, aText);

    if (lReturn != zqError_None)
        return lReturn;

    KeepDamaged(aDirectory);

    const int ret = ::renameat(aDirectory, kTemporaryName, aDirectory, kFileName);

    ZQ_REQUIRE(ret == 0, zqError_Failed);

    // The new file is in place; only whether it stays there after a loss of power is open.
    if (::fsync(aDirectory) != 0)
        ZQ_LOG(zqLogLevel_Error, "connman: cannot flush the directory %s: error %d", kProvisionsDirectory, errno);

    return zqError_None;
}

} // namespace

zqError WriteProvisionsFile(const std::string &aText, unsigned long aCount)
{
    const Descriptor lDirectory(::open(kProvisionsDirectory, O_RDONLY | O_DIRECTORY | O_CLOEXEC));

    if (!ZQ_CHECK_TEXT(lDirectory.IsOpen(), "fp != __null"))
        return zqError_Failed;

    // The temporary file has one name: a second writer would rename what the first has half written.
    while (::flock(lDirectory.Get(), LOCK_EX) != 0)
        if (errno != EINTR)
            return zqError_Failed;

    if (HoldsAlready(lDirectory.Get(), aText))
        return zqError_None;

    const zqError lReturn = Replace(lDirectory.Get(), aText);

    if (lReturn != zqError_None)
    {
        (void)::unlinkat(lDirectory.Get(), kTemporaryName, 0); // it holds secrets, and room that may be short
        return lReturn;
    }

    ZQ_LOG(zqLogLevel_Information, "Wrote %lu provisions to file %s with length %u", aCount, kProvisionsPath,
           static_cast<unsigned int>(aText.size()));
    return zqError_None;
}
