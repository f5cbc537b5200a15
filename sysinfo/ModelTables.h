/// \file
/// Codes of the models that the reader marks, in the order in which they are compared (without regard to case).
#pragma once

#include <array>
#include <string_view>

namespace RpcServer
{

/// Option codes of the SKU that mark a keyboard with Ctrl+Alt+J.
inline constexpr std::array<std::wstring_view, 18> kSkuOptionCodes{L"AKL", L"AB8", L"ABV", L"B10", L"AB7", L"ABE",
                                                                   L"AKB", L"AKC", L"AKD", L"AKR", L"BCM", L"B1R",
                                                                   L"AKE", L"ABH", L"AK6", L"AK9", L"UUG", L"UUZ"};

/// Two-character codes of the system family.
inline constexpr std::array<std::wstring_view, 8> kFamilyCodes{L"7F", L"6J", L"5X", L"US", L"2C", L"5U", L"6V", L"UT"};

} // namespace RpcServer
