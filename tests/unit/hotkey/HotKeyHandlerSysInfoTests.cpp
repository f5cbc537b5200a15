// The system-information answer: which text it takes, when it starts and awaits the reading, the event around it;
// the support field; the user's locale.
#include "hotkey/HotKeyHandler.h"

#include "tests/harness/ImportHook.h"
#include "tests/harness/LogCapture.h"
#include "tests/unit/hotkey/HandlerMachine.h"
#include "tests/unit/hotkey/SessionStandIn.h"
#include "tests/unit/hotkey/SourceStandIn.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

using testing::Contains;
using testing::ElementsAre;

namespace
{

constexpr char kGetSysInfo[] = "RpcServer::SysInfo::CHotKeyHandler::GetSysInfo";
constexpr char kSupport[] = "RpcServer::SysInfo::CHotKeyHandler::CheckAndAddUsbTypeCSupport";
constexpr char kLocale[] = "RpcServer::SysInfo::CHotKeyHandler::GetLocale";

class SysInfoAnswer : public testing::Test
{
  protected:
    // How often the framework was asked for the support.
    int SupportQuestions() const
    {
        return static_cast<int>(std::count(machine.fennix.asked.begin(), machine.fennix.asked.end(),
                                           std::wstring{L"GetPlatformUsbcSupported"}));
    }

    HandlerMachine machine;
    SourceStandIn source;
    ReaderStandIn reader;
    ProbeHandler handler{nullptr};
    LogCapture log;
};

} // namespace

// --- with a text at hand

TEST_F(SysInfoAnswer, ATextAtHandIsAnsweredAtOnceWithTheSupportField)
{
    reader.SetText(L"a;b;c");
    handler.m_pWMIData = &reader;

    EXPECT_EQ(L"a;b;c<.^.>yes", handler.GetSysInfo());

    EXPECT_EQ(0, source.starts);
    EXPECT_EQ(0, source.waits);
    EXPECT_THAT(log.LinesOf(kGetSysInfo),
                ElementsAre(L"TraceIn|", L"Verbose|System Info String is not empty. Value  = a;b;c",
                            L"TraceOut|Complete SysInfo = a;b;c<.^.>yes"));
}

TEST_F(SysInfoAnswer, WithATextAtHandTheSupportIsAskedOnlyWhileItsFieldIsEmpty)
{
    reader.SetText(L"a");
    handler.m_pWMIData = &reader;
    machine.fennix.platformSupported = VARIANT_FALSE;

    EXPECT_EQ(L"a<.^.>0x0", handler.GetSysInfo());
    machine.fennix.platformSupported = VARIANT_TRUE;
    EXPECT_EQ(L"a<.^.>0x0", handler.GetSysInfo());

    EXPECT_EQ(1, SupportQuestions());
}

TEST_F(SysInfoAnswer, WithoutTheFrameworkItEndsIn0x0)
{
    reader.SetText(L"a");
    handler.m_pWMIData = &reader;
    handler.m_pFennix.Reset();

    EXPECT_EQ(L"a<.^.>0x0", handler.GetSysInfo());
}

// --- without one

TEST_F(SysInfoAnswer, ReadingIsStartedAndAwaitedFor25Seconds)
{
    reader.SetText(L"fresh");
    source.reader = &reader;

    EXPECT_EQ(L"fresh<.^.>yes", handler.GetSysInfo());

    EXPECT_EQ(1, source.starts);
    EXPECT_EQ(1, source.waits);
    EXPECT_EQ(25000u, source.timeout);
    EXPECT_EQ(&reader, handler.m_pWMIData.load());
    EXPECT_THAT(log.LinesOf(kGetSysInfo), ElementsAre(L"TraceIn|", L"TraceOut|Complete SysInfo = fresh<.^.>yes"));
}

TEST_F(SysInfoAnswer, AReaderWithoutATextYetIsReadToo)
{
    ReaderStandIn finished;
    finished.SetText(L"fresh");
    handler.m_pWMIData = &reader;
    source.reader = &finished;

    EXPECT_EQ(L"fresh<.^.>yes", handler.GetSysInfo());

    EXPECT_EQ(&finished, handler.m_pWMIData.load());
}

TEST_F(SysInfoAnswer, TheSupportIsAskedBeforeTheWait)
{
    source.reader = &reader;
    source.onWait = [&] { EXPECT_EQ(1, SupportQuestions()); };

    handler.GetSysInfo();

    EXPECT_EQ(1, source.waits);
}

TEST_F(SysInfoAnswer, ASupportThatIsKnownIsLoggedAndNotAskedBeforeTheWait)
{
    handler.m_strUSBTypeCSupport.Set(L"0x0");
    reader.SetText(L"fresh");
    source.reader = &reader;

    EXPECT_EQ(L"fresh<.^.>0x0", handler.GetSysInfo());

    EXPECT_EQ(0, SupportQuestions());
    EXPECT_THAT(log.LinesOf(kGetSysInfo),
                ElementsAre(L"TraceIn|", L"Verbose|USB Type C Present string not empty. Value = 0x0",
                            L"TraceOut|Complete SysInfo = fresh<.^.>0x0"));
}

TEST_F(SysInfoAnswer, AReadingThatCannotBeStartedAnswersEmpty)
{
    source.startResult = false;

    EXPECT_EQ(L"", handler.GetSysInfo());

    EXPECT_EQ(0, source.waits);
    EXPECT_EQ(0, SupportQuestions());
    EXPECT_THAT(log.LinesOf(kGetSysInfo),
                ElementsAre(L"TraceIn|", L"Error|ReadSysInfo thread launch failed",
                            L"Error|System Info String is empty", L"TraceOut|Complete SysInfo = "));
}

TEST_F(SysInfoAnswer, AReadingThatDoesNotFinishAnswersEmptyWithAWarning)
{
    source.waitResult = false;
    reader.SetText(L"not yet to be seen");
    source.reader = &reader;

    EXPECT_EQ(L"", handler.GetSysInfo());

    EXPECT_EQ(nullptr, handler.m_pWMIData.load());
    EXPECT_THAT(log.LinesOf(kGetSysInfo),
                ElementsAre(L"TraceIn|", L"Warning|Reading System information from BIOS is not completed.",
                            L"Error|System Info String is empty", L"TraceOut|Complete SysInfo = "));
}

TEST_F(SysInfoAnswer, AfterATimeoutTheNextRequestStartsAndAwaitsAgain)
{
    source.waitResult = false;
    handler.GetSysInfo();
    source.waitResult = true;
    reader.SetText(L"late");
    source.reader = &reader;

    EXPECT_EQ(L"late<.^.>yes", handler.GetSysInfo());

    EXPECT_EQ(2, source.starts);
    EXPECT_EQ(2, source.waits);
}

TEST_F(SysInfoAnswer, AServiceWithoutAReaderAnswersEmpty)
{
    handler.m_pWMIData = &reader;

    EXPECT_EQ(L"", handler.GetSysInfo());

    EXPECT_EQ(nullptr, handler.m_pWMIData.load());
    EXPECT_THAT(log.LinesOf(kGetSysInfo),
                ElementsAre(L"TraceIn|", L"Error|WMIData pointer is NULL", L"Error|System Info String is empty",
                            L"TraceOut|Complete SysInfo = "));
}

TEST_F(SysInfoAnswer, AReadingThatFoundNothingAnswersEmpty)
{
    source.reader = &reader;

    EXPECT_EQ(L"", handler.GetSysInfo());

    EXPECT_EQ(L"Error|System Info String is empty", log.LinesOf(kGetSysInfo).at(1));
}

TEST_F(SysInfoAnswer, WithoutAServiceNothingCanBeStarted)
{
    RpcServer::SysInfo::g_sysInfoSource = {};

    EXPECT_EQ(L"", handler.GetSysInfo());

    EXPECT_EQ(L"Error|ReadSysInfo thread launch failed", log.LinesOf(kGetSysInfo).at(1));
}

// --- the event around a request

TEST_F(SysInfoAnswer, TheEventIsResetDuringTheRequestAndSetAfterIt)
{
    const HANDLE event = handler.m_hWaitForSysInfoReadCompleteEvent.Get();
    EXPECT_EQ(DWORD{WAIT_OBJECT_0}, WaitForSingleObject(event, 0));
    source.reader = &reader;
    source.onWait = [&] { EXPECT_EQ(DWORD{WAIT_TIMEOUT}, WaitForSingleObject(event, 0)); };

    handler.GetSysInfo();

    EXPECT_EQ(1, source.waits);
    EXPECT_EQ(DWORD{WAIT_OBJECT_0}, WaitForSingleObject(event, 0));
}

TEST_F(SysInfoAnswer, AnEventThatCannotBeResetOrSetIsLoggedAndTheAnswerStays)
{
    reader.SetText(L"a");
    handler.m_pWMIData = &reader;
    const HANDLE event = handler.m_hWaitForSysInfoReadCompleteEvent.Get();
    IMPORT_HOOK(ResetEvent)
    ([&](HANDLE reset) {
        SetLastError(6);
        return reset == event ? FALSE : decltype(hook_ResetEvent)::RealOfCurrent()(reset);
    });
    IMPORT_HOOK(SetEvent)
    ([&](HANDLE set) {
        SetLastError(1359);
        return set == event ? FALSE : decltype(hook_SetEvent)::RealOfCurrent()(set);
    });

    EXPECT_EQ(L"a<.^.>yes", handler.GetSysInfo());

    EXPECT_THAT(log.LinesOf(kGetSysInfo),
                ElementsAre(L"TraceIn|",
                            L"Error|Reset Event for m_hWaitForSysInfoReadCompleteEvent failed with error 6",
                            L"Verbose|System Info String is not empty. Value  = a",
                            L"Error|SetEvent for m_hWaitForSysInfoReadCompleteEvent failed with error 1359",
                            L"TraceOut|Complete SysInfo = a<.^.>yes"));
}

TEST_F(SysInfoAnswer, WithoutTheEventNothingIsResetOrSet)
{
    reader.SetText(L"a");
    handler.m_pWMIData = &reader;
    handler.m_hWaitForSysInfoReadCompleteEvent.Reset();
    int nullEvents = 0;
    IMPORT_HOOK(ResetEvent)
    ([&](HANDLE event) {
        nullEvents += event == nullptr ? 1 : 0;
        return decltype(hook_ResetEvent)::RealOfCurrent()(event);
    });
    IMPORT_HOOK(SetEvent)
    ([&](HANDLE event) {
        nullEvents += event == nullptr ? 1 : 0;
        return decltype(hook_SetEvent)::RealOfCurrent()(event);
    });

    EXPECT_EQ(L"a<.^.>yes", handler.GetSysInfo());

    EXPECT_EQ(0, nullEvents);
}

// --- the support field

TEST_F(SysInfoAnswer, SupportIsYes)
{
    handler.CheckAndAddUsbTypeCSupport();

    EXPECT_EQ(L"yes", handler.m_strUSBTypeCSupport.Get());
    EXPECT_THAT(log.LinesOf(kSupport), ElementsAre(L"TraceIn|", L"TraceOut|USB Type C Support = yes"));
}

TEST_F(SysInfoAnswer, NoSupportIs0x0)
{
    machine.fennix.platformSupported = VARIANT_FALSE;

    handler.CheckAndAddUsbTypeCSupport();

    EXPECT_EQ(L"0x0", handler.m_strUSBTypeCSupport.Get());
    EXPECT_THAT(log.LinesOf(kSupport), ElementsAre(L"TraceIn|", L"TraceOut|USB Type C Support = 0x0"));
}

TEST_F(SysInfoAnswer, YesIsNeverAskedAgain)
{
    handler.CheckAndAddUsbTypeCSupport();
    machine.fennix.platformSupported = VARIANT_FALSE;

    handler.CheckAndAddUsbTypeCSupport();

    EXPECT_EQ(L"yes", handler.m_strUSBTypeCSupport.Get());
    EXPECT_EQ(1, SupportQuestions());
}

TEST_F(SysInfoAnswer, NoSupportIsAskedAgainByADirectCall)
{
    machine.fennix.platformSupported = VARIANT_FALSE;
    handler.CheckAndAddUsbTypeCSupport();
    machine.fennix.platformSupported = VARIANT_TRUE;

    handler.CheckAndAddUsbTypeCSupport();

    EXPECT_EQ(L"yes", handler.m_strUSBTypeCSupport.Get());
    EXPECT_EQ(2, SupportQuestions());
}

// --- the locale

namespace
{

class Locale : public testing::Test
{
  protected:
    HandlerMachine machine;
    SessionStandIn session;
    ProbeHandler handler{nullptr};
    std::wstring language{L"en"};
    std::wstring country{L"GB"};
    DWORD languageError{0};
    DWORD countryError{0};
    BOOL impersonateResult{TRUE};
    std::vector<std::wstring> calls;
    LogCapture log;

    IMPORT_HOOK(GetLocaleInfoW){[this](LCID locale, LCTYPE type, LPWSTR buffer, int size) {
        EXPECT_EQ(LCID{LOCALE_USER_DEFAULT}, locale);
        EXPECT_EQ(5, size);
        const bool isLanguage = type == LOCALE_SISO639LANGNAME;
        EXPECT_TRUE(isLanguage || type == LOCALE_SISO3166CTRYNAME);
        calls.push_back(isLanguage ? L"language" : L"country");
        const DWORD error = isLanguage ? languageError : countryError;
        if (error != 0)
        {
            SetLastError(error);
            return 0;
        }
        wcscpy(buffer, (isLanguage ? language : country).c_str());
        return 3;
    }};
    IMPORT_HOOK(LookupPrivilegeValueW){[](auto...) { return TRUE; }};
    IMPORT_HOOK(ImpersonateLoggedOnUser){[this](HANDLE) {
        calls.push_back(L"impersonate");
        SetLastError(1314);
        return impersonateResult;
    }};
    IMPORT_HOOK(RevertToSelf){[this] {
        calls.push_back(L"revert");
        return TRUE;
    }};
};

} // namespace

TEST_F(Locale, IsReadAsTheUserAndTheImpersonationEnds)
{
    EXPECT_EQ(L"en_GB", handler.GetLocale());

    // The first revert belongs to the token query.
    EXPECT_THAT(calls, ElementsAre(L"revert", L"impersonate", L"language", L"country", L"revert"));
    EXPECT_THAT(log.LinesOf(kLocale),
                ElementsAre(L"TraceIn|", L"Information|The lang code is en", L"Information|The country code is GB",
                            L"Information|Complete Locale en_GB", L"TraceOut|"));
}

struct LocaleRow
{
    const wchar_t* language;
    const wchar_t* country;
    const wchar_t* locale;
};

class LocaleOf : public Locale, public testing::WithParamInterface<LocaleRow>
{
};

TEST_P(LocaleOf, LanguageAndCountry)
{
    language = GetParam().language;
    country = GetParam().country;

    EXPECT_EQ(GetParam().locale, handler.GetLocale());
}

INSTANTIATE_TEST_SUITE_P(Substitutions, LocaleOf,
                         testing::Values(LocaleRow{L"en", L"US", L"en_US"}, LocaleRow{L"zh", L"CN", L"zh_HANS"},
                                         LocaleRow{L"zh", L"SG", L"zh_HANS"}, LocaleRow{L"zh", L"TW", L"zh_HANT"},
                                         LocaleRow{L"zh", L"HK", L"zh_HANT"}, LocaleRow{L"zh", L"MO", L"zh_HANT"},
                                         LocaleRow{L"zh", L"MY", L"zh_MY"}, LocaleRow{L"ZH", L"CN", L"ZH_CN"},
                                         LocaleRow{L"zh", L"cn", L"zh_cn"}, LocaleRow{L"en", L"SG", L"en_SG"},
                                         LocaleRow{L"fil", L"PH", L"fil_PH"}));

TEST_F(Locale, TheScriptIsLoggedAsTheCountryCode)
{
    language = L"zh";
    country = L"TW";

    handler.GetLocale();

    EXPECT_EQ(L"Information|The country code is HANT", log.LinesOf(kLocale).at(2));
}

TEST_F(Locale, AFailingLanguageLeavesItEmptyAndEndsTheImpersonation)
{
    languageError = 87;

    EXPECT_EQ(L"", handler.GetLocale());

    EXPECT_EQ(L"revert", calls.back());
    EXPECT_THAT(
        log.LinesOf(kLocale),
        ElementsAre(L"TraceIn|", L"Error|GetLocaleInfo: UserDefaultLanguage failed with error : 87", L"TraceOut|"));
}

TEST_F(Locale, AFailingCountryLeavesItEmptyAndEndsTheImpersonation)
{
    countryError = 122;

    EXPECT_EQ(L"", handler.GetLocale());

    EXPECT_EQ(L"revert", calls.back());
    EXPECT_THAT(log.LinesOf(kLocale),
                ElementsAre(L"TraceIn|", L"Information|The lang code is en",
                            L"Error|GetLocaleInfo: UserDefaultCountryCode failed with error : 122", L"TraceOut|"));
}

TEST_F(Locale, AFailingImpersonationIsLoggedAndTheServicesOwnLocaleRead)
{
    impersonateResult = FALSE;

    EXPECT_EQ(L"en_GB", handler.GetLocale());

    EXPECT_THAT(calls, ElementsAre(L"revert", L"impersonate", L"language", L"country", L"revert"));
    EXPECT_EQ(L"Error|ImpersonateUserLogOnSession failed with error = 1314", log.LinesOf(kLocale).at(1));
}

TEST_F(Locale, WithNobodyLoggedOnTheServicesOwnLocaleIsRead)
{
    session.sessionId = 0;

    EXPECT_EQ(L"en_GB", handler.GetLocale());

    EXPECT_THAT(calls, ElementsAre(L"language", L"country", L"revert"));
}

TEST_F(Locale, WithoutTheHelperItIsEmpty)
{
    handler.ReleaseAppActivationHandler();
    calls.clear();
    log.Clear();

    EXPECT_EQ(L"", handler.GetLocale());

    EXPECT_TRUE(calls.empty());
    EXPECT_LINES(log, L"TraceIn|", L"TraceOut|");
}

// --- with a service that lacks a part

TEST_F(SysInfoAnswer, AServiceThatCannotAwaitAReadingAnswersEmpty)
{
    reader.SetText(L"a");
    source.reader = &reader;
    RpcServer::SysInfo::g_sysInfoSource.IsReadSysInfoReadCompleted = nullptr;

    EXPECT_EQ(L"", handler.GetSysInfo());

    EXPECT_EQ(1, source.starts);
}

TEST_F(SysInfoAnswer, AServiceThatCannotGiveItsReaderAnswersEmpty)
{
    RpcServer::SysInfo::g_sysInfoSource.GetWMIData = nullptr;

    EXPECT_EQ(L"", handler.GetSysInfo());

    EXPECT_THAT(log.LinesOf(kGetSysInfo), Contains(L"Error|WMIData pointer is NULL"));
}
