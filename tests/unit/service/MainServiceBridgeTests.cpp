// The service's events while there is no bridge because memory ran out: nothing happens, and the RPC server still
// stops.
#include "tests/unit/service/MainServiceFixture.h"

#include "tests/harness/AllocationFault.h"
#include "tests/harness/ImportHook.h"
#include "tests/harness/LogCapture.h"

#include <gtest/gtest.h>

#include <windows.h>

#include <objbase.h>
#include <rpc.h>
#include <wtsapi32.h>

#include <cstdlib>
#include <string>

namespace
{

// In a process of its own, which has no bridge yet. Ends with the number of the first expectation that failed.
[[noreturn]] void RaiseEventsWithoutABridge()
{
    LogCapture log;
    IMPORT_HOOK(CoInitializeEx)([](LPVOID, DWORD) -> HRESULT { return S_OK; });
    IMPORT_HOOK(CoInitializeSecurity)([](auto...) -> HRESULT { return S_OK; });
    IMPORT_HOOK(RegisterEventSourceW)([](LPCWSTR, LPCWSTR) -> HANDLE { return nullptr; });
    IMPORT_HOOK(RpcMgmtStopServerListening)([](RPC_BINDING_HANDLE) -> RPC_STATUS { return RPC_S_OK; });
    IMPORT_HOOK(RpcServerUnregisterIf)([](RPC_IF_HANDLE, UUID*, unsigned) -> RPC_STATUS { return RPC_S_OK; });
    const auto calls = [&](const std::string& function) { return static_cast<int>(log.LinesOf(function).size()); };
    ExposedService service;
    const AllocationFault fault{0};

    service.OnSessionChange(WTS_SESSION_LOGON, nullptr);
    service.OnPowerEvent(PBT_APMRESUMEAUTOMATIC, nullptr);
    service.OnStop();

    if (calls("RpcServer::CKeyBoardBridge::getInstance") != 6) // in and out
    {
        std::_Exit(1);
    }
    if (calls("RpcServer::CKeyBoardBridge::CKeyBoardBridge") != 0 ||
        calls("RpcServer::SysInfo::CHotKeyHandler::GetLocale") != 0 ||
        calls("RpcServer::CKeyBoardBridge::ReleaseHotKeyHandlerInstance") != 0)
    {
        std::_Exit(2);
    }
    if (hook_RpcMgmtStopServerListening.Calls() != 1 || hook_RpcServerUnregisterIf.Calls() != 1)
    {
        std::_Exit(3);
    }
    std::exit(0);
}

} // namespace

TEST(MainServiceWithoutABridge, TakesItsEventsAndStopsTheServer)
{
    EXPECT_EXIT(RaiseEventsWithoutABridge(), testing::ExitedWithCode(0), "");
}
