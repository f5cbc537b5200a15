// A WMI of the test's own behind CoCreateInstance: scripted namespaces, queries, rows and properties.
// It keeps what it was asked for, counts the objects that are still referenced, and takes the waits without waiting.
//
//   FakeWmi wmi;
//   wmi.Healthy();                                             the ten fields of a laptop
//   wmi.Query(kCimv2, kProcessors).start = E_FAIL;
//   wmi.Property(kWmi, kSystemInformation, L"SystemSKU") = {Text(L""), Text(L"7XY45AV#AKL")};     one per read
//   ...
//   EXPECT_EQ(0, wmi.Alive());
//
// With wmi.noteInLog set, waits, releases and the like also go into the log, so that their order among the records
// can be checked.
#pragma once

#include "tests/harness/ImportHook.h"

#include <windows.h>

#include <objbase.h>
#include <wbemcli.h>

#include <functional>
#include <map>
#include <string>
#include <vector>

inline constexpr wchar_t kWmi[] = L"ROOT\\wmi";
inline constexpr wchar_t kCimv2[] = L"ROOT\\CIMV2";
inline constexpr wchar_t kBios[] = L"ROOT\\quil\\instrumentedbios";

inline constexpr wchar_t kSystemInformation[] = L"Select * from MS_SystemInformation";
inline constexpr wchar_t kMemoryModules[] = L"Select * from Win32_PhysicalMemory";
inline constexpr wchar_t kComputerSystem[] = L"Select * from Win32_ComputerSystem";
inline constexpr wchar_t kProcessors[] = L"Select * from Win32_Processor";
inline constexpr wchar_t kProduct[] = L"Select * from Win32_ComputerSystemProduct";
inline constexpr wchar_t kFeatureByte[] = L"SELECT * FROM QUILBIOS_BIOSString  WHERE Name='Feature Byte'";
inline constexpr wchar_t kFeatureByteSetting[] = L"SELECT * FROM QUIL_BIOSSetting  WHERE Name='Feature Byte'";
inline constexpr wchar_t kPassword[] = L" SELECT IsSet FROM QUILBIOS_BIOSPassword WHERE Name='Setup Password'";
inline constexpr wchar_t kAccessKey[] =
    L"SELECT Value FROM QUILBIOS_BIOSString where Name='Enhanced BIOS Authentication Mode Local Access Key 1'";

// The answer to one read of a property.
using FakeAnswer = std::function<HRESULT(VARIANT*)>;
FakeAnswer Text(std::wstring text); // BSTR of that length, NULs included
FakeAnswer Null();
FakeAnswer NullText(); // VT_BSTR without a string
FakeAnswer Number(VARTYPE type, long value);
FakeAnswer Failure(HRESULT result);
FakeAnswer Throws(HRESULT result); // _com_error
FakeAnswer Strings(std::vector<std::wstring> strings);

using FakeRow = std::map<std::wstring, std::vector<FakeAnswer>>; // the last answer stays

struct FakeQuery
{
    HRESULT start{S_OK};
    bool noEnumerator{false};
    std::vector<FakeRow> rows;
    HRESULT end{WBEM_S_FALSE}; // of Next behind the last row
    bool rowBesideEnd{false};  // Next hands out an object together with the result or count that ends the rows
};

struct FakeNamespace
{
    HRESULT connect{S_OK};
    bool noServices{false};
    HRESULT blanket{S_OK};
    std::map<std::wstring, FakeQuery> queries;
};

class FakeWmi
{
  public:
    FakeWmi();
    ~FakeWmi();
    FakeWmi(const FakeWmi&) = delete;
    FakeWmi& operator=(const FakeWmi&) = delete;

    // A laptop that answers everything at once, without build file.
    void Healthy();

    FakeNamespace& Namespace(const wchar_t* path) { return namespaces[path]; }
    FakeQuery& Query(const wchar_t* path, const wchar_t* query) { return namespaces[path].queries[query]; }
    // The answers of the only row.
    std::vector<FakeAnswer>& Property(const wchar_t* path, const wchar_t* query, const wchar_t* name)
    {
        return Query(path, query).rows.at(0)[name];
    }

    // A services pointer or a row for calling a reader directly; the caller releases it.
    IWbemServices* NewServices(const wchar_t* path);
    IWbemClassObject* NewRow(FakeRow row);

    void Note(const std::wstring& event);
    // Events that begin with a word.
    std::vector<std::wstring> EventsOf(const std::wstring& word) const;
    int Alive() const { return alive; }

    // Asked first by every method; its failure is the method's.
    std::function<HRESULT(const char* method)> onMethod{[](const char*) { return S_OK; }};
    HRESULT create{S_OK};
    HRESULT initialize{S_OK};
    HRESULT security{S_OK};
    bool noteInLog{false};
    bool noDrive{true}; // no SystemDrive variable, so no build file
    std::map<std::wstring, FakeNamespace> namespaces;
    std::vector<std::wstring> events;
    std::vector<DWORD> waits;
    int alive{0};

    // clang-format off
    IMPORT_HOOK(CoInitializeEx){[this](void* reserved, DWORD flags) { return OnInitialize(reserved, flags); }};
    IMPORT_HOOK(CoInitializeSecurity){[this](auto... arguments) { return OnSecurity(arguments...); }};
    IMPORT_HOOK(CoUninitialize){[this] { Note(L"uninitialize"); }};
    IMPORT_HOOK(CoCreateInstance){[this](auto&&... arguments) { return OnCreate(arguments...); }};
    IMPORT_HOOK(CoSetProxyBlanket){[this](auto... arguments) { return OnBlanket(arguments...); }};
    IMPORT_HOOK(Sleep){[this](DWORD milliseconds) { OnSleep(milliseconds); }};
    IMPORT_HOOK(GetEnvironmentVariableW){[this](const wchar_t* name, wchar_t* buffer, DWORD size) { return OnEnvironment(name, buffer, size); }};
    // clang-format on

  private:
    HRESULT OnInitialize(void* reserved, DWORD flags);
    HRESULT OnSecurity(PSECURITY_DESCRIPTOR descriptor, LONG count, SOLE_AUTHENTICATION_SERVICE* services,
                       void* reserved, DWORD authentication, DWORD impersonation, void* list, DWORD capabilities,
                       void* reserved3);
    HRESULT OnCreate(REFCLSID classId, IUnknown* outer, DWORD context, REFIID iid, void** object);
    HRESULT OnBlanket(IUnknown* proxy, DWORD authentication, DWORD authorization, OLECHAR* principal,
                      DWORD authenticationLevel, DWORD impersonationLevel, void* identity, DWORD capabilities);
    void OnSleep(DWORD milliseconds);
    DWORD OnEnvironment(const wchar_t* name, wchar_t* buffer, DWORD size);
};
