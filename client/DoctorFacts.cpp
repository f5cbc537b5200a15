#include "client/Doctor.h"
#include "client/LogFiles.h"

#include <windows.h>

#include <aclapi.h>
#include <rpc.h>
#include <sddl.h>
#include <wbemcli.h>

#include <cstddef>
#include <memory>
#include <type_traits>

namespace HotKey
{

namespace
{

constexpr DWORD kWmiPatienceMilliseconds = 10000;
constexpr const wchar_t* kServiceName = L"HotKeyServiceTLY";

struct CloseHandleOf
{
    using pointer = HANDLE;
    void operator()(HANDLE handle) const noexcept { CloseHandle(handle); }
};
using Handle = std::unique_ptr<void, CloseHandleOf>;

struct CloseService
{
    using pointer = SC_HANDLE;
    void operator()(SC_HANDLE handle) const noexcept { CloseServiceHandle(handle); }
};
using ServiceHandle = std::unique_ptr<std::remove_pointer_t<SC_HANDLE>, CloseService>;

struct FreeLocal
{
    void operator()(void* memory) const noexcept { LocalFree(memory); }
};

std::wstring FolderOf(const std::wstring& path)
{
    const std::size_t slash = path.find_last_of(L'\\');
    return slash == std::wstring::npos ? std::wstring{} : path.substr(0, slash);
}

std::wstring AccountName(PSID sid)
{
    wchar_t name[256]{};
    wchar_t domain[256]{};
    DWORD nameLength = 256;
    DWORD domainLength = 256;
    SID_NAME_USE use{};
    if (LookupAccountSidW(nullptr, sid, name, &nameLength, domain, &domainLength, &use))
    {
        return *domain == L'\0' ? std::wstring{name} : std::wstring{domain} + L"\\" + name;
    }
    LPWSTR text = nullptr;
    if (!ConvertSidToStringSidW(sid, &text))
    {
        return L"?";
    }
    const std::unique_ptr<wchar_t, FreeLocal> owner{text};
    return text;
}

// Administrators, the system, its installer, and whoever made a file (which only these can do there).
bool IsTrusted(PSID sid)
{
    if (IsWellKnownSid(sid, WinBuiltinAdministratorsSid) || IsWellKnownSid(sid, WinLocalSystemSid) ||
        IsWellKnownSid(sid, WinCreatorOwnerSid))
    {
        return true;
    }
    PSID installer = nullptr;
    if (!ConvertStringSidToSidW(L"S-1-5-80-956008885-3418522649-1831038044-1853292631-2271478464", &installer))
    {
        return false;
    }
    const std::unique_ptr<void, FreeLocal> owner{installer};
    return EqualSid(sid, installer) != FALSE;
}

CWriters FindWriters(const std::wstring& folder)
{
    constexpr DWORD kWriting = FILE_WRITE_DATA | FILE_APPEND_DATA | FILE_DELETE_CHILD | DELETE | WRITE_DAC |
                               WRITE_OWNER | GENERIC_WRITE | GENERIC_ALL;
    CWriters writers{ERROR_SUCCESS, {}};
    if (folder.empty())
    {
        return writers;
    }
    PACL entries = nullptr;
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    writers.dwError = GetNamedSecurityInfoW(folder.c_str(), SE_FILE_OBJECT, DACL_SECURITY_INFORMATION, nullptr, nullptr,
                                            &entries, nullptr, &descriptor);
    if (writers.dwError != ERROR_SUCCESS)
    {
        return writers;
    }
    const std::unique_ptr<void, FreeLocal> owner{descriptor};
    if (entries == nullptr)
    {
        writers.accounts.emplace_back(L"everyone (no access list)");
        return writers;
    }
    for (DWORD i = 0; i < entries->AceCount; ++i)
    {
        void* entry = nullptr;
        if (!GetAce(entries, i, &entry) || static_cast<ACE_HEADER*>(entry)->AceType != ACCESS_ALLOWED_ACE_TYPE)
        {
            continue;
        }
        auto* const allowed = static_cast<ACCESS_ALLOWED_ACE*>(entry);
        if ((allowed->Mask & kWriting) != 0 && !IsTrusted(&allowed->SidStart))
        {
            writers.accounts.push_back(AccountName(&allowed->SidStart));
        }
    }
    return writers;
}

void ReadRecovery(CDoctorFacts& facts)
{
    const ServiceHandle manager{OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT)};
    const ServiceHandle service{manager ? OpenServiceW(manager.get(), kServiceName, SERVICE_QUERY_CONFIG) : nullptr};
    if (!service)
    {
        facts.dwRecoveryError = GetLastError();
        return;
    }
    alignas(SERVICE_FAILURE_ACTIONSW) std::byte buffer[8192];
    DWORD size = 0;
    if (!QueryServiceConfig2W(service.get(), SERVICE_CONFIG_FAILURE_ACTIONS, reinterpret_cast<BYTE*>(buffer),
                              sizeof buffer, &size))
    {
        facts.dwRecoveryError = GetLastError();
        return;
    }
    facts.dwRecoveryActions = reinterpret_cast<const SERVICE_FAILURE_ACTIONSW*>(buffer)->cActions;
}

// Local RPC refuses a call at once when the server does not run under the account that the caller names.
Answer AskWhetherSystemAnswers()
{
    RPC_WSTR text = nullptr;
    wchar_t protocol[] = L"ncalrpc";
    wchar_t endpoint[] = L"TLYRpcEndpoint";
    if (RpcStringBindingComposeW(nullptr, reinterpret_cast<RPC_WSTR>(protocol), nullptr,
                                 reinterpret_cast<RPC_WSTR>(endpoint), nullptr, &text) != RPC_S_OK)
    {
        return Answer::Unknown;
    }
    RPC_BINDING_HANDLE binding = nullptr;
    const RPC_STATUS made = RpcBindingFromStringBindingW(text, &binding);
    RpcStringFreeW(&text);
    if (made != RPC_S_OK)
    {
        return Answer::Unknown;
    }
    BYTE system[SECURITY_MAX_SID_SIZE];
    DWORD size = sizeof system;
    RPC_SECURITY_QOS_V3_W quality{};
    quality.Version = RPC_C_SECURITY_QOS_VERSION_3;
    quality.Capabilities = RPC_C_QOS_CAPABILITIES_MUTUAL_AUTH;
    quality.IdentityTracking = RPC_C_QOS_IDENTITY_STATIC;
    quality.ImpersonationType = RPC_C_IMP_LEVEL_IDENTIFY;
    quality.Sid = system;
    RPC_STATUS status = RPC_S_OUT_OF_MEMORY;
    if (CreateWellKnownSid(WinLocalSystemSid, nullptr, system, &size))
    {
        status = RpcBindingSetAuthInfoExW(binding, nullptr, RPC_C_AUTHN_LEVEL_PKT_PRIVACY, RPC_C_AUTHN_WINNT, nullptr,
                                          RPC_C_AUTHZ_NONE, reinterpret_cast<RPC_SECURITY_QOS*>(&quality));
    }
    if (status == RPC_S_OK)
    {
        status = RpcMgmtIsServerListening(binding);
    }
    RpcBindingFree(&binding);
    switch (status)
    {
    case RPC_S_OK:
        return Answer::Yes;
    case RPC_S_ACCESS_DENIED:
        return Answer::No;
    default:
        return Answer::Unknown;
    }
}

void LookAtLogs(CDoctorFacts& facts)
{
    facts.strLogFolder = FolderOf(ServiceLogPath());
    const std::wstring probe = facts.strLogFolder + L"\\hotkeyctl-doctor.tmp";
    const HANDLE made = CreateFileW(probe.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS,
                                    FILE_ATTRIBUTE_TEMPORARY | FILE_FLAG_DELETE_ON_CLOSE, nullptr);
    facts.dwLogFolderError = made == INVALID_HANDLE_VALUE ? GetLastError() : ERROR_SUCCESS;
    if (made != INVALID_HANDLE_VALUE)
    {
        CloseHandle(made);
    }
    WIN32_FIND_DATAW found{};
    const HANDLE find = FindFirstFileW((facts.strLogFolder + L"\\" + kServiceName + L"_*.log").c_str(), &found);
    if (find == INVALID_HANDLE_VALUE)
    {
        const DWORD error = GetLastError();
        facts.dwOldLogsError = error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND ? ERROR_SUCCESS : error;
        return;
    }
    do
    {
        ++facts.nOldLogs;
    } while (FindNextFileW(find, &found));
    FindClose(find);
}

// WMI can hang for ever; a child can be ended.
void AskWmiInAChild(CDoctorFacts& facts)
{
    wchar_t program[MAX_PATH]{};
    GetModuleFileNameW(nullptr, program, MAX_PATH);
    std::wstring command = L"\"" + std::wstring{program} + L"\" " + kAskWmiCommand;
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION child{};
    if (!CreateProcessW(program, command.data(), nullptr, nullptr, FALSE, CREATE_NO_WINDOW, nullptr, nullptr, &startup,
                        &child))
    {
        facts.eWmi = Answer::No;
        facts.strWmiTrouble = L"cannot be asked, error " + std::to_wstring(GetLastError());
        return;
    }
    const Handle thread{child.hThread};
    const Handle process{child.hProcess};
    if (WaitForSingleObject(process.get(), kWmiPatienceMilliseconds) != WAIT_OBJECT_0)
    {
        TerminateProcess(process.get(), 1);
        facts.eWmi = Answer::Unknown;
        return;
    }
    DWORD code = 0;
    GetExitCodeProcess(process.get(), &code);
    facts.eWmi = code == 0 ? Answer::Yes : Answer::No;
    wchar_t number[16]{};
    _snwprintf(number, 15, L"0x%08lX", code);
    facts.strWmiTrouble = code == 0 ? std::wstring{} : std::wstring{L"a query failed: "} + number;
}

template <typename Interface> struct ReleaseInterface
{
    void operator()(Interface* object) const noexcept { object->Release(); }
};
template <typename Interface> using Com = std::unique_ptr<Interface, ReleaseInterface<Interface>>;

// COM is loaded by the child that asks WMI only: it would be a third of every other command's start.
template <typename Function> Function FunctionOf(const wchar_t* library, const char* name)
{
    const HMODULE loaded = LoadLibraryExW(library, nullptr, LOAD_LIBRARY_SEARCH_SYSTEM32);
    // Through void(*)(), because FARPROC's type is no function's.
    return loaded == nullptr ? nullptr
                             : reinterpret_cast<Function>(reinterpret_cast<void (*)()>(GetProcAddress(loaded, name)));
}

// A text for one call, in the process's heap as long as the process is.
BSTR Text(const wchar_t* text)
{
    const auto allocate = FunctionOf<decltype(&SysAllocString)>(L"oleaut32.dll", "SysAllocString");
    return allocate == nullptr ? nullptr : allocate(text);
}

} // namespace

CDoctorFacts GatherDoctorFacts(CHotKeyClient& client)
{
    CDoctorFacts facts{};
    facts.service = QueryInstalledService();
    facts.strProgramFolder = FolderOf(facts.service.strProgram);
    facts.writers = FindWriters(facts.strProgramFolder);
    ReadRecovery(facts);
    facts.bAnswers = static_cast<bool>(client.Connect());
    facts.eSystemServer = facts.bAnswers ? AskWhetherSystemAnswers() : Answer::Unknown;
    LookAtLogs(facts);
    facts.policy = ReadPolicyValues();
    if (facts.bAnswers)
    {
        if (const CResult<CPresence> presence = client.ReadPresence())
        {
            facts.presence = presence.Value();
        }
    }
    AskWmiInAChild(facts);
    return facts;
}

int AskWmi()
{
    const auto initialize = FunctionOf<decltype(&CoInitializeEx)>(L"ole32.dll", "CoInitializeEx");
    const auto create = FunctionOf<decltype(&CoCreateInstance)>(L"ole32.dll", "CoCreateInstance");
    if (initialize == nullptr || create == nullptr)
    {
        return HRESULT_FROM_WIN32(GetLastError());
    }
    HRESULT result = initialize(nullptr, COINIT_MULTITHREADED);
    if (FAILED(result))
    {
        return result;
    }
    IWbemLocator* locator = nullptr;
    result =
        create(CLSID_WbemLocator, nullptr, CLSCTX_INPROC_SERVER, IID_IWbemLocator, reinterpret_cast<void**>(&locator));
    if (FAILED(result))
    {
        return result;
    }
    const Com<IWbemLocator> locatorOwner{locator};
    IWbemServices* services = nullptr;
    result = locator->ConnectServer(Text(L"ROOT\\CIMV2"), nullptr, nullptr, nullptr, 0, nullptr, nullptr, &services);
    if (FAILED(result))
    {
        return result;
    }
    const Com<IWbemServices> servicesOwner{services};
    IEnumWbemClassObject* rows = nullptr;
    result = services->ExecQuery(Text(L"WQL"), Text(L"SELECT Name FROM Win32_Processor"), WBEM_FLAG_FORWARD_ONLY,
                                 nullptr, &rows);
    if (FAILED(result))
    {
        return result;
    }
    const Com<IEnumWbemClassObject> rowsOwner{rows};
    IWbemClassObject* row = nullptr;
    ULONG count = 0;
    result = rows->Next(static_cast<LONG>(WBEM_INFINITE), 1, &row, &count);
    if (result != WBEM_S_NO_ERROR)
    {
        return FAILED(result) ? result : static_cast<HRESULT>(WBEM_E_NOT_FOUND);
    }
    row->Release();
    return 0;
}

} // namespace HotKey
