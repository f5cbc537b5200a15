// The stand-in's device-information object: every question is answered from the profile in force and recorded.
#pragma once

#include "hotkey/Fennix.h"

#include <atomic>

namespace Testbed
{

class FennixObject final : public IFennix
{
  public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** object) override;
    ULONG STDMETHODCALLTYPE AddRef() override;
    ULONG STDMETHODCALLTYPE Release() override;

    HRESULT STDMETHODCALLTYPE GetPlatformUsbcSupported(VARIANT_BOOL* supported) override;
    HRESULT STDMETHODCALLTYPE GetNumberOfUsbPorts(DWORD* count) override;
    HRESULT STDMETHODCALLTYPE GetSizeOfUsbPort(DWORD* size) override;
    HRESULT STDMETHODCALLTYPE GetBasicUsbSupport(VARIANT_BOOL* supported) override;
    HRESULT STDMETHODCALLTYPE GetUsb31Gen2Support(VARIANT_BOOL* supported) override;
    HRESULT STDMETHODCALLTYPE GetUsbUpstreamPowerDeliverySupport(VARIANT_BOOL* supported) override;
    HRESULT STDMETHODCALLTYPE GetUsbDownstreamPowerDeliverySupport(VARIANT_BOOL* supported) override;
    HRESULT STDMETHODCALLTYPE GetUsbDisplayPortSupport(VARIANT_BOOL* supported) override;
    HRESULT STDMETHODCALLTYPE GetUsbThunderboltSupport(VARIANT_BOOL* supported) override;
    HRESULT STDMETHODCALLTYPE GetUsbDisplayPortLaneX2Support(VARIANT_BOOL* supported) override;
    HRESULT STDMETHODCALLTYPE GetUsbDisplayPortLaneX4Support(VARIANT_BOOL* supported) override;
    HRESULT STDMETHODCALLTYPE GetUsbMaxUpstreamPower(DWORD* power) override;
    HRESULT STDMETHODCALLTYPE GetUsbMaxDownstreamPower(LONG* quarterWatts) override;

  private:
    ~FennixObject() = default;

    std::atomic<ULONG> m_references{1};
};

} // namespace Testbed
