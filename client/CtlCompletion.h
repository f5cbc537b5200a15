// hotkeyctl completion: scripts for shells, made from the commands and options themselves.
#pragma once

#include <CLI/App.hpp>

#include <string>

namespace HotKey
{

std::string BashCompletion(const CLI::App& app);
std::string PowerShellCompletion(const CLI::App& app);

} // namespace HotKey
