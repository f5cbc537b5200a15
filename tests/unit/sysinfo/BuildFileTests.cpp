// The factory's build file: what its first line gives, and every way not to have one.
#include "tests/unit/sysinfo/FakeWmi.h"
#include "tests/unit/sysinfo/Reader.h"

#include "tests/harness/AllocationFault.h"
#include "tests/harness/LogCapture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

using testing::HasSubstr;

namespace
{

// A folder that stands for the system drive.
class ReadBuildFromFile : public testing::Test
{
  protected:
    ReadBuildFromFile()
    {
        wchar_t folder[MAX_PATH]{};
        GetTempPathW(MAX_PATH, folder);
        drive = std::wstring{folder} + L"BuildFile" + std::to_wstring(GetCurrentProcessId());
        root = drive;
        wchar_t old[MAX_PATH]{};
        m_oldLength = GetEnvironmentVariableW(L"SystemDrive", old, MAX_PATH);
        m_oldDrive = old;
        SetEnvironmentVariableW(L"SystemDrive", drive.c_str());
        wmi.noDrive = false;
        reader.m_strBuild = L"old";
        log.Clear();
    }
    ~ReadBuildFromFile() override
    {
        SetEnvironmentVariableW(L"SystemDrive", m_oldLength != 0 ? m_oldDrive.c_str() : nullptr);
        std::error_code ignored;
        std::filesystem::remove_all(root, ignored);
    }

    std::wstring Path() const { return drive + L"\\Quil\\support\\build.txt"; }
    void WriteFile(const std::string& content)
    {
        std::filesystem::create_directories(drive + L"\\Quil\\support");
        std::ofstream file{std::filesystem::path{Path()}, std::ios::binary};
        file << content;
        ASSERT_TRUE(file.good());
    }
    // What the function wrote between the path and its exit record.
    void ExpectResult(bool expected, const wchar_t* record)
    {
        EXPECT_EQ(expected, reader.ReadBuildFromFile());
        EXPECT_LINES(log, L"TraceIn|", L"Verbose|Build File Path = " + Path(), record,
                     expected ? L"TraceOut|Return Value = 1" : L"TraceOut|Return Value = 0");
    }

    FakeWmi wmi;
    Reader reader;
    LogCapture log;
    std::wstring drive;
    std::wstring root;

  private:
    DWORD m_oldLength;
    std::wstring m_oldDrive;
};

constexpr wchar_t kNoFile[] = L"Warning|Exception opening/reading/closing file. Production build this is expected";

} // namespace

TEST_F(ReadBuildFromFile, FirstLineIsTheBuild)
{
    WriteFile("TESTBUILD01\r\nsecond line\r\n");

    ExpectResult(true, L"Verbose|Build = TESTBUILD01");

    EXPECT_EQ(L"TESTBUILD01", reader.m_strBuild);
}

TEST_F(ReadBuildFromFile, LineFeedAloneEndsTheLineToo)
{
    WriteFile("TESTBUILD01\nsecond line\n");

    ExpectResult(true, L"Verbose|Build = TESTBUILD01");
}

TEST_F(ReadBuildFromFile, LineWithoutEndCounts)
{
    WriteFile(" TESTBUILD01 ");

    ExpectResult(true, L"Verbose|Build =  TESTBUILD01 ");

    EXPECT_EQ(L" TESTBUILD01 ", reader.m_strBuild);
}

TEST_F(ReadBuildFromFile, LoneCarriageReturnBelongsToTheLine)
{
    WriteFile("TEST\rBUILD01\n");

    EXPECT_TRUE(reader.ReadBuildFromFile());

    EXPECT_EQ(L"TEST\rBUILD01", reader.m_strBuild);
}

TEST_F(ReadBuildFromFile, EmptyFirstLineGivesAnEmptyBuild)
{
    WriteFile("\nTESTBUILD01\n");

    ExpectResult(true, L"Verbose|Build = ");

    EXPECT_EQ(L"", reader.m_strBuild);
}

TEST_F(ReadBuildFromFile, EmptyFileIsNone)
{
    WriteFile("");

    ExpectResult(false, kNoFile);

    EXPECT_EQ(L"old", reader.m_strBuild);
}

TEST_F(ReadBuildFromFile, MissingFileIsTheNormalCase)
{
    ExpectResult(false, kNoFile);

    EXPECT_EQ(L"old", reader.m_strBuild);
}

TEST_F(ReadBuildFromFile, FolderInItsPlaceIsNoFile)
{
    std::filesystem::create_directories(Path());

    ExpectResult(false, kNoFile);
}

TEST_F(ReadBuildFromFile, FileHeldExclusivelyIsNone)
{
    WriteFile("TESTBUILD01\n");
    const HANDLE holder =
        CreateFileW(Path().c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    ASSERT_NE(INVALID_HANDLE_VALUE, holder);

    ExpectResult(false, kNoFile);

    CloseHandle(holder);
}

TEST_F(ReadBuildFromFile, FileThatAnotherProgramWritesIsRead)
{
    WriteFile("TESTBUILD01\n");
    const HANDLE writer = CreateFileW(Path().c_str(), GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ, nullptr,
                                      OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    ASSERT_NE(INVALID_HANDLE_VALUE, writer);

    ExpectResult(true, L"Verbose|Build = TESTBUILD01");

    CloseHandle(writer);
}

TEST_F(ReadBuildFromFile, FileIsClosedAgain)
{
    WriteFile("TESTBUILD01\n");

    EXPECT_TRUE(reader.ReadBuildFromFile());

    const HANDLE alone =
        CreateFileW(Path().c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    EXPECT_NE(INVALID_HANDLE_VALUE, alone);
    CloseHandle(alone);
}

TEST_F(ReadBuildFromFile, TextIsOfTheAnsiCodePage)
{
    if (GetACP() != 1252)
    {
        GTEST_SKIP() << "the system's code page is not 1252";
    }
    WriteFile("B\xE9\x80\n");

    EXPECT_TRUE(reader.ReadBuildFromFile());

    EXPECT_EQ(L"B\u00E9\u20AC", reader.m_strBuild);
}

TEST_F(ReadBuildFromFile, BuildEndsAtANul)
{
    WriteFile(std::string{"TEST\0BUILD01\n", 13});

    EXPECT_TRUE(reader.ReadBuildFromFile());

    EXPECT_EQ(L"TEST", reader.m_strBuild);
}

TEST_F(ReadBuildFromFile, LongLineIsReadWhole)
{
    WriteFile(std::string(60000, 'A') + "\n");

    EXPECT_TRUE(reader.ReadBuildFromFile());

    EXPECT_EQ(std::wstring(60000, L'A'), reader.m_strBuild);
}

TEST_F(ReadBuildFromFile, UndefinedDriveIsAnErrorWithAnEmptyExitRecord)
{
    SetEnvironmentVariableW(L"SystemDrive", nullptr);

    EXPECT_FALSE(reader.ReadBuildFromFile());

    EXPECT_EQ(L"old", reader.m_strBuild);
    EXPECT_LINES(log, L"TraceIn|", L"Error|Environment variable does not exist.", L"TraceOut|");
}

TEST_F(ReadBuildFromFile, OtherFailureOfTheDriveIsSilent)
{
    IMPORT_HOOK(GetEnvironmentVariableW)
    ([](auto...) {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return 0u;
    });

    EXPECT_FALSE(reader.ReadBuildFromFile());

    EXPECT_LINES(log, L"TraceIn|", L"TraceOut|Return Value = 0");
}

TEST_F(ReadBuildFromFile, DriveIsAskedForWithRoomFor260Characters)
{
    std::vector<DWORD> sizes;
    IMPORT_HOOK(GetEnvironmentVariableW)
    ([&](const wchar_t* name, wchar_t* buffer, DWORD size) {
        EXPECT_STREQ(L"SystemDrive", name);
        sizes.push_back(size);
        return hook_GetEnvironmentVariableW.RealOfCurrent()(name, buffer, size);
    });

    EXPECT_FALSE(reader.ReadBuildFromFile());

    EXPECT_THAT(sizes, testing::ElementsAre(260u));
}

TEST_F(ReadBuildFromFile, DriveOf259CharactersFitsTheFirstTime)
{
    drive = std::wstring(259, L'd');
    SetEnvironmentVariableW(L"SystemDrive", drive.c_str());
    AllocationFault allocations{1000};

    ExpectResult(false, kNoFile);

    EXPECT_EQ(1, allocations.Asked());
}

TEST_F(ReadBuildFromFile, DriveOf260CharactersIsAskedForAgain)
{
    drive = std::wstring(260, L'd');
    SetEnvironmentVariableW(L"SystemDrive", drive.c_str());
    AllocationFault allocations{1000};

    ExpectResult(false, kNoFile);

    EXPECT_EQ(2, allocations.Asked());
}

TEST_F(ReadBuildFromFile, FileBehindALongDriveIsRead)
{
    // The prefix lifts the limit of 260 characters from paths.
    drive = L"\\\\?\\" + drive;
    root = drive;
    for (int i = 0; i < 4; ++i)
    {
        drive += L"\\" + std::wstring(100, L'd');
    }
    for (std::size_t end = root.size(); end != std::wstring::npos; end = drive.find(L'\\', end + 1))
    {
        CreateDirectoryW(drive.substr(0, end).c_str(), nullptr);
    }
    CreateDirectoryW(drive.c_str(), nullptr);
    CreateDirectoryW((drive + L"\\Quil").c_str(), nullptr);
    CreateDirectoryW((drive + L"\\Quil\\support").c_str(), nullptr);
    const HANDLE file =
        CreateFileW(Path().c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    ASSERT_NE(INVALID_HANDLE_VALUE, file);
    DWORD written = 0;
    ::WriteFile(file, "LONGBUILD\n", 10, &written, nullptr);
    CloseHandle(file);
    SetEnvironmentVariableW(L"SystemDrive", drive.c_str());

    ExpectResult(true, L"Verbose|Build = LONGBUILD");

    DeleteFileW(Path().c_str());
    std::wstring folder = drive + L"\\Quil\\support";
    while (folder.size() >= root.size())
    {
        RemoveDirectoryW(folder.c_str());
        folder.resize(folder.rfind(L'\\'));
    }
}

TEST_F(ReadBuildFromFile, NoMemoryForTheDriveHasNoExitRecord)
{
    {
        const AllocationFault fault{0};
        EXPECT_FALSE(reader.ReadBuildFromFile());
    }

    EXPECT_LINES(log, L"TraceIn|", L"Error|Memory Allocation failed : Out of memory");
}

TEST_F(ReadBuildFromFile, NoMemoryForALongDriveHasNoExitRecord)
{
    SetEnvironmentVariableW(L"SystemDrive", std::wstring(300, L'd').c_str());
    {
        const AllocationFault fault{1};
        EXPECT_FALSE(reader.ReadBuildFromFile());
    }

    EXPECT_LINES(log, L"TraceIn|", L"Error|Memory Allocation failed during resizing : Out of memory");
}

TEST_F(ReadBuildFromFile, LongDriveThatVanishesHasNoExitRecord)
{
    int calls = 0;
    IMPORT_HOOK(GetEnvironmentVariableW)
    ([&](auto...) {
        SetLastError(ERROR_ENVVAR_NOT_FOUND);
        return ++calls == 1 ? 301u : 0u;
    });

    EXPECT_FALSE(reader.ReadBuildFromFile());

    EXPECT_EQ(2, calls);
    EXPECT_LINES(log, L"TraceIn|", L"Error|GetEnvironmentVariable failed (203)\n");
}

TEST_F(ReadBuildFromFile, LongDriveThatGrowsMeanwhileIsSafe)
{
    int calls = 0;
    IMPORT_HOOK(GetEnvironmentVariableW)([&](auto...) { return ++calls == 1 ? 301u : 401u; });

    EXPECT_FALSE(reader.ReadBuildFromFile());

    EXPECT_LINES(log, L"TraceIn|", L"Verbose|Build File Path = \\Quil\\support\\build.txt", kNoFile,
                 L"TraceOut|Return Value = 0");
}

TEST_F(ReadBuildFromFile, GoesBeforeTheOemTagAndSkipsTheTestForRecoveryMedia)
{
    wmi.Healthy();
    WriteFile("TESTBUILD01\r\n");

    EXPECT_EQ(S_OK, reader.ReadSysInfo());

    EXPECT_EQ(L"TESTBUILD01", reader.m_strBuild);
    EXPECT_THAT(reader.GetSysInfoText(), HasSubstr(L"<.^.>TESTBUILD01<.^.>16.00 GB"));
}

TEST_F(ReadBuildFromFile, EmptyFileLeavesTheOemTag)
{
    wmi.Healthy();
    WriteFile("");

    EXPECT_EQ(S_OK, reader.ReadSysInfo());

    EXPECT_EQ(L"20WWABCD601#S001#D001", reader.m_strBuild);
}

TEST_F(ReadBuildFromFile, EmptyFirstLineShowsAsNull)
{
    wmi.Healthy();
    WriteFile("\r\n");

    EXPECT_EQ(S_OK, reader.ReadSysInfo());

    EXPECT_THAT(reader.GetSysInfoText(), HasSubstr(L"7XY45AV#AKL<.^.>null<.^.>16.00 GB"));
}

TEST_F(ReadBuildFromFile, LineThatCannotBeConvertedIsEmpty)
{
    WriteFile("TESTBUILD01\r\n");
    IMPORT_HOOK(MultiByteToWideChar)([](auto...) { return 0; });

    ExpectResult(true, L"Verbose|Build = ");

    EXPECT_EQ(L"", reader.m_strBuild);
}

// Memory may run out at any allocation; the line is long enough for some of its own.
TEST_F(ReadBuildFromFile, AnyOtherExceptionIsWarnedOfAndThereIsNoBuild)
{
    WriteFile(std::string(5000, 'x') + "\n");
    int warned = 0;
    for (int allocation = 0; allocation < 30; ++allocation)
    {
        bool read = true;
        log.Clear();
        {
            const ThrowingAllocationFault fault{allocation};
            read = reader.ReadBuildFromFile();
        }
        const std::vector<std::wstring> lines = log.Lines();
        if (std::ranges::count(lines, L"Warning|Exception caught : Unknown") == 1)
        {
            ++warned;
            EXPECT_FALSE(read);
            EXPECT_EQ(L"TraceOut|Return Value = 0", lines.back());
        }
    }
    EXPECT_LT(0, warned);
    EXPECT_TRUE(reader.ReadBuildFromFile());
}
