#include <zqlog.h>

#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <memory>
#include <mutex>
#include <new>

#include <sys/uio.h>
#include <unistd.h>

namespace
{

constexpr int         kDefaultLevel = zqLogLevel_Notice;
constexpr std::size_t kStackSize    = 512;

/** Write a line whole; in one call, so that lines of several threads and processes do not mix. */
void WriteLine(int aDescriptor, const char *aText, std::size_t aLength) noexcept
{
    const bool lHasBreak = aLength != 0 && aText[aLength - 1] == '\n';
    iovec      lParts[] = { { const_cast<char *>(aText), aLength }, { const_cast<char *>("\n"), lHasBreak ? 0U : 1U } };
    iovec     *lPart    = lParts;
    iovec     *lPartsEnd = lParts + 2;

    while (lPart != lPartsEnd)
    {
        ssize_t lWritten = writev(aDescriptor, lPart, static_cast<int>(lPartsEnd - lPart));

        if (lWritten < 0 && errno == EINTR)
            continue;
        if (lWritten <= 0)
            return;

        for (; lPart != lPartsEnd && static_cast<std::size_t>(lWritten) >= lPart->iov_len; ++lPart)
            lWritten -= static_cast<ssize_t>(lPart->iov_len);

        if (lPart != lPartsEnd)
        {
            lPart->iov_base = static_cast<char *>(lPart->iov_base) + lWritten;
            lPart->iov_len -= static_cast<std::size_t>(lWritten);
        }
    }
}

void DefaultHandler(void *, const char *, int, const char *aText) noexcept
{
    WriteLine(STDERR_FILENO, aText, std::strlen(aText));
}

/**
 *  The installed handler and its context, read without a lock.
 *
 *  The sequence is odd while the pair is being changed. A reader that sees a
 *  new half of the pair (acquire) also sees the odd sequence that was stored
 *  before it (release), so a mixed pair is always noticed and read again.
 */
class Installed
{
public:
    void Set(zqLogHandler aHandler, void *aContext, int aLevel)
    {
        const std::lock_guard<std::mutex> lGuard(mWriters);
        const unsigned int                lSequence = mSequence.load(std::memory_order_relaxed);

        mSequence.store(lSequence + 1, std::memory_order_relaxed);
        mHandler.store(aHandler, std::memory_order_release);
        mContext.store(aContext, std::memory_order_release);
        mSequence.store(lSequence + 2, std::memory_order_release);
        mLevel.store(aLevel, std::memory_order_relaxed);
    }

    bool IsEnabled(int aLevel) const noexcept { return aLevel >= mLevel.load(std::memory_order_relaxed); }

    void Call(const char *aComponent, int aLevel, const char *aText) const
    {
        zqLogHandler lHandler;
        void        *lContext;
        unsigned int lSequence;

        do
        {
            lSequence = mSequence.load(std::memory_order_acquire);
            lHandler  = mHandler.load(std::memory_order_acquire);
            lContext  = mContext.load(std::memory_order_acquire);
        } while ((lSequence & 1U) != 0 || lSequence != mSequence.load(std::memory_order_relaxed));

        lHandler(lContext, aComponent, aLevel, aText);
    }

private:
    std::mutex                mWriters;
    std::atomic<unsigned int> mSequence{ 0 };
    std::atomic<zqLogHandler> mHandler{ &DefaultHandler };
    std::atomic<void *>       mContext{ nullptr };
    std::atomic<int>          mLevel{ kDefaultLevel };
};

// Constant-initialised, and trivially usable until the process ends: static
// constructors and destructors log too.
Installed sInstalled;

} // namespace

void zqLogSetHandler(zqLogHandler aHandler, void *aContext, int aLevel)
{
    sInstalled.Set(aHandler != nullptr ? aHandler : &DefaultHandler, aContext, aLevel);
}

bool zqLogIsEnabled(int aLevel)
{
    return sInstalled.IsEnabled(aLevel);
}

void zqLogWithComponent(const char *aComponent, int aLevel, const char *aFormat, ...)
{
    if (aFormat == nullptr || !sInstalled.IsEnabled(aLevel))
        return;

    const int               lErrno = errno;
    char                    lStack[kStackSize];
    std::unique_ptr<char[]> lHeap;
    const char             *lText = lStack;
    va_list                 lArguments;

    va_start(lArguments, aFormat);
    const int lLength = std::vsnprintf(lStack, sizeof(lStack), aFormat, lArguments);
    va_end(lArguments);

    if (lLength < 0)
    {
        // Arguments that cannot be rendered: the bare format still tells what happened.
        lText = aFormat;
    }
    else if (static_cast<std::size_t>(lLength) >= sizeof(lStack))
    {
        const std::size_t lSize = static_cast<std::size_t>(lLength) + 1;

        // Without memory the beginning of the line is better than none of it.
        lHeap.reset(new (std::nothrow) char[lSize]);
        va_start(lArguments, aFormat);
        if (lHeap != nullptr && std::vsnprintf(lHeap.get(), lSize, aFormat, lArguments) >= 0)
            lText = lHeap.get();
        va_end(lArguments);
    }

    sInstalled.Call(aComponent != nullptr ? aComponent : "", aLevel, lText);
    errno = lErrno;
}

void zqLogAssertion(const char *aComponent, const char *aCondition, const char *aMessage, const char *aFile, int aLine)
{
    const char *lComponent = aComponent != nullptr ? aComponent : "";
    const char *lMessage   = aMessage != nullptr ? aMessage : "";

    zqLogWithComponent(lComponent, zqLogLevel_Error, "%s%s%s%s, %s%sfile: %s, line: %d\n", "ASSERT: ", lComponent, ": ",
                       aCondition, lMessage, *lMessage != '\0' ? ", " : "", aFile, aLine);
}
