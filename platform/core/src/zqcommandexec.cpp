#include <zqcommandexec.h>

#include <cerrno>
#include <csignal>
#include <memory>
#include <new>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace
{

/** The path and the arguments as execve wants them; the texts are kept with the pointers. */
class ArgumentVector
{
public:
    zqError Init(const zqString &aPath, const zqStringArray &aArguments) noexcept
    {
        const auto lCount = static_cast<std::size_t>(aArguments.GetNumElements());

        mTexts.reset(new (std::nothrow) zqString[lCount + 1]);
        mPointers.reset(new (std::nothrow) char *[lCount + 2]());
        if (mTexts == nullptr || mPointers == nullptr)
            return zqError_OutOfMemory;

        for (std::size_t lIndex = 0; lIndex <= lCount; ++lIndex)
        {
            mTexts[lIndex]    = lIndex == 0 ? aPath : aArguments.GetElement(static_cast<int>(lIndex) - 1);
            mPointers[lIndex] = const_cast<char *>(mTexts[lIndex].GetAsUTFArray());
        }
        return zqError_None;
    }

    char *const *Get() const noexcept { return mPointers.get(); }

private:
    std::unique_ptr<zqString[]> mTexts;
    std::unique_ptr<char *[]>   mPointers;
};

/** What the program is started with: a clean set of signals, nothing to read, and no descriptor but the outputs. */
class SpawnSettings
{
public:
    SpawnSettings() noexcept
        : mHasActions(posix_spawn_file_actions_init(&mActions) == 0),
          mHasAttributes(posix_spawnattr_init(&mAttributes) == 0)
    {
    }
    ~SpawnSettings()
    {
        if (mHasActions)
            (void)posix_spawn_file_actions_destroy(&mActions);
        if (mHasAttributes)
            (void)posix_spawnattr_destroy(&mAttributes);
    }
    SpawnSettings(const SpawnSettings &)            = delete;
    SpawnSettings &operator=(const SpawnSettings &) = delete;

    /** Fails for want of memory alone. */
    bool Init() noexcept
    {
        sigset_t lNone;
        sigset_t lAll;

        (void)sigemptyset(&lNone);
        (void)sigfillset(&lAll);
        return mHasActions && mHasAttributes &&
               posix_spawn_file_actions_addopen(&mActions, STDIN_FILENO, "/dev/null", O_RDONLY, 0) == 0 &&
               posix_spawn_file_actions_addclosefrom_np(&mActions, STDERR_FILENO + 1) == 0 &&
               posix_spawnattr_setsigmask(&mAttributes, &lNone) == 0 &&
               posix_spawnattr_setsigdefault(&mAttributes, &lAll) == 0 &&
               posix_spawnattr_setflags(&mAttributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF) == 0;
    }

    int Spawn(pid_t &aChild, char *const *anArguments) const noexcept
    {
        return posix_spawn(&aChild, anArguments[0], &mActions, &mAttributes, anArguments, environ);
    }

private:
    posix_spawn_file_actions_t mActions;
    posix_spawnattr_t          mAttributes;
    bool                       mHasActions;
    bool                       mHasAttributes;
};

zqError ErrorOfSpawn(int anErrno) noexcept
{
    switch (anErrno)
    {
    case 0:
        return zqError_None;
    case ENOENT:
    case ENOTDIR:
        return zqError_NotFound;
    case EACCES:
    case EPERM:
        return zqError_PermissionDenied;
    case ENOMEM:
        return zqError_OutOfMemory;
    default:
        return zqError_Failed;
    }
}

zqError WaitFor(pid_t aChild, int &aStatus) noexcept
{
    int   lStatus = 0;
    pid_t lEnded;

    do
        lEnded = waitpid(aChild, &lStatus, 0);
    while (lEnded < 0 && errno == EINTR);

    if (lEnded != aChild)
        return zqError_Failed;

    aStatus = WIFSIGNALED(lStatus) ? 128 + WTERMSIG(lStatus) : WEXITSTATUS(lStatus);
    return zqError_None;
}

} // namespace

zqError zqCommandExec(const zqString &aPath, const zqStringArray &aArguments, int &aStatus) noexcept
{
    aStatus = -1;

    if (aPath.IsEmpty())
        return zqError_InvalidArgument;

    ArgumentVector lArguments;
    SpawnSettings  lSettings;
    pid_t          lChild  = -1;
    zqError        lReturn = lArguments.Init(aPath, aArguments);

    if (lReturn == zqError_None)
        lReturn = lSettings.Init() ? ErrorOfSpawn(lSettings.Spawn(lChild, lArguments.Get())) : zqError_OutOfMemory;
    if (lReturn == zqError_None)
        lReturn = WaitFor(lChild, aStatus);
    return lReturn;
}
