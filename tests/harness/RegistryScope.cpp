#include "tests/harness/RegistryScope.h"

#include <gtest/gtest.h>

#include <atomic>

RegistryScope::RegistryScope()
{
    static std::atomic<int> s_number{0};
    m_path = L"Software\\Quil Tests\\" + std::to_wstring(GetCurrentProcessId()) + L"_" + std::to_wstring(s_number++);
    EXPECT_EQ(ERROR_SUCCESS, RegCreateKeyExW(HKEY_CURRENT_USER, m_path.c_str(), 0, nullptr, REG_OPTION_VOLATILE,
                                             KEY_ALL_ACCESS, nullptr, &m_root, nullptr));
    EXPECT_EQ(ERROR_SUCCESS, RegOverridePredefKey(HKEY_LOCAL_MACHINE, m_root));
}

RegistryScope::~RegistryScope()
{
    EXPECT_EQ(ERROR_SUCCESS, RegOverridePredefKey(HKEY_LOCAL_MACHINE, nullptr));
    RegCloseKey(m_root);
    EXPECT_EQ(ERROR_SUCCESS, RegDeleteTreeW(HKEY_CURRENT_USER, m_path.c_str()));
}

void RegistryScope::MakeKey(const std::wstring& key)
{
    HKEY made = nullptr;
    EXPECT_EQ(ERROR_SUCCESS, RegCreateKeyExW(m_root, key.c_str(), 0, nullptr, REG_OPTION_VOLATILE, KEY_ALL_ACCESS,
                                             nullptr, &made, nullptr));
    RegCloseKey(made);
}

void RegistryScope::SetText(const std::wstring& key, const wchar_t* name, const std::wstring& value)
{
    SetBytes(key, name, REG_SZ, value.c_str(), static_cast<DWORD>((value.size() + 1) * sizeof(wchar_t)));
}

void RegistryScope::SetNumber(const std::wstring& key, const wchar_t* name, DWORD value)
{
    SetBytes(key, name, REG_DWORD, &value, sizeof value);
}

void RegistryScope::SetBytes(const std::wstring& key, const wchar_t* name, DWORD type, const void* bytes, DWORD size)
{
    HKEY opened = nullptr;
    MakeKey(key);
    EXPECT_EQ(ERROR_SUCCESS, RegOpenKeyExW(m_root, key.c_str(), 0, KEY_ALL_ACCESS, &opened));
    EXPECT_EQ(ERROR_SUCCESS, RegSetValueExW(opened, name, 0, type, static_cast<const BYTE*>(bytes), size));
    RegCloseKey(opened);
}
