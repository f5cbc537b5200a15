#include "tests/harness/AllocationFault.h"

#include <atomic>
#include <cstdlib>
#include <new>

namespace
{
// Plain statics: emulated thread-local storage would allocate inside the allocator.
std::atomic<bool> s_active{false};
std::atomic<int> s_asked{0};
std::atomic<int> s_succeed{0};
std::atomic<int> s_fail{0};

bool MayAllocate() noexcept
{
    if (!s_active)
    {
        return true;
    }
    const int number = s_asked++;
    return number < s_succeed || number - s_succeed >= s_fail;
}
} // namespace

AllocationFault::AllocationFault(int succeed, int fail) noexcept
{
    s_asked = 0;
    s_succeed = succeed;
    s_fail = fail;
    s_active = true;
}

AllocationFault::~AllocationFault()
{
    s_active = false;
}

int AllocationFault::Asked() const noexcept
{
    return s_asked;
}

void* operator new(std::size_t size, const std::nothrow_t&) noexcept
{
    return MayAllocate() ? std::malloc(size != 0 ? size : 1) : nullptr;
}

void* operator new[](std::size_t size, const std::nothrow_t&) noexcept
{
    return MayAllocate() ? std::malloc(size != 0 ? size : 1) : nullptr;
}

// The throwing forms and all deletes go with them, so that memory returns to the allocator that it came from.
void* operator new(std::size_t size)
{
    if (void* const memory = std::malloc(size != 0 ? size : 1))
    {
        return memory;
    }
    throw std::bad_alloc{};
}

void* operator new[](std::size_t size)
{
    return operator new(size);
}

void operator delete(void* memory) noexcept
{
    std::free(memory);
}

void operator delete[](void* memory) noexcept
{
    std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept
{
    std::free(memory);
}

void operator delete[](void* memory, std::size_t) noexcept
{
    std::free(memory);
}

void operator delete(void* memory, const std::nothrow_t&) noexcept
{
    std::free(memory);
}

void operator delete[](void* memory, const std::nothrow_t&) noexcept
{
    std::free(memory);
}
