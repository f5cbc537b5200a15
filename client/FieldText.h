// What the two texts have in common: fields between five-character separators, without labels and without escaping.
#pragma once

#include "client/ClientResult.h"

#include <string>
#include <string_view>
#include <vector>

namespace HotKey
{

inline constexpr std::wstring_view kFieldSeparator = L"<.^.>";
inline constexpr std::wstring_view kDeviceSeparator = L"|.#.$";

std::vector<std::wstring_view> SplitText(std::wstring_view text, std::wstring_view separator);

CError NotUnderstood(std::wstring text);

} // namespace HotKey
