#include "testbed/fennix/FennixObject.h"

#include "testbed/Profile.h"
#include "testbed/Recorder.h"
#include "testbed/Text.h"
#include "testbed/fennix/FennixAnswer.h"

#include <stdexcept>
#include <string>

namespace Testbed
{
namespace
{

template <typename Output> HRESULT Answer(std::wstring_view method, Output* output, std::wstring_view healthy)
{
    Sleep(ProfileNumber(L"framework", L"delay", 0));
    const std::wstring prescribed = ProfileValue(L"framework", method, healthy);
    Record(L"fennix", std::wstring{method} + L" -> " + prescribed);
    const FennixAnswer answer = ParseFennixAnswer(prescribed);
    if (answer.throws)
    {
        throw std::runtime_error{"as the profile wants it"};
    }
    if (output == nullptr)
    {
        return E_POINTER;
    }
    *output = static_cast<Output>(answer.value);
    return answer.result;
}

} // namespace

HRESULT STDMETHODCALLTYPE FennixObject::QueryInterface(REFIID id, void** object)
{
    if (object == nullptr)
    {
        return E_POINTER;
    }
    *object = nullptr;
    if (!IsEqualIID(id, IID_IUnknown) && !IsEqualIID(id, kFennixInterface))
    {
        return E_NOINTERFACE;
    }
    *object = static_cast<IFennix*>(this);
    AddRef();
    return S_OK;
}

ULONG STDMETHODCALLTYPE FennixObject::AddRef()
{
    return ++m_references;
}

ULONG STDMETHODCALLTYPE FennixObject::Release()
{
    const ULONG left = --m_references;
    if (left == 0)
    {
        Record(L"fennix", L"released");
        delete this;
    }
    return left;
}

HRESULT STDMETHODCALLTYPE FennixObject::GetPlatformUsbcSupported(VARIANT_BOOL* supported)
{
    return Answer(L"GetPlatformUsbcSupported", supported, L"yes");
}

HRESULT STDMETHODCALLTYPE FennixObject::GetNumberOfUsbPorts(DWORD* count)
{
    return Answer(L"GetNumberOfUsbPorts", count, L"2");
}

HRESULT STDMETHODCALLTYPE FennixObject::GetSizeOfUsbPort(DWORD* size)
{
    return Answer(L"GetSizeOfUsbPort", size, L"8");
}

HRESULT STDMETHODCALLTYPE FennixObject::GetBasicUsbSupport(VARIANT_BOOL* supported)
{
    return Answer(L"GetBasicUsbSupport", supported, L"yes");
}

HRESULT STDMETHODCALLTYPE FennixObject::GetUsb31Gen2Support(VARIANT_BOOL* supported)
{
    return Answer(L"GetUsb31Gen2Support", supported, L"yes");
}

HRESULT STDMETHODCALLTYPE FennixObject::GetUsbUpstreamPowerDeliverySupport(VARIANT_BOOL* supported)
{
    return Answer(L"GetUsbUpstreamPowerDeliverySupport", supported, L"no");
}

HRESULT STDMETHODCALLTYPE FennixObject::GetUsbDownstreamPowerDeliverySupport(VARIANT_BOOL* supported)
{
    return Answer(L"GetUsbDownstreamPowerDeliverySupport", supported, L"yes");
}

HRESULT STDMETHODCALLTYPE FennixObject::GetUsbDisplayPortSupport(VARIANT_BOOL* supported)
{
    return Answer(L"GetUsbDisplayPortSupport", supported, L"yes");
}

HRESULT STDMETHODCALLTYPE FennixObject::GetUsbThunderboltSupport(VARIANT_BOOL* supported)
{
    return Answer(L"GetUsbThunderboltSupport", supported, L"yes");
}

HRESULT STDMETHODCALLTYPE FennixObject::GetUsbDisplayPortLaneX2Support(VARIANT_BOOL* supported)
{
    return Answer(L"GetUsbDisplayPortLaneX2Support", supported, L"yes");
}

HRESULT STDMETHODCALLTYPE FennixObject::GetUsbDisplayPortLaneX4Support(VARIANT_BOOL* supported)
{
    return Answer(L"GetUsbDisplayPortLaneX4Support", supported, L"no");
}

HRESULT STDMETHODCALLTYPE FennixObject::GetUsbMaxUpstreamPower(DWORD* power)
{
    return Answer(L"GetUsbMaxUpstreamPower", power, L"0");
}

HRESULT STDMETHODCALLTYPE FennixObject::GetUsbMaxDownstreamPower(LONG* quarterWatts)
{
    return Answer(L"GetUsbMaxDownstreamPower", quarterWatts, L"260");
}

} // namespace Testbed
