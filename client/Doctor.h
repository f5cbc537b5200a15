// Is all well with the service on this PC? Facts are gathered by asking Windows, then judged without asking anybody.
#pragma once

#include "client/HotKeyClient.h"
#include "client/InstalledService.h"
#include "client/PolicyValues.h"

#include <optional>
#include <string>
#include <vector>

namespace HotKey
{

enum class Verdict
{
    Ok,
    Unknown, // this PC or this account cannot tell
    Warning,
    Problem
};

struct CFinding
{
    const wchar_t* pSubject;
    Verdict eVerdict;
    std::wstring strFinding;
    std::wstring strCure; // empty when all is well
};

struct CWriters
{
    DWORD dwError; // why they are not known, 0 when they are
    std::vector<std::wstring> accounts;
};

enum class Answer
{
    Yes,
    No,
    Unknown
};

struct CDoctorFacts
{
    CInstalledService service;
    std::wstring strProgramFolder;
    CWriters writers; // who may change files of that folder, besides administrators and the system
    DWORD dwRecoveryError;
    DWORD dwRecoveryActions; // how many
    bool bAnswers;           // the endpoint does
    Answer eSystemServer;    // whether it is LocalSystem that answers
    std::wstring strLogFolder;
    DWORD dwLogFolderError; // of making a file there
    DWORD dwOldLogsError;   // why they cannot be counted, 0 when they can
    unsigned nOldLogs;
    std::vector<CPolicyValue> policy;
    std::optional<CPresence> presence;
    Answer eWmi; // Unknown: it did not answer in time
    std::wstring strWmiTrouble;
};

// Asks Windows, the service and WMI; takes up to the client's time-out and 10 s for WMI.
CDoctorFacts GatherDoctorFacts(CHotKeyClient& client);

std::vector<CFinding> Judge(const CDoctorFacts& facts);

// What the child does that asks WMI: 0, or the HRESULT of what failed.
int AskWmi();
// The hidden command of hotkeyctl that runs it.
constexpr const wchar_t* kAskWmiCommand = L"doctor --ask-wmi";

} // namespace HotKey
