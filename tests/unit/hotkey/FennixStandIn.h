// The device framework for unit tests: answers what the test sets, remembers what it was asked.
#pragma once

#include "hotkey/Fennix.h"

#include <functional>
#include <map>
#include <string>
#include <vector>

class FennixStandIn final : public IFennix
{
  public:
    // Answers, in the order of the slots. They are written even when the call fails.
    VARIANT_BOOL platformSupported{VARIANT_TRUE};
    DWORD ports{2};
    DWORD size{8};
    VARIANT_BOOL basic{VARIANT_TRUE};
    VARIANT_BOOL gen2{VARIANT_TRUE};
    VARIANT_BOOL upstream{VARIANT_FALSE};
    VARIANT_BOOL downstream{VARIANT_TRUE};
    VARIANT_BOOL displayPort{VARIANT_TRUE};
    VARIANT_BOOL thunderbolt{VARIANT_TRUE};
    VARIANT_BOOL laneX2{VARIANT_TRUE};
    VARIANT_BOOL laneX4{VARIANT_FALSE};
    DWORD upstreamPower{60};
    LONG downstreamPower{260};

    std::map<std::wstring, HRESULT> results; // by method; S_OK for one that is not there
    std::wstring throwing;                   // the method that throws
    // Asked before every answer; its failure is the method's.
    std::function<HRESULT(const char* method)> onMethod{[](const char*) { return S_OK; }};
    HRESULT fennixInterface{S_OK}; // what asking for the interface gives

    std::vector<std::wstring> asked;
    int references{0};

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** object) override
    {
        *object = nullptr;
        if (IsEqualIID(id, kFennixInterface))
        {
            if (const HRESULT failure = onMethod("IFennix::QueryInterface"); FAILED(failure))
            {
                return failure;
            }
            if (FAILED(fennixInterface))
            {
                return fennixInterface;
            }
        }
        else if (!IsEqualIID(id, IID_IUnknown))
        {
            return E_NOINTERFACE;
        }
        *object = static_cast<IFennix*>(this);
        AddRef();
        return S_OK;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return static_cast<ULONG>(++references); }
    ULONG STDMETHODCALLTYPE Release() override { return static_cast<ULONG>(--references); }

    HRESULT STDMETHODCALLTYPE GetPlatformUsbcSupported(VARIANT_BOOL* out) override
    {
        return Answer(L"GetPlatformUsbcSupported", out, platformSupported);
    }
    HRESULT STDMETHODCALLTYPE GetNumberOfUsbPorts(DWORD* out) override
    {
        return Answer(L"GetNumberOfUsbPorts", out, ports);
    }
    HRESULT STDMETHODCALLTYPE GetSizeOfUsbPort(DWORD* out) override { return Answer(L"GetSizeOfUsbPort", out, size); }
    HRESULT STDMETHODCALLTYPE GetBasicUsbSupport(VARIANT_BOOL* out) override
    {
        return Answer(L"GetBasicUsbSupport", out, basic);
    }
    HRESULT STDMETHODCALLTYPE GetUsb31Gen2Support(VARIANT_BOOL* out) override
    {
        return Answer(L"GetUsb31Gen2Support", out, gen2);
    }
    HRESULT STDMETHODCALLTYPE GetUsbUpstreamPowerDeliverySupport(VARIANT_BOOL* out) override
    {
        return Answer(L"GetUsbUpstreamPowerDeliverySupport", out, upstream);
    }
    HRESULT STDMETHODCALLTYPE GetUsbDownstreamPowerDeliverySupport(VARIANT_BOOL* out) override
    {
        return Answer(L"GetUsbDownstreamPowerDeliverySupport", out, downstream);
    }
    HRESULT STDMETHODCALLTYPE GetUsbDisplayPortSupport(VARIANT_BOOL* out) override
    {
        return Answer(L"GetUsbDisplayPortSupport", out, displayPort);
    }
    HRESULT STDMETHODCALLTYPE GetUsbThunderboltSupport(VARIANT_BOOL* out) override
    {
        return Answer(L"GetUsbThunderboltSupport", out, thunderbolt);
    }
    HRESULT STDMETHODCALLTYPE GetUsbDisplayPortLaneX2Support(VARIANT_BOOL* out) override
    {
        return Answer(L"GetUsbDisplayPortLaneX2Support", out, laneX2);
    }
    HRESULT STDMETHODCALLTYPE GetUsbDisplayPortLaneX4Support(VARIANT_BOOL* out) override
    {
        return Answer(L"GetUsbDisplayPortLaneX4Support", out, laneX4);
    }
    HRESULT STDMETHODCALLTYPE GetUsbMaxUpstreamPower(DWORD* out) override
    {
        return Answer(L"GetUsbMaxUpstreamPower", out, upstreamPower);
    }
    HRESULT STDMETHODCALLTYPE GetUsbMaxDownstreamPower(LONG* out) override
    {
        return Answer(L"GetUsbMaxDownstreamPower", out, downstreamPower);
    }

  private:
    template <typename Output> HRESULT Answer(const wchar_t* method, Output* out, Output value)
    {
        asked.emplace_back(method);
        if (throwing == method)
        {
            throw 1;
        }
        if (const HRESULT failure = onMethod("IFennix"); FAILED(failure))
        {
            return failure;
        }
        *out = value;
        const auto result = results.find(method);
        return result != results.end() ? result->second : S_OK;
    }
};
