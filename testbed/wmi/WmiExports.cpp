// The COM server behind the registered locator class.
#include "testbed/wmi/FirmwareLocator.h"

#include <windows.h>

#include <objbase.h>

namespace
{

class CLocatorFactory : public Testbed::CCounted<IClassFactory, IID_IClassFactory>
{
  public:
    HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* outer, REFIID iid, void** object) override
    {
        *object = nullptr;
        if (outer != nullptr)
        {
            return CLASS_E_NOAGGREGATION;
        }
        auto* const locator = new Testbed::CFirmwareLocator;
        const HRESULT result = locator->QueryInterface(iid, object);
        locator->Release();
        return result;
    }
    HRESULT STDMETHODCALLTYPE LockServer(BOOL) override { return S_OK; }
};

} // namespace

// Exported by TestbedWmi.def.
STDAPI DllGetClassObject(REFCLSID classId, REFIID iid, void** object)
{
    *object = nullptr;
    if (!IsEqualCLSID(classId, CLSID_WbemLocator))
    {
        return CLASS_E_CLASSNOTAVAILABLE;
    }
    auto* const factory = new CLocatorFactory;
    const HRESULT result = factory->QueryInterface(iid, object);
    factory->Release();
    return result;
}

// The records of the process must stay complete: never unloaded.
STDAPI DllCanUnloadNow()
{
    return S_FALSE;
}
