#include "utils/FileVersion.h"

#include "shared/TraceScope.h"
#include "shared/WideText.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <new>

using Quil::Shared::CLogName;
using Quil::Shared::CTraceScope;
using Quil::Shared::FormatText;

namespace Utils
{

namespace
{

// The version record of a file whose version information has the given size; zeros on failure.
VS_FIXEDFILEINFO ReadVersion(const CLogName& log, const wchar_t* path, DWORD size)
{
    const std::unique_ptr<BYTE[]> information{new (std::nothrow) BYTE[size]};
    if (information == nullptr)
    {
        log.Error(L"Version String Allocation failed");
        return {};
    }
    if (!GetFileVersionInfoW(path, 0, size, information.get()))
    {
        log.Error(L"GetFileVersionInfo failed with error %d", GetLastError());
        return {};
    }
    void* block = nullptr;
    UINT length = 0;
    if (!VerQueryValueW(information.get(), L"\\", &block, &length))
    {
        log.Error(L"VerQueryValue failed with error %d", GetLastError());
        return {};
    }
    if (length == 0)
    {
        log.Error(L"VerQueryValue returned size = %d", length);
        return {};
    }
    if (block == nullptr)
    {
        log.Error(L"VS_FIXEDFILEINFO buffer is NULL");
        return {};
    }
    VS_FIXEDFILEINFO version{};
    std::memcpy(&version, block, std::min<std::size_t>(length, sizeof version));
    if (version.dwSignature != VS_FFI_SIGNATURE)
    {
        log.Error(L"Signature not correct");
        return {};
    }
    return version;
}

} // namespace

VS_FIXEDFILEINFO GetVersionValue(const wchar_t* path)
{
    CTraceScope trace{"Utils::GetVersionValue", L"Executable Complete Path = %s", path};

    const DWORD size = GetFileVersionInfoSizeW(path, nullptr);
    if (size == 0)
    {
        // Deliberate: the text has no place for the error code.
        trace.Error(L"GetFileVersionInfoSize Return Value  = %d Error Code = ", size);
        return {};
    }
    return ReadVersion(trace, path, size);
}

std::wstring& GetBinaryVersion(std::wstring& version)
{
    CTraceScope trace{"Utils::GetBinaryVersion"};

    wchar_t path[MAX_PATH]{};
    static_cast<void>(GetModuleFileNameW(nullptr, path, MAX_PATH));
    VS_FIXEDFILEINFO information{};
    const DWORD size = GetFileVersionInfoSizeW(path, nullptr);
    if (size == 0)
    {
        trace.Error(L"GetFileVersionInfoSize Return Value  = %d, Error Code = %d ", size, GetLastError());
    }
    else
    {
        information = ReadVersion(trace, path, size);
    }

    try
    {
        version = L"0.0.0.0";
        version = FileVersionText(information.dwFileVersionMS, information.dwFileVersionLS);
    }
    catch (...)
    {
        trace.Error(L"Exception caught : Unknown");
    }
    trace.Verbose(L"File Version = %s", version);
    return version;
}

std::wstring FileVersionText(DWORD mostSignificant, DWORD leastSignificant)
{
    return FormatText(L"%d.%d.%d.%d", HIWORD(mostSignificant), LOWORD(mostSignificant), HIWORD(leastSignificant),
                      LOWORD(leastSignificant));
}

} // namespace Utils
