// The file listener: where the file is, what is in it, who may write when, and which of the two modes it works in.
#include "shared/LogListenerFile.h"

#include "shared/LogLevel.h"
#include "tests/harness/ImportHook.h"
#include "tests/harness/RegistryScope.h"
#include "tests/unit/shared/LogFolder.h"

#include <gtest/gtest.h>

#include <windows.h>

#include <shlobj.h>

using namespace Quil::Shared;
using testing::Test;

namespace
{

const std::wstring kProduct = L"Software\\Policies\\Quil\\Tests in Windows characters";

using LogData = CqlLogListener::LogData;

struct LogListenerFile : Test
{
    RegistryScope registry;
    LogFolder folder;

    void WriteOne(const wchar_t* message)
    {
        CqlLogListenerFile listener{false, 0, folder.File(L"App.log")};
        listener.Write(LogData{Error, "A::B", message});
    }
};

constexpr char kGoodLine[] = "2024/03/05 14:07:09.042|00001A2C|Error      |A::B|old\r\n";

} // namespace

TEST_F(LogListenerFile, OfTheProgramIsInTheRoamingFolderUnderTheProgramsName)
{
    IMPORT_HOOK(SHGetFolderPathW)
    ([&](HWND, int id, HANDLE, DWORD, wchar_t* path) -> HRESULT {
        EXPECT_EQ(0x801A, id);
        folder.Path().copy(path, MAX_PATH);
        return S_OK;
    });
    const std::wstring path = folder.File(L"quilLog\\shared_tests.log");
    {
        CqlLogListenerFile listener{false, 0};

        listener.Write(LogData{Error, "A::B", L"x"});
    }

    EXPECT_EQ(std::vector<std::string>{"Error      |A::B|x"}, folder.Lines(L"quilLog\\shared_tests.log"));
    EXPECT_TRUE(DeleteFileW(path.c_str()));
    EXPECT_TRUE(RemoveDirectoryW(folder.File(L"quilLog").c_str()));
}

TEST_F(LogListenerFile, UsesAFolderThatIsThereAlready)
{
    IMPORT_HOOK(SHGetFolderPathW)
    ([&](HWND, int, HANDLE, DWORD, wchar_t* path) -> HRESULT {
        folder.Path().copy(path, MAX_PATH);
        return S_OK;
    });
    IMPORT_HOOK(CreateDirectoryW)
    ([&](const wchar_t* path, LPSECURITY_ATTRIBUTES attributes) {
        EXPECT_EQ(folder.File(L"quilLog"), path);
        hook_CreateDirectoryW.Real()(path, attributes);
        return hook_CreateDirectoryW.Real()(path, attributes);
    });
    {
        CqlLogListenerFile listener{false, 0};
        listener.Write(LogData{Error, "A::B", L"x"});
    }

    EXPECT_EQ(std::vector<std::string>{"Error      |A::B|x"}, folder.Lines(L"quilLog\\shared_tests.log"));
    DeleteFileW(folder.File(L"quilLog\\shared_tests.log").c_str());
    RemoveDirectoryW(folder.File(L"quilLog").c_str());
}

TEST_F(LogListenerFile, WritesNothingWhenItsFolderCannotBeMade)
{
    IMPORT_HOOK(CreateDirectoryW)
    ([](auto...) {
        SetLastError(ERROR_ACCESS_DENIED);
        return FALSE;
    });
    IMPORT_HOOK(CreateMutexW)([](auto...) { return HANDLE{nullptr}; });
    IMPORT_HOOK(CreateFileW)([](auto...) { return INVALID_HANDLE_VALUE; });
    IMPORT_HOOK(CreateThread)([](auto...) { return HANDLE{nullptr}; });
    for (const bool queued : {false, true})
    {
        CqlLogListenerFile listener{queued, 0};

        listener.Write(LogData{Error, "A::B", L"x"});

        EXPECT_EQ(queued ? 4u : 8u, listener.Type());
    }
    EXPECT_EQ(0, hook_CreateMutexW.Calls());
    EXPECT_EQ(0, hook_CreateFileW.Calls());
    EXPECT_EQ(0, hook_CreateThread.Calls());
}

TEST_F(LogListenerFile, WritesNothingWhenTheRoamingFolderIsUnknown)
{
    IMPORT_HOOK(SHGetFolderPathW)([](auto...) { return E_FAIL; });
    IMPORT_HOOK(CreateFileW)([](auto...) { return INVALID_HANDLE_VALUE; });

    CqlLogListenerFile listener{false, 0};
    listener.Write(LogData{Error, "A::B", L"x"});

    EXPECT_EQ(0, hook_CreateFileW.Calls());
}

TEST_F(LogListenerFile, WritesNothingWhenThePathExceeds260Characters)
{
    IMPORT_HOOK(SHGetFolderPathW)
    ([](HWND, int, HANDLE, DWORD, wchar_t* path) -> HRESULT {
        // With "\quilLog\shared_tests.log" and the NUL one character too many.
        (L"C:\\" + std::wstring(232, L'x')).copy(path, MAX_PATH);
        return S_OK;
    });
    IMPORT_HOOK(CreateDirectoryW)([](auto...) { return TRUE; });
    IMPORT_HOOK(CreateFileW)([](auto...) { return INVALID_HANDLE_VALUE; });

    CqlLogListenerFile listener{false, 0};
    listener.Write(LogData{Error, "A::B", L"x"});

    EXPECT_EQ(0, hook_CreateFileW.Calls());
}

TEST_F(LogListenerFile, OpensAPathOf259Characters)
{
    IMPORT_HOOK(SHGetFolderPathW)
    ([](HWND, int, HANDLE, DWORD, wchar_t* path) -> HRESULT {
        (L"C:\\" + std::wstring(231, L'x')).copy(path, MAX_PATH);
        return S_OK;
    });
    IMPORT_HOOK(CreateDirectoryW)([](auto...) { return TRUE; });
    IMPORT_HOOK(CreateFileW)
    ([](const wchar_t* path, auto...) {
        EXPECT_EQ(259u, std::wstring{path}.size());
        return INVALID_HANDLE_VALUE;
    });

    CqlLogListenerFile listener{false, 0};

    EXPECT_EQ(1, hook_CreateFileW.Calls());
}

TEST_F(LogListenerFile, MakesTheFolderOfAGivenPath)
{
    {
        CqlLogListenerFile listener{false, 0, folder.File(L"a\\b\\App.log")};
        listener.Write(LogData{Error, "A::B", L"x"});
    }

    EXPECT_EQ(std::vector<std::string>{"Error      |A::B|x"}, folder.Lines(L"a\\b\\App.log"));
    DeleteFileW(folder.File(L"a\\b\\App.log").c_str());
    RemoveDirectoryW(folder.File(L"a\\b").c_str());
    RemoveDirectoryW(folder.File(L"a").c_str());
}

TEST_F(LogListenerFile, ANewFileBeginsWithAByteOrderMarkAndHasLinesThatEndInCrLf)
{
    WriteOne(L"one\ntwo \u00E9 \u20AC \xD83D\xDE00 \xD83D!");
    const std::string bytes = folder.Read(L"App.log");

    ASSERT_LT(3u + 33u, bytes.size());
    EXPECT_EQ("\xEF\xBB\xBF", bytes.substr(0, 3));
    EXPECT_EQ("Error      |A::B|one\r\ntwo \xC3\xA9 \xE2\x82\xAC \xF0\x9F\x98\x80 \xEF\xBF\xBD!\r\n",
              bytes.substr(3 + 33));
}

TEST_F(LogListenerFile, AppendsWithoutASecondByteOrderMark)
{
    WriteOne(L"first");
    WriteOne(L"second");

    EXPECT_EQ(0u, folder.Read(L"App.log").find("\xEF\xBB\xBF"));
    EXPECT_EQ(std::string::npos, folder.Read(L"App.log").find("\xEF\xBB\xBF", 1));
    EXPECT_EQ((std::vector<std::string>{"Error      |A::B|first", "Error      |A::B|second"}),
              folder.Lines(L"App.log"));
}

TEST_F(LogListenerFile, AppendsToALogWithoutAByteOrderMarkAsItIs)
{
    folder.Write(L"App.log", kGoodLine);

    WriteOne(L"new");

    EXPECT_EQ(0u, folder.Read(L"App.log").find(kGoodLine));
    EXPECT_EQ((std::vector<std::string>{"Error      |A::B|old", "Error      |A::B|new"}), folder.Lines(L"App.log"));
}

TEST_F(LogListenerFile, KeepsANewEmptyFile)
{
    folder.Write(L"App.log", "");

    WriteOne(L"x");

    EXPECT_EQ(std::vector<std::wstring>{L"App.log"}, folder.Names());
    EXPECT_EQ("\xEF\xBB\xBF", folder.Read(L"App.log").substr(0, 3));
}

TEST_F(LogListenerFile, BeginsAFileThatAnotherLeftEmptyWhenItDiedWithAByteOrderMark)
{
    CqlLogListenerFile listener{false, 0, folder.File(L"App.log")};
    listener.Write(LogData{Error, "A::B", L"x"});
    const AbandonedMutex mutex{folder.File(L"App.log")};
    folder.Write(L"App.log", "");

    listener.Write(LogData{Error, "A::B", L"y"});

    EXPECT_EQ("\xEF\xBB\xBF", folder.Read(L"App.log").substr(0, 3));
}

TEST_F(LogListenerFile, BeginsAFileThatWasRemovedMeanwhileWithAByteOrderMark)
{
    CqlLogListenerFile listener{false, 0, folder.File(L"App.log")};
    listener.Write(LogData{Error, "A::B", L"x"});
    DeleteFileW(folder.File(L"App.log").c_str());

    listener.Write(LogData{Error, "A::B", L"y"});

    EXPECT_EQ("\xEF\xBB\xBF", folder.Read(L"App.log").substr(0, 3));
    EXPECT_EQ(std::vector<std::string>{"Error      |A::B|y"}, folder.Lines(L"App.log"));
}

TEST_F(LogListenerFile, KeepsAFileThatHoldsAByteOrderMarkOnly)
{
    folder.Write(L"App.log", "\xEF\xBB\xBF");

    WriteOne(L"x");

    EXPECT_EQ(std::vector<std::wstring>{L"App.log"}, folder.Names());
    EXPECT_EQ(std::vector<std::string>{"Error      |A::B|x"}, folder.Lines(L"App.log"));
}

TEST_F(LogListenerFile, MovesAnotherToolsTextAwayBeforeItWrites)
{
    folder.Write(L"App.log", "[settings]\r\ncolour=blue and something more\r\n");

    WriteOne(L"x");

    EXPECT_EQ((std::vector<std::wstring>{L"App.log", L"App_0001.log"}), folder.Names());
    EXPECT_EQ("[settings]\r\ncolour=blue and something more\r\n", folder.Read(L"App_0001.log"));
    EXPECT_EQ(std::vector<std::string>{"Error      |A::B|x"}, folder.Lines(L"App.log"));
}

TEST_F(LogListenerFile, MovesAFileWithADamagedFirstLineAwayWhicheverSeparatorIsDamaged)
{
    for (const std::size_t place : {4u, 7u, 10u, 13u, 16u, 19u, 23u})
    {
        std::string damaged = kGoodLine;
        damaged[place] = '?';
        folder.Write(L"App.log", damaged);

        CqlLogListenerFile listener{false, 0, folder.File(L"App.log")};

        EXPECT_EQ(damaged, folder.Read(L"App_0001.log")) << place;
        EXPECT_EQ("\xEF\xBB\xBF", folder.Read(L"App.log")) << place;
        DeleteFileW(folder.File(L"App_0001.log").c_str());
    }
}

TEST_F(LogListenerFile, MovesAFileWithLessThanAPrefixAway)
{
    folder.Write(L"App.log", "2024/03/05 14:07:09.042");

    CqlLogListenerFile listener{false, 0, folder.File(L"App.log")};

    EXPECT_EQ("2024/03/05 14:07:09.042", folder.Read(L"App_0001.log"));
}

TEST_F(LogListenerFile, CountsCharactersOfTheHeadNotBytes)
{
    folder.Write(L"App.log", "\xEF\xBB\xBF"
                             "\xC3\xA9"
                             "024/03/05 14:07:09.042|x\r\n");

    CqlLogListenerFile listener{false, 0, folder.File(L"App.log")};

    EXPECT_EQ(std::vector<std::wstring>{L"App.log"}, folder.Names());
}

TEST_F(LogListenerFile, RotatesAFileThatCannotBeRead)
{
    folder.Write(L"App.log", kGoodLine);
    IMPORT_HOOK(ReadFile)
    ([](auto...) {
        SetLastError(ERROR_READ_FAULT);
        return FALSE;
    });

    CqlLogListenerFile listener{false, 0, folder.File(L"App.log")};

    EXPECT_EQ((std::vector<std::wstring>{L"App.log", L"App_0001.log"}), folder.Names());
}

TEST_F(LogListenerFile, IsDirectOrQueuedAsTheProgramSaysWithoutPolicy)
{
    EXPECT_EQ(8u, (CqlLogListenerFile{false, 0, folder.File(L"App.log")}.Type()));
    EXPECT_EQ(4u, (CqlLogListenerFile{true, 0, folder.File(L"App.log")}.Type()));
}

TEST_F(LogListenerFile, IsDirectOrQueuedAsQueuedWritesSays)
{
    registry.SetNumber(kProduct, L"QueuedWrites", 1);
    EXPECT_EQ(4u, (CqlLogListenerFile{false, 0, folder.File(L"App.log")}.Type()));

    registry.SetNumber(kProduct + L"\\shared_tests", L"QueuedWrites", 0);
    EXPECT_EQ(8u, (CqlLogListenerFile{true, 0, folder.File(L"App.log")}.Type()));
}

TEST_F(LogListenerFile, SharesAMutexNamedAfterThePathWithEveryOtherWriter)
{
    std::wstring name;
    IMPORT_HOOK(CreateMutexW)
    ([&](LPSECURITY_ATTRIBUTES attributes, BOOL owned, const wchar_t* mutex) {
        EXPECT_EQ(nullptr, attributes);
        EXPECT_FALSE(owned);
        name = mutex;
        return hook_CreateMutexW.Real()(attributes, owned, mutex);
    });
    IMPORT_HOOK(SHCreateDirectoryExW)([](auto...) { return ERROR_ALREADY_EXISTS; });

    CqlLogListenerFile listener{false, 0, L"C:\\Nowhere\\At:All\\App.log"};

    EXPECT_EQ(L"Global\\.Nowhere.At:All.App.log", name);
}

TEST_F(LogListenerFile, WaitsWithoutLimitAndHoldsTheFileDuringAWriteOnly)
{
    CqlLogListenerFile listener{false, 0, folder.File(L"App.log")};
    std::vector<std::string> calls;
    IMPORT_HOOK(WaitForSingleObject)
    ([&](HANDLE handle, DWORD timeout) {
        EXPECT_EQ(INFINITE, timeout);
        calls.push_back("wait");
        return hook_WaitForSingleObject.Real()(handle, timeout);
    });
    IMPORT_HOOK(CreateFileW)
    ([&](auto... arguments) {
        calls.push_back("open");
        return hook_CreateFileW.Real()(arguments...);
    });
    IMPORT_HOOK(WriteFile)
    ([&](auto... arguments) {
        calls.push_back("write");
        return hook_WriteFile.Real()(arguments...);
    });
    IMPORT_HOOK(CloseHandle)
    ([&](HANDLE handle) {
        calls.push_back("close");
        return hook_CloseHandle.Real()(handle);
    });
    IMPORT_HOOK(ReleaseMutex)
    ([&](HANDLE handle) {
        calls.push_back("release");
        return hook_ReleaseMutex.Real()(handle);
    });

    listener.Write(LogData{Error, "A::B", L"x"});

    EXPECT_EQ((std::vector<std::string>{"wait", "open", "write", "close", "release"}), calls);
}

TEST_F(LogListenerFile, LetsOthersReadAndWriteTheFile)
{
    CqlLogListenerFile listener{false, 0, folder.File(L"App.log")};
    DWORD sharing = 0;
    DWORD disposition = 0;
    IMPORT_HOOK(CreateFileW)
    ([&](const wchar_t* path, DWORD access, DWORD share, LPSECURITY_ATTRIBUTES attributes, DWORD how, DWORD flags,
         HANDLE pattern) {
        sharing = share;
        disposition = how;
        return hook_CreateFileW.Real()(path, access, share, attributes, how, flags, pattern);
    });

    listener.Write(LogData{Error, "A::B", L"x"});

    EXPECT_EQ(3u, sharing);
    EXPECT_EQ(4u, disposition); // OPEN_ALWAYS
}

TEST_F(LogListenerFile, AnAbandonedMutexIsWaitedForOnceMoreAndGivenBackTwice)
{
    CqlLogListenerFile listener{false, 0, folder.File(L"App.log")};
    const AbandonedMutex mutex{folder.File(L"App.log")};
    IMPORT_HOOK(WaitForSingleObject)
    ([&](HANDLE handle, DWORD timeout) { return hook_WaitForSingleObject.Real()(handle, timeout); });
    IMPORT_HOOK(ReleaseMutex)([&](HANDLE handle) { return hook_ReleaseMutex.Real()(handle); });

    listener.Write(LogData{Error, "A::B", L"x"});

    EXPECT_EQ(2, hook_WaitForSingleObject.Calls());
    EXPECT_EQ(2, hook_ReleaseMutex.Calls());
    EXPECT_TRUE(mutex.IsFree());
    EXPECT_EQ(std::vector<std::string>{"Error      |A::B|x"}, folder.Lines(L"App.log"));
}

TEST_F(LogListenerFile, AfterAnAbandonedMutexATornLineIsEndedFirst)
{
    folder.Write(L"App.log", std::string{kGoodLine} + "2024/03/05 14:07:09.043|0000");
    CqlLogListenerFile listener{false, 0, folder.File(L"App.log")};
    const AbandonedMutex mutex{folder.File(L"App.log")};

    listener.Write(LogData{Error, "A::B", L"x"});
    listener.Write(LogData{Error, "A::B", L"y"});

    EXPECT_EQ((std::vector<std::string>{"Error      |A::B|old", "2024/03/05 14:07:09.043|0000", "Error      |A::B|x",
                                        "Error      |A::B|y"}),
              folder.Lines(L"App.log"));
}

TEST_F(LogListenerFile, ASecondWaitThatFailsWritesNothingAndGivesTheFirstOneBack)
{
    CqlLogListenerFile listener{false, 0, folder.File(L"App.log")};
    const AbandonedMutex mutex{folder.File(L"App.log")};
    {
        IMPORT_HOOK(WaitForSingleObject)
        ([&](HANDLE handle, DWORD timeout) {
            return hook_WaitForSingleObject.Calls() == 1 ? hook_WaitForSingleObject.Real()(handle, timeout)
                                                         : DWORD{WAIT_FAILED};
        });
        IMPORT_HOOK(CreateFileW)([](auto...) { return INVALID_HANDLE_VALUE; });

        listener.Write(LogData{Error, "A::B", L"x"});

        EXPECT_EQ(0, hook_CreateFileW.Calls());
    }
    EXPECT_TRUE(mutex.IsFree());
}

TEST_F(LogListenerFile, AWaitThatFailsWritesNothing)
{
    CqlLogListenerFile listener{false, 0, folder.File(L"App.log")};
    IMPORT_HOOK(WaitForSingleObject)([](auto...) { return DWORD{WAIT_FAILED}; });
    IMPORT_HOOK(CreateFileW)([](auto...) { return INVALID_HANDLE_VALUE; });
    IMPORT_HOOK(ReleaseMutex)([](auto...) { return TRUE; });

    listener.Write(LogData{Error, "A::B", L"x"});

    EXPECT_EQ(0, hook_CreateFileW.Calls());
    EXPECT_EQ(0, hook_ReleaseMutex.Calls());
}

TEST_F(LogListenerFile, AnOpenThatFailsGivesTheMutexBackAndLosesTheRecord)
{
    CqlLogListenerFile listener{false, 0, folder.File(L"App.log")};
    {
        IMPORT_HOOK(CreateFileW)([](auto...) { return INVALID_HANDLE_VALUE; });
        IMPORT_HOOK(ReleaseMutex)([&](HANDLE handle) { return hook_ReleaseMutex.Real()(handle); });

        listener.Write(LogData{Error, "A::B", L"lost"});

        EXPECT_EQ(1, hook_ReleaseMutex.Calls());
    }

    listener.Write(LogData{Error, "A::B", L"kept"});

    EXPECT_EQ(std::vector<std::string>{"Error      |A::B|kept"}, folder.Lines(L"App.log"));
}

TEST_F(LogListenerFile, WithoutAMutexWritesNothing)
{
    IMPORT_HOOK(CreateMutexW)([](auto...) { return HANDLE{nullptr}; });
    IMPORT_HOOK(CreateFileW)([](auto...) { return INVALID_HANDLE_VALUE; });
    CqlLogListenerFile listener{false, 0, folder.File(L"App.log")};

    listener.Write(LogData{Error, "A::B", L"x"});

    EXPECT_EQ(0, hook_CreateFileW.Calls());
}

TEST_F(LogListenerFile, ClosesTheMutexHandleAtItsEnd)
{
    auto listener = std::make_unique<CqlLogListenerFile>(false, 0, folder.File(L"App.log"));
    IMPORT_HOOK(CloseHandle)([&](HANDLE handle) { return hook_CloseHandle.Real()(handle); });

    listener.reset();

    EXPECT_EQ(1, hook_CloseHandle.Calls());
}

TEST_F(LogListenerFile, AFullDiskLosesTheRecordOnly)
{
    CqlLogListenerFile listener{false, 0, folder.File(L"App.log")};
    {
        IMPORT_HOOK(WriteFile)
        ([](auto...) {
            SetLastError(ERROR_DISK_FULL);
            return FALSE;
        });
        listener.Write(LogData{Error, "A::B", L"lost"});
    }

    listener.Write(LogData{Error, "A::B", L"kept"});

    EXPECT_EQ(std::vector<std::string>{"Error      |A::B|kept"}, folder.Lines(L"App.log"));
}

TEST_F(LogListenerFile, WritesALineThatExceedsItsBufferWhole)
{
    // Pairs of surrogates, so that a cut in the middle of one would show.
    std::wstring message;
    std::string expected = "Error      |A::BC|";
    for (int i = 0; i < 30000; ++i)
    {
        message += L"\xD83D\xDE00";
        expected += "\xF0\x9F\x98\x80";
    }
    CqlLogListenerFile listener{false, 0, folder.File(L"App.log")};

    listener.Write(LogData{Error, "A::BC", message});
    listener.Write(LogData{Error, "A::BC", L"next"});

    const std::vector<std::string> lines = folder.Lines(L"App.log");
    ASSERT_EQ(2u, lines.size());
    EXPECT_TRUE(expected == lines[0]);
    EXPECT_EQ("Error      |A::BC|next", lines[1]);
}

TEST_F(LogListenerFile, WritesNothingWhenTheFolderInTheRoamingFolderCannotBeMade)
{
    IMPORT_HOOK(SHGetFolderPathW)
    ([&](HWND, int, HANDLE, DWORD, wchar_t* path) -> HRESULT {
        folder.Path().copy(path, MAX_PATH);
        return S_OK;
    });
    IMPORT_HOOK(CreateDirectoryW)
    ([](auto...) {
        SetLastError(ERROR_ACCESS_DENIED);
        return FALSE;
    });
    IMPORT_HOOK(CreateFileW)([](auto...) { return INVALID_HANDLE_VALUE; });

    CqlLogListenerFile listener{false, 0};
    listener.Write(LogData{Error, "A::B", L"x"});

    EXPECT_EQ(1, hook_CreateDirectoryW.Calls());
    EXPECT_EQ(0, hook_CreateFileW.Calls());
}

TEST_F(LogListenerFile, UsesTheFolderOfAGivenPathThatIsThereAlready)
{
    for (const int made : {ERROR_SUCCESS, ERROR_ALREADY_EXISTS, ERROR_FILE_EXISTS})
    {
        IMPORT_HOOK(SHCreateDirectoryExW)([made](auto...) { return made; });

        WriteOne(L"x");

        EXPECT_EQ(1, hook_SHCreateDirectoryExW.Calls());
    }
    EXPECT_EQ(3u, folder.Lines(L"App.log").size());
}

TEST_F(LogListenerFile, WritesNothingWhenTheFolderOfAGivenPathCannotBeMade)
{
    IMPORT_HOOK(SHCreateDirectoryExW)([](auto...) { return int{ERROR_ACCESS_DENIED}; });

    WriteOne(L"x");

    EXPECT_EQ("(missing)", folder.Read(L"App.log"));
}

TEST_F(LogListenerFile, WritesNothingWhenAGivenPathExceeds260Characters)
{
    IMPORT_HOOK(SHCreateDirectoryExW)([](auto...) { return int{ERROR_SUCCESS}; });
    IMPORT_HOOK(CreateMutexW)([](auto...) { return HANDLE{nullptr}; });

    CqlLogListenerFile listener{false, 0, L"C:\\" + std::wstring(256, L'x') + L".log"};
    listener.Write(LogData{Error, "A::B", L"x"});

    EXPECT_EQ(0, hook_CreateMutexW.Calls());
}
