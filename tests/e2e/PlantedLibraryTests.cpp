// A library that somebody put into the current directory, a folder on PATH or the profile is not the service's.
#include "tests/e2e/Pc.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <windows.h>

#include <string>
#include <vector>

using namespace E2e;
using testing::IsEmpty;

namespace
{

constexpr const wchar_t* kProgram = L"\"C:\\Program Files\\Quil\\HotKeyService\\HotKeyServiceTLY.exe\"";

// Some that the program imports, and some that those and COM load later. (CMakeLists.txt has the same for Wine.)
constexpr const wchar_t* kLibraries[] = {L"clbcatq.dll",  L"cryptbase.dll", L"oleaut32.dll", L"profapi.dll",
                                         L"setupapi.dll", L"shlwapi.dll",   L"userenv.dll",  L"uxtheme.dll",
                                         L"version.dll",  L"wbemprox.dll"};

std::wstring Variable(const wchar_t* name)
{
    wchar_t value[8192]{};
    GetEnvironmentVariableW(name, value, 8192);
    return value;
}

class PlantedLibrary : public testing::Test
{
  protected:
    PlantedLibrary()
    {
        wchar_t current[MAX_PATH]{};
        GetCurrentDirectoryW(MAX_PATH, current);
        m_current = current;
        wchar_t own[MAX_PATH]{};
        GetModuleFileNameW(nullptr, own, MAX_PATH);
        m_source = std::wstring{own}.substr(0, std::wstring{own}.rfind(L'\\')) + L"\\planted_library.dll";
        CreateDirectoryW(m_folder.c_str(), nullptr);
        for (const std::wstring& folder : {m_folder, m_profile})
        {
            for (const wchar_t* const library : kLibraries)
            {
                EXPECT_TRUE(CopyFileW(m_source.c_str(), (folder + L"\\" + library).c_str(), FALSE)) << GetLastError();
            }
        }
    }
    ~PlantedLibrary() override
    {
        SetCurrentDirectoryW(m_current.c_str());
        SetEnvironmentVariableW(L"PATH", m_path.c_str());
        for (const std::wstring& folder : {m_folder, m_profile})
        {
            for (const wchar_t* const library : kLibraries)
            {
                DeleteFileW((folder + L"\\" + library).c_str());
                DeleteFileW((folder + L"\\" + library + L".loaded").c_str());
            }
        }
        RemoveDirectoryW(m_folder.c_str());
    }

    std::vector<std::wstring> Loaded() const
    {
        std::vector<std::wstring> loaded;
        for (const std::wstring& folder : {m_folder, m_profile})
        {
            for (const wchar_t* const library : kLibraries)
            {
                if (GetFileAttributesW((folder + L"\\" + library + L".loaded").c_str()) != INVALID_FILE_ATTRIBUTES)
                {
                    loaded.push_back(folder + L"\\" + library);
                }
            }
        }
        return loaded;
    }

    Pc m_pc{L"endpoint-taken"};
    const std::wstring m_folder{L"C:\\testbed\\planted"};
    const std::wstring m_profile{Variable(L"USERPROFILE")};
    const std::wstring m_path{Variable(L"PATH")};
    std::wstring m_current;
    std::wstring m_source;
};

} // namespace

TEST_F(PlantedLibrary, LeavesATraceWhereItIsLoaded)
{
    const HMODULE loaded = LoadLibraryW((m_folder + L"\\wbemprox.dll").c_str());

    EXPECT_NE(nullptr, loaded);
    EXPECT_THAT(Loaded(), testing::ElementsAre(m_folder + L"\\wbemprox.dll"));
    FreeLibrary(loaded);
}

TEST_F(PlantedLibrary, InTheCurrentDirectoryIsNotLoaded)
{
    ASSERT_TRUE(SetCurrentDirectoryW(m_folder.c_str()));

    EXPECT_EQ(1740U, RunProgram(std::wstring{kProgram} + L" -console").exitCode);

    EXPECT_THAT(Loaded(), IsEmpty());
}

TEST_F(PlantedLibrary, OnThePathIsNotLoaded)
{
    ASSERT_TRUE(SetEnvironmentVariableW(L"PATH", (m_folder + L";" + m_path).c_str()));

    EXPECT_EQ(1740U, RunProgram(std::wstring{kProgram} + L" -console").exitCode);

    EXPECT_THAT(Loaded(), IsEmpty());
}

TEST_F(PlantedLibrary, InTheProfileIsNotLoaded)
{
    ASSERT_TRUE(SetCurrentDirectoryW(m_profile.c_str()));

    EXPECT_EQ(1740U, RunProgram(std::wstring{kProgram} + L" -console").exitCode);

    EXPECT_THAT(Loaded(), IsEmpty());
}
