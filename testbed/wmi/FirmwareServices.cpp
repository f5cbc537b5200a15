#include "testbed/wmi/FirmwareServices.h"

#include "testbed/Profile.h"
#include "testbed/Recorder.h"
#include "testbed/Text.h"
#include "testbed/wmi/FirmwareProfile.h"
#include "testbed/wmi/FirmwareRows.h"

#include <memory>

namespace Testbed
{

CFirmwareServices::CFirmwareServices(std::wstring path) : m_path{std::move(path)}, m_security{*this} {}

CFirmwareServices::~CFirmwareServices()
{
    if (m_platform != nullptr)
    {
        m_platform->Release();
    }
}

HRESULT CFirmwareServices::QueryInterface(REFIID iid, void** object)
{
    if (IsEqualIID(iid, IID_IClientSecurity))
    {
        *object = &m_security;
        AddRef();
        return S_OK;
    }
    return CCounted::QueryInterface(iid, object);
}

HRESULT CFirmwareServices::ExecQuery(const BSTR language, const BSTR query, LONG flags, IWbemContext* context,
                                     IEnumWbemClassObject** rows)
{
    Record(L"wmi", L"query " + m_path + L" flags " + Hex(static_cast<unsigned long>(flags)) + L": " + query);
    *rows = nullptr;
    if (!SameName(language, L"WQL"))
    {
        return WBEM_E_INVALID_QUERY_TYPE;
    }
    const std::optional<FirmwareQuery> parsed = ParseQuery(query);
    if (!parsed)
    {
        return WBEM_E_INVALID_QUERY;
    }
    const std::wstring section = ClassSection(m_path, parsed->className);
    Delay(section, L"delay_ms");
    const FirmwareStep step = CFirmwareOutcome{ProfileValue(section, L"query", L"ok")}.Next();
    if (step.kind == FirmwareStep::Kind::Fail)
    {
        return step.error;
    }
    if (step.kind == FirmwareStep::Kind::Value)
    {
        return WBEM_S_NO_ERROR; // "null": no enumerator
    }
    if (SameName(ProfileValue(section, L"source", L""), L"platform") && Platform() != nullptr)
    {
        return m_platform->ExecQuery(language, query, flags, context, rows);
    }
    *rows = new CFirmwareRows{m_path, *parsed};
    return WBEM_S_NO_ERROR;
}

IWbemServices* CFirmwareServices::Platform()
{
    if (m_platform == nullptr)
    {
        static_cast<void>(ConnectPlatform(m_path, &m_platform));
    }
    return m_platform;
}

HRESULT CFirmwareServices::CSecurity::QueryInterface(REFIID iid, void** object)
{
    return m_owner.QueryInterface(iid, object);
}

ULONG CFirmwareServices::CSecurity::AddRef()
{
    return m_owner.AddRef();
}

ULONG CFirmwareServices::CSecurity::Release()
{
    return m_owner.Release();
}

HRESULT CFirmwareServices::CSecurity::QueryBlanket(IUnknown*, DWORD*, DWORD*, OLECHAR**, DWORD*, DWORD*, void**, DWORD*)
{
    return E_NOTIMPL;
}

HRESULT CFirmwareServices::CSecurity::SetBlanket(IUnknown*, DWORD authentication, DWORD authorization,
                                                 OLECHAR* principal, DWORD authenticationLevel,
                                                 DWORD impersonationLevel, void* identity, DWORD capabilities)
{
    Record(L"wmi", L"blanket " + m_owner.m_path + L" authentication " + std::to_wstring(authentication) +
                       L" authorization " + std::to_wstring(authorization) + L" principal " +
                       (principal != nullptr ? principal : L"none") + L" level " +
                       std::to_wstring(authenticationLevel) + L" impersonation " + std::to_wstring(impersonationLevel) +
                       L" identity " + (identity != nullptr ? L"given" : L"none") + L" capabilities " +
                       Hex(capabilities));
    const FirmwareStep step =
        CFirmwareOutcome{ProfileValue(NamespaceSection(m_owner.m_path), L"blanket", L"ok")}.Next();
    return step.kind == FirmwareStep::Kind::Fail ? step.error : S_OK;
}

HRESULT CFirmwareServices::CSecurity::CopyProxy(IUnknown*, IUnknown**)
{
    return E_NOTIMPL;
}

} // namespace Testbed
