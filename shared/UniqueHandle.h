// Owners of system resources: one move-only template, one policy per kind of resource.
// A policy names the type, its empty value, what counts as valid and how to close it.
// Closing keeps the calling thread's last-error value, so clean-up never hides the error that caused it.
#pragma once

#include "shared/LastError.h"

#include <windows.h>

#include <setupapi.h>
#include <userenv.h>
#include <wtsapi32.h>

#include <utility>

namespace Quil::Shared
{

template <typename Policy> class [[nodiscard]] CUnique
{
  public:
    using Type = typename Policy::Type;

    CUnique() noexcept = default;
    explicit CUnique(Type value) noexcept : m_value{value} {}
    CUnique(CUnique&& other) noexcept : m_value{other.Release()} {}
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

    explicit operator bool() const noexcept { return Policy::IsValid(m_value); }
    Type Get() const noexcept { return m_value; }
    // For out-parameters: closes what is held and gives the address of the empty value.
    Type* Put() noexcept
    {
        Reset();
        return &m_value;
    }
    [[nodiscard]] Type Release() noexcept { return std::exchange(m_value, Policy::Empty()); }
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

// Base of the policies: resources whose only invalid value is null. A policy adds Close.
template <typename T> struct NullablePolicy
{
    using Type = T;
    static Type Empty() noexcept { return nullptr; }
    static bool IsValid(Type value) noexcept { return value != nullptr; }
};

// Files, processes, threads, events, tokens, snapshots: null and INVALID_HANDLE_VALUE are both "none".
struct KernelHandlePolicy : NullablePolicy<HANDLE>
{
    static bool IsValid(HANDLE value) noexcept { return value != nullptr && value != INVALID_HANDLE_VALUE; }
    static void Close(HANDLE value) noexcept { static_cast<void>(CloseHandle(value)); }
};

struct FindPolicy : KernelHandlePolicy
{
    static void Close(HANDLE value) noexcept { static_cast<void>(FindClose(value)); }
};

struct DeviceSetPolicy : KernelHandlePolicy
{
    static void Close(HDEVINFO value) noexcept { static_cast<void>(SetupDiDestroyDeviceInfoList(value)); }
};

struct SidPolicy : NullablePolicy<PSID>
{
    static void Close(PSID value) noexcept { static_cast<void>(FreeSid(value)); }
};

using CUniqueHandle = CUnique<KernelHandlePolicy>;
using CUniqueFind = CUnique<FindPolicy>;
using CUniqueDeviceSet = CUnique<DeviceSetPolicy>;
using CUniqueSid = CUnique<SidPolicy>; // from AllocateAndInitializeSid

struct RegistryKeyPolicy : NullablePolicy<HKEY>
{
    static void Close(HKEY value) noexcept { static_cast<void>(RegCloseKey(value)); }
};
struct ServicePolicy : NullablePolicy<SC_HANDLE>
{
    static void Close(SC_HANDLE value) noexcept { static_cast<void>(CloseServiceHandle(value)); }
};
struct EventSourcePolicy : NullablePolicy<HANDLE>
{
    static void Close(HANDLE value) noexcept { static_cast<void>(DeregisterEventSource(value)); }
};
using CUniqueRegistryKey = CUnique<RegistryKeyPolicy>;
using CUniqueService = CUnique<ServicePolicy>; // service manager and services alike
using CUniqueEventSource = CUnique<EventSourcePolicy>;

// Memory that the system hands out and LocalFree takes back.
template <typename T> struct LocalMemoryPolicy : NullablePolicy<T>
{
    static void Close(T value) noexcept { static_cast<void>(LocalFree(value)); }
};
template <typename T> using CUniqueLocal = CUnique<LocalMemoryPolicy<T>>;

// Lists from WTSEnumerateSessionsW and WTSEnumerateProcessesW; T is the record type.
template <typename T> struct WtsListPolicy : NullablePolicy<T*>
{
    static void Close(T* value) noexcept { WTSFreeMemory(value); }
};
template <typename T> using CUniqueWtsList = CUnique<WtsListPolicy<T>>;

struct EnvironmentPolicy : NullablePolicy<void*>
{
    static void Close(void* value) noexcept { static_cast<void>(DestroyEnvironmentBlock(value)); }
};
using CUniqueEnvironment = CUnique<EnvironmentPolicy>;

// A counted reference to a COM object.
template <typename Interface> struct ComPolicy : NullablePolicy<Interface*>
{
    static void Close(Interface* value) noexcept { static_cast<void>(value->Release()); }
};
template <typename Interface> using CUniqueCom = CUnique<ComPolicy<Interface>>;

} // namespace Quil::Shared
