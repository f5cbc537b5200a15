/// \file
/// The logging policy in the registry: `HKEY_LOCAL_MACHINE\Software\Policies\Quil\<product>` and below it the program's
/// key. Where both keys hold a value the program's counts. Missing keys and values are normal. Read once, at creation.
#pragma once

#include "shared/UniqueHandle.h"

#include <windows.h>

#include <optional>
#include <string>

namespace Quil::Shared
{

/// Opens both keys for reading; either stays null when it is missing. productName null or empty: the ProductName of the
/// program's version resource.
void OpenPolicyKeys(const wchar_t* productName, CUniqueRegistryKey& productKey, CUniqueRegistryKey& programKey);

/// The program's file name without folder and extension.
std::wstring ProgramBaseName();

/// The two keys of a program. A value that is not what its reader takes counts as missing, so that the other key's
/// value is looked at.
class CLogPolicy
{
  public:
    /// Opens the keys; productName as in OpenPolicyKeys.
    explicit CLogPolicy(const wchar_t* productName = nullptr);

    /// The level that a REG_SZ value of at most 256 bytes names; an empty text counts as missing.
    std::optional<int> Level(const wchar_t* valueName) const;
    /// A REG_DWORD value that is not 0.
    std::optional<DWORD> Number(const wchar_t* valueName) const;
    /// Whether a value of 4 bytes, of any type, is not 0.
    std::optional<bool> Flag(const wchar_t* valueName) const;
    /// The CqlLogListener::TypeCode bits that LoggingType names, whatever its type; 0 when it is absent or names none.
    DWORD ListenerMask() const;

  private:
    CUniqueRegistryKey m_productKey;
    CUniqueRegistryKey m_programKey;
};

} // namespace Quil::Shared
