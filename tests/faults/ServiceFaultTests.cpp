// Faults under installation, removal, recovery, the event log, the start of the service and its controls.
#include "tests/faults/FaultTests.h"
#include "tests/faults/Faults.h"
#include "tests/unit/service/MainServiceFixture.h"
#include "tests/unit/service/ProcessListStandIn.h"
#include "tests/unit/service/ServiceDatabaseStandIn.h"
#include "tests/unit/service/ServiceManagerStandIn.h"

#include "hotkey/KeyBoardBridge.h"
#include "service/ServiceInstaller.h"
#include "service/ServiceNames.h"
#include "service/ServiceRecovery.h"

using Faults::FaultRun;

namespace
{

// What was printed belongs to the result.
void TryPrinting(FaultRun& run, void (*operation)())
{
    testing::internal::CaptureStdout();
    run.Try([&] {
        operation();
        return std::wstring{};
    });
    std::string printed = testing::internal::GetCapturedStdout();
    std::replace(printed.begin(), printed.end(), '\n', '/');
    run.Append({printed.begin(), printed.end()});
}

void Install(FaultRun& run)
{
    ServiceDatabaseStandIn database;
    TryPrinting(run, [] {
        InstallService(kServiceName, kServiceDisplayName, kServiceDescription, SERVICE_AUTO_START, L"", nullptr,
                       nullptr);
    });
}

void Remove(FaultRun& run)
{
    ServiceDatabaseStandIn database;
    database.states = {SERVICE_STOP_PENDING, SERVICE_STOP_PENDING, SERVICE_STOPPED};
    ProcessListStandIn processes{{L"QuilHotkeyNotification.exe", L"other.exe"}};
    TryPrinting(run, [] { UninstallService(kServiceName); });
}

void Recovery(FaultRun& run)
{
    ServiceDatabaseStandIn database;
    run.Try([] { return std::to_wstring(Utils::SetServiceRestartRecoveryOnFailure(kServiceName)); });
}

void EventLogEntry(FaultRun& run)
{
    IMPORT_HOOK(RegisterEventSourceW)([](auto...) { return reinterpret_cast<HANDLE>(std::uintptr_t{0x5150}); });
    IMPORT_HOOK(DeregisterEventSource)([](auto...) { return TRUE; });
    IMPORT_HOOK(ReportEventW)([](auto...) { return TRUE; });
    run.Try([] {
        CServiceBase::WriteEventLogEntry(EVENTLOG_ERROR_TYPE, L"Service Start failed w/err 0x%08lx", DWORD{5});
        return Faults::Returned();
    });
}

// The machine's own checks of the event sources fit no run in which one stays closed.
struct QuietEvents
{
    IMPORT_HOOK(RegisterEventSourceW){[](auto...) { return reinterpret_cast<HANDLE>(std::uintptr_t{0x5150}); }};
    IMPORT_HOOK(DeregisterEventSource){[](auto...) { return TRUE; }};
    IMPORT_HOOK(ReportEventW){[](auto...) { return TRUE; }};
    // An error of its own, apart from the injected ones.
    IMPORT_HOOK(OpenSCManagerW){[](auto...) -> SC_HANDLE {
        SetLastError(ERROR_SERVICE_DISABLED);
        return nullptr;
    }};
};

// A service object that a user has logged on to.
void OfService(FaultRun& run, void (*operation)(ExposedService& service, ServiceMachine& machine))
{
    ServiceMachine machine;
    machine.session = 1;
    QuietEvents events;
    ExposedService service;
    run.Try([&] {
        operation(service, machine);
        return Faults::Returned();
    });
    // Each run begins with the helper that the bridge, which lives on, had before.
    RpcServer::CKeyBoardBridge::getInstance(nullptr)->RecreateAppActivationHandler();
}

void ServiceObject(FaultRun& run)
{
    ServiceMachine machine;
    QuietEvents events;
    run.Try([] {
        const ExposedService service;
        return Faults::Returned();
    });
}

void ServiceStart(FaultRun& run)
{
    OfService(run, [](ExposedService& service, ServiceMachine&) { service.Start(); });
}

void WorkItem(FaultRun& run)
{
    ServiceMachine machine;
    QuietEvents events;
    ExposedService service;
    service.Start();
    run.Try([&] {
        machine.RunWorkItemWithoutContext();
        return Faults::Returned();
    });
}

void ServiceStop(FaultRun& run)
{
    OfService(run, [](ExposedService& service, ServiceMachine&) { service.OnStop(); });
}

void ServiceShutdown(FaultRun& run)
{
    OfService(run, [](ExposedService& service, ServiceMachine&) { service.OnShutdown(); });
}

void ServicePreShutdown(FaultRun& run)
{
    OfService(run, [](ExposedService& service, ServiceMachine&) { service.OnPreShutdown(); });
}

void Resume(FaultRun& run)
{
    OfService(run,
              [](ExposedService& service, ServiceMachine&) { service.OnPowerEvent(PBT_APMRESUMEAUTOMATIC, nullptr); });
}

void LogoffAndUnlock(FaultRun& run)
{
    OfService(run, [](ExposedService& service, ServiceMachine&) {
        service.OnSessionChange(WTS_SESSION_LOGOFF, nullptr);
        service.OnSessionChange(WTS_SESSION_UNLOCK, nullptr);
    });
}

// The service as its manager runs it, with every control.
void EveryControl(FaultRun& run)
{
    class Service : public CServiceBase
    {
      public:
        Service() : CServiceBase{kServiceName, true, true, true} {}
    };
    Journal journal;
    ServiceManagerStandIn manager{journal};
    manager.serviceName.reserve(64); // the dispatcher's part of the run is the operation's
    IMPORT_HOOK(StartServiceCtrlDispatcherW)
    ([](const SERVICE_TABLE_ENTRYW* table) {
        const Faults::Callback callback;
        return decltype(hook_StartServiceCtrlDispatcherW)::RealOfCurrent()(table);
    });
    QuietEvents events;
    Service service;
    run.Try([&] {
        const BOOL ran = manager.Run(service, [&] {
            for (const DWORD control : std::initializer_list<DWORD>{
                     SERVICE_CONTROL_PAUSE, SERVICE_CONTROL_CONTINUE, SERVICE_CONTROL_INTERROGATE,
                     SERVICE_CONTROL_POWEREVENT, SERVICE_CONTROL_SESSIONCHANGE, SERVICE_CONTROL_PRESHUTDOWN,
                     SERVICE_CONTROL_SHUTDOWN, SERVICE_CONTROL_STOP})
            {
                EXPECT_EQ(0u, manager.Send(control));
            }
        });
        const UnobservedAllocations own;
        return std::to_wstring(ran) + L" state " + std::to_wstring(manager.Status().dwCurrentState);
    });
}

const Faults::Operation kOperations[] = {
    {"Install", &Install, LR"(
untouched ; CloseServiceHandle 1, 2 => HotKeyServiceTLY is installed./ | holds nothing
GetModuleFileNameW 1 => GetModuleFileName failed w/err 0x{8x}/ | holds nothing
OpenSCManagerW 1 => OpenSCManager failed w/err 0x{8x}/ | holds nothing
CreateServiceW 1 => CreateService failed w/err 0x{8x}/ | holds nothing
ChangeServiceConfig2W 1 => ChangeServiceConfig2 (SERVICE_CONFIG_DESCRIPTION) failed w/err 0x{8x}/HotKeyServiceTLY is installed./ | holds nothing
)"},
    {"Remove", &Remove, LR"(
untouched ; CreateToolhelp32Snapshot 1, 2; Process32FirstW 1, 2; CloseHandle 1, 2; OpenProcess 1; Process32NextW 1; CloseServiceHandle 1, 2 => Stopping HotKeyServiceTLY../HotKeyServiceTLY is stopped./HotKeyServiceTLY is removed./ | holds handle 1
OpenSCManagerW 1 => OpenSCManager failed w/err 0x{8x}/ | holds handle 1
OpenServiceW 1 => OpenService failed w/err 0x{8x}/ | holds handle 1
ControlService 1 => HotKeyServiceTLY is removed./ | holds handle 1
QueryServiceStatus 1 => Stopping HotKeyServiceTLY./HotKeyServiceTLY failed to stop./HotKeyServiceTLY is removed./ | holds handle 1
QueryServiceStatus 2 => Stopping HotKeyServiceTLY../HotKeyServiceTLY failed to stop./HotKeyServiceTLY is removed./ | holds handle 1
DeleteService 1 => Stopping HotKeyServiceTLY../HotKeyServiceTLY is stopped./DeleteService failed w/err 0x{8x}/ | holds handle 1
CreateToolhelp32Snapshot 1+; Process32FirstW 1+; OpenProcess 1+ => Stopping HotKeyServiceTLY../HotKeyServiceTLY is stopped./HotKeyServiceTLY is removed./ | holds nothing
TerminateProcess 1 => Stopping HotKeyServiceTLY../HotKeyServiceTLY is stopped./HotKeyServiceTLY is removed./ | holds handle 2
TerminateProcess 1+ => Stopping HotKeyServiceTLY../HotKeyServiceTLY is stopped./HotKeyServiceTLY is removed./ | holds handle 100
)"},
    {"Recovery", &Recovery, LR"(
untouched ; CloseServiceHandle 1, 2 => 0 | holds nothing
OpenSCManagerW 1 => -3 | holds nothing
  Error|Utils::GetService|OpenSCManager failed w/err 0x{8x}
OpenServiceW 1 => -2 | holds nothing
  Error|Utils::GetService|OpenService failed w/err 0x{8x}
ChangeServiceConfig2W 1 => 1 | holds nothing
  Error|Utils::SetServiceRestartRecoveryOnFailure|ChangeServiceConfig2 (SERVICE_CONFIG_FAILURE_ACTIONS) failed w/err 0x{8x}\n
ChangeServiceConfig2W 1+ => 17 | holds nothing
  Error|Utils::SetServiceRestartRecoveryOnFailure|ChangeServiceConfig2 (SERVICE_CONFIG_FAILURE_ACTIONS) failed w/err 0x{8x}\n
  Error|Utils::SetServiceRestartRecoveryOnFailure|ChangeServiceConfig2 (SERVICE_CONFIG_FAILURE_ACTIONS_FLAG) failed w/err 0x{8x}\n
ChangeServiceConfig2W 2 => 16 | holds nothing
  Error|Utils::SetServiceRestartRecoveryOnFailure|ChangeServiceConfig2 (SERVICE_CONFIG_FAILURE_ACTIONS_FLAG) failed w/err 0x{8x}\n
)"},
    {"EventLogEntry", &EventLogEntry, LR"(
untouched ; RegisterEventSourceW 1; ReportEventW 1; DeregisterEventSource 1 => returned | holds nothing
)",
     true},
    {"ServiceObject", &ServiceObject, LR"(
untouched ; allocation 1 => returned | holds nothing
CoInitializeEx 1 => returned | holds COM -1
  Error|RpcServer::WMIData::WMIData|CoInitializeEx failed.  Error: 0x{hX}
CoInitializeSecurity 1 => returned | holds nothing
  Error|RpcServer::WMIData::WMIData|Failed to initialize security..  Error: 0x{hX}
)"},
    {"ServiceStart", &ServiceStart, LR"(
untouched ; RegisterEventSourceW 1; ReportEventW 1; DeregisterEventSource 1; WTSEnumerateSessionsW 1; RevertToSelf 1 => returned | holds nothing
GetModuleFileNameW 1 => returned | holds nothing
  Error|CMainService::OnStart|GetModuleFileName failed w/err 0x{8x}
GetModuleFileNameW 2 => returned | holds nothing
  Error|Utils::GetBinaryVersion|GetFileVersionInfoSize Return Value  = 0, Error Code = 161 
GetFileVersionInfoSizeW 1 => returned | holds nothing
  Error|Utils::GetBinaryVersion|GetFileVersionInfoSize Return Value  = 0, Error Code = {d} 
OpenSCManagerW 1 => returned | holds nothing
  Error|Utils::GetService|OpenSCManager failed w/err 0x{8x}
WTSGetActiveConsoleSessionId 1 => returned | holds nothing
  Error|Utils::GetCurrentSessionID|WTSGetActiveConsoleSessionId failed with Error: {d}
CreateThreadpoolWork 1 => returned | holds nothing
  Error|CMainService::OnStart|CreateThreadpoolWorkfailed w/err 0x{8x}
allocation 1 => returned | holds nothing
  Error|RpcServer::SysInfo::CHotKeyHandler::CreateAppActivationHandler|CAppActivationHandler creation failed
)"},
    {"WorkItem", &WorkItem, LR"(
untouched ; RegisterEventSourceW 1, 2; ReportEventW 1, 2; DeregisterEventSource 1, 2; InitializeSecurityDescriptor 1; SetSecurityDescriptorDacl 1; RpcServerUseProtseqEpW 1; RpcServerRegisterIf3 1; RpcServerListen 1 => returned | holds local memory -3
DeriveCapabilitySidsFromName 1 => returned | holds nothing
AllocateAndInitializeSid 1; SetEntriesInAclW 1 => returned | holds local memory -2
)",
     true},
    {"ServiceStop", &ServiceStop, LR"(
untouched ; RegisterEventSourceW 1; ReportEventW 1; DeregisterEventSource 1; RevertToSelf 1; CloseHandle 1, 2, 3, 4, 5, 6, 7, 8; SetEvent 1, 2, 3, 4, 5, 6, 7; RpcMgmtStopServerListening 1; RpcServerUnregisterIf 1 => returned | holds handle -8
)"},
    {"ServiceShutdown", &ServiceShutdown, LR"(
untouched ; RegisterEventSourceW 1, 2; ReportEventW 1, 2; DeregisterEventSource 1, 2; RevertToSelf 1; CloseHandle 1, 2, 3, 4, 5, 6, 7, 8; SetEvent 1, 2, 3, 4, 5, 6, 7; RpcMgmtStopServerListening 1; RpcServerUnregisterIf 1 => returned | holds handle -8
)"},
    {"ServicePreShutdown", &ServicePreShutdown, LR"(
untouched ; RegisterEventSourceW 1, 2; ReportEventW 1, 2; DeregisterEventSource 1, 2; RevertToSelf 1; CloseHandle 1, 2, 3, 4, 5, 6, 7, 8; SetEvent 1, 2, 3, 4, 5, 6, 7; RpcMgmtStopServerListening 1; RpcServerUnregisterIf 1 => returned | holds handle -8
)"},
    {"Resume", &Resume, LR"(
untouched ; RevertToSelf 1 => returned | holds nothing
allocation 1 => returned | holds nothing
  Error|RpcServer::SysInfo::CHotKeyHandler::CreateAppActivationHandler|CAppActivationHandler creation failed
)"},
    {"LogoffAndUnlock", &LogoffAndUnlock, LR"(
untouched ; RegisterEventSourceW 1, 2; ReportEventW 1, 2; DeregisterEventSource 1, 2; RevertToSelf 1 => returned | holds nothing
allocation 1 => returned | holds nothing
  Error|RpcServer::SysInfo::CHotKeyHandler::CreateAppActivationHandler|CAppActivationHandler creation failed
)"},
    {"EveryControl", &EveryControl, LR"(
untouched ; SetServiceStatus 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11 => 1 state 1 | holds nothing
StartServiceCtrlDispatcherW 1 => 0 state 0 | holds nothing
RegisterServiceCtrlHandlerExW 1 => exception | holds nothing
SetServiceStatus 1+ => 1 state 0 | holds nothing
SetServiceStatus 2+ => 1 state 2 | holds nothing
SetServiceStatus 3+, 7+ => 1 state 4 | holds nothing
SetServiceStatus 4+ => 1 state 6 | holds nothing
SetServiceStatus 5+ => 1 state 7 | holds nothing
SetServiceStatus 6+ => 1 state 5 | holds nothing
SetServiceStatus 8+, 10+, 12 => 1 state 3 | holds nothing
)",
     true},
};

INSTANTIATE_TEST_SUITE_P(Service, Operations, testing::ValuesIn(kOperations), Faults::NameOf);

} // namespace
