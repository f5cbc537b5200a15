// QuilFennix.dll: a COM server for the device-information class, reached through the manifests beside it.
// [framework] in the profile decides for each manifest whether the class can be created through it:
//   QuilFennixManager.manifest = yes, or fail:0x80040154 (any HRESULT)
#include "testbed/Profile.h"
#include "testbed/Recorder.h"
#include "testbed/fennix/FennixAnswer.h"
#include "testbed/fennix/FennixObject.h"

#include <windows.h>

#include <new>
#include <string>
#include <vector>

namespace Testbed
{
namespace
{

// File name of the manifest whose context is active on this thread; empty when there is none.
std::wstring ActiveManifest()
{
    SIZE_T size = 0;
    QueryActCtxW(QUERY_ACTCTX_FLAG_USE_ACTIVE_ACTCTX, nullptr, nullptr, ActivationContextDetailedInformation, nullptr,
                 0, &size);
    std::vector<BYTE> buffer(size);
    if (size == 0 || !QueryActCtxW(QUERY_ACTCTX_FLAG_USE_ACTIVE_ACTCTX, nullptr, nullptr,
                                   ActivationContextDetailedInformation, buffer.data(), buffer.size(), &size))
    {
        return {};
    }
    const auto* const context = reinterpret_cast<const ACTIVATION_CONTEXT_DETAILED_INFORMATION*>(buffer.data());
    if (context->lpRootManifestPath == nullptr)
    {
        return {};
    }
    const std::wstring path = context->lpRootManifestPath;
    return path.substr(path.rfind(L'\\') + 1);
}

// One for the process: it needs no count.
class FennixFactory final : public IClassFactory
{
  public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** object) override
    {
        const bool known = IsEqualIID(id, IID_IUnknown) || IsEqualIID(id, IID_IClassFactory);
        *object = known ? static_cast<IClassFactory*>(this) : nullptr;
        return known ? S_OK : E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return 2; }
    ULONG STDMETHODCALLTYPE Release() override { return 1; }

    HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* outer, REFIID id, void** object) override
    {
        *object = nullptr;
        if (outer != nullptr)
        {
            return CLASS_E_NOAGGREGATION;
        }
        const std::wstring manifest = ActiveManifest();
        const std::wstring prescribed = ProfileValue(L"framework", manifest, L"yes");
        Record(L"fennix", L"create through " + manifest + L" -> " + prescribed);
        const FennixAnswer answer = ParseFennixAnswer(prescribed);
        if (FAILED(answer.result))
        {
            return answer.result;
        }
        FennixObject* const created = new (std::nothrow) FennixObject;
        if (created == nullptr)
        {
            return E_OUTOFMEMORY;
        }
        const HRESULT result = created->QueryInterface(id, object);
        created->Release();
        return result;
    }
    HRESULT STDMETHODCALLTYPE LockServer(BOOL) override { return S_OK; }
};

} // namespace
} // namespace Testbed

STDAPI DllGetClassObject(REFCLSID classId, REFIID id, void** object)
{
    static Testbed::FennixFactory factory;
    if (!IsEqualCLSID(classId, kFennixClass))
    {
        *object = nullptr;
        return CLASS_E_CLASSNOTAVAILABLE;
    }
    return factory.QueryInterface(id, object);
}

STDAPI DllCanUnloadNow()
{
    return S_FALSE; // the service uses its object past CoUninitialize
}
