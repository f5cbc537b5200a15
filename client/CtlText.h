// The records of the client as tables for people and as JSON for programs. Each text ends in a line feed.
#pragma once

#include "client/HotKeyClient.h"
#include "client/InstalledService.h"

#include <string>
#include <utility>
#include <vector>

namespace HotKey
{

// Labels and values, one pair a line, the values below each other.
std::wstring Table(const std::vector<std::pair<std::wstring, std::wstring>>& rows);

std::wstring SysInfoTable(const CSysInfo& info);
std::wstring SysInfoJson(const CSysInfo& info);
std::wstring UsbTypeCTable(const CUsbTypeC& info);
std::wstring UsbTypeCJson(const CUsbTypeC& info);
std::wstring PresenceTable(const CPresence& presence);
std::wstring PresenceJson(const CPresence& presence);

struct CStatus
{
    std::wstring strClientVersion;
    CInstalledService service;
    bool bAnswers;
    double dMilliseconds;    // of connecting, when the service answers
    std::wstring strTrouble; // why it does not answer
    std::wstring strLog;     // path of its log
    std::wstring strPolicy;  // the log policy in force
};
std::wstring StatusTable(const CStatus& status);
std::wstring StatusJson(const CStatus& status);

} // namespace HotKey
