#include "tests/unit/sysinfo/FakeWmi.h"

#include "shared/TraceScope.h"
#include "shared/WideText.h"
#include "testbed/wmi/WbemDefaults.h"
#include "tests/harness/AllocationFault.h"

#include <comdef.h>
#include <oleauto.h>

using Quil::Shared::CLogName;
using Quil::Shared::FormatText;
using Testbed::CCounted;

namespace
{

// Counts itself among the world's living objects and notes its end.
class CMember
{
  public:
    CMember(FakeWmi& world, std::wstring name) : m_world{world}, m_name{std::move(name)} { ++world.alive; }
    ~CMember()
    {
        const UnobservedAllocations own;
        --m_world.alive;
        m_world.Note(L"release " + m_name);
    }

    FakeWmi& m_world;
    std::wstring m_name;
};

class CRow : public CCounted<Testbed::CRowDefaults, IID_IWbemClassObject>
{
  public:
    CRow(FakeWmi& world, FakeRow row) : m_member{world, L"row"}, m_row{std::move(row)} {}

    HRESULT STDMETHODCALLTYPE Get(LPCWSTR name, LONG flags, VARIANT* value, CIMTYPE* type, LONG* flavor) override
    {
        const UnobservedAllocations own;
        m_member.m_world.Note(FormatText(L"get %s", name));
        EXPECT_EQ(0, flags);
        EXPECT_EQ(nullptr, type);
        EXPECT_EQ(nullptr, flavor);
        EXPECT_EQ(VT_EMPTY, V_VT(value)) << "a value was not cleared before the next read";
        if (const HRESULT result = m_member.m_world.onMethod("IWbemClassObject::Get"); FAILED(result))
        {
            return result;
        }
        const auto answers = m_row.find(name);
        if (answers == m_row.end() || answers->second.empty())
        {
            return WBEM_E_NOT_FOUND;
        }
        const std::size_t read = m_reads[name]++;
        return answers->second[std::min(read, answers->second.size() - 1)](value);
    }

  private:
    CMember m_member;
    FakeRow m_row;
    std::map<std::wstring, std::size_t> m_reads;
};

class CRows : public CCounted<Testbed::CRowsDefaults, IID_IEnumWbemClassObject>
{
  public:
    CRows(FakeWmi& world, FakeQuery query) : m_member{world, L"rows"}, m_query{std::move(query)} {}

    HRESULT STDMETHODCALLTYPE Next(LONG timeout, ULONG count, IWbemClassObject** objects, ULONG* returned) override
    {
        const UnobservedAllocations own;
        m_member.m_world.Note(FormatText(L"next %d, %d", timeout, count));
        *objects = nullptr;
        *returned = 0;
        if (const HRESULT result = m_member.m_world.onMethod("IEnumWbemClassObject::Next"); FAILED(result))
        {
            return result;
        }
        if (m_next < m_query.rows.size())
        {
            *objects = new CRow{m_member.m_world, m_query.rows[m_next++]};
            *returned = 1;
            return S_OK;
        }
        if (m_query.rowBesideEnd)
        {
            *objects = new CRow{m_member.m_world, {}};
        }
        return m_query.end;
    }

  private:
    CMember m_member;
    FakeQuery m_query;
    std::size_t m_next{0};
};

class CServices : public CCounted<Testbed::CServicesDefaults, IID_IWbemServices>
{
  public:
    CServices(FakeWmi& world, const std::wstring& path) : m_member{world, L"services " + path}, m_path{path} {}

    HRESULT STDMETHODCALLTYPE ExecQuery(const BSTR language, const BSTR query, LONG flags, IWbemContext* context,
                                        IEnumWbemClassObject** rows) override
    {
        const UnobservedAllocations own;
        FakeWmi& world = m_member.m_world;
        world.Note(FormatText(L"query %s 0x%x %s", language, flags, query));
        EXPECT_EQ(nullptr, context);
        *rows = nullptr;
        if (const HRESULT result = world.onMethod("IWbemServices::ExecQuery"); FAILED(result))
        {
            return result;
        }
        // What no test scripted has no rows.
        const FakeQuery& answer = world.namespaces[m_path].queries[query];
        *rows = FAILED(answer.start) || answer.noEnumerator ? nullptr : new CRows{world, answer};
        return answer.start;
    }
    const std::wstring& Path() const { return m_path; }

  private:
    CMember m_member;
    std::wstring m_path;
};

class CLocator : public CCounted<IWbemLocator, IID_IWbemLocator>
{
  public:
    explicit CLocator(FakeWmi& world) : m_member{world, L"locator"} {}

    HRESULT STDMETHODCALLTYPE ConnectServer(const BSTR path, const BSTR user, const BSTR password, const BSTR locale,
                                            LONG securityFlags, const BSTR authority, IWbemContext* context,
                                            IWbemServices** services) override
    {
        const UnobservedAllocations own;
        FakeWmi& world = m_member.m_world;
        world.Note(FormatText(L"connect %s", path));
        EXPECT_EQ(nullptr, user);
        EXPECT_EQ(nullptr, password);
        EXPECT_EQ(nullptr, locale);
        EXPECT_EQ(0, securityFlags);
        EXPECT_EQ(nullptr, authority);
        EXPECT_EQ(nullptr, context);
        *services = nullptr;
        if (const HRESULT result = world.onMethod("IWbemLocator::ConnectServer"); FAILED(result))
        {
            return result;
        }
        const FakeNamespace& answer = world.namespaces[path];
        *services = FAILED(answer.connect) || answer.noServices ? nullptr : new CServices{world, path};
        return answer.connect;
    }

  private:
    CMember m_member;
};

BSTR MakeString(const std::wstring& text)
{
    return SysAllocStringLen(text.c_str(), static_cast<UINT>(text.size()));
}

} // namespace

FakeAnswer Text(std::wstring text)
{
    return [text = std::move(text)](VARIANT* value) {
        V_VT(value) = VT_BSTR;
        V_BSTR(value) = MakeString(text);
        return S_OK;
    };
}

FakeAnswer Null()
{
    return Number(VT_NULL, 0);
}

FakeAnswer NullText()
{
    return [](VARIANT* value) {
        V_VT(value) = VT_BSTR;
        V_BSTR(value) = nullptr;
        return S_OK;
    };
}

FakeAnswer Number(VARTYPE type, long number)
{
    return [type, number](VARIANT* value) {
        V_VT(value) = type;
        if (type == VT_BOOL)
        {
            V_BOOL(value) = static_cast<VARIANT_BOOL>(number);
        }
        else
        {
            V_I4(value) = number;
        }
        return S_OK;
    };
}

FakeAnswer Failure(HRESULT result)
{
    return [result](VARIANT*) { return result; };
}

FakeAnswer Throws(HRESULT result)
{
    return [result](VARIANT*) -> HRESULT { throw _com_error{result}; };
}

FakeAnswer Strings(std::vector<std::wstring> strings)
{
    return [strings = std::move(strings)](VARIANT* value) {
        SAFEARRAY* const array = SafeArrayCreateVector(VT_BSTR, 0, static_cast<ULONG>(strings.size()));
        BSTR* const elements = static_cast<BSTR*>(array->pvData);
        for (std::size_t i = 0; i < strings.size(); ++i)
        {
            elements[i] = MakeString(strings[i]);
        }
        V_VT(value) = VT_ARRAY | VT_BSTR;
        V_ARRAY(value) = array;
        return S_OK;
    };
}

FakeWmi::FakeWmi() = default;

FakeWmi::~FakeWmi()
{
    EXPECT_EQ(0, alive) << "COM objects are still referenced";
}

void FakeWmi::Healthy()
{
    Query(kWmi, kSystemInformation).rows = {{{L"SystemProductName", {Text(L"Laptop 14 Model A")}},
                                             {L"SystemSKU", {Text(L"7XY45AV#AKL")}},
                                             {L"BIOSVersion", {Text(L"A01 Ver. 01.02.03")}},
                                             {L"BIOSReleaseDate", {Text(L"05/16/2023")}},
                                             {L"BaseBoardVersion", {Text(L"KBC Version 11.22.00")}},
                                             {L"SystemFamily", {Text(L"X1_5336AN Pro")}}}};
    Query(kCimv2, kMemoryModules).rows = {{{L"Capacity", {Text(L"8589934592")}}},
                                          {{L"Capacity", {Text(L"8589934592")}}}};
    Query(kCimv2, kComputerSystem).rows = {
        {{L"TotalPhysicalMemory", {Text(L"17012273152")}},
         {L"OEMStringArray", {Strings({L"ABC", L"FBYTE#3X7;", L"BUILDID#20WWABCD601#S001#D001;"})}}}};
    Query(kCimv2, kProcessors).rows = {{{L"Name", {Text(L"12th Gen Processor")}}}};
    Query(kCimv2, kProduct).rows = {{{L"IdentifyingNumber", {Text(L"SN12345678")}}}};
    Query(kBios, kFeatureByte).rows = {{{L"Value", {Text(L"3X7")}}}};
    Query(kBios, kPassword).rows = {{{L"IsSet", {Number(VT_I4, 1)}}}};
    Query(kBios, kAccessKey).rows = {{{L"Value", {Text(L"")}}}};
}

IWbemServices* FakeWmi::NewServices(const wchar_t* path)
{
    return new CServices{*this, path};
}

IWbemClassObject* FakeWmi::NewRow(FakeRow row)
{
    return new CRow{*this, std::move(row)};
}

void FakeWmi::Note(const std::wstring& event)
{
    events.push_back(event);
    if (noteInLog)
    {
        CLogName{"system"}.Verbose(L"%s", event);
    }
}

std::vector<std::wstring> FakeWmi::EventsOf(const std::wstring& word) const
{
    std::vector<std::wstring> found;
    for (const std::wstring& event : events)
    {
        if (event.starts_with(word))
        {
            found.push_back(event);
        }
    }
    return found;
}

HRESULT FakeWmi::OnInitialize(void* reserved, DWORD flags)
{
    Note(FormatText(L"initialize %d %d", reserved != nullptr ? 1 : 0, flags));
    return initialize;
}

HRESULT FakeWmi::OnSecurity(PSECURITY_DESCRIPTOR descriptor, LONG count, SOLE_AUTHENTICATION_SERVICE* services,
                            void* reserved, DWORD authentication, DWORD impersonation, void* list, DWORD capabilities,
                            void* reserved3)
{
    const bool plain =
        descriptor == nullptr && services == nullptr && reserved == nullptr && list == nullptr && reserved3 == nullptr;
    Note(FormatText(L"security %d %d %d %d %d", plain ? 1 : 0, count, authentication, impersonation, capabilities));
    return security;
}

HRESULT FakeWmi::OnCreate(REFCLSID classId, IUnknown* outer, DWORD context, REFIID iid, void** object)
{
    Note(FormatText(L"create 0x%x", context));
    EXPECT_TRUE(IsEqualGUID(CLSID_WbemLocator, classId));
    EXPECT_TRUE(IsEqualGUID(IID_IWbemLocator, iid));
    EXPECT_EQ(nullptr, outer);
    *object = FAILED(create) ? nullptr : static_cast<IWbemLocator*>(new CLocator{*this});
    return create;
}

HRESULT FakeWmi::OnBlanket(IUnknown* proxy, DWORD authentication, DWORD authorization, OLECHAR* principal,
                           DWORD authenticationLevel, DWORD impersonationLevel, void* identity, DWORD capabilities)
{
    const std::wstring& path = static_cast<CServices*>(static_cast<IWbemServices*>(proxy))->Path();
    Note(FormatText(L"blanket %s %d %d %d %d %d %d %d", path, authentication, authorization, principal != nullptr,
                    authenticationLevel, impersonationLevel, identity != nullptr, capabilities));
    return namespaces[path].blanket;
}

void FakeWmi::OnSleep(DWORD milliseconds)
{
    const UnobservedAllocations own;
    waits.push_back(milliseconds);
    Note(FormatText(L"sleep %d", milliseconds));
}

DWORD FakeWmi::OnEnvironment(const wchar_t* name, wchar_t* buffer, DWORD size)
{
    if (!noDrive)
    {
        return hook_GetEnvironmentVariableW.Real()(name, buffer, size);
    }
    SetLastError(ERROR_ENVVAR_NOT_FOUND);
    return 0;
}
