#include "testbed/machine/Machine.h"

#include "testbed/Paths.h"
#include "testbed/Profile.h"

#include <windows.h>

namespace Testbed
{
namespace
{

void SetText(HKEY root, const wchar_t* key, const wchar_t* value, const std::wstring& text)
{
    RegSetKeyValueW(root, key, value, REG_SZ, text.c_str(), static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t)));
}

} // namespace

void PrepareMachine()
{
    // Wine prefers its own libraries and programs; these come from the files that the testbed lays out.
    SetText(HKEY_CURRENT_USER, L"Software\\Wine\\AppDefaults\\HotKeyServiceTLY.exe\\DllOverrides", L"wtsapi32",
            L"native,builtin");
    SetText(HKEY_CURRENT_USER, L"Software\\Wine\\DllOverrides", L"msinfo32.exe", L"native");

    // With its debugger Wine turns a crash into exit code 0.
    SetText(HKEY_LOCAL_MACHINE, L"Software\\Microsoft\\Windows NT\\CurrentVersion\\AeDebug", L"Debugger", L"");

    // The stand-in for the WMI locator, when this testbed has one.
    constexpr wchar_t locator[] = L"C:\\testbed\\bin\\testbed_wmi.dll";
    if (GetFileAttributesW(locator) != INVALID_FILE_ATTRIBUTES)
    {
        SetText(HKEY_LOCAL_MACHINE, L"Software\\Classes\\CLSID\\{4590F811-1D3A-11D0-891F-00AA004B2E24}\\InprocServer32",
                nullptr, locator);
    }
}

bool ApplyProfile(const std::wstring& name, std::wstring& reason)
{
    const std::wstring source = std::wstring{kProfileFolder} + L"\\" + name + L".ini";
    if (GetFileAttributesW(source.c_str()) == INVALID_FILE_ATTRIBUTES)
    {
        reason = L"there is no profile " + name;
        return false;
    }
    if (!CopyFileW(source.c_str(), kProfilePath, FALSE))
    {
        reason = L"the profile cannot be copied: error " + std::to_wstring(GetLastError());
        return false;
    }
    return ApplyFiles(reason) && ApplyServices(reason) && ApplyNodes(reason);
}

} // namespace Testbed
