#include "client/LogFiles.h"

#include <shlobj.h>

#include <algorithm>
#include <cwchar>
#include <memory>
#include <type_traits>
#include <utility>

namespace
{

constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
constexpr std::size_t kPiece = std::size_t{256} * 1024;
// Byte-order mark, time, thread and the beginning of the level: no two files of a log begin alike.
constexpr std::size_t kHead = 40;
// A rotation takes milliseconds.
constexpr int kLooks = 50;
constexpr DWORD kBetweenLooksMs = 10;

struct CloseFile
{
    void operator()(HANDLE handle) const noexcept { CloseHandle(handle); }
};
using FileHandle = std::unique_ptr<std::remove_pointer_t<HANDLE>, CloseFile>;

struct CloseFind
{
    void operator()(HANDLE handle) const noexcept { FindClose(handle); }
};
using FindHandle = std::unique_ptr<std::remove_pointer_t<HANDLE>, CloseFind>;

FileHandle OpenShared(const std::wstring& path)
{
    const HANDLE file =
        CreateFileW(path.c_str(), GENERIC_READ, kShareAll, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    return FileHandle{file == INVALID_HANDLE_VALUE ? nullptr : file};
}

// Reads until the buffer is full or the file ends; the bytes read stay in it.
bool ReadAt(HANDLE file, std::uint64_t position, std::string& bytes)
{
    OVERLAPPED at{};
    at.Offset = static_cast<DWORD>(position);
    at.OffsetHigh = static_cast<DWORD>(position >> 32);
    DWORD read = 0;
    const bool good = ReadFile(file, bytes.data(), static_cast<DWORD>(bytes.size()), &read, &at) ||
                      GetLastError() == ERROR_HANDLE_EOF;
    bytes.resize(good ? read : 0);
    return good;
}

std::uint64_t Wide(DWORD high, DWORD low) noexcept
{
    return std::uint64_t{high} << 32 | low;
}

HotKey::CFileIdentity IdentityOf(const BY_HANDLE_FILE_INFORMATION& data) noexcept
{
    return {data.dwVolumeSerialNumber, Wide(data.nFileIndexHigh, data.nFileIndexLow)};
}

std::uint64_t SizeOf(const BY_HANDLE_FILE_INFORMATION& data) noexcept
{
    return Wide(data.nFileSizeHigh, data.nFileSizeLow);
}

// N of "<base>_N.log"; none for other files, which Windows' "*" finds as well by their short names.
std::optional<unsigned long> NumberOf(const std::wstring& name, const std::wstring& base)
{
    const std::size_t digits = base.size() + 1;
    const std::size_t extension = name.find_first_not_of(L"0123456789", digits);
    if (name.size() <= digits || _wcsnicmp(name.c_str(), base.c_str(), base.size()) != 0 || extension == digits ||
        extension == std::wstring::npos || _wcsicmp(name.c_str() + extension, L".log") != 0)
    {
        return std::nullopt;
    }
    return std::wcstoul(name.c_str() + digits, nullptr, 10);
}

template <typename Take> void ForEachFile(const std::wstring& pattern, Take take)
{
    WIN32_FIND_DATAW data{};
    const HANDLE first = FindFirstFileW(pattern.c_str(), &data);
    if (first == INVALID_HANDLE_VALUE)
    {
        return;
    }
    const FindHandle find{first};
    do
    {
        if ((data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) == 0)
        {
            take(data.cFileName);
        }
    } while (FindNextFileW(find.get(), &data));
}

} // namespace

namespace HotKey
{

CLogFiles::CLogFiles(std::wstring livePath) : m_strLive{std::move(livePath)}
{
    const std::size_t slash = m_strLive.find_last_of(L"\\/:");
    m_strFolder = slash == std::wstring::npos ? std::wstring{} : m_strLive.substr(0, slash + 1);
    m_strBase = m_strLive.substr(m_strFolder.size());
    m_strBase.resize(std::min(m_strBase.rfind(L'.'), m_strBase.size()));
}

DWORD CLogFiles::Look()
{
    if (OpenShared(m_strLive))
    {
        return ERROR_SUCCESS;
    }
    const DWORD error = GetLastError();
    return ListSettledFiles().empty() ? error : DWORD{ERROR_SUCCESS};
}

// Oldest first, the live file last.
std::vector<CLogFiles::CEntry> CLogFiles::ListFiles() const
{
    std::vector<std::pair<unsigned long, std::wstring>> paths{{0, m_strLive}};
    ForEachFile(m_strFolder + m_strBase + L"_*.log", [&](const wchar_t* name) {
        if (const auto number = NumberOf(name, m_strBase))
        {
            paths.emplace_back(*number, m_strFolder + name);
        }
    });
    std::stable_sort(paths.begin(), paths.end(),
                     [](const auto& left, const auto& right) { return left.first > right.first; });

    std::vector<CEntry> files;
    for (auto& [number, path] : paths)
    {
        const FileHandle file = OpenShared(path);
        BY_HANDLE_FILE_INFORMATION data{};
        if (file && GetFileInformationByHandle(file.get(), &data))
        {
            files.push_back({std::move(path), IdentityOf(data), SizeOf(data),
                             Wide(data.ftLastWriteTime.dwHighDateTime, data.ftLastWriteTime.dwLowDateTime)});
        }
    }
    return files;
}

// A rotation moves the old files to temporary names first.
bool CLogFiles::IsRotating() const
{
    bool found = false;
    ForEachFile(m_strFolder + L"_lo*.tmp", [&found](const wchar_t*) { found = true; });
    return found;
}

// The files between two rotations: the folder looks the same twice. None when it does not come to rest.
std::vector<CLogFiles::CEntry> CLogFiles::ListSettledFiles()
{
    std::vector<CEntry> files = ListFiles();
    for (int look = 0; look != kLooks; ++look)
    {
        const bool rotating = IsRotating();
        std::vector<CEntry> again = ListFiles();
        const bool same = std::equal(files.begin(), files.end(), again.begin(), again.end(),
                                     [](const CEntry& left, const CEntry& right) {
                                         return left.strPath == right.strPath && left.identity == right.identity;
                                     });
        files = std::move(again);
        if (same && (!rotating || m_bLeftovers))
        {
            m_bLeftovers = rotating;
            return files;
        }
        // A rotation that was cut short leaves them for good.
        m_bLeftovers = same && look + 2 >= kLooks;
        Sleep(kBetweenLooksMs);
    }
    return {};
}

CLogFiles::Step CLogFiles::Read(std::string& bytes)
{
    // More than one turn when a rotation comes in between.
    for (int turn = 0; turn != kLooks; ++turn)
    {
        Piece piece = Piece::Gone;
        if (m_current)
        {
            piece = ReadPiece(bytes);
            if (piece == Piece::Read)
            {
                return Step::Bytes;
            }
            if (piece == Piece::AtEnd && m_current->strPath == m_strLive)
            {
                return Step::End;
            }
        }

        const std::vector<CEntry> files = ListSettledFiles();
        auto next = files.end();
        if (piece != Piece::Gone)
        {
            next = std::find_if(files.begin(), files.end(),
                                [this](const CEntry& entry) { return entry.identity == m_current->identity; });
        }
        if (next == files.end())
        {
            next = std::find_if_not(files.begin(), files.end(), [this](const CEntry& entry) { return IsDone(entry); });
        }
        else
        {
            // What was written before it was renamed comes first.
            const bool renamed = std::exchange(m_current->strPath, next->strPath) != next->strPath;
            if (renamed || piece == Piece::Elsewhere)
            {
                continue;
            }
            ++next;
        }
        if (next == files.end())
        {
            return Step::End;
        }
        const bool first = !m_current;
        m_vecDone.assign(files.begin(), next);
        m_current = CCurrent{next->strPath, next->identity, 0, {}};
        if (!first)
        {
            return Step::NextFile;
        }
    }
    return Step::End;
}

CLogFiles::Piece CLogFiles::ReadPiece(std::string& bytes)
{
    const FileHandle file = OpenShared(m_current->strPath);
    BY_HANDLE_FILE_INFORMATION data{};
    if (!file || !GetFileInformationByHandle(file.get(), &data) || !(IdentityOf(data) == m_current->identity))
    {
        return Piece::Elsewhere;
    }
    std::string head(m_current->strHead.size(), '\0');
    // Without a head there is nothing to compare; asking for no bytes fails as well where none can be read.
    if (SizeOf(data) < m_current->ullPosition ||
        (!head.empty() && (!ReadAt(file.get(), 0, head) || head != m_current->strHead)))
    {
        return Piece::Gone;
    }
    bytes.resize(kPiece);
    if (!ReadAt(file.get(), m_current->ullPosition, bytes) || bytes.empty())
    {
        return Piece::AtEnd;
    }
    if (m_current->ullPosition < kHead)
    {
        m_current->strHead.append(bytes, 0, kHead - static_cast<std::size_t>(m_current->ullPosition));
    }
    m_current->ullPosition += bytes.size();
    return Piece::Read;
}

bool CLogFiles::IsDone(const CEntry& entry) const
{
    return std::any_of(m_vecDone.begin(), m_vecDone.end(), [&entry](const CEntry& done) {
        return done.identity == entry.identity && done.ullSize == entry.ullSize &&
               done.ullLastWrite == entry.ullLastWrite;
    });
}

std::vector<std::wstring> ServiceLogPaths()
{
    constexpr const wchar_t* kInRoaming = L"\\quilLog\\HotKeyServiceTLY.log";
    std::vector<std::wstring> paths;
    wchar_t folder[MAX_PATH]{};
    // Of LocalSystem, as which the service runs.
    if (const UINT length = GetSystemDirectoryW(folder, MAX_PATH); length != 0 && length < MAX_PATH)
    {
        paths.push_back(std::wstring{folder} + L"\\config\\systemprofile\\AppData\\Roaming" + kInRoaming);
    }
    // Of the user: the service in a console, and everything under Wine, where LocalSystem has no folder of its own.
    if (SUCCEEDED(SHGetFolderPathW(nullptr, CSIDL_APPDATA, nullptr, SHGFP_TYPE_CURRENT, folder)))
    {
        paths.push_back(std::wstring{folder} + kInRoaming);
    }
    if (paths.size() == 2 && _wcsicmp(paths[0].c_str(), paths[1].c_str()) == 0)
    {
        paths.pop_back();
    }
    return paths;
}

std::wstring ServiceLogPath()
{
    const std::vector<std::wstring> paths = ServiceLogPaths();
    for (const std::wstring& path : paths)
    {
        if (GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES)
        {
            return path;
        }
    }
    return paths.empty() ? std::wstring{} : paths.front();
}

} // namespace HotKey
