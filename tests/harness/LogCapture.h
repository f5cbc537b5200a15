// Takes the place of the process's logger and keeps every record.
//
//   LogCapture log;
//   ...
//   EXPECT_LINES(log, L"TraceIn|", L"Error|OpenSCManager failed w/err 0x00000005", L"TraceOut|Return Value = -3");
//   EXPECT_RECORDS(log, L"TraceIn|Utils::GetService|Service Name = x", ...);          with the function names
#pragma once

#include "shared/Logger.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <mutex>
#include <string>
#include <vector>

struct LogRecord
{
    int level;
    std::string function;
    std::wstring message;
};

class LogCapture
{
  public:
    // Keeps records of these levels; Diag (6) as the maximum does not switch the elapsed timers on, see Diagnostics.
    explicit LogCapture(int minimumLevel = 0, int maximumLevel = 5);
    ~LogCapture();
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    // A capture whose logger has its diagnostics flag set, so that functions are timed.
    static std::unique_ptr<LogCapture> Diagnostics();

    std::vector<LogRecord> Records() const;
    // "Level|message" of each record, in order.
    std::vector<std::wstring> Lines() const;
    // The same for one function name.
    std::vector<std::wstring> LinesOf(const std::string& function) const;
    // "Level|function|message" of each record, in order.
    std::vector<std::wstring> FullLines() const;
    void Clear();

  private:
    class Listener;

    LogCapture(int minimumLevel, int maximumLevel, DWORD typeCode);

    Listener* m_listener; // owned by the logger in place
    std::unique_ptr<Quil::Shared::CqlLogger> m_previous;
};

#define EXPECT_LINES(log, ...)                                                                                         \
    EXPECT_THAT((log).Lines(), testing::ElementsAreArray(std::vector<std::wstring>{__VA_ARGS__}))
#define EXPECT_RECORDS(log, ...)                                                                                       \
    EXPECT_THAT((log).FullLines(), testing::ElementsAreArray(std::vector<std::wstring>{__VA_ARGS__}))
