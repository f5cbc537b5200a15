/// \file
/// RPC statuses in words.
#pragma once

#include "client/ClientResult.h"

#include <cstdint>

namespace HotKey
{

/// What a failed call means to the caller: its kind, its status and one line that explains it.
CError DescribeStatus(std::uint32_t status);

/// True when the connection is gone, so that the next call needs a new one.
bool IsConnectionLost(std::uint32_t status) noexcept;

/// True when the call certainly did not reach an operation, so that it may be made again whatever it does.
bool IsCallNotExecuted(std::uint32_t status) noexcept;

} // namespace HotKey
