#include "testbed/machine/Controls.h"

#include "testbed/Text.h"

#include <string>

namespace Testbed
{
namespace
{

constexpr DWORD kSessionChangeBase = 128;
constexpr DWORD kPowerEventBase = 160;

struct NamedControl
{
    const wchar_t* name;
    DWORD code;
};

constexpr NamedControl kControls[] = {
    {L"logon", kSessionChangeBase + WTS_SESSION_LOGON},
    {L"logoff", kSessionChangeBase + WTS_SESSION_LOGOFF},
    {L"lock", kSessionChangeBase + WTS_SESSION_LOCK},
    {L"unlock", kSessionChangeBase + WTS_SESSION_UNLOCK},
    {L"suspend", kPowerEventBase + PBT_APMSUSPEND},
    {L"resume", kPowerEventBase + PBT_APMRESUMEAUTOMATIC},
    {L"power-status", kPowerEventBase + PBT_APMPOWERSTATUSCHANGE},
    {L"preshutdown", 220},
    {L"shutdown", 221},
    {L"stop", SERVICE_CONTROL_STOP},
};

std::optional<DWORD> NumberBehind(std::wstring_view prefix, std::wstring_view text)
{
    if (!text.starts_with(prefix) || text.size() == prefix.size())
    {
        return std::nullopt;
    }
    const std::wstring digits{text.substr(prefix.size())};
    wchar_t* end = nullptr;
    const DWORD number = std::wcstoul(digits.c_str(), &end, 0);
    return *end == L'\0' ? std::optional{number} : std::nullopt;
}

} // namespace

std::optional<DWORD> ControlCode(std::wstring_view name)
{
    for (const NamedControl& control : kControls)
    {
        if (SameName(control.name, name))
        {
            return control.code;
        }
    }
    if (const std::optional<DWORD> type = NumberBehind(L"session ", name))
    {
        return kSessionChangeBase + *type;
    }
    if (const std::optional<DWORD> type = NumberBehind(L"power ", name))
    {
        return kPowerEventBase + *type;
    }
    return NumberBehind(L"", name);
}

DWORD SendControl(DWORD code)
{
    DWORD error = ERROR_SUCCESS;
    const SC_HANDLE manager = OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT);
    const SC_HANDLE service = OpenServiceW(manager, L"HotKeyServiceTLY", SERVICE_USER_DEFINED_CONTROL | SERVICE_STOP);
    SERVICE_STATUS status{};
    if (service == nullptr || !ControlService(service, code, &status))
    {
        error = GetLastError();
        // Under Wine a service that stops at once ends before its handler's answer is through.
        if (error == ERROR_BROKEN_PIPE)
        {
            error = ERROR_SUCCESS;
        }
    }
    if (service != nullptr)
    {
        CloseServiceHandle(service);
    }
    CloseServiceHandle(manager);
    return error;
}

} // namespace Testbed
