// Makes non-throwing allocations fail on purpose.
// Only `operator new(size, std::nothrow)` is affected: the product allocates its objects with it.
#pragma once

#include <cstddef>

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
