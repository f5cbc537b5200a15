// Files, programs and policies that the profile lists: [files] path = first line or absent, [programs] path =
// installed or absent, [policy] value = text or number. What the profile before it had made goes first.
#include "testbed/machine/Machine.h"

#include "testbed/Profile.h"
#include "testbed/Text.h"

#include <windows.h>

#include <shlobj.h>

#include <vector>

namespace Testbed
{
namespace
{

constexpr wchar_t kService[] = L"C:\\Program Files\\Quil\\HotKeyService\\HotKeyServiceTLY.exe";
constexpr wchar_t kLaunchTarget[] = L"C:\\testbed\\bin\\launchtarget.exe";
constexpr wchar_t kPolicies[] = L"Software\\Policies\\Quil";

bool MakeFolderOf(const std::wstring& path)
{
    const int result = SHCreateDirectoryExW(nullptr, path.substr(0, path.rfind(L'\\')).c_str(), nullptr);
    return result == ERROR_SUCCESS || result == ERROR_ALREADY_EXISTS;
}

bool WriteText(const std::wstring& path, const std::wstring& text)
{
    const std::string bytes = Utf8FromWide(text) + "\r\n";
    const HANDLE file =
        CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE)
    {
        return false;
    }
    DWORD written = 0;
    const BOOL complete = WriteFile(file, bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr);
    CloseHandle(file);
    return complete != FALSE;
}

// As the program itself finds it: the product name in its version resource.
std::wstring ProductName()
{
    DWORD ignored = 0;
    std::vector<BYTE> version(GetFileVersionInfoSizeW(kService, &ignored));
    wchar_t* name = nullptr;
    UINT length = 0;
    if (version.empty() || !GetFileVersionInfoW(kService, 0, static_cast<DWORD>(version.size()), version.data()) ||
        !VerQueryValueW(version.data(), L"\\StringFileInfo\\040904B0\\ProductName", reinterpret_cast<void**>(&name),
                        &length))
    {
        return {};
    }
    return name;
}

bool SetPolicy(const std::wstring& key, const std::wstring& name, const std::wstring& value)
{
    wchar_t* end = nullptr;
    const DWORD number = std::wcstoul(value.c_str(), &end, 0);
    if (*end == L'\0')
    {
        return RegSetKeyValueW(HKEY_LOCAL_MACHINE, key.c_str(), name.c_str(), REG_DWORD, &number, sizeof(number)) ==
               ERROR_SUCCESS;
    }
    return RegSetKeyValueW(HKEY_LOCAL_MACHINE, key.c_str(), name.c_str(), REG_SZ, value.c_str(),
                           static_cast<DWORD>((value.size() + 1) * sizeof(wchar_t))) == ERROR_SUCCESS;
}

} // namespace

bool ApplyFiles(std::wstring& reason)
{
    for (const auto& [path, text] : ProfileEntries(L"files"))
    {
        DeleteFileW(path.c_str());
        if (!SameName(text, L"absent") && (!MakeFolderOf(path) || !WriteText(path, text)))
        {
            reason = L"the file " + path + L" cannot be written";
            return false;
        }
    }
    for (const auto& [path, state] : ProfileEntries(L"programs"))
    {
        DeleteFileW(path.c_str());
        if (!SameName(state, L"absent") && (!MakeFolderOf(path) || !CopyFileW(kLaunchTarget, path.c_str(), FALSE)))
        {
            reason = L"the program " + path + L" cannot be installed: error " + std::to_wstring(GetLastError());
            return false;
        }
    }
    const std::wstring policyKey = std::wstring{kPolicies} + L"\\" + ProductName() + L"\\HotKeyServiceTLY";
    RegDeleteTreeW(HKEY_LOCAL_MACHINE, policyKey.c_str());
    for (const auto& [name, value] : ProfileEntries(L"policy"))
    {
        if (!SetPolicy(policyKey, name, value))
        {
            reason = L"the policy " + name + L" cannot be set";
            return false;
        }
    }
    return true;
}

} // namespace Testbed
