/// \file
/// The names under which the service is known to the service manager and to the event log.
#pragma once

/// Service name and event-log source.
inline constexpr wchar_t kServiceName[] = L"HotKeyServiceTLY";
/// What the list of services shows.
inline constexpr wchar_t kServiceDisplayName[] = L"Quil TLY Service";
/// What the list of services shows beside it.
inline constexpr wchar_t kServiceDescription[] = L"Quil Tessaly Service";
