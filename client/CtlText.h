/// \file
/// The records of the client as tables for people and as JSON for programs. Each text ends in a line feed.
#pragma once

#include "client/HotKeyClient.h"
#include "client/InstalledService.h"

#include <string>
#include <utility>
#include <vector>

namespace HotKey
{

/// Labels and values, one pair a line, the values below each other.
std::wstring Table(const std::vector<std::pair<std::wstring, std::wstring>>& rows);

/// A table for people.
std::wstring SysInfoTable(const CSysInfo& info);
/// An object for programs, as docs/hotkeyctl.schema.json describes it.
std::wstring SysInfoJson(const CSysInfo& info);
/// A table for people.
std::wstring UsbTypeCTable(const CUsbTypeC& info);
/// An object for programs, as docs/hotkeyctl.schema.json describes it.
std::wstring UsbTypeCJson(const CUsbTypeC& info);
/// A table for people.
std::wstring PresenceTable(const CPresence& presence);
/// An object for programs, as docs/hotkeyctl.schema.json describes it.
std::wstring PresenceJson(const CPresence& presence);

/// What "hotkeyctl status" found out.
struct CStatus
{
    std::wstring strClientVersion; ///< of hotkeyctl
    CInstalledService service;     ///< as the service manager has it
    bool bAnswers;                 ///< the endpoint took the connection
    double dMilliseconds;          ///< of connecting, when the service answers
    std::wstring strTrouble;       ///< why it does not answer
    std::wstring strLog;           ///< path of its log
    std::wstring strPolicy;        ///< the log policy in force
};
/// A table for people.
std::wstring StatusTable(const CStatus& status);
/// An object for programs, as docs/hotkeyctl.schema.json describes it.
std::wstring StatusJson(const CStatus& status);

} // namespace HotKey
