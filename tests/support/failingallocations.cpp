#include "failingallocations.h"

#include <cstdlib>
#include <new>

namespace
{

thread_local bool sFails      = false;
thread_local int  sNumGranted = 0;

void *Allocate(std::size_t aSize) noexcept
{
    if (sFails && sNumGranted-- <= 0)
        return nullptr;
    return std::malloc(aSize != 0 ? aSize : 1);
}

void *AllocateOrThrow(std::size_t aSize)
{
    void *lMemory = Allocate(aSize);

    if (lMemory == nullptr)
        throw std::bad_alloc();
    return lMemory;
}

} // namespace

zq::Test::FailingAllocations::FailingAllocations(int aNumGranted) noexcept
{
    sNumGranted = aNumGranted;
    sFails      = true;
}

zq::Test::FailingAllocations::~FailingAllocations()
{
    sFails = false;
}

// Each form by itself: the sanitizers' own forms do not call one another.

void *operator new(std::size_t aSize)
{
    return AllocateOrThrow(aSize);
}

void *operator new[](std::size_t aSize)
{
    return AllocateOrThrow(aSize);
}

void *operator new(std::size_t aSize, const std::nothrow_t &) noexcept
{
    return Allocate(aSize);
}

void *operator new[](std::size_t aSize, const std::nothrow_t &) noexcept
{
    return Allocate(aSize);
}

void operator delete(void *aMemory) noexcept
{
    std::free(aMemory);
}

void operator delete[](void *aMemory) noexcept
{
    std::free(aMemory);
}

void operator delete(void *aMemory, std::size_t) noexcept
{
    std::free(aMemory);
}

void operator delete[](void *aMemory, std::size_t) noexcept
{
    std::free(aMemory);
}

void operator delete(void *aMemory, const std::nothrow_t &) noexcept
{
    std::free(aMemory);
}

void operator delete[](void *aMemory, const std::nothrow_t &) noexcept
{
    std::free(aMemory);
}
