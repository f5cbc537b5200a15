// Faults under the endpoint and the operations.
#include "tests/faults/FaultTests.h"
#include "tests/harness/AllocationFault.h"
#include "tests/unit/hotkey/HandlerMachine.h"
#include "tests/unit/hotkey/SourceStandIn.h"
#include "tests/unit/rpc/StubText.h"

#include "compat/MissingDeclarations.h"
#include "hotkey/KeyBoardBridge.h"
#include "rpc/RpcEndpoint.h"

#include <aclapi.h>

#include <vector>

using Faults::FaultRun;

namespace
{

// An RPC run time that takes everything, and the capability of the companion app.
struct RpcRunTime
{
    IMPORT_HOOK(DeriveCapabilitySidsFromName){
        [](LPCWSTR, PSID** groups, DWORD* groupCount, PSID** capabilities, DWORD* count) -> BOOL {
            DWORD size = SECURITY_MAX_SID_SIZE;
            PSID const sid = LocalAlloc(LMEM_FIXED, size);
            CreateWellKnownSid(WinBuiltinUsersSid, nullptr, sid, &size);
            *groups = nullptr;
            *groupCount = 0;
            *capabilities = static_cast<PSID*>(LocalAlloc(LMEM_FIXED, sizeof(PSID)));
            **capabilities = sid;
            *count = 1;
            return TRUE;
        }};
    IMPORT_HOOK(RpcServerUseProtseqEpW){[](auto...) { return RPC_S_OK; }};
    IMPORT_HOOK(RpcServerRegisterIf3){[](auto...) { return RPC_S_OK; }};
    IMPORT_HOOK(RpcServerListen){[](auto...) { return RPC_S_OK; }};
    IMPORT_HOOK(RpcMgmtStopServerListening){[](auto...) { return RPC_S_OK; }};
    IMPORT_HOOK(RpcServerUnregisterIf){[](auto...) { return RPC_S_OK; }};
};

// What the client gets instead of an answer. Here the routine goes on after it.
struct RaisedFaults
{
    std::wstring Text() const { return raised.empty() ? L"" : L", fault " + std::to_wstring(raised.back()); }

    std::vector<RPC_STATUS> raised;
    IMPORT_HOOK(RpcRaiseException){[this](RPC_STATUS status) {
        const UnobservedAllocations own;
        raised.push_back(status);
    }};
};

// The bridge of the process, with a handler that has the framework.
struct Requests
{
    Requests()
    {
        machine.fennix.onMethod = &Faults::MethodResult;
        reader.SetText(L"a;b;c");
        source.reader = &reader;
        RpcServer::CKeyBoardBridge::getInstance(nullptr)->CreateHotKeyHandlerInstance();
    }
    ~Requests() { RpcServer::CKeyBoardBridge::getInstance(nullptr)->ReleaseHotKeyHandlerInstance(); }

    HandlerMachine machine;
    ReaderStandIn reader;
    SourceStandIn source;
};

void Endpoint(FaultRun& run)
{
    RpcRunTime runTime;
    run.Try([] { return std::to_wstring(RpcServerConnect(false)); });
}

void EndpointEnd(FaultRun& run)
{
    RpcRunTime runTime;
    run.Try([] {
        RpcServerDisconnect();
        return Faults::Returned();
    });
}

void Connection(FaultRun& run)
{
    RaisedFaults faults;
    run.Try([] {
        HOTKEY_CONTEXT_HANDLE context = nullptr;
        Connect(nullptr, &context);
        const bool connected = context != nullptr;
        Disconnect(&context);
        const UnobservedAllocations own;
        return std::wstring{connected ? L"connected" : L"refused"};
    });
    run.Append(faults.Text());
}

template <typename Read> void ReadText(FaultRun& run, Read read)
{
    Requests requests;
    RaisedFaults faults;
    run.Try([&] {
        long size = -1;
        wchar_t* text = nullptr;
        read(SomeContext(), &size, &text);
        const UnobservedAllocations own;
        const StubText owner{text};
        return (text != nullptr ? std::wstring{text} : L"(null)") + L" size " + std::to_wstring(size);
    });
    run.Append(faults.Text());
}

void OperationReadSysInfo(FaultRun& run)
{
    ReadText(run, &ReadSysInfo);
}

void OperationReadUSBTypeCInfo(FaultRun& run)
{
    ReadText(run, &ReadUSBTypeCInfo);
}

void OperationIsFennixServiceInstalled(FaultRun& run)
{
    Requests requests;
    RaisedFaults faults;
    run.Try([] { return std::to_wstring(IsFennixServiceInstalled(SomeContext())); });
    run.Append(faults.Text());
}

const Faults::Operation kOperations[] = {
    {"Endpoint", &Endpoint, LR"(
untouched  => 0 | holds local memory -3
DeriveCapabilitySidsFromName 1 => {d} | holds nothing
AllocateAndInitializeSid 1; SetEntriesInAclW 1 => {d} | holds local memory -2
InitializeSecurityDescriptor 1; SetSecurityDescriptorDacl 1; RpcServerUseProtseqEpW 1; RpcServerRegisterIf3 1; RpcServerListen 1 => {d} | holds local memory -3
)"},
    {"EndpointEnd", &EndpointEnd, LR"(
untouched ; RpcMgmtStopServerListening 1; RpcServerUnregisterIf 1 => returned | holds nothing
)"},
    {"Connection", &Connection, LR"(
untouched ; allocation 1 => connected | holds nothing
)",
     true},
    {"ReadSysInfo", &OperationReadSysInfo, LR"(
untouched  => a;b;c<.^.>yes size 14 | holds nothing
ResetEvent 1 => a;b;c<.^.>yes size 14 | holds nothing
  Error|RpcServer::SysInfo::CHotKeyHandler::GetSysInfo|Reset Event for m_hWaitForSysInfoReadCompleteEvent failed with error {d}
IFennix 1 => a;b;c<.^.>0x0 size 14 | holds nothing
  Error|RpcServer::SysInfo::CHotKeyHandler::IsUSBCSupported|Failed to get Platform.USBC.Supported [hr:0x{hX}]
SetEvent 1 => a;b;c<.^.>yes size 14 | holds nothing
  Error|RpcServer::SysInfo::CHotKeyHandler::GetSysInfo|SetEvent for m_hWaitForSysInfoReadCompleteEvent failed with error {d}
)",
     true},
    {"ReadUSBTypeCInfo", &OperationReadUSBTypeCInfo, LR"(
untouched  => USB 2.0|.#.$USB 3.1 Gen 2<.^.>Supported<.^.>Supported<.^.>Supported<.^.>Not Supported<.^.>65W size 94 | holds nothing
IFennix 1, 2, 3 => |.#.$USB 3.1 Gen 1<.^.>Not Supported<.^.>Not Supported<.^.>Not Supported<.^.>Not Supported<.^.>0W size 98 | holds nothing
IFennix 4 => USB 2.0|.#.$USB 3.1 Gen 1<.^.>Not Supported<.^.>Not Supported<.^.>Not Supported<.^.>Not Supported<.^.>0W size 105 | holds nothing
IFennix 5, 6 => USB 2.0|.#.$USB 3.1 Gen 2<.^.>Not Supported<.^.>Not Supported<.^.>Not Supported<.^.>Not Supported<.^.>0W size 105 | holds nothing
IFennix 7 => USB 2.0|.#.$USB 3.1 Gen 2<.^.>Not Supported<.^.>Not Supported<.^.>Supported<.^.>Not Supported<.^.>0W size 101 | holds nothing
IFennix 8 => USB 2.0|.#.$USB 3.1 Gen 2<.^.>Not Supported<.^.>Supported<.^.>Supported<.^.>Not Supported<.^.>0W size 97 | holds nothing
IFennix 9, 10, 11, 12 => USB 2.0|.#.$USB 3.1 Gen 2<.^.>Supported<.^.>Supported<.^.>Supported<.^.>Not Supported<.^.>0W size 93 | holds nothing
)",
     true},
    {"IsFennixServiceInstalled", &OperationIsFennixServiceInstalled, LR"(
untouched ; QueryServiceStatusEx 1; CloseServiceHandle 1, 2 => 1 | holds nothing
OpenSCManagerW 1 => 1 | holds nothing
  Error|Utils::GetService|OpenSCManager failed w/err 0x{8x}
OpenServiceW 1 => 1 | holds nothing
  Error|Utils::GetService|OpenService failed w/err 0x{8x}
QueryServiceConfigW 1, 2; LocalAlloc 1 => 1 | holds nothing
  Error|Utils::IsServicePresent|QueryServiceConfig failed w/err 0x{8x}
GetFileVersionInfoSizeW 1 => 1 | holds nothing
  Error|Utils::GetVersionValue|GetFileVersionInfoSize Return Value  = 0 Error Code = 
GetFileVersionInfoW 1 => 1 | holds nothing
  Error|Utils::GetVersionValue|GetFileVersionInfo failed with error {d}
VerQueryValueW 1 => 1 | holds nothing
  Error|Utils::GetVersionValue|VerQueryValue failed with error {d}
allocation 1 => 1 | holds nothing
  Error|Utils::GetVersionValue|Version String Allocation failed
)",
     true},
};

INSTANTIATE_TEST_SUITE_P(Rpc, Operations, testing::ValuesIn(kOperations), Faults::NameOf);

} // namespace
