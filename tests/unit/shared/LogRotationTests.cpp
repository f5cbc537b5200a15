// Size checks and rotation: when a log is moved away, and what the numbered files are called afterwards.
#include "shared/LogRotation.h"

#include "shared/LogFile.h"
#include "tests/harness/ImportHook.h"
#include "tests/unit/shared/LogFolder.h"

#include <gtest/gtest.h>

#include <cstdio>

using namespace Quil::Shared;

namespace
{

std::wstring Name(int number)
{
    const std::wstring digits = std::to_wstring(number);
    return L"App_" + std::wstring(4 - digits.size(), L'0') + digits + L".log";
}

// Old files 1 to count, number 1 the newest; each holds its old number.
void MakeOldFiles(const LogFolder& folder, int count)
{
    for (int number = 1; number <= count; ++number)
    {
        folder.Write(Name(number), std::to_string(number));
        folder.SetLastWrite(Name(number), 10000 - number);
    }
}

struct LogRotation : testing::Test
{
    LogFolder folder;

    void Shift()
    {
        CLogFileNames names;
        ASSERT_TRUE(names.Split(folder.File(L"App.log")));
        ShiftNumberedLogs(names);
    }
    // Writes lines of one character through a file with a maximum.
    void WriteLines(CLogFile& file, int count)
    {
        ASSERT_TRUE(file.Acquire());
        for (int i = 0; i < count; ++i)
        {
            file.WriteLine(L"x");
        }
        file.Release();
    }
};

} // namespace

TEST(IsLogTooLarge, OnlyBeyondTheMaximum)
{
    EXPECT_FALSE(IsLogTooLarge(1, 0, 1023));
    EXPECT_FALSE(IsLogTooLarge(1, 0, 1024));
    EXPECT_TRUE(IsLogTooLarge(1, 0, 1025));
    EXPECT_FALSE(IsLogTooLarge(2048, 0, 2097152));
    EXPECT_TRUE(IsLogTooLarge(2048, 0, 2097153));
}

TEST(IsLogTooLarge, NeverWithAMaximumBelowOne)
{
    EXPECT_FALSE(IsLogTooLarge(0, 0, 0xFFFFFFFF));
    EXPECT_FALSE(IsLogTooLarge(0, 1, 0));
}

TEST(IsLogTooLarge, AlwaysFromFourGibibytesOn)
{
    EXPECT_FALSE(IsLogTooLarge(0xFFFFFFFF, 0, 0xFFFFFFFF));
    EXPECT_TRUE(IsLogTooLarge(0xFFFFFFFF, 1, 0));
}

TEST(PlanRotation, OrdersByLastWriteOldestFirst)
{
    const CRotationPlan plan = PlanRotation({{L"b", 20}, {L"c", 10}, {L"a", 30}});

    EXPECT_EQ((std::vector<std::wstring>{L"c", L"b", L"a"}), plan.vecToRename);
    EXPECT_TRUE(plan.vecToDelete.empty());
}

TEST(PlanRotation, OfFilesOfOneInstantTakesTheHigherNumberForTheOlderOne)
{
    const CRotationPlan plan = PlanRotation({{L"App_0001.log", 5}, {L"App_0002.log", 5}, {L"App_0003.log", 5}});

    EXPECT_EQ((std::vector<std::wstring>{L"App_0003.log", L"App_0002.log", L"App_0001.log"}), plan.vecToRename);
}

TEST(PlanRotation, DeletesTheOldestOfExactlyNine)
{
    for (const std::size_t count : {8u, 9u, 10u})
    {
        std::vector<COldLog> logs;
        for (std::size_t i = 0; i < count; ++i)
        {
            logs.push_back({std::to_wstring(i), i + 1});
        }

        const CRotationPlan plan = PlanRotation(logs);

        EXPECT_EQ(count == 9 ? std::vector<std::wstring>{L"0"} : std::vector<std::wstring>{}, plan.vecToDelete);
        EXPECT_EQ(count == 9 ? 8u : count, plan.vecToRename.size());
    }
}

TEST_F(LogRotation, WithoutOldFilesLeavesEverythingAsItIs)
{
    folder.Write(L"App.log", "live");

    Shift();

    EXPECT_EQ(std::vector<std::wstring>{L"App.log"}, folder.Names());
}

TEST_F(LogRotation, MovesEveryNumberUpByOne)
{
    MakeOldFiles(folder, 3);

    Shift();

    EXPECT_EQ((std::vector<std::wstring>{Name(2), Name(3), Name(4)}), folder.Names());
    EXPECT_EQ("1", folder.Read(Name(2)));
    EXPECT_EQ("2", folder.Read(Name(3)));
    EXPECT_EQ("3", folder.Read(Name(4)));
}

TEST_F(LogRotation, WithNineDeletesTheOldestAndTheNewestBecomesNumberTwo)
{
    MakeOldFiles(folder, 9);

    Shift();

    EXPECT_EQ(8u, folder.Names().size());
    EXPECT_EQ("1", folder.Read(Name(2)));
    EXPECT_EQ("8", folder.Read(Name(9)));
}

TEST_F(LogRotation, WithTenDeletesNoneAndTheOldestBecomesNumberEleven)
{
    MakeOldFiles(folder, 10);

    Shift();

    EXPECT_EQ(10u, folder.Names().size());
    EXPECT_EQ("1", folder.Read(Name(2)));
    EXPECT_EQ("10", folder.Read(L"App_0011.log"));
}

TEST_F(LogRotation, ClosesGapsInTheNumbers)
{
    MakeOldFiles(folder, 5);
    DeleteFileW(folder.File(Name(1)).c_str());
    DeleteFileW(folder.File(Name(3)).c_str());

    Shift();

    EXPECT_EQ((std::vector<std::wstring>{Name(2), Name(3), Name(4)}), folder.Names());
    EXPECT_EQ("2", folder.Read(Name(2)));
    EXPECT_EQ("4", folder.Read(Name(3)));
    EXPECT_EQ("5", folder.Read(Name(4)));
}

TEST_F(LogRotation, NumbersEveryFileThatThePatternFinds)
{
    folder.Write(L"App_old.log", "somebody's");
    folder.SetLastWrite(L"App_old.log", 1);
    folder.Write(L"Apple.log", "another program's");

    Shift();

    EXPECT_EQ("somebody's", folder.Read(Name(2)));
    EXPECT_EQ("another program's", folder.Read(L"Apple.log"));
}

TEST_F(LogRotation, LeavesAFolderOfThatNameAlone)
{
    CreateDirectoryW(folder.File(L"App_folder.log").c_str(), nullptr);

    Shift();

    EXPECT_TRUE(RemoveDirectoryW(folder.File(L"App_folder.log").c_str()));
}

TEST_F(LogRotation, UsesTemporaryNamesOfTheNewNumbersAndDeletesWhatHasThem)
{
    MakeOldFiles(folder, 2);
    std::vector<std::wstring> calls;
    const auto base = [](const wchar_t* path) {
        const std::wstring text = path;
        return text.substr(text.rfind(L'\\') + 1);
    };
    IMPORT_HOOK(GetTempFileNameW)
    ([&](const wchar_t* path, const wchar_t* prefix, UINT unique, wchar_t* name) {
        EXPECT_EQ(folder.Path() + L"\\", path);
        EXPECT_STREQ(L"_log_", prefix);
        calls.push_back(L"name " + std::to_wstring(unique));
        return hook_GetTempFileNameW.Real()(path, prefix, unique, name);
    });
    IMPORT_HOOK(DeleteFileW)
    ([&](const wchar_t* path) {
        calls.push_back(L"delete " + base(path));
        return hook_DeleteFileW.Real()(path);
    });
    IMPORT_HOOK(MoveFileW)
    ([&](const wchar_t* from, const wchar_t* to) {
        calls.push_back(base(from) + L" " + base(to));
        return hook_MoveFileW.Real()(from, to);
    });

    Shift();

    EXPECT_EQ((std::vector<std::wstring>{L"name 3", L"delete _lo3.tmp", L"App_0002.log _lo3.tmp", L"name 2",
                                         L"delete _lo2.tmp", L"App_0001.log _lo2.tmp", L"_lo3.tmp App_0003.log",
                                         L"_lo2.tmp App_0002.log"}),
              calls);
}

TEST_F(LogRotation, StopsAtAFileThatIsHeldOpenAndBringsTheRenamedOnesHome)
{
    MakeOldFiles(folder, 3);
    IMPORT_HOOK(MoveFileW)
    ([&](const wchar_t* from, const wchar_t* to) {
        if (std::wstring{from} == folder.File(Name(2)))
        {
            SetLastError(ERROR_SHARING_VIOLATION);
            return FALSE;
        }
        return hook_MoveFileW.Real()(from, to);
    });

    Shift();

    EXPECT_EQ((std::vector<std::wstring>{Name(1), Name(2), Name(4)}), folder.Names());
    EXPECT_EQ("3", folder.Read(Name(4)));
}

TEST_F(LogRotation, StopsWhereNoTemporaryNameCanBeHad)
{
    MakeOldFiles(folder, 2);
    IMPORT_HOOK(GetTempFileNameW)([](auto...) { return 0u; });

    Shift();

    EXPECT_EQ((std::vector<std::wstring>{Name(1), Name(2)}), folder.Names());
}

TEST_F(LogRotation, HandsOutEightBitNumbersForTemporaryNames)
{
    MakeOldFiles(folder, 257);
    std::vector<UINT> numbers;
    IMPORT_HOOK(GetTempFileNameW)
    ([&](const wchar_t* path, const wchar_t* prefix, UINT unique, wchar_t* name) {
        numbers.push_back(unique);
        return hook_GetTempFileNameW.Real()(path, prefix, unique, name);
    });

    Shift();

    ASSERT_EQ(257u, numbers.size());
    EXPECT_EQ(2u, numbers[0]); // 258
    EXPECT_EQ(1u, numbers[1]); // 257
    EXPECT_EQ(0u, numbers[2]); // 256: the system picks a free number and makes the file
    EXPECT_EQ(255u, numbers[3]);
    EXPECT_EQ(2u, numbers[256]);
    // Deliberate: 258 and 2 meet, the oldest file is lost and the newest carries its number.
    EXPECT_EQ("1", folder.Read(L"App_0258.log"));
    EXPECT_EQ("255", folder.Read(L"App_0256.log"));
    EXPECT_EQ("(missing)", folder.Read(L"App_0002.log"));
}

TEST(LogFileNames, SplitAPathAndNumberIt)
{
    CLogFileNames names;
    ASSERT_TRUE(names.Split(L"C:\\a.b\\My App.log"));

    EXPECT_EQ(L"C:\\a.b\\", names.strFolder);
    EXPECT_EQ(L"C:\\a.b\\My App", names.strBase);
    EXPECT_EQ(L"C:\\a.b\\My App_0001.log", names.Numbered(1));
    EXPECT_EQ(L"C:\\a.b\\My App_12345.log", names.Numbered(12345));
}

TEST(LogFileNames, CannotSplitAPathBeyond260Characters)
{
    CLogFileNames names;

    EXPECT_TRUE(names.Split(L"C:\\" + std::wstring(252, L'x') + L".log"));
    EXPECT_FALSE(names.Split(L"C:\\" + std::wstring(253, L'x') + L".log"));
}

TEST_F(LogRotation, OfALiveFileMakesItNumberOneAndStartsANewOne)
{
    folder.Write(L"App.log", std::string(1025, 'x'));
    CLogFile file{folder.File(L"App.log"), 1};

    WriteLines(file, 1);

    EXPECT_EQ(std::string(1025, 'x'), folder.Read(Name(1)));
    EXPECT_EQ("\xEF\xBB\xBFx\r\n", folder.Read(L"App.log"));
}

TEST_F(LogRotation, DoesNotHappenAtTheMaximumItself)
{
    folder.Write(L"App.log", std::string(1024, 'x'));
    CLogFile file{folder.File(L"App.log"), 1};

    WriteLines(file, 1);

    EXPECT_EQ(std::vector<std::wstring>{L"App.log"}, folder.Names());
}

namespace
{

// Numbers of the lines before which the size was checked.
std::vector<int> ChecksDuring(CLogFile& file, int lines)
{
    std::vector<int> checks;
    int line = 0;
    IMPORT_HOOK(GetFileAttributesExW)
    ([&](auto... arguments) {
        checks.push_back(line);
        return hook_GetFileAttributesExW.Real()(arguments...);
    });
    file.Acquire();
    for (line = 1; line <= lines; ++line)
    {
        file.WriteLine(L"x");
    }
    file.Release();
    return checks;
}

} // namespace

TEST_F(LogRotation, IsAskedForAtTheFirstWriteAndThenAtEverySixth)
{
    // Counter 11 > 10: check, not rotated, 12 becomes 6; 6 to 10 pass, 11 is checked again.
    CLogFile file{folder.File(L"App.log"), 1};

    EXPECT_EQ((std::vector<int>{1, 7, 13, 19}), ChecksDuring(file, 20));
}

TEST_F(LogRotation, IsAskedForAfterTwelveWritesWhenItHappened)
{
    // Rotated: the counter starts at 0, so 0 to 10 pass and 11 is checked.
    folder.Write(L"App.log", std::string(1025, 'x'));
    CLogFile file{folder.File(L"App.log"), 1};

    EXPECT_EQ((std::vector<int>{1, 13, 19}), ChecksDuring(file, 20));
}

TEST_F(LogRotation, IsAskedForAtTheFirstWriteWithTheLargestMaximumToo)
{
    CLogFile file{folder.File(L"App.log"), 0xFFFFFFFF};

    EXPECT_EQ(1, ChecksDuring(file, 1).at(0));
}

TEST_F(LogRotation, SeesWhatTheSameBatchWroteBefore)
{
    CLogFile file{folder.File(L"App.log"), 1};
    ASSERT_TRUE(file.Acquire());
    file.WriteLine(std::wstring(2000, L'a'));
    for (int i = 0; i < 6; ++i)
    {
        file.WriteLine(L"x");
    }
    file.Release();

    EXPECT_EQ("\xEF\xBB\xBF" + std::string(2000, 'a') + "\r\nx\r\nx\r\nx\r\nx\r\nx\r\n", folder.Read(Name(1)));
    EXPECT_EQ("\xEF\xBB\xBFx\r\n", folder.Read(L"App.log"));
}

TEST_F(LogRotation, ThatCannotMoveTheLiveFileGoesOnWithItAndHalvesTheCounter)
{
    folder.Write(L"App.log", std::string(1025, 'x'));
    CLogFile file{folder.File(L"App.log"), 1};
    IMPORT_HOOK(MoveFileW)([](auto...) { return FALSE; });

    EXPECT_EQ((std::vector<int>{1, 7}), ChecksDuring(file, 8));
    EXPECT_EQ(std::vector<std::wstring>{L"App.log"}, folder.Names());
    EXPECT_EQ(1025u + 8 * 3, folder.Read(L"App.log").size());
}

TEST_F(LogRotation, IsLeftOutWhenTheSizeCannotBeRead)
{
    folder.Write(L"App.log", std::string(1025, 'x'));
    CLogFile file{folder.File(L"App.log"), 1};
    IMPORT_HOOK(GetFileAttributesExW)([](auto...) { return FALSE; });

    WriteLines(file, 1);

    EXPECT_EQ(std::vector<std::wstring>{L"App.log"}, folder.Names());
}

TEST_F(LogRotation, ClosesTheLiveFileBeforeItIsMoved)
{
    folder.Write(L"App.log", std::string(1025, 'x'));
    CLogFile file{folder.File(L"App.log"), 1};
    ASSERT_TRUE(file.Acquire());
    int closed = 0;
    IMPORT_HOOK(CloseHandle)
    ([&](HANDLE handle) {
        ++closed;
        return hook_CloseHandle.Real()(handle);
    });
    IMPORT_HOOK(MoveFileW)
    ([&](const wchar_t* from, const wchar_t* to) {
        EXPECT_EQ(1, closed);
        return hook_MoveFileW.Real()(from, to);
    });

    file.WriteLine(L"x");
    file.Release();

    EXPECT_EQ(1, hook_MoveFileW.Calls());
}

TEST(LogFileNames, CannotSplitAPathThatTheSystemDoesNotComplete)
{
    CLogFileNames names;
    DWORD length = 0;
    IMPORT_HOOK(GetFullPathNameW)([&](auto...) { return length; });

    EXPECT_FALSE(names.Split(L"C:\\App.log"));
    length = MAX_PATH; // at this length its NUL has no room
    EXPECT_FALSE(names.Split(L"C:\\App.log"));
}

TEST(LogFileNames, CannotSplitAFolderBeyond255Characters)
{
    CLogFileNames names;

    EXPECT_TRUE(names.Split(L"C:\\" + std::wstring(253, L'a') + L"\\x"));
    EXPECT_FALSE(names.Split(L"C:\\" + std::wstring(254, L'a') + L"\\x"));
}
