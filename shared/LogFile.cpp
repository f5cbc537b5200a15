#include "shared/LogFile.h"

#include "shared/LogLine.h"
#include "shared/LogRotation.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <utility>

namespace Quil::Shared
{

namespace
{

constexpr std::size_t kBufferSize = std::size_t{64} * 1024;
// Characters that are encoded in one go; they always fit into an empty buffer.
constexpr std::size_t kPiece = 4096;
constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
constexpr std::string_view kLineEnd = "\r\n";
constexpr std::size_t kHeadCharacters = 24;

// "Global\" and the path behind its first colon with dots for backslashes: every writer of the file finds the same
// mutex.
std::wstring MutexName(const std::wstring& path)
{
    const std::size_t colon = path.find(L':');
    std::wstring name = colon == std::wstring::npos ? path : path.substr(colon + 1);
    std::replace(name.begin(), name.end(), L'\\', L'.');
    return L"Global\\" + name;
}

} // namespace

CLogFile::CLogFile(std::wstring path, DWORD maximumKilobytes)
    : m_strPath{std::move(path)}, m_dwMaximumKilobytes{maximumKilobytes},
      // The first write checks the size.
      m_nWritesSinceCheck{static_cast<int>(maximumKilobytes * 10 + 1)}
{
    if (!m_strPath.empty())
    {
        m_hMutex.Reset(CreateMutexW(nullptr, FALSE, MutexName(m_strPath).c_str()));
        m_buffer.reset(new (std::nothrow) char[kBufferSize]);
    }
}

bool CLogFile::Acquire() noexcept
{
    if (!IsUsable())
    {
        return false;
    }
    DWORD owned = 0; // until the wait ends m_dwOwnerships belongs to the thread that owns the mutex
    DWORD waited = WaitForSingleObject(m_hMutex.Get(), INFINITE);
    if (waited == WAIT_ABANDONED)
    {
        // The wait that finds the mutex abandoned is an ownership of its own.
        ++owned;
        waited = WaitForSingleObject(m_hMutex.Get(), INFINITE);
    }
    const bool abandoned = owned != 0;
    if (waited == WAIT_OBJECT_0)
    {
        ++owned;
    }
    if (owned == 0)
    {
        return false;
    }
    m_dwOwnerships = owned;
    if (waited != WAIT_OBJECT_0 || !Open())
    {
        Release();
        return false;
    }
    if (abandoned)
    {
        m_bMayBeEmpty = true;
        EndTornLine();
    }
    return true;
}

void CLogFile::Release() noexcept
{
    Flush();
    m_hFile.Reset();
    for (DWORD owned = std::exchange(m_dwOwnerships, 0); owned != 0; --owned)
    {
        static_cast<void>(ReleaseMutex(m_hMutex.Get()));
    }
}

bool CLogFile::Open() noexcept
{
    m_hFile.Reset();
    // Without FILE_WRITE_DATA every write goes to the end of the file.
    m_hFile.Reset(CreateFileW(m_strPath.c_str(), FILE_GENERIC_READ | FILE_APPEND_DATA,
                              FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL,
                              nullptr));
    if (!m_hFile)
    {
        return false;
    }
    if (GetLastError() != ERROR_ALREADY_EXISTS)
    {
        PutByteOrderMark();
    }
    return true;
}

// Whoever makes the file begins it with the mark, so that nobody else has to ask for its size at every write.
void CLogFile::PutByteOrderMark() noexcept
{
    std::memcpy(m_buffer.get(), kByteOrderMark.data(), kByteOrderMark.size());
    m_nBuffered = kByteOrderMark.size();
    m_bMayBeEmpty = false;
}

// A writer that was ended while it owned the mutex may have left a part of a line: the next line starts on its own.
void CLogFile::EndTornLine() noexcept
{
    LARGE_INTEGER size{};
    if (!GetFileSizeEx(m_hFile.Get(), &size) || size.QuadPart <= static_cast<LONGLONG>(kByteOrderMark.size()))
    {
        return;
    }
    char last = '\n';
    DWORD read = 0;
    OVERLAPPED position{};
    --size.QuadPart;
    position.Offset = size.LowPart;
    position.OffsetHigh = static_cast<DWORD>(size.HighPart);
    if (ReadFile(m_hFile.Get(), &last, 1, &read, &position) && read == 1 && last != '\n')
    {
        std::memcpy(m_buffer.get(), kLineEnd.data(), kLineEnd.size());
        m_nBuffered = kLineEnd.size();
    }
}

void CLogFile::RotateForeignFile()
{
    if (IsForeign())
    {
        static_cast<void>(CheckSize(true)); // what cannot be moved away stays
    }
}

// True for contents that do not begin with a line, or cannot be read; a byte-order mark alone is no contents.
bool CLogFile::IsForeign() const noexcept
{
    // No character takes more than three bytes for each of its UTF-16 units.
    char head[kByteOrderMark.size() + kHeadCharacters * 3];
    DWORD length = 0;
    OVERLAPPED start{};
    if (!ReadFile(m_hFile.Get(), head, sizeof head, &length, &start))
    {
        return GetLastError() != ERROR_HANDLE_EOF;
    }
    std::string_view bytes{head, length};
    if (bytes.substr(0, kByteOrderMark.size()) == kByteOrderMark)
    {
        bytes.remove_prefix(kByteOrderMark.size());
    }
    if (bytes.empty())
    {
        return false;
    }
    wchar_t characters[sizeof head];
    const int count = MultiByteToWideChar(CP_UTF8, 0, bytes.data(), static_cast<int>(bytes.size()), characters,
                                          static_cast<int>(sizeof head));
    return !BeginsLikeLogLine({characters, static_cast<std::size_t>(count)});
}

void CLogFile::WriteLine(std::wstring_view line)
{
    const auto writes = static_cast<DWORD>(m_nWritesSinceCheck);
    m_nWritesSinceCheck = static_cast<int>(writes + 1);
    // Deliberate: the product is 32-bit arithmetic, and so is the comparison.
    if (writes > m_dwMaximumKilobytes * 10)
    {
        m_nWritesSinceCheck = CheckSize(false) ? 0 : m_nWritesSinceCheck / 2;
    }

    const std::size_t longest = MaximumUtf8Length(std::min(line.size(), kPiece)) + kLineEnd.size();
    if (kBufferSize - m_nBuffered < longest + kByteOrderMark.size())
    {
        Flush();
    }
    while (line.size() > kPiece)
    {
        // A pair of surrogates is not cut in two.
        const bool pair = line[kPiece - 1] >= 0xD800 && line[kPiece - 1] < 0xDC00;
        const std::size_t length = pair ? kPiece - 1 : kPiece;
        Put(line.substr(0, length));
        Flush();
        line.remove_prefix(length);
    }
    Put(line);
    std::memcpy(m_buffer.get() + m_nBuffered, kLineEnd.data(), kLineEnd.size());
    m_nBuffered += kLineEnd.size();
}

void CLogFile::Put(std::wstring_view text) noexcept
{
    if (std::exchange(m_bMayBeEmpty, false) && m_nBuffered == 0)
    {
        LARGE_INTEGER size{};
        if (GetFileSizeEx(m_hFile.Get(), &size) && size.QuadPart == 0)
        {
            PutByteOrderMark();
        }
    }
    m_nBuffered = static_cast<std::size_t>(EncodeUtf8(m_buffer.get() + m_nBuffered, text) - m_buffer.get());
}

void CLogFile::Flush() noexcept
{
    const auto length = static_cast<DWORD>(std::exchange(m_nBuffered, 0));
    if (length != 0 && m_hFile)
    {
        DWORD written = 0;
        if (!WriteFile(m_hFile.Get(), m_buffer.get(), length, &written, nullptr))
        {
            m_bMayBeEmpty = true; // the mark may be among what is lost
        }
    }
}

// True when the live file was moved away.
bool CLogFile::CheckSize(bool force)
{
    Flush(); // the check sees everything that was written
    WIN32_FILE_ATTRIBUTE_DATA attributes{};
    if (!GetFileAttributesExW(m_strPath.c_str(), GetFileExInfoStandard, &attributes))
    {
        return false;
    }
    if (!force && !IsLogTooLarge(m_dwMaximumKilobytes, attributes.nFileSizeHigh, attributes.nFileSizeLow))
    {
        return false;
    }
    CLogFileNames names;
    if (!names.Split(m_strPath))
    {
        return false;
    }
    ShiftNumberedLogs(names);
    m_hFile.Reset();
    const bool moved = MoveFileW(m_strPath.c_str(), (names.strBase + L"_0001.log").c_str()) != FALSE;
    static_cast<void>(Open()); // when it fails, what is written until the next acquisition is lost
    return moved;
}

} // namespace Quil::Shared
