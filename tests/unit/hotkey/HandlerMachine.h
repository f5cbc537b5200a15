// The machine that a handler is made on, in import hooks: the framework's service, activation contexts, COM and time.
//
//   HandlerMachine machine;                  service present, all three manifests lead to the framework
//   machine.classResults[L"..."] = E_FAIL;   what creating the class through one manifest gives
//   ProbeHandler handler{nullptr};
//   EXPECT_THAT(machine.calls, ElementsAre(L"CoInitializeEx 0", ...));
#pragma once

#include "tests/unit/hotkey/FennixStandIn.h"

#include "hotkey/HotKeyHandler.h"
#include "tests/harness/ImportHook.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include <ole2.h>

inline constexpr wchar_t kFirstManifest[] = L"HotkeyServiceTLY.exe.manifest";
inline constexpr wchar_t kSecondManifest[] = L"QuilFennixManager.manifest";
inline constexpr wchar_t kThirdManifest[] = L"HotkeyServiceTLY_amd64.xml";

// A handler whose members a test may look at and set.
class ProbeHandler : public RpcServer::SysInfo::CHotKeyHandler
{
  public:
    using CHotKeyHandler::CHotKeyHandler;

    using CHotKeyHandler::m_bStop;
    using CHotKeyHandler::m_hActCtx;
    using CHotKeyHandler::m_hReserved;
    using CHotKeyHandler::m_hSecondReserved;
    using CHotKeyHandler::m_hWaitAndSetSingleScancodeThread;
    using CHotKeyHandler::m_hWaitForSysInfoReadCompleteEvent;
    using CHotKeyHandler::m_pAppActivationHandler;
    using CHotKeyHandler::m_pFennix;
    using CHotKeyHandler::m_pOverlappedIO;
    using CHotKeyHandler::m_pWMIData;
    using CHotKeyHandler::m_strUSBTypeCInfo;
    using CHotKeyHandler::m_strUSBTypeCSupport;
    using CHotKeyHandler::m_ulActCtxCookie;
};

class HandlerMachine
{
  public:
    HandlerMachine() = default;
    HandlerMachine(const HandlerMachine&) = delete;
    HandlerMachine& operator=(const HandlerMachine&) = delete;

    bool servicePresent{true};
    DWORD serviceState{SERVICE_RUNNING};
    HRESULT comResult{S_OK};
    std::vector<std::wstring> missingManifests;   // CreateActCtxW fails with error 2
    std::vector<std::wstring> inertManifests;     // ActivateActCtx fails with error 14001
    std::map<std::wstring, HRESULT> classResults; // CoCreateInstance through a manifest, with error 126
    HRESULT oleRunResult{S_OK};                   // with error 127 when it fails
    BOOL deactivateResult{TRUE};
    std::function<void(int)> onSleep; // called with the number of the sleep, from 1
    FennixStandIn fennix;

    std::vector<std::wstring> calls; // COM, contexts and sleeps, in order
    std::vector<CLSID> classes;      // what CoCreateInstance was asked for
    DWORD classContext{0};
    IID classInterface{};
    DWORD managerAccess{0};
    ACTCTXW lastContext{};
    std::wstring lastDirectory;
    std::vector<std::uintptr_t> openContexts;

    int Sleeps() const { return static_cast<int>(std::count(calls.begin(), calls.end(), std::wstring{L"Sleep 1000"})); }

  private:
    static bool Contains(const std::vector<std::wstring>& names, const std::wstring& name)
    {
        return std::find(names.begin(), names.end(), name) != names.end();
    }

    std::map<std::uintptr_t, std::wstring> m_manifests;
    std::wstring m_active;
    std::uintptr_t m_lastContext{0x7000};

    // The framework's service; its program has version 1.2.30.4.
    IMPORT_HOOK(OpenSCManagerW){[this](LPCWSTR, LPCWSTR, DWORD access) {
        managerAccess = access;
        return reinterpret_cast<SC_HANDLE>(std::uintptr_t{0x51});
    }};
    IMPORT_HOOK(OpenServiceW){[this](SC_HANDLE, LPCWSTR name, DWORD) -> SC_HANDLE {
        if (servicePresent && std::wstring{name} == L"QuilSysInfoCap")
        {
            return reinterpret_cast<SC_HANDLE>(std::uintptr_t{0x52});
        }
        SetLastError(ERROR_SERVICE_DOES_NOT_EXIST);
        return nullptr;
    }};
    IMPORT_HOOK(CloseServiceHandle){[](SC_HANDLE) { return TRUE; }};
    IMPORT_HOOK(QueryServiceStatusEx){[this](SC_HANDLE, SC_STATUS_TYPE, LPBYTE buffer, DWORD, LPDWORD) {
        SERVICE_STATUS_PROCESS status{};
        status.dwCurrentState = serviceState;
        std::memcpy(buffer, &status, sizeof(status));
        return TRUE;
    }};
    IMPORT_HOOK(QueryServiceConfigW){[](SC_HANDLE, LPQUERY_SERVICE_CONFIGW config, DWORD size, LPDWORD needed) {
        static wchar_t path[] = L"\"C:\\Cap\\cap.exe\"";
        *needed = sizeof(QUERY_SERVICE_CONFIGW) + sizeof(path);
        if (size < *needed)
        {
            SetLastError(ERROR_INSUFFICIENT_BUFFER);
            return FALSE;
        }
        *config = {};
        config->lpBinaryPathName = reinterpret_cast<wchar_t*>(config + 1);
        std::memcpy(config->lpBinaryPathName, path, sizeof(path));
        return TRUE;
    }};
    IMPORT_HOOK(GetFileVersionInfoSizeW){[](LPCWSTR, LPDWORD) -> DWORD { return sizeof(VS_FIXEDFILEINFO); }};
    IMPORT_HOOK(GetFileVersionInfoW){[](LPCWSTR, DWORD, DWORD, LPVOID buffer) {
        VS_FIXEDFILEINFO version{};
        version.dwSignature = 0xFEEF04BD;
        version.dwFileVersionMS = 0x00010002;
        version.dwFileVersionLS = 0x001E0004;
        std::memcpy(buffer, &version, sizeof(version));
        return TRUE;
    }};
    IMPORT_HOOK(VerQueryValueW){[](LPCVOID block, LPCWSTR, LPVOID* value, PUINT length) {
        *value = const_cast<void*>(block);
        *length = sizeof(VS_FIXEDFILEINFO);
        return TRUE;
    }};

    IMPORT_HOOK(CoInitializeEx){[this](LPVOID, DWORD model) {
        calls.push_back(L"CoInitializeEx " + std::to_wstring(model));
        return comResult;
    }};
    IMPORT_HOOK(CoUninitialize){[this] { calls.push_back(L"CoUninitialize"); }};
    IMPORT_HOOK(CreateActCtxW){[this](PCACTCTXW context) -> HANDLE {
        lastContext = *context;
        lastDirectory = context->lpAssemblyDirectory;
        const std::wstring manifest = context->lpSource;
        calls.push_back(L"CreateActCtx " + manifest);
        if (Contains(missingManifests, manifest))
        {
            SetLastError(ERROR_FILE_NOT_FOUND);
            return INVALID_HANDLE_VALUE;
        }
        m_manifests[++m_lastContext] = manifest;
        openContexts.push_back(m_lastContext);
        return reinterpret_cast<HANDLE>(m_lastContext);
    }};
    IMPORT_HOOK(ActivateActCtx){[this](HANDLE context, ULONG_PTR* cookie) {
        const std::wstring manifest = m_manifests[reinterpret_cast<std::uintptr_t>(context)];
        calls.push_back(L"ActivateActCtx " + manifest);
        if (Contains(inertManifests, manifest))
        {
            SetLastError(14001);
            return FALSE;
        }
        m_active = manifest;
        *cookie = reinterpret_cast<std::uintptr_t>(context) + 0x100000;
        return TRUE;
    }};
    IMPORT_HOOK(DeactivateActCtx){[this](DWORD, ULONG_PTR cookie) {
        calls.push_back(L"DeactivateActCtx " + m_manifests[cookie - 0x100000]);
        if (deactivateResult)
        {
            m_active.clear();
        }
        return deactivateResult;
    }};
    IMPORT_HOOK(ReleaseActCtx){[this](HANDLE context) {
        const auto value = reinterpret_cast<std::uintptr_t>(context);
        calls.push_back(L"ReleaseActCtx " + m_manifests[value]);
        openContexts.erase(std::remove(openContexts.begin(), openContexts.end(), value), openContexts.end());
    }};
    IMPORT_HOOK(CoCreateInstance){
        [this](REFCLSID classId, LPUNKNOWN outer, DWORD context, REFIID id, LPVOID* object) -> HRESULT {
            calls.push_back(L"CoCreateInstance in " + m_active + (outer != nullptr ? L" with an outer object" : L""));
            classes.push_back(classId);
            classContext = context;
            classInterface = id;
            const auto result = classResults.find(m_active);
            if (result != classResults.end() && FAILED(result->second))
            {
                *object = nullptr;
                SetLastError(126);
                return result->second;
            }
            return fennix.QueryInterface(IID_IUnknown, object);
        }};
    IMPORT_HOOK(OleRun){[this](LPUNKNOWN) {
        calls.push_back(L"OleRun");
        if (FAILED(oleRunResult))
        {
            SetLastError(127);
        }
        return oleRunResult;
    }};
    IMPORT_HOOK(Sleep){[this](DWORD milliseconds) {
        calls.push_back(L"Sleep " + std::to_wstring(milliseconds));
        if (onSleep)
        {
            onSleep(Sleeps());
        }
    }};
};
