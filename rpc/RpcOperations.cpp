// The eight operations of HotKeyRpc.idl, in the order of their numbers. They run on threads of the RPC run time, any
// number at a time, and take no lock of their own. None of them looks into the context handle: the run time refuses a
// null or unknown one before it calls.
#include "hotkey/KeyBoardBridge.h"
#include "shared/TraceScope.h"
#include "utils/FileVersion.h"
#include "utils/HardwareNode.h"
#include "utils/ServiceQuery.h"
#include <HotKeyRpc.h>

#include <windows.h>

#include <rpc.h>
#include <rpcndr.h>

#include <cstdlib>
#include <cwchar>
#include <new>
#include <string>

using Quil::Shared::CTraceScope;
using Quil::Shared::Low32;
using RpcServer::CKeyBoardBridge;

namespace
{

// What a context handle stands for. It carries nothing: a client must connect so that the run time can track it.
struct CClient
{
};
struct CConnection
{
    CClient* m_pClient;
};

// An exception must not leave a routine as it is: the run time turns a Windows exception into a fault for the client,
// but a GCC-built one takes the client down. Nothing with a destructor is alive when the fault is raised.
template <typename Body> void FaultOnException(Body body)
{
    bool thrown = false;
    try
    {
        body();
    }
    catch (...)
    {
        thrown = true;
    }
    if (thrown)
    {
        RpcRaiseException(ERROR_EXCEPTION_IN_SERVICE);
    }
}

// A copy for the stub, which sends it and frees it. *copied tells whether the text is in it; null when memory ran out.
// Deliberate: twice the size that is sent.
wchar_t* CopyForStub(const std::wstring& text, bool* copied)
{
    const std::size_t capacity = 2 * text.size() + 2;
    wchar_t* const buffer = static_cast<wchar_t*>(midl_user_allocate(capacity * sizeof(wchar_t)));
    *copied = buffer != nullptr && wcscpy_s(buffer, capacity, text.c_str()) == 0;
    return buffer;
}

long CharactersWithNul(const std::wstring& text)
{
    return static_cast<long>(text.size() + 1);
}

} // namespace

void Connect(handle_t, HOTKEY_CONTEXT_HANDLE* context)
{
    if (context == nullptr)
    {
        return;
    }
    auto* const connection = static_cast<CConnection*>(std::malloc(sizeof(CConnection)));
    *context = connection;
    if (connection != nullptr)
    {
        connection->m_pClient = new (std::nothrow) CClient;
    }
}

void Disconnect(HOTKEY_CONTEXT_HANDLE* context)
{
    if (*context == nullptr)
    {
        return;
    }
    auto* const connection = static_cast<CConnection*>(*context);
    delete connection->m_pClient;
    std::free(connection);
    *context = nullptr; // tells the run time that the context is closed
}

// Deliberate: the connection of a client that died is not freed.
void __RPC_USER HOTKEY_CONTEXT_HANDLE_rundown(HOTKEY_CONTEXT_HANDLE) {}

void ProcessCommand(HOTKEY_CONTEXT_HANDLE)
{
    FaultOnException([] {
        if (CKeyBoardBridge* const bridge = CKeyBoardBridge::getInstance(nullptr))
        {
            // Deliberate: the operation carries no number; only the system-information tool can be started.
            bridge->ProcessCommand(0);
        }
    });
}

void LaunchUsbCApp(HOTKEY_CONTEXT_HANDLE)
{
    FaultOnException([] {
        if (CKeyBoardBridge* const bridge = CKeyBoardBridge::getInstance(nullptr))
        {
            bridge->LaunchUsbCApp();
        }
    });
}

void ReadSysInfo(HOTKEY_CONTEXT_HANDLE, long* size, wchar_t** text)
{
    CTraceScope trace{"ReadSysInfo"};

    try
    {
        CKeyBoardBridge* const bridge = CKeyBoardBridge::getInstance(nullptr);
        const std::wstring sysInfo = bridge != nullptr ? bridge->GetSysInfo() : std::wstring{};
        if (text != nullptr)
        {
            bool copied = false;
            *text = CopyForStub(sysInfo, &copied);
            if (!copied)
            {
                trace.Error(L"Failed to copy System Information");
            }
            // Deliberate: an empty text is sent as its NUL. Without a text there is no size either.
            if (size != nullptr)
            {
                *size = CharactersWithNul(sysInfo);
            }
        }
    }
    catch (...)
    {
        trace.Error(L"ReadSysInfo failed to read System Information.");
    }
}

long IsFennixServiceInstalled(HOTKEY_CONTEXT_HANDLE)
{
    long answer = 0;
    FaultOnException([&answer] {
        CTraceScope trace{"IsFennixServiceInstalled"};

        OutputDebugStringW(L"QUILSYS RpcServer::IsFennixServiceInstalled");
        trace.Information(L"Checking if Fennix service is installed ");
        VS_FIXEDFILEINFO version{};
        const long status = Utils::IsServicePresent(L"QuilSysInfoCap", version, true, true, SC_MANAGER_ALL_ACCESS);
        if (status >= 0)
        {
            trace.Verbose(L"Quil System Info KMT Service Version Installed = %s with Running Status = %d",
                          Utils::FileVersionText(version.dwFileVersionMS, version.dwFileVersionLS), status);
        }
        // Deliberate: only -1 means that there is no such service; one that cannot be opened counts as installed.
        answer = status == -1 ? 0 : 1;
        if (answer == 1)
        {
            trace.Verbose(L"Quil System Info KMT Service is Installed.");
        }
        else
        {
            trace.Verbose(L"Quil System Info KMT Service is Not Installed.");
        }
    });
    return answer;
}

long IsFennixNodePresent(HOTKEY_CONTEXT_HANDLE)
{
    long answer = 0;
    FaultOnException([&answer] {
        CTraceScope trace{"IsFennixNodePresent"};

        trace.Verbose(L"Fennix/VORA not initialized. Check if Fennix node is present.");
        int count = 0;
        for (const wchar_t* const id : {L"ACPI\\QUIL000C", L"ACPI\\QUIL0003"})
        {
            if (Utils::IsHardwareNodePresent(id) == 1)
            {
                ++count;
            }
        }
        trace.Verbose(L"FennixNodeCount = %d", count);
        if (count > 0)
        {
            trace.Verbose(L"Fennix Node is present.");
            answer = 1;
        }
        else
        {
            trace.Verbose(L"Fennix Node is not present.");
        }
    });
    return answer;
}

void ReadUSBTypeCInfo(HOTKEY_CONTEXT_HANDLE, long* size, wchar_t** text)
{
    CTraceScope trace{"ReadUSBTypeCInfo"};

    try
    {
        CKeyBoardBridge* const bridge = CKeyBoardBridge::getInstance(nullptr);
        const std::wstring info = bridge != nullptr ? bridge->GetUSBTypeCInfoAsWString() : std::wstring{};
        trace.Information(L"USB Type C Info returned = %s, pSize = %d", info, Low32(info.size()));
        if (info.empty())
        {
            trace.Error(L"USB Type C Info returned is empty.");
            // Deliberate: unlike ReadSysInfo, which sends the NUL of an empty text.
            if (size != nullptr)
            {
                *size = 0;
            }
            return;
        }
        bool copied = false;
        // Deliberate: unlike ReadSysInfo, the text parameter is not tested. The stub never passes null.
        *text = CopyForStub(info, &copied);
        if (!copied)
        {
            trace.Error(L"Failed to copy UsbTypeC Information");
        }
        trace.Information(L"USB Type C Information returned = %s", *text);
        if (size != nullptr)
        {
            *size = CharactersWithNul(info);
        }
    }
    catch (...)
    {
        trace.Error(L"ReadUSBTypeCInfo failed to read USBTypeC Information.");
    }
}
