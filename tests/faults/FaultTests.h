// The test that every operation's sweep is: a file per folder instantiates it with its operations and their tables.
#pragma once

#include "tests/faults/FaultRun.h"
#include "tests/harness/AllocationFault.h"

#include <gtest/gtest.h>

#include <ostream>
#include <string>

namespace Faults
{

// What an operation without a result gives.
inline std::wstring Returned()
{
    const UnobservedAllocations own;
    return L"returned";
}

inline void PrintTo(const Operation& operation, std::ostream* stream)
{
    *stream << operation.name;
}

inline std::string NameOf(const testing::TestParamInfo<Operation>& info)
{
    return info.param.name;
}

} // namespace Faults

class Operations : public testing::TestWithParam<Faults::Operation>
{
};
