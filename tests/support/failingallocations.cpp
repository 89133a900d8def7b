#include "failingallocations.h"

#include <cstdlib>
#include <new>

namespace
{

thread_local int sNumGranted = 0;
thread_local int sNumFailing = 0;

void *Allocate(std::size_t aSize) noexcept
{
    if (sNumFailing > 0 && sNumGranted-- <= 0)
    {
        --sNumFailing;
        return nullptr;
    }
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

zq::Test::FailingAllocations::FailingAllocations(int aNumGranted, int aNumFailing) noexcept
{
    sNumGranted = aNumGranted;
    sNumFailing = aNumFailing;
}

zq::Test::FailingAllocations::~FailingAllocations()
{
    sNumFailing = 0;
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
