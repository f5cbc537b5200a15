/// \file
/// `hotkeyctl bench`: how fast the running service answers each operation that changes nothing.
#pragma once

#include "client/CtlOutput.h"
#include "client/HotKeyClient.h"

#include <chrono>

namespace HotKey
{

/// The options of the command.
struct CBenchRequest
{
    unsigned nCalls{200};                     ///< of each operation, at most
    std::chrono::milliseconds patience{5000}; ///< for each operation
    bool bJson{false};                        ///< JSON instead of a table
};

/// Asks one call after the other. Stops at the first call without an answer and returns its exit code.
int RunBench(CHotKeyClient& client, const CCtlOutput& output, const CBenchRequest& request);

} // namespace HotKey
