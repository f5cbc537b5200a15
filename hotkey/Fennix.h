/// \file
/// The maker's device-information framework ("Fennix"), a closed in-process COM server. This is all that is known of
/// it: its class, its interface and the order of the interface's methods, which is the order of the slots. Includes
/// nothing of the project, so that the framework's stand-in can implement the same declaration.
#pragma once

#include <windows.h>

#include <oaidl.h>
#include <unknwn.h>

/// The framework's class.
inline constexpr CLSID kFennixClass{
    0x8FA1AED2, 0xDE8C, 0x49EF, {0x80, 0x2C, 0x6D, 0x6A, 0x70, 0xFF, 0xCF, 0xF4}}; // registered by manifest only
/// The framework's one interface.
inline constexpr IID kFennixInterface{0xD03C2FC5, 0x7E7E, 0x4BE1, {0x85, 0xC6, 0xC5, 0x79, 0xF5, 0x34, 0xAE, 0xCA}};

/// Questions about the USB Type-C ports of the PC. An answer counts only when the call succeeds; of the flags,
/// VARIANT_TRUE alone means yes.
struct IFennix : IUnknown
{
    virtual HRESULT STDMETHODCALLTYPE GetPlatformUsbcSupported(VARIANT_BOOL* supported) = 0;             ///< slot 3
    virtual HRESULT STDMETHODCALLTYPE GetNumberOfUsbPorts(DWORD* count) = 0;                             ///< slot 4
    virtual HRESULT STDMETHODCALLTYPE GetSizeOfUsbPort(DWORD* size) = 0;                                 ///< slot 5
    virtual HRESULT STDMETHODCALLTYPE GetBasicUsbSupport(VARIANT_BOOL* supported) = 0;                   ///< slot 6
    virtual HRESULT STDMETHODCALLTYPE GetUsb31Gen2Support(VARIANT_BOOL* supported) = 0;                  ///< slot 7
    virtual HRESULT STDMETHODCALLTYPE GetUsbUpstreamPowerDeliverySupport(VARIANT_BOOL* supported) = 0;   ///< slot 8
    virtual HRESULT STDMETHODCALLTYPE GetUsbDownstreamPowerDeliverySupport(VARIANT_BOOL* supported) = 0; ///< slot 9
    virtual HRESULT STDMETHODCALLTYPE GetUsbDisplayPortSupport(VARIANT_BOOL* supported) = 0;             ///< slot 10
    virtual HRESULT STDMETHODCALLTYPE GetUsbThunderboltSupport(VARIANT_BOOL* supported) = 0;             ///< slot 11
    virtual HRESULT STDMETHODCALLTYPE GetUsbDisplayPortLaneX2Support(VARIANT_BOOL* supported) = 0;       ///< slot 12
    virtual HRESULT STDMETHODCALLTYPE GetUsbDisplayPortLaneX4Support(VARIANT_BOOL* supported) = 0;       ///< slot 13
    virtual HRESULT STDMETHODCALLTYPE GetUsbMaxUpstreamPower(DWORD* power) = 0; ///< slot 14; the unit is not known
    virtual HRESULT STDMETHODCALLTYPE GetUsbMaxDownstreamPower(LONG* quarterWatts) = 0; ///< slot 15; units of 250 mW
};
