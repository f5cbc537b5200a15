// A machine for stops at any moment: a service manager, an RPC run time with its threads, the device framework and a
// log, all of which count what goes through them. At the chosen point of that count a second thread sends a control.
// What the service frees meanwhile is overwritten and looked at in the end, so that a use of freed memory shows.
#pragma once

#include "tests/harness/ImportHook.h"

#include "compat/MissingDeclarations.h"
#include "hotkey/Fennix.h"
#include "shared/Logger.h"

#include <gtest/gtest.h>

#include <windows.h>

#include <objbase.h>
#include <ole2.h>
#include <securitybaseapi.h>
#include <wtsapi32.h>

#include <atomic>
#include <cstring>
#include <functional>
#include <memory>
#include <thread>
#include <vector>

// Keeps all memory that this program frees, filled with one value, until it is over.
class FreedMemory
{
  public:
    FreedMemory();
    // Fails the test when somebody wrote to freed memory.
    ~FreedMemory();
    FreedMemory(const FreedMemory&) = delete;
    FreedMemory& operator=(const FreedMemory&) = delete;

  private:
    static void Keep(void* memory);
};

// The framework; its questions are points too.
class FrameworkOfStops final : public IFennix
{
  public:
    std::function<void()> onQuestion;

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void** object) override
    {
        *object = static_cast<IFennix*>(this);
        return S_OK;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return 1; }
    ULONG STDMETHODCALLTYPE Release() override { return 1; }
    HRESULT STDMETHODCALLTYPE GetPlatformUsbcSupported(VARIANT_BOOL* out) override { return Yes(out); }
    HRESULT STDMETHODCALLTYPE GetNumberOfUsbPorts(DWORD* out) override { return Number(out); }
    HRESULT STDMETHODCALLTYPE GetSizeOfUsbPort(DWORD* out) override { return Number(out); }
    HRESULT STDMETHODCALLTYPE GetBasicUsbSupport(VARIANT_BOOL* out) override { return Yes(out); }
    HRESULT STDMETHODCALLTYPE GetUsb31Gen2Support(VARIANT_BOOL* out) override { return Yes(out); }
    HRESULT STDMETHODCALLTYPE GetUsbUpstreamPowerDeliverySupport(VARIANT_BOOL* out) override { return Yes(out); }
    HRESULT STDMETHODCALLTYPE GetUsbDownstreamPowerDeliverySupport(VARIANT_BOOL* out) override { return Yes(out); }
    HRESULT STDMETHODCALLTYPE GetUsbDisplayPortSupport(VARIANT_BOOL* out) override { return Yes(out); }
    HRESULT STDMETHODCALLTYPE GetUsbThunderboltSupport(VARIANT_BOOL* out) override { return Yes(out); }
    HRESULT STDMETHODCALLTYPE GetUsbDisplayPortLaneX2Support(VARIANT_BOOL* out) override { return Yes(out); }
    HRESULT STDMETHODCALLTYPE GetUsbDisplayPortLaneX4Support(VARIANT_BOOL* out) override { return Yes(out); }
    HRESULT STDMETHODCALLTYPE GetUsbMaxUpstreamPower(DWORD* out) override { return Number(out); }
    HRESULT STDMETHODCALLTYPE GetUsbMaxDownstreamPower(LONG* out) override { return Number(out); }

  private:
    HRESULT Yes(VARIANT_BOOL* out)
    {
        *out = VARIANT_TRUE;
        onQuestion();
        return S_OK;
    }
    template <typename T> HRESULT Number(T* out)
    {
        *out = 60;
        onQuestion();
        return S_OK;
    }
};

class StopMachine
{
  public:
    StopMachine();
    ~StopMachine();
    StopMachine(const StopMachine&) = delete;
    StopMachine& operator=(const StopMachine&) = delete;

    DWORD session{0};          // 0: nobody is logged on
    bool frameworkFails{true}; // all attempts to make it

    // Begins to count: at that point the control is sent; 0 never.
    void Arm(int point, DWORD control);
    int Points() const noexcept { return m_points; }

    // Runs the service to its end on this thread: start, then the calls on a thread of their own, then the control
    // unless it has come already. False when the service has not stopped in a minute.
    bool Run(std::function<void()> calls);
    // One call of the RPC run time; nothing once the interface is gone.
    void Call(const std::function<void()>& operation);

    int StoppedReports() const noexcept { return m_stopped; }
    int RunningReports() const noexcept { return m_running; }
    // Calls in progress when STOPPED was reported.
    int CallsAtStop() const noexcept { return m_callsAtStop; }

  private:
    class Listener;

    void Point();
    void Send();

    static inline const auto kWork = reinterpret_cast<PTP_WORK>(std::uintptr_t{0x3001});
    static inline const auto kHandle = reinterpret_cast<SC_HANDLE>(std::uintptr_t{0x51});

    std::unique_ptr<Quil::Shared::CqlLogger> m_previousLogger;
    FrameworkOfStops m_framework;

    std::atomic<int> m_points{0};
    std::atomic<int> m_at{0};
    std::atomic<DWORD> m_control{0};
    std::atomic<bool> m_sent{false};
    HANDLE m_hReached{CreateEventW(nullptr, TRUE, FALSE, nullptr)};
    HANDLE m_hHandled{CreateEventW(nullptr, TRUE, FALSE, nullptr)};

    std::atomic<LPHANDLER_FUNCTION_EX> m_handler{nullptr};
    std::function<void()> m_calls;
    std::atomic<bool> m_inTime{true};
    std::atomic<int> m_stopped{0};
    std::atomic<int> m_running{0};
    std::atomic<int> m_callsAtStop{0};

    // The RPC run time.
    HANDLE m_hListeningEnds{CreateEventW(nullptr, TRUE, FALSE, nullptr)};
    std::atomic<bool> m_registered{false};
    std::atomic<int> m_inside{0};
    std::thread m_workItem;
    PTP_WORK_CALLBACK m_callback{nullptr};
    void* m_context{nullptr};

    IMPORT_HOOK(StartServiceCtrlDispatcherW){[this](const SERVICE_TABLE_ENTRYW* table) -> BOOL {
        Send();
        wchar_t* arguments[] = {table[0].lpServiceName};
        table[0].lpServiceProc(1, arguments);
        while (!m_registered && m_stopped == 0)
        {
            hook_Sleep.Real()(1); // clients cannot connect yet
        }
        std::thread caller{[this] { m_calls(); }};
        caller.join();
        SetEvent(m_hReached); // the control comes at the latest now
        m_inTime = WaitForSingleObject(m_hHandled, 60000) == WAIT_OBJECT_0;
        return TRUE;
    }};
    IMPORT_HOOK(RegisterServiceCtrlHandlerExW){
        [this](LPCWSTR, LPHANDLER_FUNCTION_EX handler, LPVOID) -> SERVICE_STATUS_HANDLE {
            m_handler = handler;
            return reinterpret_cast<SERVICE_STATUS_HANDLE>(std::uintptr_t{0x5151});
        }};
    IMPORT_HOOK(SetServiceStatus){[this](SERVICE_STATUS_HANDLE, LPSERVICE_STATUS status) {
        if (status->dwCurrentState == SERVICE_STOPPED)
        {
            m_callsAtStop = m_inside.load();
            ++m_stopped;
        }
        m_running += status->dwCurrentState == SERVICE_RUNNING ? 1 : 0;
        Point();
        return TRUE;
    }};

    IMPORT_HOOK(CreateThreadpoolWork){[this](PTP_WORK_CALLBACK callback, PVOID context, PTP_CALLBACK_ENVIRON) {
        m_callback = callback;
        m_context = context;
        Point();
        return kWork;
    }};
    IMPORT_HOOK(SubmitThreadpoolWork){[this](PTP_WORK) {
        m_workItem = std::thread{[this] { m_callback(nullptr, m_context, kWork); }};
        Point();
    }};
    IMPORT_HOOK(DeriveCapabilitySidsFromName){
        [this](LPCWSTR, PSID** groups, DWORD* groupCount, PSID** capabilities, DWORD* count) -> BOOL {
            *groups = nullptr;
            *groupCount = 0;
            DWORD size = SECURITY_MAX_SID_SIZE;
            PSID const sid = LocalAlloc(LMEM_FIXED, size);
            CreateWellKnownSid(WinBuiltinUsersSid, nullptr, sid, &size);
            *capabilities = static_cast<PSID*>(LocalAlloc(LMEM_FIXED, sizeof(PSID)));
            **capabilities = sid;
            *count = 1;
            Point();
            return TRUE;
        }};
    IMPORT_HOOK(RpcServerUseProtseqEpW){[this](auto...) {
        Point();
        return RPC_S_OK;
    }};
    IMPORT_HOOK(RpcServerRegisterIf3){[this](auto...) {
        m_registered = true;
        Point();
        return RPC_S_OK;
    }};
    IMPORT_HOOK(RpcServerListen){[this](auto...) {
        Point();
        WaitForSingleObject(m_hListeningEnds, INFINITE);
        return RPC_S_OK;
    }};
    IMPORT_HOOK(RpcMgmtStopServerListening){[this](auto...) {
        SetEvent(m_hListeningEnds);
        Point();
        return RPC_S_OK;
    }};
    IMPORT_HOOK(RpcServerUnregisterIf){[this](RPC_IF_HANDLE, UUID*, unsigned wait) {
        EXPECT_EQ(1u, wait);
        m_registered = false;
        while (m_inside != 0)
        {
            hook_Sleep.Real()(1);
        }
        Point();
        return RPC_S_OK;
    }};

    // A user with nothing to start for, the framework's service without a version.
    IMPORT_HOOK(WTSEnumerateSessionsW){[](auto...) { return FALSE; }};
    IMPORT_HOOK(WTSGetActiveConsoleSessionId){[this] {
        Point();
        return session;
    }};
    IMPORT_HOOK(WTSQueryUserToken){[this](auto...) {
        Point();
        SetLastError(ERROR_NO_TOKEN);
        return FALSE;
    }};
    IMPORT_HOOK(OpenSCManagerW){[this](auto...) {
        Point();
        return kHandle;
    }};
    IMPORT_HOOK(OpenServiceW){[this](auto...) {
        Point();
        return kHandle;
    }};
    IMPORT_HOOK(CloseServiceHandle){[](SC_HANDLE) { return TRUE; }};
    IMPORT_HOOK(ChangeServiceConfig2W){[this](auto...) {
        Point();
        return TRUE;
    }};
    IMPORT_HOOK(QueryServiceStatusEx){[this](SC_HANDLE, SC_STATUS_TYPE, LPBYTE buffer, DWORD, LPDWORD) {
        SERVICE_STATUS_PROCESS status{};
        status.dwCurrentState = SERVICE_RUNNING;
        std::memcpy(buffer, &status, sizeof(status));
        Point();
        return TRUE;
    }};
    IMPORT_HOOK(QueryServiceConfigW){[this](auto...) {
        Point();
        SetLastError(ERROR_ACCESS_DENIED);
        return FALSE;
    }};
    IMPORT_HOOK(RegisterEventSourceW){[](auto...) -> HANDLE { return nullptr; }};
    IMPORT_HOOK(CreateProcessAsUserW){[](auto...) { return FALSE; }};

    IMPORT_HOOK(CoInitializeEx){[this](auto...) {
        Point();
        return S_OK;
    }};
    IMPORT_HOOK(CoInitializeSecurity){[](auto...) { return S_OK; }};
    IMPORT_HOOK(CoUninitialize){[this] { Point(); }};
    IMPORT_HOOK(CreateActCtxW){[](auto...) { return reinterpret_cast<HANDLE>(std::uintptr_t{0x7000}); }};
    IMPORT_HOOK(ActivateActCtx){[this](HANDLE, ULONG_PTR* cookie) {
        *cookie = 1;
        Point();
        return TRUE;
    }};
    IMPORT_HOOK(DeactivateActCtx){[](auto...) { return TRUE; }};
    IMPORT_HOOK(ReleaseActCtx){[](HANDLE) {}};
    IMPORT_HOOK(CoCreateInstance){[this](REFCLSID id, LPUNKNOWN, DWORD, REFIID, LPVOID* object) -> HRESULT {
        Point();
        const bool framework = IsEqualCLSID(id, kFennixClass) && !frameworkFails;
        *object = framework ? static_cast<IFennix*>(&m_framework) : nullptr;
        return framework ? S_OK : REGDB_E_CLASSNOTREG;
    }};
    IMPORT_HOOK(OleRun){[](auto...) { return S_OK; }};
    IMPORT_HOOK(Sleep){[this](DWORD) { Point(); }};

    std::thread m_sender;
    FreedMemory m_freed;
};
