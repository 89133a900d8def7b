/**
 *  @file
 *    Preloaded by scripts/torture: threads are held up at random where they let
 *    go of a lock and around what libdbus does, so that races meet; and while
 *    zq_torture_fail_one_in is set, one in so many allocations of libdbus and
 *    NSPR fails.
 *
 *  No header that declares what is replaced here is included.
 */

#include <cstddef>
#include <cstdint>
#include <cstring>

#include <dlfcn.h>
#include <link.h>
#include <sched.h>
#include <unistd.h>

#define EXPORT extern "C" __attribute__((visibility("default")))

EXPORT volatile int zq_torture_fail_one_in;

volatile int zq_torture_fail_one_in = 0;

namespace
{

std::uint32_t Random()
{
    static thread_local std::uint32_t tState __attribute__((tls_model("initial-exec"))) = 0;

    if (tState == 0)
        tState = static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(&tState)) ^
                 static_cast<std::uint32_t>(getpid());
    tState = tState * 1103515245U + 12345U;
    return tState >> 8;
}

void HoldUp()
{
    const std::uint32_t lChance = Random() % 8;

    if (lChance == 0)
        (void)usleep(Random() % 200);
    else if (lChance < 3)
        (void)sched_yield();
}

// Where the code of the two libraries lies.
struct
{
    std::uintptr_t mBegin;
    std::uintptr_t mEnd;
} sCode[2];

int sNumCode = 0;

int NoteCode(dl_phdr_info *anInfo, std::size_t, void *)
{
    if (std::strstr(anInfo->dlpi_name, "libdbus-1.so") == nullptr &&
        std::strstr(anInfo->dlpi_name, "libnspr4.so") == nullptr)
        return 0;

    for (int lIndex = 0; lIndex < anInfo->dlpi_phnum && sNumCode < 2; lIndex++)
    {
        const ElfW(Phdr) &lPart = anInfo->dlpi_phdr[lIndex];

        if (lPart.p_type == PT_LOAD && (lPart.p_flags & PF_X) != 0)
        {
            sCode[sNumCode].mBegin = anInfo->dlpi_addr + lPart.p_vaddr;
            sCode[sNumCode].mEnd   = sCode[sNumCode].mBegin + lPart.p_memsz;
            sNumCode++;
        }
    }
    return 0;
}

__attribute__((constructor)) void NoteLibraries()
{
    (void)dl_iterate_phdr(NoteCode, nullptr);
}

bool Fails(const void *aCaller)
{
    const auto lCaller = reinterpret_cast<std::uintptr_t>(aCaller);

    if (zq_torture_fail_one_in == 0)
        return false;
    for (const auto &lCode : sCode)
        if (lCaller >= lCode.mBegin && lCaller < lCode.mEnd)
            return Random() % static_cast<std::uint32_t>(zq_torture_fail_one_in) == 0;
    return false;
}

} // namespace

#define HOLD_UP_AROUND(aResult, aName, aParameters, ...)                                                               \
    EXPORT aResult aName aParameters                                                                                   \
    {                                                                                                                  \
        using Function              = aResult(*) aParameters;                                                          \
        static const Function sNext = reinterpret_cast<Function>(dlsym(RTLD_NEXT, #aName));                            \
        HoldUp();                                                                                                      \
        const aResult lReturn = sNext(__VA_ARGS__);                                                                    \
        HoldUp();                                                                                                      \
        return lReturn;                                                                                                \
    }

HOLD_UP_AROUND(int, PR_Unlock, (void *aLock), aLock)
HOLD_UP_AROUND(int, pthread_mutex_unlock, (void *aMutex), aMutex)
HOLD_UP_AROUND(int, dbus_connection_dispatch, (void *aConnection), aConnection)
HOLD_UP_AROUND(int, dbus_connection_get_dispatch_status, (void *aConnection), aConnection)
HOLD_UP_AROUND(std::uint32_t, dbus_connection_read_write, (void *aConnection, int aTimeout), aConnection, aTimeout)
HOLD_UP_AROUND(std::uint32_t, dbus_connection_send, (void *aConnection, void *aMessage, void *aSerial), aConnection,
               aMessage, aSerial)

extern "C" void *__libc_malloc(std::size_t aSize) noexcept;
extern "C" void *__libc_calloc(std::size_t aCount, std::size_t aSize) noexcept;
extern "C" void *__libc_realloc(void *aBlock, std::size_t aSize) noexcept;

EXPORT void *malloc(std::size_t aSize) noexcept
{
    return Fails(__builtin_return_address(0)) ? nullptr : __libc_malloc(aSize);
}

EXPORT void *calloc(std::size_t aCount, std::size_t aSize) noexcept
{
    return Fails(__builtin_return_address(0)) ? nullptr : __libc_calloc(aCount, aSize);
}

EXPORT void *realloc(void *aBlock, std::size_t aSize) noexcept
{
    return Fails(__builtin_return_address(0)) ? nullptr : __libc_realloc(aBlock, aSize);
}
