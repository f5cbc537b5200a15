// Reading one property of one WMI object, with the waits that a slow firmware provider needs.
#include "sysinfo/WmiData.h"

#include "shared/TraceScope.h"

#include <windows.h>

#include <comdef.h>
#include <wbemcli.h>

#include <new>

using Quil::Shared::CTraceScope;
using Quil::Shared::Low32;

namespace RpcServer
{

namespace
{

// Counts the attempts at one property and decides after each whether there is another one.
class CRetries
{
  public:
    int Attempts() const noexcept { return m_nAttempts; }

    // Short wait after a failed or empty read; true for the next quick attempt.
    bool QuickAgain()
    {
        Sleep(100);
        ++m_nAttempts;
        return m_nAttempts <= 5;
    }

    // Long wait; true for another round, which only an exception earns.
    bool LongAgain(HRESULT result)
    {
        Sleep(3000);
        ++m_nLongWaits;
        return result != S_OK && m_nLongWaits <= 3 && m_bException;
    }

    void NoteException() noexcept { m_bException = true; }

  private:
    int m_nAttempts{0};
    int m_nLongWaits{0};
    bool m_bException{false};
};

// Moves the text of a property, up to its first NUL, out of the VARIANT. A value that is no text (null, a number) reads
// as empty.
void TakeText(VARIANT& property, std::wstring& value)
{
    const wchar_t* const text = V_VT(&property) == VT_BSTR ? V_BSTR(&property) : nullptr;
    try
    {
        value = text != nullptr ? text : L"";
    }
    catch (const std::bad_alloc&)
    {
        VariantClear(&property);
        _com_issue_error(E_OUTOFMEMORY);
    }
    VariantClear(&property);
}

} // namespace

HRESULT WMIData::GetBIOSValue(IWbemClassObject* object, const wchar_t* property, DWORD* value)
{
    CTraceScope trace{"RpcServer::WMIData::GetBIOSValue", L"IWbemClassObject = 0x%x, strData = %s", Low32(object),
                      property};

    VARIANT variant{};
    VariantInit(&variant);
    trace.Verbose(L"Trying to get value of %s", property);
    CRetries retries;
    HRESULT result = S_OK;
    do
    {
        try
        {
            do
            {
                trace.Verbose(L"Inside while");
                result = object->Get(property, 0, &variant, nullptr, nullptr);
                if (SUCCEEDED(result))
                {
                    // Deliberate: the low 32 bits count, whatever the type of the value.
                    *value = V_UI4(&variant);
                    trace.Information(L"The value is %d", *value);
                    VariantClear(&variant);
                    return trace.ExitValue(result, L"Return Value = 0x%x");
                }
                trace.Error(L"Failed to get value of %s at count %d. Error = 0x%08X. Re-trying...", property,
                            retries.Attempts(), result);
            } while (retries.QuickAgain());
        }
        catch (const _com_error& error)
        {
            retries.NoteException();
            result = error.Error();
            trace.Error(L"Exception while getting BIOS with error 0x%08X", result);
        }
    } while (retries.LongAgain(result));

    VariantClear(&variant);
    return trace.ExitValue(result, L"Return Value = 0x%x");
}

HRESULT WMIData::GetBIOSValue(IWbemClassObject* object, const wchar_t* property, std::wstring& value, bool retry)
{
    CTraceScope trace{"RpcServer::WMIData::GetBIOSValue", L"IWbemClassObject = 0x%x, strData = %s, Retry = %d",
                      Low32(object), property, retry};

    VARIANT variant{};
    VariantInit(&variant);
    trace.Verbose(L"Trying to get value of %s", property);
    CRetries retries;
    HRESULT result = S_OK;
    do
    {
        try
        {
            do
            {
                trace.Verbose(L"Inside while");
                result = object->Get(property, 0, &variant, nullptr, nullptr);
                if (SUCCEEDED(result))
                {
                    TakeText(variant, value);
                    trace.Verbose(L"The value is %s", value);
                    if (!retry)
                    {
                        // Deliberate: the record marks every read without retry, also that of a value, and takes the
                        // place of the exit record.
                        trace.Warning(L"The value for '%s' is empty. No Retrying as per flag", property);
                        trace.NoExit();
                        return result;
                    }
                    if (!value.empty())
                    {
                        return trace.ExitValue(result, L"Return Value hr = 0x%x");
                    }
                    trace.Warning(L"The value for '%s' is empty. So Retrying", property);
                }
                else
                {
                    trace.Error(L"Failed to get value of %s at count %d. Error = 0x%08X. Re-trying...", property,
                                retries.Attempts(), result);
                }
                // Deliberate: without retry a failure costs both waits all the same.
            } while (retries.QuickAgain() && retry);
        }
        catch (const _com_error& error)
        {
            retries.NoteException();
            result = error.Error();
            trace.Error(L"Exception while getting BIOS with error 0x%08X", result);
        }
    } while (retries.LongAgain(result));

    VariantClear(&variant);
    return trace.ExitValue(result, L"Return Value hr = 0x%x");
}

} // namespace RpcServer
