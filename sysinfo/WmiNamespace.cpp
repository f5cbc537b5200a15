#include "sysinfo/WmiNamespace.h"

#include <comdef.h>

using Quil::Shared::CLogName;

namespace RpcServer
{

HRESULT CreateLocator(CUniqueLocator& locator)
{
    return CoCreateInstance(CLSID_WbemLocator, nullptr, CLSCTX_INPROC_SERVER, IID_IWbemLocator,
                            reinterpret_cast<void**>(locator.Put()));
}

HRESULT ConnectNamespace(IWbemLocator* locator, const wchar_t* path, CUniqueServices& services)
{
    return locator->ConnectServer(_bstr_t{path}, nullptr, nullptr, nullptr, 0, nullptr, nullptr, services.Put());
}

HRESULT StartQuery(IWbemServices* services, const wchar_t* query, CUniqueRows& rows)
{
    return services->ExecQuery(_bstr_t{L"WQL"}, _bstr_t{query}, WBEM_FLAG_FORWARD_ONLY | WBEM_FLAG_RETURN_IMMEDIATELY,
                               nullptr, rows.Put());
}

HRESULT SetProxyBlanket(IWbemServices* services)
{
    return CoSetProxyBlanket(services, RPC_C_AUTHN_WINNT, RPC_C_AUTHZ_NONE, nullptr, RPC_C_AUTHN_LEVEL_CALL,
                             RPC_C_IMP_LEVEL_IMPERSONATE, nullptr, EOAC_NONE);
}

bool IsConnected(const CLogName& log, const CUniqueServices& services)
{
    if (!services)
    {
        log.Error(L"IWbemServices  =  0x%08X", 0);
    }
    return static_cast<bool>(services);
}

bool HasEnumerator(const CLogName& log, const CUniqueRows& rows)
{
    if (!rows)
    {
        log.Error(L"IEnumWbemClassObject = 0x%08X", 0);
    }
    return static_cast<bool>(rows);
}

} // namespace RpcServer
