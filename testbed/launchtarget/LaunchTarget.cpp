// launchtarget.exe stands for whatever the service launches: it records how it was started and ends.
// It keeps running for [launch target] <its file name> = <milliseconds>, so that there is something to end.
#include "testbed/Profile.h"
#include "testbed/Recorder.h"
#include "testbed/Text.h"

#include <windows.h>

#include <string>

namespace
{

std::wstring OwnPath()
{
    wchar_t path[MAX_PATH]{};
    GetModuleFileNameW(nullptr, path, MAX_PATH);
    return path;
}

std::wstring ObjectName(HANDLE object)
{
    wchar_t name[MAX_PATH]{};
    DWORD length = 0;
    return GetUserObjectInformationW(object, UOI_NAME, name, sizeof(name), &length) ? name : L"unknown";
}

std::wstring Session()
{
    DWORD session = 0;
    return ProcessIdToSessionId(GetCurrentProcessId(), &session) ? std::to_wstring(session) : L"unknown";
}

// A 32-bit fact of the own token as text.
std::wstring TokenFact(TOKEN_INFORMATION_CLASS kind)
{
    HANDLE token = nullptr;
    if (!OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &token))
    {
        return L"unknown";
    }
    DWORD value = 0;
    DWORD length = 0;
    const BOOL known = GetTokenInformation(token, kind, &value, sizeof(value), &length);
    CloseHandle(token);
    return known ? std::to_wstring(value) : L"unknown";
}

} // namespace

int WINAPI wWinMain(HINSTANCE, HINSTANCE, wchar_t*, int)
{
    const std::wstring path = OwnPath();
    Testbed::Record(L"launchtarget", L"path=\"" + path + L"\" command-line=\"" + GetCommandLineW() + L"\" pid=" +
                                         std::to_wstring(GetCurrentProcessId()) + L" session=" + Session() +
                                         L" desktop=\"" + ObjectName(GetProcessWindowStation()) + L"\\" +
                                         ObjectName(GetThreadDesktop(GetCurrentThreadId())) + L"\" ui-access=" +
                                         TokenFact(TokenUIAccess) + L" elevation=" + TokenFact(TokenElevationType));
    Sleep(Testbed::ProfileNumber(L"launch target", path.substr(path.rfind(L'\\') + 1), 0));
    return 0;
}
