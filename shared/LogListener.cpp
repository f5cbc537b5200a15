#include "shared/LogListener.h"

#include "shared/LogLevel.h"
#include "shared/LogPolicy.h"

#include <cwchar>
#include <utility>

namespace Quil::Shared
{

namespace
{

// The digits of a number, at least `digits` of them, as %0<digits>d gives them.
wchar_t* PutDecimal(wchar_t* out, unsigned value, int digits) noexcept
{
    for (int i = digits - 1; i >= 0; --i)
    {
        out[i] = static_cast<wchar_t>(L'0' + value % 10);
        value /= 10;
    }
    return out + digits;
}

wchar_t* PutHexadecimal(wchar_t* out, DWORD value) noexcept
{
    for (int i = 7; i >= 0; --i)
    {
        out[i] = L"0123456789ABCDEF"[value & 0xF];
        value >>= 4;
    }
    return out + 8;
}

// "%04d/%02d/%02d %02d:%02d:%02d.%03d|%08X|%-11s|", by hand because every line begins with it.
std::size_t FormatPrefix(wchar_t (&buffer)[64], const SYSTEMTIME& time, DWORD threadId,
                         const std::wstring& levelName) noexcept
{
    wchar_t* out = PutDecimal(buffer, time.wYear, 4);
    *out++ = L'/';
    out = PutDecimal(out, time.wMonth, 2);
    *out++ = L'/';
    out = PutDecimal(out, time.wDay, 2);
    *out++ = L' ';
    out = PutDecimal(out, time.wHour, 2);
    *out++ = L':';
    out = PutDecimal(out, time.wMinute, 2);
    *out++ = L':';
    out = PutDecimal(out, time.wSecond, 2);
    *out++ = L'.';
    out = PutDecimal(out, time.wMilliseconds, 3);
    *out++ = L'|';
    out = PutHexadecimal(out, threadId);
    *out++ = L'|';
    std::size_t i = 0;
    for (; i < levelName.size(); ++i)
    {
        *out++ = levelName[i];
    }
    for (; i < 11; ++i)
    {
        *out++ = L' ';
    }
    *out++ = L'|';
    return static_cast<std::size_t>(out - buffer);
}

} // namespace

CqlLogListener::LogData::LogData(int level, const char* functionName, std::wstring message)
    : m_strFunctionName{functionName != nullptr ? functionName : ""}, m_strMessage{std::move(message)}, m_nLevel{level},
      m_dwThreadId{GetCurrentThreadId()}
{
    GetLocalTime(&m_timeStamp);
}

const std::wstring& CqlLogListener::LogData::Line() const
{
    if (m_strLine.empty())
    {
        m_strLevelName = LogLevelName(m_nLevel);
        wchar_t prefix[64];
        const std::size_t length = FormatPrefix(prefix, m_timeStamp, m_dwThreadId, m_strLevelName);
        m_strLine.reserve(length + m_strFunctionName.size() + m_strMessage.size() + 1);
        m_strLine.assign(prefix, length);
        for (const char c : m_strFunctionName)
        {
            m_strLine.push_back(static_cast<wchar_t>(static_cast<unsigned char>(c)));
        }
        m_strLine.push_back(L'|');
        m_strLine.append(m_strMessage);
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
