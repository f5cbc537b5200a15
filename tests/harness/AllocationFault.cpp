#include "tests/harness/AllocationFault.h"

#include <windows.h>

#include <malloc.h>

#include <atomic>
#include <cstdlib>
#include <new>

namespace
{

// Plain statics: emulated thread-local storage would allocate inside the allocator.
struct Fault
{
    std::atomic<bool> active{false};
    std::atomic<int> asked{0};
    std::atomic<int> succeed{0};
    std::atomic<int> fail{0};

    void Start(int passing, int failing) noexcept
    {
        asked = 0;
        succeed = passing;
        fail = failing;
        active = true;
    }
    bool LetsPass() noexcept
    {
        if (!active)
        {
            return true;
        }
        const int number = asked++;
        return number < succeed || number - succeed >= fail;
    }
};

Fault s_nonThrowing;
Fault s_throwing;
std::atomic<bool> s_balanced{false};
std::atomic<int> s_open{0};

// The last byte of each block: whether it is counted. In front of it would be a block of another address than the one
// that the C run time gave.
char& Mark(void* memory) noexcept
{
    return static_cast<char*>(memory)[_msize(memory) - 1];
}

DWORD DepthSlot() noexcept
{
    static const DWORD slot = TlsAlloc();
    return slot;
}

// How deep this thread is in UnobservedAllocations; the last error stays as it is.
std::uintptr_t Depth() noexcept
{
    const DWORD error = GetLastError();
    const auto depth = reinterpret_cast<std::uintptr_t>(TlsGetValue(DepthSlot()));
    SetLastError(error);
    return depth;
}

void SetDepth(std::uintptr_t depth) noexcept
{
    const DWORD error = GetLastError();
    TlsSetValue(DepthSlot(), reinterpret_cast<void*>(depth));
    SetLastError(error);
}

void* Allocate(std::size_t size, Fault& fault) noexcept
{
    const bool observed = (fault.active || s_balanced) && Depth() == 0;
    if (observed && !fault.LetsPass())
    {
        return nullptr;
    }
    void* const memory = std::malloc(size + 1);
    if (memory == nullptr)
    {
        return nullptr;
    }
    const bool counted = observed && s_balanced;
    Mark(memory) = counted ? 1 : 0;
    s_open += counted ? 1 : 0;
    return memory;
}

void Free(void* memory) noexcept
{
    if (memory != nullptr && s_balanced && Mark(memory) != 0)
    {
        --s_open;
    }
    std::free(memory);
}

} // namespace

AllocationFault::AllocationFault(int succeed, int fail) noexcept
{
    s_nonThrowing.Start(succeed, fail);
}

AllocationFault::~AllocationFault()
{
    s_nonThrowing.active = false;
}

int AllocationFault::Asked() const noexcept
{
    return s_nonThrowing.asked;
}

ThrowingAllocationFault::ThrowingAllocationFault(int succeed) noexcept
{
    s_throwing.Start(succeed, 1);
}

ThrowingAllocationFault::~ThrowingAllocationFault()
{
    s_throwing.active = false;
}

int ThrowingAllocationFault::Asked() const noexcept
{
    return s_throwing.asked;
}

AllocationBalance::AllocationBalance() noexcept
{
    s_open = 0;
    s_balanced = true;
}

AllocationBalance::~AllocationBalance()
{
    s_balanced = false;
}

int AllocationBalance::Open() const noexcept
{
    return s_open;
}

UnobservedAllocations::UnobservedAllocations() noexcept
{
    SetDepth(Depth() + 1);
}

UnobservedAllocations::~UnobservedAllocations()
{
    SetDepth(Depth() - 1);
}

ObservedAllocations::ObservedAllocations() noexcept : m_depth{Depth()}
{
    SetDepth(0);
}

ObservedAllocations::~ObservedAllocations()
{
    SetDepth(m_depth);
}

void* operator new(std::size_t size, const std::nothrow_t&) noexcept
{
    return Allocate(size, s_nonThrowing);
}

void* operator new[](std::size_t size, const std::nothrow_t&) noexcept
{
    return Allocate(size, s_nonThrowing);
}

// The throwing forms and all deletes go with them, so that memory returns to the allocator that it came from.
void* operator new(std::size_t size)
{
    if (void* const memory = Allocate(size, s_throwing))
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
    Free(memory);
}

void operator delete[](void* memory) noexcept
{
    Free(memory);
}

void operator delete(void* memory, std::size_t) noexcept
{
    Free(memory);
}

void operator delete[](void* memory, std::size_t) noexcept
{
    Free(memory);
}

void operator delete(void* memory, const std::nothrow_t&) noexcept
{
    Free(memory);
}
