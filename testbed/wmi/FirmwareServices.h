// A namespace of the firmware. Takes a proxy blanket as a proxy of the real service does.
#pragma once

#include "testbed/wmi/WbemDefaults.h"

#include <windows.h>

#include <objidl.h>

#include <string>

namespace Testbed
{

class CFirmwareServices : public CCounted<CServicesDefaults, IID_IWbemServices>
{
  public:
    explicit CFirmwareServices(std::wstring path);

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override;
    HRESULT STDMETHODCALLTYPE ExecQuery(const BSTR language, const BSTR query, LONG flags, IWbemContext* context,
                                        IEnumWbemClassObject** rows) override;

  private:
    class CSecurity : public IClientSecurity
    {
      public:
        explicit CSecurity(CFirmwareServices& owner) : m_owner{owner} {}

        HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override;
        ULONG STDMETHODCALLTYPE AddRef() override;
        ULONG STDMETHODCALLTYPE Release() override;
        HRESULT STDMETHODCALLTYPE QueryBlanket(IUnknown*, DWORD*, DWORD*, OLECHAR**, DWORD*, DWORD*, void**,
                                               DWORD*) override;
        HRESULT STDMETHODCALLTYPE SetBlanket(IUnknown* proxy, DWORD authentication, DWORD authorization,
                                             OLECHAR* principal, DWORD authenticationLevel, DWORD impersonationLevel,
                                             void* identity, DWORD capabilities) override;
        HRESULT STDMETHODCALLTYPE CopyProxy(IUnknown*, IUnknown**) override;

      private:
        CFirmwareServices& m_owner;
    };

    ~CFirmwareServices() override;
    // The platform's services of this namespace, connected at the first need; null when it has none.
    IWbemServices* Platform();

    std::wstring m_path;
    CSecurity m_security;
    IWbemServices* m_platform{nullptr};
};

// Connects to the platform's own provider of a namespace.
HRESULT ConnectPlatform(const std::wstring& path, IWbemServices** services);

} // namespace Testbed
