#include "shared/LogListener.h"

#include "shared/LogLevel.h"
#include "shared/LogLine.h"
#include "shared/LogPolicy.h"

#include <cstdint>
#include <cstring>

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

// Followed by line, message and function name.
struct CqlLogListener::LogData::Packed
{
    int level;
    DWORD threadId;
    SYSTEMTIME timeStamp;
    const wchar_t* levelName;
    std::uint32_t levelNameLength;
    std::uint32_t lineLength;
    std::uint32_t messageLength;
    std::uint32_t functionNameLength;
};

std::size_t CqlLogListener::LogData::PackedSize() const noexcept
{
    return sizeof(Packed) + (m_strLine.size() + m_message.size()) * sizeof(wchar_t) + m_functionName.size();
}

void CqlLogListener::LogData::Pack(std::byte* to) const noexcept
{
    const Packed packed{m_nLevel,
                        m_dwThreadId,
                        m_timeStamp,
                        m_levelName.data(),
                        static_cast<std::uint32_t>(m_levelName.size()),
                        static_cast<std::uint32_t>(m_strLine.size()),
                        static_cast<std::uint32_t>(m_message.size()),
                        static_cast<std::uint32_t>(m_functionName.size())};
    const auto put = [&to](const void* from, std::size_t size) {
        std::memcpy(to, from, size);
        to += size;
    };
    put(&packed, sizeof packed);
    put(m_strLine.data(), m_strLine.size() * sizeof(wchar_t));
    put(m_message.data(), m_message.size() * sizeof(wchar_t));
    put(m_functionName.data(), m_functionName.size());
}

void CqlLogListener::LogData::Unpack(const std::byte* from)
{
    Packed packed;
    const auto get = [&from](void* to, std::size_t size) {
        std::memcpy(to, from, size);
        from += size;
    };
    get(&packed, sizeof packed);
    m_strLine.resize(packed.lineLength);
    m_strMessage.resize(packed.messageLength);
    m_strFunctionName.resize(packed.functionNameLength);
    get(m_strLine.data(), packed.lineLength * sizeof(wchar_t));
    get(m_strMessage.data(), packed.messageLength * sizeof(wchar_t));
    get(m_strFunctionName.data(), packed.functionNameLength);
    m_message = m_strMessage;
    m_functionName = m_strFunctionName;
    m_levelName = {packed.levelName, packed.levelNameLength};
    m_nLevel = packed.level;
    m_timeStamp = packed.timeStamp;
    m_dwThreadId = packed.threadId;
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
