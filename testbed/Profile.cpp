#include "testbed/Profile.h"

#include "testbed/Paths.h"
#include "testbed/Text.h"

#include <windows.h>

#include <algorithm>
#include <mutex>

namespace Testbed
{
namespace
{

constexpr wchar_t kInherit[] = L"inherit";
constexpr int kMaximumDepth = 8; // of bases; ends a circle of profiles that name each other

struct FileState
{
    std::wstring path;
    FILETIME written{};
    DWORD size{};

    bool operator==(const FileState& other) const
    {
        return path == other.path && CompareFileTime(&written, &other.written) == 0 && size == other.size;
    }
};

FileState StateOf(const std::wstring& path)
{
    FileState state{path, {}, 0};
    WIN32_FILE_ATTRIBUTE_DATA data{};
    if (GetFileAttributesExW(path.c_str(), GetFileExInfoStandard, &data))
    {
        state.written = data.ftLastWriteTime;
        state.size = data.nFileSizeLow;
    }
    return state;
}

class CProfileCache
{
  public:
    std::vector<ProfileSection> Sections()
    {
        const std::lock_guard lock{m_lock};
        const bool current = !m_files.empty() && std::ranges::all_of(m_files, [](const FileState& file) {
            return file == StateOf(file.path);
        });
        if (!current)
        {
            m_files.clear();
            m_sections = Load(kProfilePath, 0);
        }
        return m_sections;
    }

  private:
    std::vector<ProfileSection> Load(const std::wstring& path, int depth)
    {
        // The state is taken before the text: a write in between is seen at the next call.
        m_files.push_back(StateOf(path));
        const ParsedProfile profile = ParseProfile(ReadWholeFile(path));
        if (profile.base.empty() || depth == kMaximumDepth)
        {
            return OverlayProfile({}, profile.sections);
        }
        return OverlayProfile(Load(kProfileFolder + (L"\\" + profile.base) + L".ini", depth + 1), profile.sections);
    }

    std::mutex m_lock;
    std::vector<FileState> m_files;         // guarded by m_lock
    std::vector<ProfileSection> m_sections; // guarded by m_lock
};

std::vector<ProfileSection> CurrentSections()
{
    // Never destroyed: stand-ins are asked until the last moment of their process.
    static CProfileCache& cache = *new CProfileCache;
    return cache.Sections();
}

template <typename Sections> auto FindSection(Sections& sections, std::wstring_view name)
{
    return std::ranges::find_if(sections, [&](const ProfileSection& section) { return SameName(section.name, name); });
}

template <typename Entries> auto FindEntry(Entries& entries, std::wstring_view key)
{
    return std::ranges::find_if(entries, [&](const ProfileEntry& entry) { return SameName(entry.first, key); });
}

std::wstring_view Unquoted(std::wstring_view value)
{
    const bool quoted = value.size() >= 2 && value.front() == L'"' && value.back() == L'"';
    return quoted ? value.substr(1, value.size() - 2) : value;
}

} // namespace

ParsedProfile ParseProfile(std::string_view text)
{
    ParsedProfile profile;
    for (const std::wstring& rawLine : SplitLines(WideFromUtf8(text)))
    {
        const std::wstring_view line = Trimmed(rawLine);
        if (line.empty() || line.front() == L'#' || line.front() == L';')
        {
            continue;
        }
        if (line.front() == L'[' && line.back() == L']')
        {
            profile.sections.push_back({std::wstring{Trimmed(line.substr(1, line.size() - 2))}, {}});
            continue;
        }
        const std::size_t equals = line.find(L'=');
        const std::wstring key{Trimmed(line.substr(0, equals))};
        const std::wstring value{equals == std::wstring_view::npos ? std::wstring_view{}
                                                                   : Unquoted(Trimmed(line.substr(equals + 1)))};
        if (!profile.sections.empty())
        {
            profile.sections.back().entries.emplace_back(key, value);
        }
        else if (SameName(key, L"base"))
        {
            profile.base = value;
        }
    }
    return profile;
}

std::vector<ProfileSection> OverlayProfile(std::vector<ProfileSection> base, const std::vector<ProfileSection>& over)
{
    for (const ProfileSection& section : over)
    {
        auto target = FindSection(base, section.name);
        if (target == base.end())
        {
            base.push_back({section.name, {}});
            target = base.end() - 1;
        }
        const auto inherit = FindEntry(section.entries, kInherit);
        if (inherit != section.entries.end() && SameName(inherit->second, L"no"))
        {
            target->entries.clear();
        }
        for (const ProfileEntry& entry : section.entries)
        {
            if (SameName(entry.first, kInherit))
            {
                continue;
            }
            const auto known = FindEntry(target->entries, entry.first);
            if (known != target->entries.end())
            {
                known->second = entry.second;
            }
            else
            {
                target->entries.push_back(entry);
            }
        }
    }
    return base;
}

std::wstring ProfileValue(std::wstring_view section, std::wstring_view key, std::wstring_view fallback)
{
    const std::vector<ProfileEntry> entries = ProfileEntries(section);
    const auto entry = FindEntry(entries, key);
    return entry != entries.end() ? entry->second : std::wstring{fallback};
}

std::vector<std::wstring> ProfileSections()
{
    std::vector<std::wstring> names;
    for (const ProfileSection& section : CurrentSections())
    {
        names.push_back(section.name);
    }
    return names;
}

std::vector<ProfileEntry> ProfileEntries(std::wstring_view section)
{
    const std::vector<ProfileSection> sections = CurrentSections();
    const auto found = FindSection(sections, section);
    return found != sections.end() ? found->entries : std::vector<ProfileEntry>{};
}

unsigned long ProfileNumber(std::wstring_view section, std::wstring_view key, unsigned long fallback)
{
    const std::wstring value = ProfileValue(section, key, L"");
    wchar_t* end = nullptr;
    const unsigned long number = std::wcstoul(value.c_str(), &end, 0);
    return value.empty() || *end != L'\0' ? fallback : number;
}

} // namespace Testbed
