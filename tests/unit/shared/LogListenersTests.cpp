// The event-log, console and debugger listeners.
#include "shared/LogListenerConsole.h"
#include "shared/LogListenerDebug.h"
#include "shared/LogListenerEvent.h"

#include "shared/LogLevel.h"
#include "shared/Logger.h"
#include "tests/harness/AllocationFault.h"
#include "tests/harness/ImportHook.h"
#include "tests/harness/RegistryScope.h"

#include <gtest/gtest.h>

#include <vector>

using namespace Quil::Shared;
using LogData = CqlLogListener::LogData;

namespace
{

const std::wstring kProduct = L"Software\\Policies\\Quil\\Tests in Windows characters";

struct Event
{
    WORD type;
    WORD category;
    DWORD id;
    std::wstring text;

    bool operator==(const Event&) const = default;
};

const HANDLE kSource = reinterpret_cast<HANDLE>(0x1234);

// An event log that remembers.
class EventLog
{
  public:
    EventLog()
        : m_register{[this](const wchar_t* server, const wchar_t* source) {
              EXPECT_EQ(nullptr, server);
              m_source = source;
              return kSource;
          }},
          m_report{[this](HANDLE source, WORD type, WORD category, DWORD id, PSID user, WORD strings, DWORD size,
                          const wchar_t** texts, void* data) -> BOOL {
              EXPECT_EQ(kSource, source);
              EXPECT_EQ(nullptr, user);
              EXPECT_EQ(1, strings);
              EXPECT_EQ(0u, size);
              EXPECT_EQ(nullptr, data);
              m_events.push_back({type, category, id, texts[0]});
              return TRUE;
          }},
          m_deregister{[](HANDLE source) -> BOOL {
              EXPECT_EQ(kSource, source);
              return TRUE;
          }}
    {
    }

    std::wstring m_source;
    std::vector<Event> m_events;
    int Deregistrations() const { return m_deregister.Calls(); }

  private:
    struct RegisterTag
    {
        static const wchar_t* Module() { return nullptr; }
        static const char* Name() { return "RegisterEventSourceW"; }
    };
    struct ReportTag
    {
        static const wchar_t* Module() { return nullptr; }
        static const char* Name() { return "ReportEventW"; }
    };
    struct DeregisterTag
    {
        static const wchar_t* Module() { return nullptr; }
        static const char* Name() { return "DeregisterEventSource"; }
    };
    Harness::ImportHook<RegisterTag, decltype(RegisterEventSourceW)> m_register;
    Harness::ImportHook<ReportTag, decltype(ReportEventW)> m_report;
    Harness::ImportHook<DeregisterTag, decltype(DeregisterEventSource)> m_deregister;
};

std::wstring PrintedBy(CqlLogListenerDebug& listener, const LogData& record)
{
    std::wstring printed = L"(nothing)";
    IMPORT_HOOK(OutputDebugStringW)([&](const wchar_t* text) { printed = text; });
    listener.Write(record);
    return printed;
}

std::string PrintedBy(CqlLogListenerConsole& listener, const LogData& record)
{
    testing::internal::CaptureStdout();
    listener.Write(record);
    return testing::internal::GetCapturedStdout();
}

} // namespace

TEST(LogListenerEvent, RegistersTheProgramsBaseNameAsItsSourceAndDeregistersIt)
{
    RegistryScope registry;
    EventLog log;
    {
        CqlLogListenerEvent listener{0};
        EXPECT_EQ(L"shared_tests", log.m_source);
        EXPECT_EQ(1u, listener.Type());
        EXPECT_EQ(0, log.Deregistrations());
    }
    EXPECT_EQ(1, log.Deregistrations());
}

TEST(LogListenerEvent, ReportsLevelAsEventIdAndTheWholeLineAsText)
{
    RegistryScope registry;
    EventLog log;
    CqlLogListenerEvent listener{0};
    const LogData record{Information, "A::B", L"100% of it"};

    listener.Write(record);

    EXPECT_EQ((std::vector<Event>{{4, 0, 3, record.Line()}}), log.m_events);
    EXPECT_NE(std::wstring::npos, record.Line().find(L"|Information|A::B|100% of it"));
}

TEST(LogListenerEvent, ReportsWarningsAndErrorsAsSuchAndTheRestAsInformation)
{
    RegistryScope registry;
    EventLog log;
    CqlLogListenerEvent listener{0};

    for (int level = 0; level <= 5; ++level)
    {
        listener.Write(LogData{level, "A::B", L"x"});
    }

    ASSERT_EQ(6u, log.m_events.size());
    const std::vector<WORD> types{4, 4, 4, 4, 2, 1};
    for (std::size_t level = 0; level < 6; ++level)
    {
        EXPECT_EQ(types[level], log.m_events[level].type);
        EXPECT_EQ(level, log.m_events[level].id);
        EXPECT_EQ(0, log.m_events[level].category);
    }
}

TEST(LogListenerEvent, DropsWhatIsBelowItsMinimumOrAboveError)
{
    RegistryScope registry;
    registry.SetText(kProduct, L"MinLogLevel", L"Warning");
    registry.SetText(kProduct, L"MaxLogLevel", L"Never");
    EventLog log;
    CqlLogListenerEvent listener{0};

    listener.Write(LogData{Information, "A::B", L"x"});
    listener.Write(LogData{Diag, "A::B", L"x"});
    listener.Write(LogData{7, "A::B", L"x"});

    EXPECT_TRUE(log.m_events.empty());
}

TEST(LogListenerEvent, LosesRecordsSilentlyWithoutASource)
{
    RegistryScope registry;
    IMPORT_HOOK(RegisterEventSourceW)([](auto...) { return HANDLE{nullptr}; });
    IMPORT_HOOK(ReportEventW)
    ([](HANDLE source, auto...) {
        EXPECT_EQ(nullptr, source);
        return FALSE;
    });
    IMPORT_HOOK(DeregisterEventSource)
    ([](HANDLE source) {
        EXPECT_EQ(nullptr, source);
        return FALSE;
    });
    {
        CqlLogListenerEvent listener{0};
        listener.Write(LogData{Error, "A::B", L"x"});
    }
    EXPECT_EQ(1, hook_ReportEventW.Calls());
    EXPECT_EQ(1, hook_DeregisterEventSource.Calls());
}

TEST(LogListenerEvent, NeverGetsDiagLinesThatOtherListenersGet)
{
    RegistryScope registry;
    registry.SetText(kProduct, L"LoggingType", L"EVENT,DEBUG");
    registry.SetText(kProduct, L"MaxLogLevel", L"Diag");
    EventLog log;
    std::vector<std::wstring> debugged;
    IMPORT_HOOK(OutputDebugStringW)([&](const wchar_t* text) { debugged.emplace_back(text); });
    CqlLogger logger{0, CqlLogger::kDefaultListenerMask};

    logger.Log(Diag, "A::B", L"slow");
    logger.Log(Error, "A::B", L"wrong");

    EXPECT_EQ(1u, log.m_events.size());
    EXPECT_EQ((std::vector<std::wstring>{L"A::B : slow\r\n", L"A::B : wrong\r\n"}), debugged);
}

TEST(LogListenerConsole, PrintsFunctionAndMessage)
{
    RegistryScope registry;
    CqlLogListenerConsole listener{0};

    // A text stream writes the line feed as CR LF once more.
    EXPECT_EQ("A::B : text\r\n", PrintedBy(listener, LogData{Error, "A::B", L"text"}));
    EXPECT_EQ(16u, listener.Type());
}

TEST(LogListenerConsole, PrintsPercentSignsAsTheyStand)
{
    RegistryScope registry;
    CqlLogListenerConsole listener{0};

    EXPECT_EQ("A%n : 100%s %d\r\n", PrintedBy(listener, LogData{Error, "A%n", L"100%s %d"}));
}

TEST(LogListenerDebug, SendsFunctionAndMessage)
{
    RegistryScope registry;
    CqlLogListenerDebug listener{0};

    EXPECT_EQ(L"A::B : text\r\n", PrintedBy(listener, LogData{Error, "A::B", L"text"}));
    EXPECT_EQ(L" : \r\n", PrintedBy(listener, LogData{Error, "", L""}));
    EXPECT_EQ(2u, listener.Type());
}

TEST(LogListenerDebug, SendsPercentSignsAndLongTextsAsTheyStand)
{
    RegistryScope registry;
    CqlLogListenerDebug listener{0};
    const std::wstring text = L"%s%n" + std::wstring(5000, L'x');

    EXPECT_EQ(L"A%d : " + text + L"\r\n", PrintedBy(listener, LogData{Error, "A%d", text}));
}

TEST(LogListenerDebug, SendsNothingWithoutMemory)
{
    RegistryScope registry;
    CqlLogListenerDebug listener{0};
    AllocationFault fault{0};

    EXPECT_EQ(L"(nothing)", PrintedBy(listener, LogData{Error, "A::B", L"text"}));
}

namespace
{

// Reads its minimum from a value of a name of its own.
class NamedMinimum final : public CqlLogListener
{
  public:
    explicit NamedMinimum(const wchar_t* name) : CqlLogListener{0, L"Product", name, false} {}
    void Write(const LogData&) override {}
    DWORD Type() const override { return Console; }
};

} // namespace

TEST(LogListener, ReadsItsMinimumFromTheValueThatItNames)
{
    RegistryScope registry;
    registry.SetText(L"Software\\Policies\\Quil\\Product", L"MinConsoleLevel", L"Error");
    registry.SetText(L"Software\\Policies\\Quil\\Product", L"MinLogLevel", L"Warning");

    EXPECT_EQ(5, NamedMinimum{L"MinConsoleLevel"}.MinimumLevel());
    EXPECT_EQ(4, NamedMinimum{L""}.MinimumLevel());
    EXPECT_EQ(4, NamedMinimum{nullptr}.MinimumLevel());
}
