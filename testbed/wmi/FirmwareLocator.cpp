#include "testbed/wmi/FirmwareLocator.h"

#include "testbed/Profile.h"
#include "testbed/Recorder.h"
#include "testbed/wmi/FirmwareProfile.h"
#include "testbed/wmi/FirmwareServices.h"

#include <oleauto.h>

#include <string>

namespace Testbed
{

namespace
{

// The locator that the platform registered before the testbed took its place.
HRESULT CreatePlatformLocator(IWbemLocator** locator)
{
    wchar_t path[MAX_PATH]{};
    GetSystemDirectoryW(path, MAX_PATH);
    // Never freed: its objects may live as long as the process.
    const HMODULE module = LoadLibraryW((std::wstring{path} + L"\\wbem\\wbemprox.dll").c_str());
    if (module == nullptr)
    {
        return HRESULT_FROM_WIN32(GetLastError());
    }
    using GetClassObject = HRESULT(STDAPICALLTYPE*)(REFCLSID, REFIID, void**);
    const auto getClassObject =
        reinterpret_cast<GetClassObject>(reinterpret_cast<void*>(GetProcAddress(module, "DllGetClassObject")));
    if (getClassObject == nullptr)
    {
        return CLASS_E_CLASSNOTAVAILABLE;
    }
    IClassFactory* factory = nullptr;
    HRESULT result = getClassObject(CLSID_WbemLocator, IID_IClassFactory, reinterpret_cast<void**>(&factory));
    if (SUCCEEDED(result))
    {
        result = factory->CreateInstance(nullptr, IID_IWbemLocator, reinterpret_cast<void**>(locator));
        factory->Release();
    }
    return result;
}

} // namespace

HRESULT ConnectPlatform(const std::wstring& path, IWbemServices** services)
{
    IWbemLocator* locator = nullptr;
    HRESULT result = CreatePlatformLocator(&locator);
    if (SUCCEEDED(result))
    {
        const BSTR name = SysAllocString(path.c_str());
        result = locator->ConnectServer(name, nullptr, nullptr, nullptr, 0, nullptr, nullptr, services);
        SysFreeString(name);
        locator->Release();
    }
    return result;
}

HRESULT CFirmwareLocator::ConnectServer(const BSTR path, const BSTR user, const BSTR password, const BSTR locale,
                                        LONG securityFlags, const BSTR authority, IWbemContext* context,
                                        IWbemServices** services)
{
    const bool plain = user == nullptr && password == nullptr && locale == nullptr && securityFlags == 0 &&
                       authority == nullptr && context == nullptr;
    Record(L"wmi", std::wstring{L"connect "} + path + (plain ? L"" : L" (with more arguments)"));
    *services = nullptr;
    const std::wstring name = PlainNamespace(path);
    if (!HasNamespace(name))
    {
        return ConnectPlatform(name, services);
    }
    const std::wstring section = NamespaceSection(name);
    Delay(section, L"delay_ms");
    const FirmwareStep step = CFirmwareOutcome{ProfileValue(section, L"connect", L"ok")}.Next();
    if (step.kind == FirmwareStep::Kind::Ok)
    {
        *services = new CFirmwareServices{name};
    }
    return step.error; // "null" is a success without services
}

} // namespace Testbed
