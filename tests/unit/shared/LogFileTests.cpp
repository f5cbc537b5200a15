// The log file when one of its calls fails: what that costs, and that the next acquisition goes on.
#include "shared/LogFile.h"

#include "tests/harness/AllocationFault.h"
#include "tests/harness/ImportHook.h"
#include "tests/unit/shared/LogFolder.h"

#include <gtest/gtest.h>

#include <windows.h>

#include <string>

using namespace Quil::Shared;

namespace
{

constexpr char kLine[] = "\xEF\xBB\xBF"
                         "2024/03/05 14:07:09.042|00001A2C|Error      |A::B|old\r\n";

struct LogFile : testing::Test
{
    LogFolder folder;
    std::wstring path = folder.File(L"App.log");

    static void Write(CLogFile& file, const std::wstring& line)
    {
        ASSERT_TRUE(file.Acquire());
        file.WriteLine(line);
        file.Release();
    }
};

} // namespace

TEST_F(LogFile, OfAPathWithoutAColonHasAMutexOfTheWholePath)
{
    std::wstring name;
    IMPORT_HOOK(CreateMutexW)
    ([&](LPSECURITY_ATTRIBUTES, BOOL, const wchar_t* mutex) -> HANDLE {
        name = mutex;
        return nullptr;
    });

    const CLogFile file{L"logs\\App.log", 2048};

    EXPECT_EQ(L"Global\\logs.App.log", name);
    EXPECT_FALSE(file.IsUsable());
}

TEST_F(LogFile, WithoutMemoryForItsBufferWritesNothing)
{
    const AllocationFault fault{0};
    CLogFile file{path, 2048};

    EXPECT_FALSE(file.IsUsable());
    EXPECT_FALSE(file.Acquire());
    EXPECT_EQ("(missing)", folder.Read(L"App.log"));
}

TEST_F(LogFile, BehindAWriterThatDiedBetweenLinesGoesOnWithTheNextLine)
{
    folder.Write(L"App.log", kLine);
    CLogFile file{path, 2048};
    const AbandonedMutex mutex{path};

    Write(file, L"x");

    EXPECT_EQ(std::string{kLine} + "x\r\n", folder.Read(L"App.log"));
}

TEST_F(LogFile, EndsALineThatWasTornBetweenTwoOfItsOwn)
{
    CLogFile file{path, 2048};
    Write(file, L"x");
    const AbandonedMutex mutex{path};
    folder.Write(L"App.log", folder.Read(L"App.log") + "torn");

    Write(file, L"y");

    EXPECT_EQ("\xEF\xBB\xBFx\r\ntorn\r\ny\r\n", folder.Read(L"App.log"));
}

TEST_F(LogFile, LeavesATornLineOpenWhenTheSizeIsNotKnown)
{
    folder.Write(L"App.log", "\xEF\xBB\xBFtorn");
    CLogFile file{path, 2048};
    const AbandonedMutex mutex{path};
    IMPORT_HOOK(GetFileSizeEx)([](auto...) { return FALSE; });

    Write(file, L"x");

    EXPECT_EQ("\xEF\xBB\xBFtornx\r\n", folder.Read(L"App.log"));
}

TEST_F(LogFile, LeavesATornLineOpenWhenItsEndCannotBeRead)
{
    for (const BOOL readable : {FALSE, TRUE})
    {
        folder.Write(L"App.log", "\xEF\xBB\xBFtorn");
        CLogFile file{path, 2048};
        const AbandonedMutex mutex{path};
        {
            IMPORT_HOOK(ReadFile)
            ([readable](HANDLE, void*, DWORD, DWORD* read, OVERLAPPED*) {
                *read = 0;
                return readable;
            });
            Write(file, L"x");
        }

        EXPECT_EQ("\xEF\xBB\xBFtornx\r\n", folder.Read(L"App.log"));
    }
}

TEST_F(LogFile, BeginsAnEmptyFileWithoutAByteOrderMarkWhenTheSizeIsNotKnown)
{
    folder.Write(L"App.log", "");
    CLogFile file{path, 2048};
    IMPORT_HOOK(GetFileSizeEx)([](auto...) { return FALSE; });

    Write(file, L"x");

    EXPECT_EQ("x\r\n", folder.Read(L"App.log"));
}

TEST_F(LogFile, CutsALongLineIntoPiecesBehindAnyCharacterButHalfAPair)
{
    CLogFile file{path, 2048};

    Write(file, std::wstring(4095, L'x') + L"\uFFFD" + std::wstring(5000, L'y'));
    Write(file, std::wstring(4095, L'x') + L"\U0001F4BB" + std::wstring(5000, L'y'));

    EXPECT_EQ("\xEF\xBB\xBF" + std::string(4095, 'x') + "\xEF\xBF\xBD" + std::string(5000, 'y') + "\r\n" +
                  std::string(4095, 'x') + "\xF0\x9F\x92\xBB" + std::string(5000, 'y') + "\r\n",
              folder.Read(L"App.log"));
}

TEST_F(LogFile, LosesWhatFollowsARotationThatCannotReopenUntilItIsAcquiredAnew)
{
    folder.Write(L"App.log", std::string(1025, 'x'));
    CLogFile file{path, 1};
    ASSERT_TRUE(file.Acquire());
    {
        IMPORT_HOOK(CreateFileW)([](auto...) { return INVALID_HANDLE_VALUE; });
        file.WriteLine(L"lost");
        file.Release();
    }

    Write(file, L"kept");

    EXPECT_EQ(std::string(1025, 'x'), folder.Read(L"App_0001.log"));
    EXPECT_EQ("\xEF\xBB\xBFkept\r\n", folder.Read(L"App.log"));
}

TEST_F(LogFile, IsNotRotatedWhenItsPathCannotBeTakenApart)
{
    folder.Write(L"App.log", std::string(1025, 'x'));
    CLogFile file{path, 1};
    IMPORT_HOOK(GetFullPathNameW)([](auto...) { return DWORD{0}; });

    Write(file, L"y");

    EXPECT_EQ(std::string(1025, 'x') + "y\r\n", folder.Read(L"App.log"));
    EXPECT_EQ("(missing)", folder.Read(L"App_0001.log"));
}
