/// \file
/// Owners of system resources: one move-only template, one policy per kind of resource.
/// A policy names the type, its empty value, what counts as valid and how to close it.
/// Closing keeps the calling thread's last-error value, so clean-up never hides the error that caused it.
#pragma once

#include "shared/LastError.h"

#include <windows.h>

#include <setupapi.h>
#include <userenv.h>
#include <wtsapi32.h>

#include <utility>

namespace Quil::Shared
{

/// Owns one resource, or the policy's empty value. Moves, does not copy. Not locked.
template <typename Policy> class [[nodiscard]] CUnique
{
  public:
    /// The handle or pointer.
    using Type = typename Policy::Type;

    CUnique() noexcept = default;
    /// Takes ownership; an invalid value is kept and never closed.
    explicit CUnique(Type value) noexcept : m_value{value} {}
    /// Leaves the other one empty.
    CUnique(CUnique&& other) noexcept : m_value{other.Release()} {}
    /// Closes what it held and leaves the other one empty.
    CUnique& operator=(CUnique&& other) noexcept
    {
        if (this != &other)
        {
            Reset(other.Release());
        }
        return *this;
    }
    CUnique(const CUnique&) = delete;
    CUnique& operator=(const CUnique&) = delete;
    ~CUnique() { Reset(); }

    /// True for a valid value.
    explicit operator bool() const noexcept { return Policy::IsValid(m_value); }
    /// The value, still owned; callers do not close it.
    Type Get() const noexcept { return m_value; }
    /// For out-parameters: closes what is held and gives the address of the empty value.
    Type* Put() noexcept
    {
        Reset();
        return &m_value;
    }
    /// The value, which is now the caller's to close.
    [[nodiscard]] Type Release() noexcept { return std::exchange(m_value, Policy::Empty()); }
    /// Closes what is held and takes ownership of another value.
    void Reset(Type value = Policy::Empty()) noexcept
    {
        const Type old = std::exchange(m_value, value);
        if (Policy::IsValid(old))
        {
            const CLastErrorKeeper keeper;
            Policy::Close(old);
        }
    }

  private:
    Type m_value{Policy::Empty()};
};

/// Base of the policies: resources whose only invalid value is null. A policy adds Close.
template <typename T> struct NullablePolicy
{
    /// The handle or pointer.
    using Type = T;
    /// Null.
    static Type Empty() noexcept { return nullptr; }
    /// False for null.
    static bool IsValid(Type value) noexcept { return value != nullptr; }
};

/// Files, processes, threads, events, tokens, snapshots: null and INVALID_HANDLE_VALUE are both "none".
struct KernelHandlePolicy : NullablePolicy<HANDLE>
{
    /// False for null and INVALID_HANDLE_VALUE.
    static bool IsValid(HANDLE value) noexcept { return value != nullptr && value != INVALID_HANDLE_VALUE; }
    /// By CloseHandle.
    static void Close(HANDLE value) noexcept { static_cast<void>(CloseHandle(value)); }
};

/// From FindFirstFileW.
struct FindPolicy : KernelHandlePolicy
{
    /// By FindClose.
    static void Close(HANDLE value) noexcept { static_cast<void>(FindClose(value)); }
};

/// From SetupDiGetClassDevsW.
struct DeviceSetPolicy : KernelHandlePolicy
{
    /// By SetupDiDestroyDeviceInfoList.
    static void Close(HDEVINFO value) noexcept { static_cast<void>(SetupDiDestroyDeviceInfoList(value)); }
};

/// From AllocateAndInitializeSid.
struct SidPolicy : NullablePolicy<PSID>
{
    /// By FreeSid.
    static void Close(PSID value) noexcept { static_cast<void>(FreeSid(value)); }
};

using CUniqueHandle = CUnique<KernelHandlePolicy>; ///< kernel objects
using CUniqueFind = CUnique<FindPolicy>;           ///< searches for files
using CUniqueDeviceSet = CUnique<DeviceSetPolicy>; ///< device information sets
using CUniqueSid = CUnique<SidPolicy>;             ///< SIDs that the system allocated

/// From RegOpenKeyExW.
struct RegistryKeyPolicy : NullablePolicy<HKEY>
{
    /// By RegCloseKey.
    static void Close(HKEY value) noexcept { static_cast<void>(RegCloseKey(value)); }
};
/// From OpenSCManagerW, OpenServiceW and CreateServiceW.
struct ServicePolicy : NullablePolicy<SC_HANDLE>
{
    /// By CloseServiceHandle.
    static void Close(SC_HANDLE value) noexcept { static_cast<void>(CloseServiceHandle(value)); }
};
/// From RegisterEventSourceW.
struct EventSourcePolicy : NullablePolicy<HANDLE>
{
    /// By DeregisterEventSource.
    static void Close(HANDLE value) noexcept { static_cast<void>(DeregisterEventSource(value)); }
};
using CUniqueRegistryKey = CUnique<RegistryKeyPolicy>; ///< registry keys
using CUniqueService = CUnique<ServicePolicy>;         ///< service manager and services alike
using CUniqueEventSource = CUnique<EventSourcePolicy>; ///< sources of the event log

/// Memory that the system hands out and LocalFree takes back.
template <typename T> struct LocalMemoryPolicy : NullablePolicy<T>
{
    /// By LocalFree.
    static void Close(T value) noexcept { static_cast<void>(LocalFree(value)); }
};
/// Local memory; T is a pointer type.
template <typename T> using CUniqueLocal = CUnique<LocalMemoryPolicy<T>>;

/// Lists from WTSEnumerateSessionsW and WTSEnumerateProcessesW; T is the record type.
template <typename T> struct WtsListPolicy : NullablePolicy<T*>
{
    /// By WTSFreeMemory.
    static void Close(T* value) noexcept { WTSFreeMemory(value); }
};
/// Lists of sessions or processes.
template <typename T> using CUniqueWtsList = CUnique<WtsListPolicy<T>>;

/// From CreateEnvironmentBlock.
struct EnvironmentPolicy : NullablePolicy<void*>
{
    /// By DestroyEnvironmentBlock.
    static void Close(void* value) noexcept { static_cast<void>(DestroyEnvironmentBlock(value)); }
};
using CUniqueEnvironment = CUnique<EnvironmentPolicy>; ///< environment blocks

/// A counted reference to a COM object.
template <typename Interface> struct ComPolicy : NullablePolicy<Interface*>
{
    /// By IUnknown::Release.
    static void Close(Interface* value) noexcept { static_cast<void>(value->Release()); }
};
/// References to COM objects.
template <typename Interface> using CUniqueCom = CUnique<ComPolicy<Interface>>;

} // namespace Quil::Shared
