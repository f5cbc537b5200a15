#include "shared/LogFile.h"

#include "shared/LogRotation.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace Quil::Shared
{

namespace
{

constexpr std::size_t kBlock = 64 * 1024;
constexpr char kByteOrderMark[] = "\xEF\xBB\xBF";
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

// As the C run time's UTF-8 text stream writes it: line feeds become CR LF, a lone surrogate U+FFFD.
void AppendUtf8(std::string& out, const std::wstring& text)
{
    const std::size_t start = out.size();
    out.resize(start + text.size() * 3);
    char* p = out.data() + start;
    for (std::size_t i = 0; i < text.size(); ++i)
    {
        unsigned code = text[i];
        if (code < 0x80)
        {
            if (code == L'\n')
            {
                *p++ = '\r';
            }
            *p++ = static_cast<char>(code);
            continue;
        }
        if (code >= 0xD800 && code < 0xE000)
        {
            const bool pair = code < 0xDC00 && i + 1 < text.size() && text[i + 1] >= 0xDC00 && text[i + 1] < 0xE000;
            if (pair)
            {
                code = 0x10000 + ((code - 0xD800) << 10) + (static_cast<unsigned>(text[++i]) - 0xDC00);
            }
            else
            {
                code = 0xFFFD;
            }
        }
        if (code < 0x800)
        {
            *p++ = static_cast<char>(0xC0 | code >> 6);
        }
        else
        {
            if (code < 0x10000)
            {
                *p++ = static_cast<char>(0xE0 | code >> 12);
            }
            else
            {
                *p++ = static_cast<char>(0xF0 | code >> 18);
                *p++ = static_cast<char>(0x80 | (code >> 12 & 0x3F));
            }
            *p++ = static_cast<char>(0x80 | (code >> 6 & 0x3F));
        }
        *p++ = static_cast<char>(0x80 | (code & 0x3F));
    }
    out.resize(static_cast<std::size_t>(p - out.data()));
}

bool BeginsLikeALog(const char* head) noexcept
{
    return head[4] == '/' && head[7] == '/' && head[10] == ' ' && head[13] == ':' && head[16] == ':' &&
           head[19] == '.' && head[23] == '|';
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
    }
}

bool CLogFile::Acquire()
{
    if (!m_hMutex)
    {
        return false;
    }
    DWORD owned = 0; // other threads of this process may own the mutex until the wait ends
    DWORD waited = WaitForSingleObject(m_hMutex.Get(), INFINITE);
    if (waited == WAIT_ABANDONED)
    {
        // The wait that found the mutex abandoned is an ownership of its own.
        ++owned;
        waited = WaitForSingleObject(m_hMutex.Get(), INFINITE);
    }
    if (waited == WAIT_OBJECT_0)
    {
        ++owned;
    }
    if (owned == 0)
    {
        return false;
    }
    m_dwOwnerships = owned;
    if (waited == WAIT_OBJECT_0 && Open())
    {
        return true;
    }
    Release();
    return false;
}

void CLogFile::Release()
{
    Flush();
    m_hFile.Reset();
    for (; m_dwOwnerships != 0; --m_dwOwnerships)
    {
        static_cast<void>(ReleaseMutex(m_hMutex.Get()));
    }
}

bool CLogFile::Open()
{
    m_hFile.Reset();
    m_hFile.Reset(CreateFileW(m_strPath.c_str(), FILE_READ_DATA | FILE_READ_ATTRIBUTES | FILE_APPEND_DATA | SYNCHRONIZE,
                              FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL,
                              nullptr));
    return static_cast<bool>(m_hFile);
}

void CLogFile::Flush()
{
    if (m_strBuffer.empty() || !m_hFile)
    {
        m_strBuffer.clear();
        return;
    }
    LARGE_INTEGER size{};
    DWORD written = 0;
    if (GetFileSizeEx(m_hFile.Get(), &size) && size.QuadPart == 0)
    {
        m_strBuffer.insert(0, kByteOrderMark);
    }
    // A full disk loses the lines: there is nobody to tell.
    static_cast<void>(
        WriteFile(m_hFile.Get(), m_strBuffer.data(), static_cast<DWORD>(m_strBuffer.size()), &written, nullptr));
    m_strBuffer.clear();
}

void CLogFile::RotateForeignFile()
{
    // The longest head: a byte-order mark and the characters of a line's prefix, which are all ASCII.
    char head[3 + kHeadCharacters]{};
    DWORD length = 0;
    const BOOL read = ReadFile(m_hFile.Get(), head, sizeof head, &length, nullptr);
    const bool marked = length >= 3 && std::memcmp(head, kByteOrderMark, 3) == 0;
    const DWORD skipped = marked ? 3 : 0;
    if (read && length == skipped)
    {
        return; // empty
    }
    if (!read || length - skipped < kHeadCharacters || !BeginsLikeALog(head + skipped))
    {
        static_cast<void>(RotateWhenNeeded(true)); // what cannot be moved away stays
    }
}

void CLogFile::WriteLine(const std::wstring& line)
{
    const int writes = m_nWritesSinceCheck++;
    // Deliberate: the product is 32-bit arithmetic, and so is the comparison.
    if (static_cast<DWORD>(writes) > m_dwMaximumKilobytes * 10)
    {
        m_nWritesSinceCheck = RotateWhenNeeded(false) ? 0 : m_nWritesSinceCheck / 2;
    }
    AppendUtf8(m_strBuffer, line);
    m_strBuffer += "\r\n";
    if (m_strBuffer.size() >= kBlock)
    {
        Flush();
    }
}

bool CLogFile::IsTooLarge(const WIN32_FILE_ATTRIBUTE_DATA& attributes) const noexcept
{
    if (m_dwMaximumKilobytes < 1)
    {
        return false;
    }
    const ULONGLONG size = ULONGLONG{attributes.nFileSizeHigh} << 32 | attributes.nFileSizeLow;
    return size > ULONGLONG{m_dwMaximumKilobytes} * 1024;
}

bool CLogFile::RotateWhenNeeded(bool force)
{
    Flush(); // so that the size on disk is the size so far
    WIN32_FILE_ATTRIBUTE_DATA attributes{};
    if (!GetFileAttributesExW(m_strPath.c_str(), GetFileExInfoStandard, &attributes))
    {
        return false;
    }
    CLogFileNames names;
    if ((!force && !IsTooLarge(attributes)) || !names.Split(m_strPath))
    {
        return false;
    }
    ShiftNumberedLogs(names);
    m_hFile.Reset();
    const bool moved = MoveFileW(m_strPath.c_str(), names.Numbered(1).c_str()) != FALSE;
    static_cast<void>(Open()); // without a file the lines of this batch are lost
    return moved;
}

} // namespace Quil::Shared
