// The interposed functions.
#pragma once

#include "tests/harness/AllocationFault.h"

namespace Faults
{

// Puts the faults in front of whatever the import slots hold, for a scope.
class Interposition
{
  public:
    Interposition();
    ~Interposition();
    Interposition(const Interposition&) = delete;
    Interposition& operator=(const Interposition&) = delete;
};

// What a stand-in calls back on this thread is the operation again, for a scope.
class Callback
{
  public:
    Callback();
    ~Callback();
    Callback(const Callback&) = delete;
    Callback& operator=(const Callback&) = delete;

  private:
    const int m_depth;
    const ObservedAllocations m_observed;
};

} // namespace Faults
