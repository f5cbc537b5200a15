// The facts of hotkeyctl doctor: what is asked of Windows, and what each refusal leaves unknown.
#include "client/Doctor.h"

#include "testbed/wmi/WbemDefaults.h"
#include "tests/harness/ImportHook.h"
#include "tests/harness/RegistryScope.h"
#include "tests/unit/client/InstalledServiceStandIn.h"
#include "tests/unit/client/LogFolder.h"
#include "tests/unit/client/RpcStandIn.h"

#include <gtest/gtest.h>

#include <windows.h>

#include <aclapi.h>
#include <rpc.h>
#include <sddl.h>
#include <shlobj.h>
#include <wbemcli.h>

#include <filesystem>
#include <map>
#include <string>
#include <string_view>
#include <vector>

using HotKey::Answer;
using HotKey::CDoctorFacts;
using HotKey::CHotKeyClient;

namespace
{

// A PC where all is well: service and endpoint, an empty log folder, WMI that answers.
struct DoctorFacts : testing::Test
{
    InstalledServiceStandIn manager;
    RpcStandIn rpc;
    RegistryScope registry;
    LogFolder folder;

    RPC_STATUS authentication{RPC_S_OK};
    RPC_STATUS listening{RPC_S_OK};
    DWORD rightsError{ERROR_SUCCESS};
    bool hasAccessList{true};
    alignas(ACL) BYTE accessList[1024]{};
    DWORD childError{0}; // of its start
    DWORD childCode{0};
    std::wstring childCommand;

    DoctorFacts()
    {
        rpc.answer = [](unsigned operation) { return RpcReply::Number(operation >= 5 ? 1 : 0); };
        std::filesystem::create_directories(folder.Path(L"quilLog"));
        InitializeAcl(AccessList(), sizeof accessList, ACL_REVISION);
    }

    PACL AccessList() { return reinterpret_cast<PACL>(accessList); }
    void Allow(const wchar_t* sid, DWORD rights)
    {
        PSID made = nullptr;
        ASSERT_TRUE(ConvertStringSidToSidW(sid, &made));
        EXPECT_TRUE(AddAccessAllowedAce(AccessList(), ACL_REVISION, rights, made));
        LocalFree(made);
    }
    CDoctorFacts Gather()
    {
        CHotKeyClient client;
        return HotKey::GatherDoctorFacts(client);
    }

    IMPORT_HOOK(GetSystemDirectoryW){[](LPWSTR, UINT) -> UINT { return 0; }};
    IMPORT_HOOK(SHGetFolderPathW){[this](HWND, int, HANDLE, DWORD, wchar_t* path) -> HRESULT {
        folder.Path(L"").copy(path, MAX_PATH);
        path[folder.Path(L"").size() - 1] = L'\0';
        return S_OK;
    }};
    IMPORT_HOOK(GetNamedSecurityInfoW){[this](LPCWSTR name, SE_OBJECT_TYPE, SECURITY_INFORMATION, PSID*, PSID*,
                                              PACL* entries, PACL*, PSECURITY_DESCRIPTOR* descriptor) -> DWORD {
        EXPECT_STREQ(L"C:\\Program Files\\Quil", name);
        *entries = hasAccessList ? AccessList() : nullptr;
        *descriptor = LocalAlloc(LMEM_FIXED, 1);
        return rightsError;
    }};
    IMPORT_HOOK(RpcBindingSetAuthInfoExW){[this](auto...) { return authentication; }};
    IMPORT_HOOK(RpcMgmtIsServerListening){[this](RPC_BINDING_HANDLE) { return listening; }};
    IMPORT_HOOK(CreateProcessW){[this](LPCWSTR, LPWSTR command, LPSECURITY_ATTRIBUTES, LPSECURITY_ATTRIBUTES, BOOL,
                                       DWORD, LPVOID, LPCWSTR, LPSTARTUPINFOW, LPPROCESS_INFORMATION child) -> BOOL {
        childCommand = command;
        if (childError != 0)
        {
            SetLastError(childError);
            return FALSE;
        }
        child->hProcess = CreateEventW(nullptr, TRUE, TRUE, nullptr);
        child->hThread = CreateEventW(nullptr, TRUE, TRUE, nullptr);
        return TRUE;
    }};
    IMPORT_HOOK(GetExitCodeProcess){[this](HANDLE, LPDWORD code) -> BOOL {
        *code = childCode;
        return TRUE;
    }};
};

constexpr wchar_t kAdministrators[] = L"S-1-5-32-544";
constexpr wchar_t kSystem[] = L"S-1-5-18";
constexpr wchar_t kCreatorOwner[] = L"S-1-3-0";
constexpr wchar_t kInstaller[] = L"S-1-5-80-956008885-3418522649-1831038044-1853292631-2271478464";
constexpr wchar_t kUsers[] = L"S-1-5-32-545";
constexpr wchar_t kEveryone[] = L"S-1-1-0";

} // namespace

TEST_F(DoctorFacts, OfAPcThatIsWell)
{
    registry.SetText(L"Software\\Policies\\Quil\\Quil TLY Service", L"MinLogLevel", L"Warning");
    std::filesystem::create_directories(folder.Path(L"quilLog"));
    folder.Put(L"quilLog\\HotKeyServiceTLY_0001.log", "");
    folder.Put(L"quilLog\\HotKeyServiceTLY_0002.log", "");

    const CDoctorFacts facts = Gather();

    EXPECT_EQ(L"running", facts.service.strState);
    EXPECT_EQ(L"C:\\Program Files\\Quil", facts.strProgramFolder);
    EXPECT_EQ(0U, facts.writers.dwError);
    EXPECT_TRUE(facts.writers.accounts.empty());
    EXPECT_EQ(0U, facts.dwRecoveryError);
    EXPECT_EQ(3U, facts.dwRecoveryActions);
    EXPECT_TRUE(facts.bAnswers);
    EXPECT_EQ(Answer::Yes, facts.eSystemServer);
    EXPECT_EQ(folder.Path(L"quilLog"), facts.strLogFolder);
    EXPECT_EQ(0U, facts.dwLogFolderError);
    EXPECT_EQ(0U, facts.dwOldLogsError);
    EXPECT_EQ(2U, facts.nOldLogs);
    ASSERT_EQ(1U, facts.policy.size());
    EXPECT_EQ(L"Warning", facts.policy[0].strText);
    ASSERT_TRUE(facts.presence);
    EXPECT_TRUE(facts.presence->bFennixService && facts.presence->bFennixNode);
    EXPECT_EQ(Answer::Yes, facts.eWmi);
    EXPECT_EQ(L"", facts.strWmiTrouble);
    EXPECT_TRUE(childCommand.ends_with(L"\" doctor --ask-wmi"));
    EXPECT_FALSE(std::filesystem::exists(folder.Path(L"quilLog\\hotkeyctl-doctor.tmp")));
}

TEST_F(DoctorFacts, WithoutAServiceNoFolderIsLookedAt)
{
    manager.dwOpenError = ERROR_SERVICE_DOES_NOT_EXIST;
    rpc.answer = [](unsigned) { return RpcReply::Status(1722); };

    const CDoctorFacts facts = Gather();

    EXPECT_EQ(L"not installed", facts.service.strState);
    EXPECT_EQ(L"", facts.strProgramFolder);
    EXPECT_EQ(0, hook_GetNamedSecurityInfoW.Calls());
    EXPECT_EQ(1060U, facts.dwRecoveryError);
    EXPECT_FALSE(facts.bAnswers);
    EXPECT_EQ(Answer::Unknown, facts.eSystemServer);
    EXPECT_FALSE(facts.presence);
}

TEST_F(DoctorFacts, WithoutAServiceManagerRecoveryIsUnknown)
{
    manager.dwManagerError = ERROR_ACCESS_DENIED;

    EXPECT_EQ(5U, Gather().dwRecoveryError);
}

TEST_F(DoctorFacts, FailureActionsThatCannotBeReadAreUnknown)
{
    manager.dwActionsError = ERROR_ACCESS_DENIED;

    const CDoctorFacts facts = Gather();

    EXPECT_EQ(5U, facts.dwRecoveryError);
    EXPECT_EQ(0U, facts.dwRecoveryActions);
}

TEST_F(DoctorFacts, ThoseWhoMayWriteAnywayAreNoWriters)
{
    for (const wchar_t* const sid : {kAdministrators, kSystem, kCreatorOwner, kInstaller})
    {
        Allow(sid, GENERIC_ALL);
    }
    Allow(kUsers, FILE_GENERIC_READ);

    EXPECT_TRUE(Gather().writers.accounts.empty());
}

TEST_F(DoctorFacts, WritersAreNamedWithTheirDomain)
{
    Allow(kUsers, FILE_WRITE_DATA);
    Allow(kEveryone, DELETE);
    IMPORT_HOOK(LookupAccountSidW)
    ([](LPCWSTR, PSID sid, LPWSTR name, LPDWORD, LPWSTR domain, LPDWORD, PSID_NAME_USE) -> BOOL {
        const bool users = IsWellKnownSid(sid, WinBuiltinUsersSid);
        std::wcscpy(name, users ? L"Users" : L"Everyone");
        std::wcscpy(domain, users ? L"BUILTIN" : L"");
        return TRUE;
    });

    EXPECT_EQ((std::vector<std::wstring>{L"BUILTIN\\Users", L"Everyone"}), Gather().writers.accounts);
}

TEST_F(DoctorFacts, WritersWithoutANameAreTheirNumbers)
{
    Allow(kUsers, WRITE_DAC);
    IMPORT_HOOK(LookupAccountSidW)([](auto...) { return FALSE; });

    EXPECT_EQ((std::vector<std::wstring>{L"S-1-5-32-545"}), Gather().writers.accounts);
}

TEST_F(DoctorFacts, WritersWithoutNameAndNumberAreCounted)
{
    Allow(kUsers, WRITE_OWNER);
    IMPORT_HOOK(LookupAccountSidW)([](auto...) { return FALSE; });
    IMPORT_HOOK(ConvertSidToStringSidW)([](PSID, LPWSTR*) { return FALSE; });

    EXPECT_EQ((std::vector<std::wstring>{L"?"}), Gather().writers.accounts);
}

TEST_F(DoctorFacts, TheInstallerCountsAsAWriterWhenItCannotBeTold)
{
    Allow(kInstaller, GENERIC_WRITE);
    IMPORT_HOOK(ConvertStringSidToSidW)([](LPCWSTR, PSID*) { return FALSE; });
    IMPORT_HOOK(LookupAccountSidW)([](auto...) { return FALSE; });

    EXPECT_EQ((std::vector<std::wstring>{kInstaller}), Gather().writers.accounts);
}

TEST_F(DoctorFacts, EntriesThatRefuseOrCannotBeReadAreNoWriters)
{
    Allow(kUsers, FILE_WRITE_DATA);
    Allow(kEveryone, FILE_WRITE_DATA);
    PSID everyone = nullptr;
    ASSERT_TRUE(ConvertStringSidToSidW(kEveryone, &everyone));
    EXPECT_TRUE(AddAccessDeniedAce(AccessList(), ACL_REVISION, FILE_WRITE_DATA, everyone));
    LocalFree(everyone);
    IMPORT_HOOK(LookupAccountSidW)([](auto...) { return FALSE; });
    IMPORT_HOOK(GetAce)
    ([&](PACL list, DWORD index, LPVOID* entry) {
        return index == 0 ? FALSE : hook_GetAce.Real()(list, index, entry);
    });

    EXPECT_EQ((std::vector<std::wstring>{kEveryone}), Gather().writers.accounts);
}

TEST_F(DoctorFacts, WithoutAnAccessListEveryoneWrites)
{
    hasAccessList = false;

    EXPECT_EQ((std::vector<std::wstring>{L"everyone (no access list)"}), Gather().writers.accounts);
}

TEST_F(DoctorFacts, RightsThatCannotBeReadAreUnknown)
{
    rightsError = ERROR_ACCESS_DENIED;

    const CDoctorFacts facts = Gather();

    EXPECT_EQ(5U, facts.writers.dwError);
    EXPECT_TRUE(facts.writers.accounts.empty());
}

TEST_F(DoctorFacts, WhoAnswersIsToldByTheRunTime)
{
    const struct
    {
        RPC_STATUS status;
        Answer answer;
    } answers[] = {{RPC_S_OK, Answer::Yes},
                   {RPC_S_ACCESS_DENIED, Answer::No},
                   {RPC_S_CANNOT_SUPPORT, Answer::Unknown},
                   {RPC_S_SERVER_UNAVAILABLE, Answer::Unknown}};
    for (const auto& expected : answers)
    {
        listening = expected.status;

        EXPECT_EQ(expected.answer, Gather().eSystemServer);
    }
}

TEST_F(DoctorFacts, WhoAnswersIsUnknownWhereTheQuestionCannotBePut)
{
    authentication = RPC_S_CANNOT_SUPPORT;
    EXPECT_EQ(Answer::Unknown, Gather().eSystemServer);

    authentication = RPC_S_OK;
    {
        IMPORT_HOOK(CreateWellKnownSid)([](auto...) { return FALSE; });
        EXPECT_EQ(Answer::Unknown, Gather().eSystemServer);
    }
    EXPECT_EQ(1, hook_RpcBindingSetAuthInfoExW.Calls());
    EXPECT_EQ(0, hook_RpcMgmtIsServerListening.Calls());
}

TEST_F(DoctorFacts, WhoAnswersIsUnknownWithoutABinding)
{
    // The client's own comes first.
    {
        IMPORT_HOOK(RpcStringBindingComposeW)
        ([&](RPC_WSTR uuid, RPC_WSTR protocol, RPC_WSTR address, RPC_WSTR endpoint, RPC_WSTR options, RPC_WSTR* text) {
            return hook_RpcStringBindingComposeW.Calls() == 1
                       ? hook_RpcStringBindingComposeW.Real()(uuid, protocol, address, endpoint, options, text)
                       : RPC_STATUS{RPC_S_OUT_OF_MEMORY};
        });
        EXPECT_EQ(Answer::Unknown, Gather().eSystemServer);
    }
    IMPORT_HOOK(RpcBindingFromStringBindingW)
    ([&](RPC_WSTR text, RPC_BINDING_HANDLE* binding) {
        return hook_RpcBindingFromStringBindingW.Calls() == 1 ? hook_RpcBindingFromStringBindingW.Real()(text, binding)
                                                              : RPC_STATUS{RPC_S_OUT_OF_MEMORY};
    });
    EXPECT_EQ(Answer::Unknown, Gather().eSystemServer);
    EXPECT_EQ(0, hook_RpcBindingSetAuthInfoExW.Calls());
}

TEST_F(DoctorFacts, AnEndpointThatFaultsHasNoPresence)
{
    rpc.answer = [](unsigned operation) { return RpcReply::Status(operation == 5 ? 1064 : 0); };

    const CDoctorFacts facts = Gather();

    EXPECT_TRUE(facts.bAnswers);
    EXPECT_FALSE(facts.presence);
}

TEST_F(DoctorFacts, ALogFolderThatIsNotThereHasNoOldLogs)
{
    std::filesystem::remove(folder.Path(L"quilLog"));

    const CDoctorFacts facts = Gather();

    EXPECT_EQ(3U, facts.dwLogFolderError);
    EXPECT_EQ(0U, facts.dwOldLogsError);
    EXPECT_EQ(0U, facts.nOldLogs);
}

TEST_F(DoctorFacts, OldLogsThatCannotBeSeenAreNotCounted)
{
    IMPORT_HOOK(FindFirstFileW)
    ([](LPCWSTR, LPWIN32_FIND_DATAW) -> HANDLE {
        SetLastError(ERROR_ACCESS_DENIED);
        return INVALID_HANDLE_VALUE;
    });

    const CDoctorFacts facts = Gather();

    EXPECT_EQ(5U, facts.dwOldLogsError);
    EXPECT_EQ(0U, facts.nOldLogs);
}

TEST_F(DoctorFacts, AWmiThatFailsIsNamedByItsResult)
{
    childCode = 0x8004100E;

    const CDoctorFacts facts = Gather();

    EXPECT_EQ(Answer::No, facts.eWmi);
    EXPECT_EQ(L"a query failed: 0x8004100E", facts.strWmiTrouble);
}

TEST_F(DoctorFacts, AWmiThatHangsForTenSecondsIsEnded)
{
    DWORD patience = 0;
    IMPORT_HOOK(WaitForSingleObject)
    ([&](HANDLE handle, DWORD milliseconds) {
        patience = milliseconds;
        return milliseconds == 10000 ? DWORD{WAIT_TIMEOUT} : hook_WaitForSingleObject.Real()(handle, milliseconds);
    });
    IMPORT_HOOK(TerminateProcess)([](HANDLE, UINT) { return TRUE; });
    CHotKeyClient client;

    const CDoctorFacts facts = HotKey::GatherDoctorFacts(client);

    EXPECT_EQ(10000U, patience);
    EXPECT_EQ(1, hook_TerminateProcess.Calls());
    EXPECT_EQ(Answer::Unknown, facts.eWmi);
}

TEST_F(DoctorFacts, AWmiThatCannotBeAskedFails)
{
    childError = ERROR_NOT_ENOUGH_MEMORY;

    const CDoctorFacts facts = Gather();

    EXPECT_EQ(Answer::No, facts.eWmi);
    EXPECT_EQ(L"cannot be asked, error 8", facts.strWmiTrouble);
}

namespace
{

// What WMI answers at each step; the steps after the first failure are not reached.
struct
{
    HRESULT initialize;
    HRESULT create;
    HRESULT connect;
    HRESULT query;
    HRESULT next;
} s_wmi;
std::wstring s_path; // of the namespace
std::map<std::string, int> s_released;

class Row final : public Testbed::CCounted<Testbed::CRowDefaults, IID_IWbemClassObject>
{
  public:
    ~Row() { ++s_released["row"]; }
    HRESULT STDMETHODCALLTYPE Get(LPCWSTR, LONG, VARIANT*, CIMTYPE*, LONG*) override { return E_NOTIMPL; }
};

class Rows final : public Testbed::CCounted<Testbed::CRowsDefaults, IID_IEnumWbemClassObject>
{
  public:
    ~Rows() { ++s_released["rows"]; }
    HRESULT STDMETHODCALLTYPE Next(LONG, ULONG, IWbemClassObject** row, ULONG* count) override
    {
        *count = s_wmi.next == WBEM_S_NO_ERROR ? 1 : 0;
        *row = *count == 1 ? new Row : nullptr;
        return s_wmi.next;
    }
};

class Services final : public Testbed::CCounted<Testbed::CServicesDefaults, IID_IWbemServices>
{
  public:
    ~Services() { ++s_released["services"]; }
    HRESULT STDMETHODCALLTYPE ExecQuery(const BSTR language, const BSTR query, LONG, IWbemContext*,
                                        IEnumWbemClassObject** rows) override
    {
        EXPECT_STREQ(L"WQL", language);
        EXPECT_STREQ(L"SELECT Name FROM Win32_Processor", query);
        *rows = SUCCEEDED(s_wmi.query) ? new Rows : nullptr;
        return s_wmi.query;
    }
};

class Locator final : public Testbed::CCounted<IWbemLocator, IID_IWbemLocator>
{
  public:
    ~Locator() { ++s_released["locator"]; }
    HRESULT STDMETHODCALLTYPE ConnectServer(const BSTR path, const BSTR, const BSTR, const BSTR, LONG, const BSTR,
                                            IWbemContext*, IWbemServices** services) override
    {
        s_path = path != nullptr ? path : L"(null)";
        *services = SUCCEEDED(s_wmi.connect) ? new Services : nullptr;
        return s_wmi.connect;
    }
};

HRESULT WINAPI Initialize(LPVOID, DWORD)
{
    return s_wmi.initialize;
}

HRESULT WINAPI Create(REFCLSID, LPUNKNOWN, DWORD, REFIID, LPVOID* object)
{
    *object = SUCCEEDED(s_wmi.create) ? static_cast<IWbemLocator*>(new Locator) : nullptr;
    return s_wmi.create;
}

struct AskWmi : testing::Test
{
    AskWmi()
    {
        s_wmi = {};
        s_released.clear();
    }

    // Functions that cannot be had.
    std::string missing;

    IMPORT_HOOK(GetProcAddress){[this](HMODULE library, LPCSTR name) -> FARPROC {
        if (missing == name)
        {
            SetLastError(ERROR_PROC_NOT_FOUND);
            return nullptr;
        }
        if (std::string_view{name} == "CoInitializeEx")
        {
            return reinterpret_cast<FARPROC>(reinterpret_cast<void (*)()>(&Initialize));
        }
        if (std::string_view{name} == "CoCreateInstance")
        {
            return reinterpret_cast<FARPROC>(reinterpret_cast<void (*)()>(&Create));
        }
        return decltype(hook_GetProcAddress)::RealOfCurrent()(library, name);
    }};
};

} // namespace

TEST_F(AskWmi, IsZeroWhenARowComes)
{
    EXPECT_EQ(0, HotKey::AskWmi());

    EXPECT_EQ(L"ROOT\\CIMV2", s_path);
    EXPECT_EQ((std::map<std::string, int>{{"locator", 1}, {"row", 1}, {"rows", 1}, {"services", 1}}), s_released);
}

TEST_F(AskWmi, IsTheResultOfTheFirstStepThatFails)
{
    for (HRESULT* const step : {&s_wmi.initialize, &s_wmi.create, &s_wmi.connect, &s_wmi.query, &s_wmi.next})
    {
        s_wmi = {};
        *step = WBEM_E_ACCESS_DENIED;

        EXPECT_EQ(WBEM_E_ACCESS_DENIED, HotKey::AskWmi());
    }
}

TEST_F(AskWmi, WithoutARowIsNotFound)
{
    s_wmi.next = WBEM_S_FALSE;

    EXPECT_EQ(WBEM_E_NOT_FOUND, HotKey::AskWmi());
}

TEST_F(AskWmi, WithoutAFunctionOfComIsTheErrorOfLookingForIt)
{
    for (const char* const name : {"CoInitializeEx", "CoCreateInstance"})
    {
        missing = name;

        EXPECT_EQ(HRESULT_FROM_WIN32(ERROR_PROC_NOT_FOUND), HotKey::AskWmi());
    }
}

TEST_F(AskWmi, WithoutTextsAsksForNoNamespace)
{
    missing = "SysAllocString";
    s_wmi.connect = WBEM_E_INVALID_NAMESPACE;

    EXPECT_EQ(WBEM_E_INVALID_NAMESPACE, HotKey::AskWmi());
    EXPECT_EQ(L"(null)", s_path);
}

TEST_F(AskWmi, WithoutALibraryIsTheErrorOfLoadingIt)
{
    IMPORT_HOOK(LoadLibraryExW)
    ([](auto...) -> HMODULE {
        SetLastError(ERROR_MOD_NOT_FOUND);
        return nullptr;
    });

    EXPECT_EQ(HRESULT_FROM_WIN32(ERROR_MOD_NOT_FOUND), HotKey::AskWmi());
}
