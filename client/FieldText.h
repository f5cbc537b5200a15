/// \file
/// What the two texts have in common: fields between five-character separators, without labels and without escaping.
#pragma once

#include "client/ClientResult.h"

#include <string>
#include <string_view>
#include <vector>

namespace HotKey
{

/// Between the fields of both texts.
inline constexpr std::wstring_view kFieldSeparator = L"<.^.>";
/// Between the devices in the first field of the USB Type-C text.
inline constexpr std::wstring_view kDeviceSeparator = L"|.#.$";

/// At least one field; an empty one between two separators. The views are of the text.
std::vector<std::wstring_view> SplitText(std::wstring_view text, std::wstring_view separator);

/// An error of that kind without a status.
CError NotUnderstood(std::wstring text);

} // namespace HotKey
