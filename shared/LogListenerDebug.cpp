#include "shared/LogListenerDebug.h"

#include "shared/WideText.h"

#include <memory>
#include <new>

namespace Quil::Shared
{

namespace
{

std::size_t FormatInto(wchar_t* buffer, std::size_t size, const wchar_t* format, ...) noexcept
{
    va_list arguments;
    va_start(arguments, format);
    const std::size_t length = FormatBuffer(buffer, size, format, arguments);
    va_end(arguments);
    return length;
}

} // namespace

CqlLogListenerDebug::CqlLogListenerDebug(int minimumLevel) : CqlLogListener{minimumLevel, nullptr, nullptr, false} {}

void CqlLogListenerDebug::Write(const LogData& record)
{
    const std::size_t size = record.FunctionName().size() + record.Message().size() + 10;
    const std::unique_ptr<wchar_t[]> buffer{new (std::nothrow) wchar_t[size]};
    if (buffer != nullptr)
    {
        FormatInto(buffer.get(), size, L"%S : %s\r\n", record.FunctionName().data(), record.Message().data());
        OutputDebugStringW(buffer.get());
    }
}

DWORD CqlLogListenerDebug::Type() const
{
    return Debugger;
}

} // namespace Quil::Shared
