// Makes allocations fail on purpose, and counts those that nobody gives back.
#pragma once

#include <cstddef>
#include <cstdint>

// Non-throwing allocations (`operator new(size, std::nothrow)`): the product allocates its objects with it.
class AllocationFault
{
  public:
    // Lets the first `succeed` non-throwing allocations pass, fails the next `fail` ones (default: all that follow).
    explicit AllocationFault(int succeed, int fail = 1 << 30) noexcept;
    ~AllocationFault();
    AllocationFault(const AllocationFault&) = delete;
    AllocationFault& operator=(const AllocationFault&) = delete;

    // Non-throwing allocations asked for since construction.
    int Asked() const noexcept;
};

// Throwing allocations: those of the standard library's texts and containers.
class ThrowingAllocationFault
{
  public:
    // Lets the first `succeed` pass, then lets one throw std::bad_alloc.
    explicit ThrowingAllocationFault(int succeed) noexcept;
    ~ThrowingAllocationFault();
    ThrowingAllocationFault(const ThrowingAllocationFault&) = delete;
    ThrowingAllocationFault& operator=(const ThrowingAllocationFault&) = delete;

    // Throwing allocations asked for since construction.
    int Asked() const noexcept;
};

// Counts what is allocated by `new` in its scope, on all threads, and not deleted. What an earlier balance counted and
// this one sees deleted counts as -1: an object that is replaced changes nothing.
class AllocationBalance
{
  public:
    AllocationBalance() noexcept;
    ~AllocationBalance();
    AllocationBalance(const AllocationBalance&) = delete;
    AllocationBalance& operator=(const AllocationBalance&) = delete;

    int Open() const noexcept;
};

// What this thread allocates in this scope is the test's: it neither fails nor counts.
class UnobservedAllocations
{
  public:
    UnobservedAllocations() noexcept;
    ~UnobservedAllocations();
    UnobservedAllocations(const UnobservedAllocations&) = delete;
    UnobservedAllocations& operator=(const UnobservedAllocations&) = delete;
};

// Undoes UnobservedAllocations around it.
class ObservedAllocations
{
  public:
    ObservedAllocations() noexcept;
    ~ObservedAllocations();
    ObservedAllocations(const ObservedAllocations&) = delete;
    ObservedAllocations& operator=(const ObservedAllocations&) = delete;

  private:
    const std::uintptr_t m_depth;
};
