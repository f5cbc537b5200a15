#include "shared/LogListener.h"

#include "shared/LogLevel.h"
#include "shared/LogLine.h"
#include "shared/LogPolicy.h"

namespace Quil::Shared
{

CqlLogListener::LogData::LogData(int level, const char* functionName, std::wstring_view message) noexcept
    : m_functionName{functionName != nullptr ? functionName : ""}, m_message{message}, m_nLevel{level},
      m_dwThreadId{GetCurrentThreadId()}
{
    GetLocalTime(&m_timeStamp);
}

CqlLogListener::LogData::LogData(const LogData& other)
    : m_strFunctionName{other.m_functionName}, m_strMessage{other.m_message}, m_nLevel{other.m_nLevel},
      m_timeStamp{other.m_timeStamp}, m_dwThreadId{other.m_dwThreadId},
      m_levelName{other.m_levelName}, m_strLine{other.m_strLine}
{
    m_functionName = m_strFunctionName;
    m_message = m_strMessage;
}

CqlLogListener::LogData& CqlLogListener::LogData::operator=(const LogData& other)
{
    if (this != &other)
    {
        m_strFunctionName.assign(other.m_functionName);
        m_functionName = m_strFunctionName;
        m_strMessage.assign(other.m_message);
        m_message = m_strMessage;
        m_nLevel = other.m_nLevel;
        m_timeStamp = other.m_timeStamp;
        m_dwThreadId = other.m_dwThreadId;
        m_levelName = other.m_levelName;
        m_strLine.assign(other.m_strLine);
    }
    return *this;
}

const std::wstring& CqlLogListener::LogData::Line() const
{
    if (m_levelName.empty())
    {
        const std::wstring_view levelName = LogLevelName(m_nLevel);
        FormatLogLine(m_strLine, {m_timeStamp.wYear, m_timeStamp.wMonth, m_timeStamp.wDay, m_timeStamp.wHour,
                                  m_timeStamp.wMinute, m_timeStamp.wSecond, m_timeStamp.wMilliseconds, m_dwThreadId,
                                  levelName, m_functionName, m_message});
        m_levelName = levelName;
    }
    return m_strLine;
}

CqlLogListener::CqlLogListener(int minimumLevel, const wchar_t* productName, const wchar_t* minimumName,
                               bool ignoreRegistry)
    : m_nMinimumLevel{minimumLevel}, m_nMaximumLevel{Error}, m_bIgnoreRegistry{ignoreRegistry}
{
    if (m_bIgnoreRegistry)
    {
        return;
    }
    const CLogPolicy policy{productName};
    const wchar_t* const minimum = minimumName != nullptr && *minimumName != L'\0' ? minimumName : L"MinLogLevel";
    m_nMinimumLevel = policy.Level(minimum).value_or(m_nMinimumLevel);
    m_nMaximumLevel = policy.Level(L"MaxLogLevel").value_or(m_nMaximumLevel);
}

} // namespace Quil::Shared
