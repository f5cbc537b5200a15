// The machine that programs are launched on, in import hooks: privileges, tokens, environment, process creation.
//
//   LaunchMachine machine;                           everything succeeds
//   machine.failures[L"DuplicateTokenEx"] = 5;       that call fails with error 5
//   EXPECT_THAT(machine.calls, ElementsAre(...));    what was called, in order
//   EXPECT_THAT(machine.LeftOpen(), ElementsAre(...))   handles that were not closed
#pragma once

#include "tests/unit/hotkey/SessionStandIn.h"

#include "tests/harness/ImportHook.h"

#include <windows.h>

#include <userenv.h>

#include <algorithm>
#include <cstdint>
#include <cwchar>
#include <map>
#include <string>
#include <vector>

class LaunchMachine
{
  public:
    LaunchMachine() = default;
    LaunchMachine(const LaunchMachine&) = delete;
    LaunchMachine& operator=(const LaunchMachine&) = delete;

    SessionStandIn session;
    std::map<std::wstring, DWORD> failures; // by call: the error that it fails with
    DWORD adjustLastError{ERROR_SUCCESS};   // after a successful enabling of the privilege
    TOKEN_ELEVATION_TYPE elevation{TokenElevationTypeDefault};
    TOKEN_TYPE tokenType{TokenPrimary};
    HANDLE threadHandle{Handle(0xD1)};
    HANDLE processHandle{Handle(0xD2)};

    std::vector<std::wstring> calls;

    // Arguments of the last calls.
    DWORD processTokenAccess{0};
    std::wstring privilegeName;
    TOKEN_PRIVILEGES enabled{};
    DWORD enabledSize{0};
    TOKEN_PRIVILEGES restored{};
    DWORD restoredSize{0};
    DWORD duplicateAccess{0};
    SECURITY_IMPERSONATION_LEVEL duplicateLevel{SecurityAnonymous};
    TOKEN_TYPE duplicateType{TokenImpersonation};
    HANDLE duplicated{nullptr};
    DWORD uiAccess{0};
    DWORD uiAccessSize{0};
    BOOL environmentInherits{FALSE};
    std::wstring application;
    std::wstring commandLine;
    DWORD startupSize{0};
    std::wstring desktop;
    DWORD flags{0};
    BOOL inheritHandles{TRUE};
    bool plainSecurity{false}; // both records zeroed
    bool folderGiven{true};
    HANDLE processUser{nullptr};
    void* environment{nullptr};

    static HANDLE Handle(std::uintptr_t value) { return reinterpret_cast<HANDLE>(value); }

    // Names of the things that a launch holds and has not given back, in the order in which it got them.
    std::vector<std::wstring> LeftOpen() const { return m_open; }

    int Launches() const
    {
        return static_cast<int>(std::count(calls.begin(), calls.end(), std::wstring{L"CreateProcessAsUserW"}));
    }

  private:
    // Notes the call; true, with the last error set, when the test wants it to fail.
    bool Fails(const std::wstring& call)
    {
        calls.push_back(call);
        const auto failure = failures.find(call);
        if (failure == failures.end())
        {
            SetLastError(ERROR_SUCCESS);
            return false;
        }
        SetLastError(failure->second);
        return true;
    }
    void Close(const std::wstring& name)
    {
        calls.push_back(L"close " + name);
        m_open.erase(std::remove(m_open.begin(), m_open.end(), name), m_open.end());
    }
    static const wchar_t* NameOf(HANDLE handle)
    {
        switch (reinterpret_cast<std::uintptr_t>(handle))
        {
        case 0xA1:
            return L"process token";
        case 0xB1:
            return L"user token";
        case 0xB2:
            return L"linked token";
        case 0xC1:
            return L"new token";
        case 0xD1:
            return L"thread";
        case 0xD2:
            return L"process";
        default:
            return nullptr;
        }
    }

    std::vector<std::wstring> m_open;
    wchar_t m_environment[2]{};

    IMPORT_HOOK(OpenProcessToken){[this](HANDLE process, DWORD access, PHANDLE token) {
        EXPECT_EQ(GetCurrentProcess(), process);
        if (Fails(L"OpenProcessToken"))
        {
            return FALSE;
        }
        processTokenAccess = access;
        *token = Handle(0xA1);
        m_open.push_back(L"process token");
        return TRUE;
    }};
    IMPORT_HOOK(LookupPrivilegeValueW){[this](LPCWSTR system, LPCWSTR name, PLUID luid) {
        EXPECT_EQ(nullptr, system);
        privilegeName = name;
        *luid = LUID{7, 0};
        return Fails(L"LookupPrivilegeValueW") ? FALSE : TRUE;
    }};
    IMPORT_HOOK(AdjustTokenPrivileges){[this](HANDLE token, BOOL disableAll, PTOKEN_PRIVILEGES state, DWORD size,
                                              PTOKEN_PRIVILEGES previous, PDWORD length) {
        EXPECT_EQ(Handle(0xA1), token);
        EXPECT_EQ(FALSE, disableAll);
        if (previous == nullptr)
        {
            EXPECT_EQ(nullptr, length);
            restored = *state;
            restoredSize = size;
            return Fails(L"restore privilege") ? FALSE : TRUE;
        }
        enabled = *state;
        enabledSize = size;
        if (Fails(L"AdjustTokenPrivileges"))
        {
            return FALSE;
        }
        previous->PrivilegeCount = 1;
        previous->Privileges[0].Luid = LUID{7, 0};
        previous->Privileges[0].Attributes = 0;
        *length = sizeof(TOKEN_PRIVILEGES);
        SetLastError(adjustLastError);
        return TRUE;
    }};
    IMPORT_HOOK(GetTokenInformation){
        [this](HANDLE token, TOKEN_INFORMATION_CLASS kind, LPVOID buffer, DWORD size, PDWORD) {
            switch (kind)
            {
            case TokenElevationType:
                EXPECT_EQ(4u, size);
                *static_cast<TOKEN_ELEVATION_TYPE*>(buffer) = elevation;
                return Fails(L"GetTokenInformation(TokenElevationType)") ? FALSE : TRUE;
            case TokenLinkedToken:
                EXPECT_EQ(sizeof(HANDLE), size);
                if (Fails(L"GetTokenInformation(TokenLinkedToken)"))
                {
                    return FALSE;
                }
                static_cast<TOKEN_LINKED_TOKEN*>(buffer)->LinkedToken = Handle(0xB2);
                m_open.push_back(L"linked token");
                return TRUE;
            case TokenType:
                EXPECT_EQ(4u, size);
                *static_cast<TOKEN_TYPE*>(buffer) = tokenType;
                return Fails(std::wstring{L"GetTokenInformation(TokenType) of "} + NameOf(token)) ? FALSE : TRUE;
            default:
                ADD_FAILURE() << "unexpected token information " << kind;
                return FALSE;
            }
        }};
    IMPORT_HOOK(DuplicateTokenEx){[this](HANDLE token, DWORD access, LPSECURITY_ATTRIBUTES security,
                                         SECURITY_IMPERSONATION_LEVEL level, TOKEN_TYPE type, PHANDLE copy) {
        EXPECT_EQ(nullptr, security);
        duplicated = token;
        duplicateAccess = access;
        duplicateLevel = level;
        duplicateType = type;
        if (Fails(L"DuplicateTokenEx"))
        {
            return FALSE;
        }
        *copy = Handle(0xC1);
        m_open.push_back(L"new token");
        return TRUE;
    }};
    IMPORT_HOOK(SetTokenInformation){[this](HANDLE token, TOKEN_INFORMATION_CLASS kind, LPVOID value, DWORD size) {
        EXPECT_EQ(Handle(0xC1), token);
        EXPECT_EQ(TokenUIAccess, kind);
        uiAccess = *static_cast<DWORD*>(value);
        uiAccessSize = size;
        return Fails(L"SetTokenInformation") ? FALSE : TRUE;
    }};
    IMPORT_HOOK(CreateEnvironmentBlock){[this](LPVOID* block, HANDLE token, BOOL inherit) {
        EXPECT_EQ(Handle(0xC1), token);
        environmentInherits = inherit;
        if (Fails(L"CreateEnvironmentBlock"))
        {
            return FALSE;
        }
        *block = m_environment;
        m_open.push_back(L"environment");
        return TRUE;
    }};
    IMPORT_HOOK(CreateProcessAsUserW){
        [this](HANDLE token, LPCWSTR path, LPWSTR line, LPSECURITY_ATTRIBUTES processSecurity,
               LPSECURITY_ATTRIBUTES threadSecurity, BOOL inherit, DWORD creationFlags, LPVOID block, LPCWSTR folder,
               LPSTARTUPINFOW startup, LPPROCESS_INFORMATION created) {
            processUser = token;
            application = path;
            commandLine = line;
            const auto plain = [](const SECURITY_ATTRIBUTES* security) {
                return security != nullptr && security->nLength == 0 && security->lpSecurityDescriptor == nullptr &&
                       security->bInheritHandle == FALSE;
            };
            plainSecurity = plain(processSecurity) && plain(threadSecurity) && processSecurity != threadSecurity;
            inheritHandles = inherit;
            flags = creationFlags;
            environment = block;
            folderGiven = folder != nullptr;
            startupSize = startup->cb;
            desktop = startup->lpDesktop;
            if (Fails(L"CreateProcessAsUserW"))
            {
                return FALSE;
            }
            *created = {processHandle, threadHandle, 99, 100};
            return TRUE;
        }};
    IMPORT_HOOK(DestroyEnvironmentBlock){[this](LPVOID block) {
        EXPECT_EQ(static_cast<void*>(m_environment), block);
        Close(L"environment");
        return TRUE;
    }};
    IMPORT_HOOK(CloseHandle){[this](HANDLE handle) {
        if (const wchar_t* const name = NameOf(handle))
        {
            Close(name);
            return TRUE;
        }
        return decltype(hook_CloseHandle)::RealOfCurrent()(handle);
    }};
};
