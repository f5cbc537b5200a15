/// \file
/// A WMI namespace as the reader uses it: opening it, starting a query, walking over its rows.
/// Records go to the caller's name. What is obtained is owned by the caller's scope. Not tied to a thread.
#pragma once

#include "shared/TraceScope.h"
#include "shared/UniqueHandle.h"

#include <windows.h>

#include <wbemcli.h>

namespace RpcServer
{

using CUniqueLocator = Quil::Shared::CUnique<Quil::Shared::ComPolicy<IWbemLocator>>;   ///< the way to the namespaces
using CUniqueServices = Quil::Shared::CUnique<Quil::Shared::ComPolicy<IWbemServices>>; ///< a namespace
using CUniqueRows =
    Quil::Shared::CUnique<Quil::Shared::ComPolicy<IEnumWbemClassObject>>;            ///< rows that are still to come
using CUniqueRow = Quil::Shared::CUnique<Quil::Shared::ComPolicy<IWbemClassObject>>; ///< one object of a class

/// The in-process locator. The calling thread is in an apartment.
HRESULT CreateLocator(CUniqueLocator& locator);

/// Connects as the calling thread's user. Throws _com_error when memory for the path runs out.
HRESULT ConnectNamespace(IWbemLocator* locator, const wchar_t* path, CUniqueServices& services);
/// Starts a WQL query whose rows are read once, in order; does not wait for them. Throws _com_error when memory for
/// the query runs out.
HRESULT StartQuery(IWbemServices* services, const wchar_t* query, CUniqueRows& rows);

/// Authenticates the calls that follow and lets WMI impersonate the caller.
HRESULT SetProxyBlanket(IWbemServices* services);

/// False, with a record, when a successful call gave no pointer.
bool IsConnected(const Quil::Shared::CLogName& log, const CUniqueServices& services);
/// The same for a query.
bool HasEnumerator(const Quil::Shared::CLogName& log, const CUniqueRows& rows);

/// Calls handleRow(IWbemClassObject*) for each row and gives up the enumerator; the result of the last Next.
template <typename HandleRow>
HRESULT ForEachRow(const Quil::Shared::CLogName& log, CUniqueRows& rows, HandleRow handleRow)
{
    for (;;)
    {
        CUniqueRow row;
        ULONG count = 0;
        const HRESULT result = rows.Get()->Next(static_cast<long>(WBEM_INFINITE), 1, row.Put(), &count);
        if (FAILED(result) || !row || count == 0)
        {
            log.Verbose(L"IWbemClassObject = 0x%08X, uReturn = %d, [hr:0x%08X]", Quil::Shared::Low32(row.Get()), count,
                        result);
            rows.Reset();
            return result;
        }
        handleRow(row.Get());
    }
}

} // namespace RpcServer
