/// \file
/// Tells whether a Plug and Play hardware node exists and has a driver. Any thread may call this.
#pragma once

namespace Utils
{

/// node: the enumerator string of the node, such as its ACPI id. 1 when its first device has a compatible driver, 0 in
/// any other case.
long IsHardwareNodePresent(const wchar_t* node);

} // namespace Utils
