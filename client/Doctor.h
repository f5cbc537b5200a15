/// \file
/// Is all well with the service on this PC? Facts are gathered by asking Windows, then judged without asking anybody.
#pragma once

#include "client/HotKeyClient.h"
#include "client/InstalledService.h"
#include "client/PolicyValues.h"

#include <optional>
#include <string>
#include <vector>

namespace HotKey
{

/// What a check comes to.
enum class Verdict
{
    Ok,
    Unknown, ///< this PC or this account cannot tell
    Warning,
    Problem
};

/// The outcome of one check.
struct CFinding
{
    const wchar_t* pSubject; ///< what was checked; a literal
    Verdict eVerdict;        ///< how it is
    std::wstring strFinding; ///< what was found
    std::wstring strCure;    ///< empty when all is well
};

/// Accounts that may write somewhere.
struct CWriters
{
    DWORD dwError;                      ///< why they are not known, 0 when they are
    std::vector<std::wstring> accounts; ///< names with their domains, else SIDs as texts
};

/// A fact that may not be known.
enum class Answer
{
    Yes,
    No,
    Unknown
};

/// All that the checks look at.
struct CDoctorFacts
{
    CInstalledService service;         ///< as the service manager has it
    std::wstring strProgramFolder;     ///< of the registered program; empty without one
    CWriters writers;                  ///< who may change files of that folder, besides administrators and the system
    DWORD dwRecoveryError;             ///< why the failure actions are not known, 0 when they are
    DWORD dwRecoveryActions;           ///< how many
    bool bAnswers;                     ///< the endpoint does
    Answer eSystemServer;              ///< whether it is LocalSystem that answers
    std::wstring strLogFolder;         ///< of the service's log
    DWORD dwLogFolderError;            ///< of making a file there
    DWORD dwOldLogsError;              ///< why they cannot be counted, 0 when they can
    unsigned nOldLogs;                 ///< numbered files beside the log
    std::vector<CPolicyValue> policy;  ///< as ReadPolicyValues gives it
    std::optional<CPresence> presence; ///< of the device framework; nothing when the service did not say
    Answer eWmi;                       ///< Unknown: it did not answer in time
    std::wstring strWmiTrouble;        ///< what failed; empty when WMI answers
};

/// Asks Windows, the service and WMI; takes up to the client's time-out and 10 s for WMI.
CDoctorFacts GatherDoctorFacts(CHotKeyClient& client);

/// One finding a check, in the order in which they are shown.
std::vector<CFinding> Judge(const CDoctorFacts& facts);

/// What the child does that asks WMI: 0, or the HRESULT of what failed.
int AskWmi();
/// The hidden command of hotkeyctl that runs it.
constexpr const wchar_t* kAskWmiCommand = L"doctor --ask-wmi";

} // namespace HotKey
