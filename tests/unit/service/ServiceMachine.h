// A machine for the service object: no network of COM servers, no framework, a chosen user session, an RPC server whose
// start ends with a chosen status, and a log in which log records, event-log entries and system calls stand in order.
#pragma once

#include "tests/harness/ImportHook.h"
#include "tests/harness/LogCapture.h"
#include "tests/unit/service/EventLogRecorder.h"

#include "compat/MissingDeclarations.h"
#include "hotkey/HotKeyHandler.h"
#include "hotkey/KeyBoardBridge.h"
#include "shared/TraceScope.h"

#include <gtest/gtest.h>

#include <windows.h>

#include <objbase.h>
#include <securitybaseapi.h>
#include <wtsapi32.h>

#include <algorithm>
#include <cwchar>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

class ServiceMachine
{
  public:
    ServiceMachine()
    {
        // The bridge is the process's: it is there, with a handler, whichever test comes first.
        RpcServer::CKeyBoardBridge* const bridge = RpcServer::CKeyBoardBridge::getInstance(nullptr);
        if (bridge->GetHotKeyHandler() == nullptr)
        {
            bridge->CreateHotKeyHandlerInstance();
        }
        log.Clear();
    }
    ServiceMachine(const ServiceMachine&) = delete;
    ServiceMachine& operator=(const ServiceMachine&) = delete;

    LogCapture log;

    DWORD session{0};                                                          // 0: nobody is logged on
    std::wstring modulePath{L"C:\\Program Files\\Quil\\HotKeyServiceTLY.exe"}; // empty: cannot be had
    bool workItemFails{false};                                                 // with error 8
    DWORD rpcStatus{0};                                                        // what RpcServerConnect returns
    bool closeHandleFails{false};
    std::function<void(HANDLE)> onCloseHandle;
    std::function<void()> onCoCreateInstance; // the first step of a reading

    // What happened, in order: "OnStart: Level|message" for records of the service object, "event type|id|text",
    // "system function", and "call function" for the functions of other folders that the service object calls.
    std::vector<std::wstring> Story() const
    {
        std::vector<std::wstring> story;
        for (const LogRecord& record : log.Records())
        {
            const std::wstring function{record.function.begin(), record.function.end()};
            static constexpr std::wstring_view own = L"CMainService::";
            if (function.starts_with(own))
            {
                story.push_back(function.substr(own.size()) + L": " + Quil::Shared::LogLevelName(record.level) + L"|" +
                                record.message);
            }
            else if (function == L"event" || function == L"system")
            {
                story.push_back(function + L" " + record.message);
            }
            else if (function == L"Utils::SetServiceRestartRecoveryOnFailure" && record.level == 0)
            {
                story.push_back(L"call " + function + record.message.substr(record.message.rfind(L' ')));
            }
            else if (record.level == 0 && IsCallee(function))
            {
                story.push_back(L"call " + function);
            }
        }
        return story;
    }
    // The story behind the first line of that text.
    std::vector<std::wstring> StoryAfter(const std::wstring& line) const
    {
        std::vector<std::wstring> story = Story();
        const auto found = std::find(story.begin(), story.end(), line);
        EXPECT_NE(story.end(), found);
        return found == story.end() ? std::vector<std::wstring>{} : std::vector<std::wstring>{found + 1, story.end()};
    }
    int CallsOf(std::string_view function) const
    {
        const std::vector<LogRecord> records = log.Records();
        return static_cast<int>(std::count_if(records.begin(), records.end(), [&](const LogRecord& record) {
            return record.level == 0 && record.function == function;
        }));
    }

    // Runs the work item that the service submitted.
    void RunWorkItem() { m_callback(nullptr, m_context, kWork); }
    void RunWorkItemWithoutContext() { m_callback(nullptr, nullptr, kWork); }

  private:
    static inline const auto kWork = reinterpret_cast<PTP_WORK>(std::uintptr_t{0x3001});

    static bool IsCallee(const std::wstring& function)
    {
        static constexpr std::wstring_view callees[] = {
            L"RpcServer::WMIData::WMIData",
            L"RpcServer::WMIData::~WMIData",
            L"RpcServer::CKeyBoardBridge::getInstance",
            L"RpcServer::CKeyBoardBridge::ReleaseHotKeyHandlerInstance",
            L"RpcServer::SysInfo::CHotKeyHandler::CreateAppActivationHandler",
            L"RpcServer::SysInfo::CHotKeyHandler::GetLocale",
            L"RpcServerDisconnect",
            L"Utils::GetBinaryVersion",
            L"Utils::GetCurrentSessionID",
        };
        return std::find(std::begin(callees), std::end(callees), function) != std::end(callees);
    }
    static void Note(const std::wstring& call) { Quil::Shared::CLogName{"system"}.Information(L"%s", call); }

    // One capability SID, in blocks of its own as the system hands them out.
    static BOOL GiveCapability(PSID** capabilities, DWORD* count)
    {
        DWORD size = SECURITY_MAX_SID_SIZE;
        PSID const sid = LocalAlloc(LMEM_FIXED, size);
        CreateWellKnownSid(WinBuiltinUsersSid, nullptr, sid, &size);
        *capabilities = static_cast<PSID*>(LocalAlloc(LMEM_FIXED, sizeof(PSID)));
        **capabilities = sid;
        *count = 1;
        return TRUE;
    }

    PTP_WORK_CALLBACK m_callback{nullptr};
    void* m_context{nullptr};

    EventLogRecorder m_events{
        [](const std::wstring& entry) { Quil::Shared::CLogName{"event"}.Information(L"%s", entry); }};
    // No framework: its service cannot be found, and the attempts to reach it cost no time.
    IMPORT_HOOK(OpenSCManagerW){[](auto...) -> SC_HANDLE {
        SetLastError(ERROR_ACCESS_DENIED);
        return nullptr;
    }};
    IMPORT_HOOK(Sleep){[](DWORD) {}};

    IMPORT_HOOK(CoInitializeEx){[](auto...) { return S_OK; }};
    IMPORT_HOOK(CoInitializeSecurity){[](auto...) { return S_OK; }};
    IMPORT_HOOK(CoUninitialize){[] {}};
    IMPORT_HOOK(CoCreateInstance){[this](auto...) {
        if (onCoCreateInstance)
        {
            onCoCreateInstance();
        }
        return REGDB_E_CLASSNOTREG;
    }};

    IMPORT_HOOK(GetModuleFileNameW){[this](HMODULE, LPWSTR buffer, DWORD size) -> DWORD {
        EXPECT_EQ(260u, size);
        if (modulePath.empty())
        {
            SetLastError(0xAB);
            return 0;
        }
        std::wcscpy(buffer, modulePath.c_str());
        return static_cast<DWORD>(modulePath.size());
    }};
    IMPORT_HOOK(WTSEnumerateSessionsW){[](auto...) { return FALSE; }};
    IMPORT_HOOK(WTSGetActiveConsoleSessionId){[this] { return session; }};
    IMPORT_HOOK(WTSQueryUserToken){[](auto...) {
        SetLastError(ERROR_NO_TOKEN);
        return FALSE;
    }};

    IMPORT_HOOK(CreateThreadpoolWork){
        [this](PTP_WORK_CALLBACK callback, PVOID context, PTP_CALLBACK_ENVIRON environment) -> PTP_WORK {
            EXPECT_EQ(nullptr, environment);
            Note(L"CreateThreadpoolWork");
            if (workItemFails)
            {
                SetLastError(ERROR_NOT_ENOUGH_MEMORY);
                return nullptr;
            }
            m_callback = callback;
            m_context = context;
            return kWork;
        }};
    IMPORT_HOOK(SubmitThreadpoolWork){[](PTP_WORK work) {
        EXPECT_EQ(kWork, work);
        Note(L"SubmitThreadpoolWork");
    }};

    IMPORT_HOOK(DeriveCapabilitySidsFromName){
        [this](LPCWSTR, PSID**, DWORD*, PSID** capabilities, DWORD* count) -> BOOL {
            Note(L"RpcServerConnect");
            SetLastError(rpcStatus);
            return rpcStatus == 0 && GiveCapability(capabilities, count);
        }};
    IMPORT_HOOK(RpcServerUseProtseqEpW){[](auto...) { return RPC_S_OK; }};
    IMPORT_HOOK(RpcServerRegisterIf3){[](auto...) { return RPC_S_OK; }};
    IMPORT_HOOK(RpcServerListen){[](unsigned, unsigned, unsigned dontWait) {
        EXPECT_EQ(0u, dontWait);
        return RPC_S_OK;
    }};
    IMPORT_HOOK(RpcMgmtStopServerListening){[](auto...) { return RPC_S_OK; }};
    IMPORT_HOOK(RpcServerUnregisterIf){[](auto...) { return RPC_S_OK; }};

    IMPORT_HOOK(SetServiceStatus){[](SERVICE_STATUS_HANDLE, LPSERVICE_STATUS status) {
        Note(L"SetServiceStatus " + std::to_wstring(status->dwCurrentState));
        return TRUE;
    }};
    IMPORT_HOOK(CloseHandle){[this](HANDLE handle) -> BOOL {
        if (onCloseHandle)
        {
            onCloseHandle(handle);
        }
        return closeHandleFails ? FALSE : hook_CloseHandle.Real()(handle);
    }};
};
