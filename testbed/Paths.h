// Where the testbed keeps its files inside its prefix.
#pragma once

namespace Testbed
{

inline constexpr wchar_t kRootFolder[] = L"C:\\testbed";
inline constexpr wchar_t kProfilePath[] = L"C:\\testbed\\profile.ini";
inline constexpr wchar_t kProfileFolder[] = L"C:\\testbed\\profiles";
inline constexpr wchar_t kRecordsPath[] = L"C:\\testbed\\records.log";
inline constexpr wchar_t kEventsPath[] = L"C:\\testbed\\events.log";

} // namespace Testbed
