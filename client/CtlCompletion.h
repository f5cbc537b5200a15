/// \file
/// `hotkeyctl completion`: scripts for shells, made from the commands and options themselves.
#pragma once

#include <CLI/App.hpp>

#include <string>

namespace HotKey
{

/// To be sourced by bash.
std::string BashCompletion(const CLI::App& app);
/// To be run by PowerShell.
std::string PowerShellCompletion(const CLI::App& app);

} // namespace HotKey
