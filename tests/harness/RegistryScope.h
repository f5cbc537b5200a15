// Stands in for HKEY_LOCAL_MACHINE: for its scope this process sees an empty key of its own there, which real registry
// calls read and write. Test processes that run at the same time do not see each other's values, and nothing is left.
//
//   RegistryScope registry;
//   registry.SetText(L"Software\\Policies\\Quil\\Product", L"MinLogLevel", L"Error");
#pragma once

#include <windows.h>

#include <string>

class RegistryScope
{
  public:
    RegistryScope();
    ~RegistryScope();
    RegistryScope(const RegistryScope&) = delete;
    RegistryScope& operator=(const RegistryScope&) = delete;

    // Keys are made as needed; paths are those below HKEY_LOCAL_MACHINE.
    void MakeKey(const std::wstring& key);
    void SetText(const std::wstring& key, const wchar_t* name, const std::wstring& value);
    void SetNumber(const std::wstring& key, const wchar_t* name, DWORD value);
    void SetBytes(const std::wstring& key, const wchar_t* name, DWORD type, const void* bytes, DWORD size);

  private:
    std::wstring m_path; // below HKEY_CURRENT_USER
    HKEY m_root{nullptr};
};
