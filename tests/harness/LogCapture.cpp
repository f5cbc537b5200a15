#include "tests/harness/LogCapture.h"

#include <utility>

using Quil::Shared::CqlLogger;
using Quil::Shared::CqlLogListener;

class LogCapture::Listener final : public CqlLogListener
{
  public:
    Listener(int minimumLevel, int maximumLevel, DWORD typeCode)
        : CqlLogListener{minimumLevel, nullptr, nullptr, true}, m_typeCode{typeCode}
    {
        m_nMaximumLevel = maximumLevel;
    }
    void Write(const LogData& record) override
    {
        const std::lock_guard guard{m_lock};
        m_records.push_back({record.Level(), std::string{record.FunctionName()}, std::wstring{record.Message()}});
    }
    DWORD Type() const override { return m_typeCode; }

    mutable std::mutex m_lock;
    std::vector<LogRecord> m_records;

  private:
    DWORD m_typeCode;
};

LogCapture::LogCapture(int minimumLevel, int maximumLevel)
    : LogCapture{minimumLevel, maximumLevel, CqlLogListener::Console}
{
}

LogCapture::LogCapture(int minimumLevel, int maximumLevel, DWORD typeCode)
    : m_listener{new Listener{minimumLevel, maximumLevel, typeCode}}
{
    auto logger = std::make_unique<CqlLogger>();
    logger->AddListener(std::unique_ptr<CqlLogListener>{m_listener});
    m_previous = CqlLogger::ExchangeInstance(std::move(logger));
}

LogCapture::~LogCapture()
{
    CqlLogger::ExchangeInstance(std::move(m_previous));
}

std::unique_ptr<LogCapture> LogCapture::Diagnostics()
{
    return std::unique_ptr<LogCapture>{new LogCapture{0, Quil::Shared::Diag, CqlLogListener::FileDirect}};
}

std::vector<LogRecord> LogCapture::Records() const
{
    const std::lock_guard guard{m_listener->m_lock};
    return m_listener->m_records;
}

std::vector<std::wstring> LogCapture::Lines() const
{
    std::vector<std::wstring> lines;
    for (const LogRecord& record : Records())
    {
        lines.push_back(Quil::Shared::LogLevelName(record.level) + (L"|" + record.message));
    }
    return lines;
}

std::vector<std::wstring> LogCapture::LinesOf(const std::string& function) const
{
    std::vector<std::wstring> lines;
    for (const LogRecord& record : Records())
    {
        if (record.function == function)
        {
            lines.push_back(Quil::Shared::LogLevelName(record.level) + (L"|" + record.message));
        }
    }
    return lines;
}

std::vector<std::wstring> LogCapture::FullLines() const
{
    std::vector<std::wstring> lines;
    for (const LogRecord& record : Records())
    {
        const std::wstring function{record.function.begin(), record.function.end()};
        lines.push_back(Quil::Shared::LogLevelName(record.level) + (L"|" + function + L"|" + record.message));
    }
    return lines;
}

void LogCapture::Clear()
{
    const std::lock_guard guard{m_listener->m_lock};
    m_listener->m_records.clear();
}
