#include "hotkey/HotKeyHandler.h"
#include "hotkey/SysInfoSource.h"
#include "shared/TraceScope.h"
#include "sysinfo/WmiData.h"
#include "utils/AppActivationHandler.h"

using namespace Quil::Shared;

namespace RpcServer::SysInfo
{

namespace
{

// The calling thread's impersonation ends with the scope, whether or not it began.
class CImpersonationScope
{
  public:
    explicit CImpersonationScope(AppSection::CAppActivationHandler& helper) : m_helper{helper} {}
    ~CImpersonationScope() { m_helper.RemoveImpersonation(); }
    CImpersonationScope(const CImpersonationScope&) = delete;
    CImpersonationScope& operator=(const CImpersonationScope&) = delete;

  private:
    AppSection::CAppActivationHandler& m_helper;
};

bool StartReading()
{
    return g_sysInfoSource.ReadSysInfo != nullptr && g_sysInfoSource.ReadSysInfo();
}

bool AwaitReading(DWORD timeoutMs)
{
    return g_sysInfoSource.IsReadSysInfoReadCompleted != nullptr &&
           g_sysInfoSource.IsReadSysInfoReadCompleted(timeoutMs);
}

WMIData* ServiceReader()
{
    return g_sysInfoSource.GetWMIData != nullptr ? g_sysInfoSource.GetWMIData() : nullptr;
}

// Chinese is told apart by script, not by country; every other country stays as it is.
const wchar_t* CountryOrScript(const std::wstring& language, const std::wstring& country)
{
    if (language == L"zh")
    {
        if (country == L"CN" || country == L"SG")
        {
            return L"HANS";
        }
        if (country == L"TW" || country == L"HK" || country == L"MO")
        {
            return L"HANT";
        }
    }
    return country.c_str();
}

} // namespace

CStringW CHotKeyHandler::GetSysInfo()
{
    CTraceScope trace{"RpcServer::SysInfo::CHotKeyHandler::GetSysInfo"};

    if (m_hWaitForSysInfoReadCompleteEvent && !ResetEvent(m_hWaitForSysInfoReadCompleteEvent.Get()))
    {
        trace.Error(L"Reset Event for m_hWaitForSysInfoReadCompleteEvent failed with error %d", GetLastError());
    }

    CStringW text;
    if (const WMIData* const wmiData = m_pWMIData.load())
    {
        text = wmiData->GetSysInfoText();
    }
    if (!text.empty())
    {
        trace.Verbose(L"System Info String is not empty. Value  = %s", text);
        if (m_strUSBTypeCSupport.Get().empty())
        {
            CheckAndAddUsbTypeCSupport();
        }
    }
    else if (!StartReading())
    {
        trace.Error(L"ReadSysInfo thread launch failed");
    }
    else
    {
        text = AwaitSysInfoText(trace);
    }

    CStringW result;
    if (!text.empty())
    {
        result = text + L"<.^.>" + m_strUSBTypeCSupport.Get();
    }
    else
    {
        trace.Error(L"System Info String is empty");
    }

    if (m_hWaitForSysInfoReadCompleteEvent && !SetEvent(m_hWaitForSysInfoReadCompleteEvent.Get()))
    {
        trace.Error(L"SetEvent for m_hWaitForSysInfoReadCompleteEvent failed with error %d", GetLastError());
    }
    return trace.Exit(result, L"Complete SysInfo = %s", result);
}

CStringW CHotKeyHandler::AwaitSysInfoText(const CLogName& log)
{
    // The question to the framework overlaps the reading.
    const std::wstring support = m_strUSBTypeCSupport.Get();
    if (!support.empty())
    {
        log.Verbose(L"USB Type C Present string not empty. Value = %s", support);
    }
    else
    {
        CheckAndAddUsbTypeCSupport();
    }

    if (!AwaitReading(kReadSysInfoTimeout))
    {
        log.Warning(L"Reading System information from BIOS is not completed.");
        return {};
    }
    WMIData* const wmiData = ServiceReader();
    m_pWMIData.store(wmiData);
    if (wmiData == nullptr)
    {
        log.Error(L"WMIData pointer is NULL");
        return {};
    }
    return wmiData->GetSysInfoText();
}

void CHotKeyHandler::CheckAndAddUsbTypeCSupport()
{
    CTraceScope trace{"RpcServer::SysInfo::CHotKeyHandler::CheckAndAddUsbTypeCSupport"};

    // Deliberate: "yes" is kept, "0x0" is asked again.
    if (m_strUSBTypeCSupport.Get() != L"yes")
    {
        m_strUSBTypeCSupport.Set(IsUSBCSupported() ? L"yes" : L"0x0");
    }
    trace.ExitText(L"USB Type C Support = %s", m_strUSBTypeCSupport.Get());
}

std::wstring CHotKeyHandler::GetLocale()
{
    CTraceScope trace{"RpcServer::SysInfo::CHotKeyHandler::GetLocale"};

    const std::shared_ptr<AppSection::CAppActivationHandler> helper = m_pAppActivationHandler.load();
    if (helper == nullptr)
    {
        return {};
    }
    const CImpersonationScope impersonation{*helper};
    if (!helper->ImpersonateUserLogOnSession())
    {
        // Deliberate: without the user the service's own locale is read.
        trace.Error(L"ImpersonateUserLogOnSession failed with error = %u", GetLastError());
    }

    wchar_t language[5]{};
    if (GetLocaleInfoW(LOCALE_USER_DEFAULT, LOCALE_SISO639LANGNAME, language, 5) == 0)
    {
        trace.Error(L"GetLocaleInfo: UserDefaultLanguage failed with error : %d", GetLastError());
        return {};
    }
    trace.Information(L"The lang code is %s", language);

    wchar_t country[5]{};
    if (GetLocaleInfoW(LOCALE_USER_DEFAULT, LOCALE_SISO3166CTRYNAME, country, 5) == 0)
    {
        trace.Error(L"GetLocaleInfo: UserDefaultCountryCode failed with error : %d", GetLastError());
        return {};
    }
    const std::wstring countryCode = CountryOrScript(language, country);
    trace.Information(L"The country code is %s", countryCode);

    std::wstring locale = std::wstring{language} + L"_" + countryCode;
    trace.Information(L"Complete Locale %s", locale);
    return locale;
}

} // namespace RpcServer::SysInfo
