/// \file
/// The rules of the system-information text: codes taken out of model names, memory amounts, tags of the OEM strings,
/// the form of a build id, and the line itself.
/// Values in, values out: no Windows header, no logging. Throws std::bad_alloc only.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace RpcServer
{

/// What follows the first "#" of a SKU; the whole SKU when it has none.
std::wstring_view OptionCode(std::wstring_view sku) noexcept;

/// The last two characters before the first blank of a system family; empty when there is no blank.
std::wstring_view FamilyCode(std::wstring_view family) noexcept;

/// True when the code equals one of the table, without regard to the case of A to Z.
bool IsListed(std::wstring_view code, std::span<const std::wstring_view> table) noexcept;

/// The decimal number at the start of a text: blanks, a sign and digits; 0 without digits, the nearest limit when it is
/// too big.
std::int64_t LeadingNumber(const std::wstring& text) noexcept;

/// The sum, wrapped around at the ends of the range.
std::int64_t WrappingSum(std::int64_t left, std::int64_t right) noexcept;

/// For example "16.00 GB (15.84 GB usable)"; in MB when less than 1024 MiB are usable.
std::wstring MemoryText(std::int64_t installedMiB, std::int64_t usableMiB);

/// The text behind a tag in the joined OEM strings.
struct OemField
{
    std::wstring_view text; ///< up to the first ";" or to the end
    bool delimited;         ///< there was a ";"
};
/// The text behind the first such tag; nothing without the tag. It is a view of oemStrings.
std::optional<OemField> FindOemField(std::wstring_view oemStrings, std::wstring_view tag) noexcept;

/// True for a build id of the factory's form: ten or more word characters, "#", four, "#", four, and a ";" or none. Any
/// thread.
bool IsFactoryBuild(const std::wstring& build);

/// The fields in one line, `<.^.>` between them. Nothing is escaped; an empty field itself becomes "null".
std::wstring JoinFields(std::span<std::wstring* const> fields);

} // namespace RpcServer
