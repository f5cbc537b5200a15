// A log and its old files as one stream: in order, whole and once, whatever rotation does to them in the meantime.
#include "client/LogFiles.h"

#include "shared/LogFile.h"
#include "tests/harness/ImportHook.h"
#include "tests/unit/client/LogFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <shlobj.h>

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

using HotKey::CLogFiles;
using testing::ElementsAre;

namespace
{

// Everything up to the end; "|" where a file ended for good.
std::string ReadAll(CLogFiles& files)
{
    std::string all;
    std::string bytes;
    for (;;)
    {
        switch (files.Read(bytes))
        {
        case CLogFiles::Step::Bytes:
            all += bytes;
            break;
        case CLogFiles::Step::NextFile:
            all += '|';
            break;
        case CLogFiles::Step::End:
            return all;
        }
    }
}

} // namespace

TEST(LogFiles, HigherNumbersAreOlderAndTheLiveFileIsTheNewest)
{
    const LogFolder folder;
    folder.Put(L"App_0001.log", "three");
    folder.Put(L"App_0010.log", "one");
    folder.Put(L"App.log", "four");
    folder.Put(L"App_0002.log", "two");
    CLogFiles files{folder.Live()};

    EXPECT_EQ("one|two|three|four", ReadAll(files));
}

TEST(LogFiles, OtherFilesOfTheFolderAreNotRead)
{
    const LogFolder folder;
    folder.Put(L"App.log", "live");
    for (const wchar_t* const name : {L"App_.log", L"App_old.log", L"App_0001.log2", L"App_0001.txt", L"Apps_0001.log",
                                      L"App_0001_2.log", L"Other_0001.log", L"App2.log"})
    {
        folder.Put(name, "other");
    }
    CLogFiles files{folder.Live()};

    EXPECT_EQ("live", ReadAll(files));
}

TEST(LogFiles, AnOldFileIsReadByItselfWhenItIsNamed)
{
    const LogFolder folder;
    folder.Put(L"App_0001.log", "old");
    folder.Put(L"App.log", "live");
    CLogFiles files{folder.Path(L"App_0001.log")};

    EXPECT_EQ("old", ReadAll(files));
}

TEST(LogFiles, AFileLargerThanOnePieceIsReadWhole)
{
    const LogFolder folder;
    std::string text;
    for (int i = 0; i != 100'000; ++i)
    {
        text += std::to_string(i) + "\r\n";
    }
    folder.Put(L"App.log", text);
    CLogFiles files{folder.Live()};

    EXPECT_TRUE(text == ReadAll(files));
}

TEST(LogFiles, LookTellsWhetherThereIsAnything)
{
    const LogFolder folder;

    EXPECT_EQ(DWORD{ERROR_FILE_NOT_FOUND}, CLogFiles{folder.Live()}.Look());
    EXPECT_EQ(DWORD{ERROR_PATH_NOT_FOUND}, CLogFiles{folder.Path(L"nowhere\\App.log")}.Look());
    folder.Put(L"App_0001.log", "old");
    EXPECT_EQ(DWORD{ERROR_SUCCESS}, CLogFiles{folder.Live()}.Look());
    folder.Put(L"App.log", "");
    EXPECT_EQ(DWORD{ERROR_SUCCESS}, CLogFiles{folder.Live()}.Look());
}

TEST(LogFiles, WhatIsAppendedComesNext)
{
    const LogFolder folder;
    folder.Put(L"App.log", "one");
    CLogFiles files{folder.Live()};
    EXPECT_EQ("one", ReadAll(files));

    folder.Append(L"App.log", "two");

    EXPECT_EQ("two", ReadAll(files));
    EXPECT_EQ("", ReadAll(files));
}

TEST(LogFiles, ARotationLosesAndDoublesNothing)
{
    const LogFolder folder;
    folder.Put(L"App_0001.log", "one");
    folder.Put(L"App.log", "two");
    CLogFiles files{folder.Live()};
    EXPECT_EQ("one|two", ReadAll(files));

    folder.Append(L"App.log", "three");
    folder.Rotate();
    EXPECT_EQ("three", ReadAll(files)) << "no live file yet";
    folder.Put(L"App.log", "four");

    EXPECT_EQ("|four", ReadAll(files));
}

TEST(LogFiles, SeveralRotationsBetweenTwoReadsAreAllRead)
{
    const LogFolder folder;
    folder.Put(L"App.log", "one");
    CLogFiles files{folder.Live()};
    EXPECT_EQ("one", ReadAll(files));

    folder.Append(L"App.log", "+");
    for (const char* const text : {"two", "three", "four"})
    {
        folder.Rotate();
        folder.Put(L"App.log", text);
    }

    EXPECT_EQ("+|two|three|four", ReadAll(files));
}

TEST(LogFiles, ARotationWhileAnOldFileIsReadLosesAndDoublesNothing)
{
    const LogFolder folder;
    folder.Put(L"App_0002.log", "one");
    folder.Put(L"App_0001.log", "two");
    folder.Put(L"App.log", "three");
    CLogFiles files{folder.Live()};
    std::string bytes;
    EXPECT_EQ(CLogFiles::Step::Bytes, files.Read(bytes));
    EXPECT_EQ("one", bytes);

    folder.Rotate();
    folder.Put(L"App.log", "four");

    EXPECT_EQ("|two|three|four", ReadAll(files));
}

TEST(LogFiles, WhenTheFileAtHandIsGoneTheOldestUnreadOneFollows)
{
    const LogFolder folder;
    folder.Put(L"App_0002.log", "one");
    folder.Put(L"App_0001.log", "two");
    folder.Put(L"App.log", "three");
    CLogFiles files{folder.Live()};
    EXPECT_EQ("one|two|three", ReadAll(files));

    ASSERT_TRUE(DeleteFileW(folder.Live().c_str()));
    EXPECT_EQ("", ReadAll(files));
    folder.Put(L"App.log", "four");

    EXPECT_EQ("|four", ReadAll(files)) << "what was read before is not read again";
}

TEST(LogFiles, ALiveFileThatWasEmptiedIsReadFromItsBeginning)
{
    const LogFolder folder;
    folder.Put(L"App_0001.log", "one");
    folder.Put(L"App.log", "two and more");
    CLogFiles files{folder.Live()};
    EXPECT_EQ("one|two and more", ReadAll(files));

    folder.Put(L"App.log", "three");

    EXPECT_EQ("|three", ReadAll(files));
}

TEST(LogFiles, ALaterFileAtTheSamePlaceOfTheDiskIsTold)
{
    const LogFolder folder;
    folder.Put(L"App.log", "2024/03/05 14:07:09.042");
    CLogFiles files{folder.Live()};
    EXPECT_EQ("2024/03/05 14:07:09.042", ReadAll(files));

    // The same file to the system, longer than before.
    folder.Put(L"App.log", "2024/03/05 15:00:00.000|and more");

    EXPECT_EQ("|2024/03/05 15:00:00.000|and more", ReadAll(files));
}

TEST(LogFiles, ARotationUnderWayIsWaitedFor)
{
    const LogFolder folder;
    folder.Put(L"App_0002.log", "one");
    folder.Put(L"App_0001.log", "two");
    folder.Put(L"App.log", "three");
    folder.Rename(L"App_0002.log", L"_lo3.tmp");
    int step = 0;
    IMPORT_HOOK(Sleep)
    ([&](DWORD) {
        switch (step++)
        {
        case 0:
            return folder.Rename(L"App_0001.log", L"_lo2.tmp");
        case 1:
            return folder.Rename(L"_lo3.tmp", L"App_0003.log");
        case 2:
            return folder.Rename(L"_lo2.tmp", L"App_0002.log");
        default:
            return;
        }
    });
    CLogFiles files{folder.Live()};

    EXPECT_EQ("one|two|three", ReadAll(files));
    EXPECT_EQ(4, step) << "one more to see that nothing moves";
}

TEST(LogFiles, WhatARotationLeftBehindDelaysOnce)
{
    const LogFolder folder;
    folder.Put(L"_lo2.tmp", "left over");
    folder.Put(L"App_0001.log", "one");
    folder.Put(L"App.log", "two");
    IMPORT_HOOK(Sleep)([](DWORD) {});
    CLogFiles files{folder.Live()};

    EXPECT_EQ("one|two", ReadAll(files));
    EXPECT_EQ(49, hook_Sleep.Calls());
}

TEST(LogFiles, NothingStaysOpenAndEverythingIsShared)
{
    const LogFolder folder;
    folder.Put(L"App_0001.log", "one");
    folder.Put(L"App.log", "two");
    std::vector<DWORD> modes;
    CLogFiles files{folder.Live()};
    {
        IMPORT_HOOK(CreateFileW)
        ([&](LPCWSTR name, DWORD access, DWORD share, LPSECURITY_ATTRIBUTES security, DWORD how, DWORD flags,
             HANDLE like) {
            modes.push_back(share);
            return hook_CreateFileW.Real()(name, access, share, security, how, flags, like);
        });
        EXPECT_EQ("one|two", ReadAll(files));
    }

    EXPECT_THAT(modes, testing::Each(DWORD{FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE}));
    for (const wchar_t* const name : {L"App_0001.log", L"App.log"})
    {
        const HANDLE alone =
            CreateFileW(folder.Path(name).c_str(), GENERIC_READ | DELETE, 0, nullptr, OPEN_EXISTING, 0, nullptr);
        EXPECT_NE(INVALID_HANDLE_VALUE, alone) << name;
        CloseHandle(alone);
    }
}

// A second rotation comes before every single call that the reader makes while it deals with the first one.
TEST(LogFiles, ARotationAtAnyMomentLosesAndDoublesNothing)
{
    int moment = 0;
    for (bool came = true; came;)
    {
        ++moment;
        came = false;
        const LogFolder folder;
        folder.Put(L"App_0001.log", "one");
        folder.Put(L"App.log", "two");
        CLogFiles files{folder.Live()};
        EXPECT_EQ("one|two", ReadAll(files));
        folder.Append(L"App.log", "+");
        folder.Rotate();
        folder.Put(L"App.log", "three");

        int calls = 0;
        const auto call = [&] {
            if (!came && ++calls == moment)
            {
                came = true;
                folder.Append(L"App.log", "+");
                folder.Rotate();
                folder.Put(L"App.log", "four");
            }
        };
        std::string all;
        {
            IMPORT_HOOK(CreateFileW)
            ([&](LPCWSTR name, DWORD access, DWORD share, LPSECURITY_ATTRIBUTES security, DWORD how, DWORD flags,
                 HANDLE like) {
                call();
                return hook_CreateFileW.Real()(name, access, share, security, how, flags, like);
            });
            IMPORT_HOOK(ReadFile)
            ([&](HANDLE file, LPVOID buffer, DWORD size, LPDWORD read, LPOVERLAPPED at) {
                call();
                return hook_ReadFile.Real()(file, buffer, size, read, at);
            });
            IMPORT_HOOK(FindNextFileW)
            ([&](HANDLE find, LPWIN32_FIND_DATAW data) {
                call();
                return hook_FindNextFileW.Real()(find, data);
            });
            IMPORT_HOOK(Sleep)([](DWORD) {});
            all = ReadAll(files);
        }
        all += ReadAll(files);

        EXPECT_EQ(came ? "+|three+|four" : "+|three", all) << "before call " << moment;
    }
    EXPECT_GT(moment, 20) << "the calls of the reader";
}

// The service's own writer works between the calls of the reader, so it rotates at every place where it can.
TEST(LogFiles, AWriterAtWorkLosesAndDoublesNothing)
{
    struct Pace
    {
        int calls; // of the reader, between two lines of the writer
        int old;   // files that are there already; with ten of them none is ever deleted
    };
    for (const Pace pace : {Pace{13, 0}, Pace{14, 10}})
    {
        constexpr int kLines = 120;
        const LogFolder folder;
        for (int number = 1; number <= pace.old; ++number)
        {
            folder.Put(L"App_00" + std::to_wstring(10 + number) + L".log", "");
        }
        Quil::Shared::CLogFile log{folder.Live(), 1};
        int written = 0;
        int calls = 0;
        bool writing = false;
        const auto call = [&] {
            if (writing || written == kLines || ++calls % pace.calls != 0)
            {
                return;
            }
            writing = true;
            ASSERT_TRUE(log.Acquire());
            // Long enough for a rotation every eleven lines.
            log.WriteLine(std::to_wstring(written++) + std::wstring(120, L'.'));
            log.Release();
            writing = false;
        };
        IMPORT_HOOK(CreateFileW)
        ([&](LPCWSTR name, DWORD access, DWORD share, LPSECURITY_ATTRIBUTES security, DWORD how, DWORD flags,
             HANDLE like) {
            call();
            return hook_CreateFileW.Real()(name, access, share, security, how, flags, like);
        });
        IMPORT_HOOK(FindFirstFileW)
        ([&](LPCWSTR pattern, LPWIN32_FIND_DATAW data) {
            call();
            return hook_FindFirstFileW.Real()(pattern, data);
        });
        IMPORT_HOOK(FindNextFileW)
        ([&](HANDLE find, LPWIN32_FIND_DATAW data) {
            call();
            return hook_FindNextFileW.Real()(find, data);
        });
        IMPORT_HOOK(ReadFile)
        ([&](HANDLE file, LPVOID buffer, DWORD size, LPDWORD read, LPOVERLAPPED at) {
            call();
            return hook_ReadFile.Real()(file, buffer, size, read, at);
        });
        IMPORT_HOOK(Sleep)([](DWORD) {});
        log.Acquire();
        log.Release();
        CLogFiles files{folder.Live()};

        std::string all;
        while (written != kLines)
        {
            all += ReadAll(files);
        }
        all += ReadAll(files);

        std::string expected;
        for (int line = 0; line != kLines; ++line)
        {
            expected += std::to_string(line) + std::string(120, '.') + "\r\n";
        }
        std::erase(all, '|');
        for (std::size_t mark; (mark = all.find("\xEF\xBB\xBF")) != std::string::npos;)
        {
            all.erase(mark, 3);
        }
        EXPECT_TRUE(expected == all) << pace.calls << ": " << all.size() << " bytes instead of " << expected.size();
    }
}

TEST(ServiceLogPaths, TheServicesFolderComesBeforeTheUsers)
{
    IMPORT_HOOK(GetSystemDirectoryW)
    ([](LPWSTR folder, UINT size) -> UINT {
        wcscpy_s(folder, size, L"C:\\Windows\\System32");
        return 19;
    });
    IMPORT_HOOK(SHGetFolderPathW)
    ([](HWND, int, HANDLE, DWORD, LPWSTR folder) -> HRESULT {
        wcscpy_s(folder, MAX_PATH, L"C:\\Users\\a\\AppData\\Roaming");
        return S_OK;
    });

    EXPECT_THAT(
        HotKey::ServiceLogPaths(),
        ElementsAre(L"C:\\Windows\\System32\\config\\systemprofile\\AppData\\Roaming\\quilLog\\HotKeyServiceTLY.log",
                    L"C:\\Users\\a\\AppData\\Roaming\\quilLog\\HotKeyServiceTLY.log"));
}

TEST(ServiceLogPaths, LocalSystemItselfHasOnlyOne)
{
    IMPORT_HOOK(GetSystemDirectoryW)
    ([](LPWSTR folder, UINT size) -> UINT {
        wcscpy_s(folder, size, L"C:\\Windows\\system32");
        return 19;
    });
    IMPORT_HOOK(SHGetFolderPathW)
    ([](HWND, int, HANDLE, DWORD, LPWSTR folder) -> HRESULT {
        wcscpy_s(folder, MAX_PATH, L"C:\\Windows\\System32\\config\\systemprofile\\AppData\\Roaming");
        return S_OK;
    });

    EXPECT_EQ(1U, HotKey::ServiceLogPaths().size());
}

TEST(LogFiles, AFolderOfAnOldLogsNameIsNotRead)
{
    const LogFolder folder;
    folder.Put(L"App.log", "live");
    std::filesystem::create_directories(folder.Path(L"App_0001.log"));
    CLogFiles files{folder.Live()};

    EXPECT_EQ("live", ReadAll(files));
}

TEST(LogFiles, NamesThatWindowsFindsByTheirShortNamesAreNotRead)
{
    const LogFolder folder;
    folder.Put(L"App.log", "live");
    for (const wchar_t* const name : {L"A", L"Application.log", L"Ape_0001.log", L"App_0001", L"App_0001.text"})
    {
        folder.Put(name, "other");
        IMPORT_HOOK(FindFirstFileW)
        ([&](LPCWSTR pattern, LPWIN32_FIND_DATAW data) {
            return hook_FindFirstFileW.Real()(
                std::wstring_view{pattern}.ends_with(L"_*.log") ? folder.Path(name).c_str() : pattern, data);
        });
        CLogFiles files{folder.Live()};

        EXPECT_EQ("live", ReadAll(files));
    }
}

TEST(LogFiles, ANameWithoutAFolderIsOfTheCurrentOne)
{
    EXPECT_EQ(DWORD{ERROR_FILE_NOT_FOUND}, CLogFiles{L"hotkeyctl-no-such.log"}.Look());
    EXPECT_EQ(DWORD{ERROR_FILE_NOT_FOUND}, CLogFiles{L"hotkeyctl-no-such"}.Look());
}

TEST(LogFiles, AFileThatCannotBeToldIsNotRead)
{
    const LogFolder folder;
    folder.Put(L"App.log", "live");
    CLogFiles files{folder.Live()};
    IMPORT_HOOK(GetFileInformationByHandle)([](HANDLE, LPBY_HANDLE_FILE_INFORMATION) { return FALSE; });

    EXPECT_EQ("", ReadAll(files));
}

TEST(LogFiles, AFileWhoseBytesCannotBeReadHasNothingYet)
{
    const LogFolder folder;
    folder.Put(L"App.log", "live");
    CLogFiles files{folder.Live()};
    {
        IMPORT_HOOK(ReadFile)
        ([&](HANDLE file, void* bytes, DWORD size, DWORD* read, OVERLAPPED* position) {
            if (size == 0)
            {
                return hook_ReadFile.Real()(file, bytes, size, read, position);
            }
            SetLastError(ERROR_READ_FAULT);
            return FALSE;
        });
        EXPECT_EQ("", ReadAll(files));
    }

    EXPECT_EQ("live", ReadAll(files));
}

TEST(LogFiles, FilesOfWhichNothingCanBeReadHaveAnEnd)
{
    const LogFolder folder;
    folder.Put(L"App_0001.log", "old");
    folder.Put(L"App.log", "live");
    CLogFiles files{folder.Live()};
    IMPORT_HOOK(ReadFile)
    ([](auto...) {
        SetLastError(ERROR_LOCK_VIOLATION);
        return FALSE;
    });

    EXPECT_EQ("|", ReadAll(files));
}

TEST(LogFiles, AFolderThatNeverComesToRestIsLookedAtFiftyTimes)
{
    const LogFolder folder;
    folder.Put(L"App.log", "live");
    CLogFiles files{folder.Live()};
    IMPORT_HOOK(GetFileInformationByHandle)
    ([&](HANDLE file, LPBY_HANDLE_FILE_INFORMATION data) {
        const BOOL known = hook_GetFileInformationByHandle.Real()(file, data);
        data->nFileIndexLow = static_cast<DWORD>(hook_GetFileInformationByHandle.Calls());
        return known;
    });
    IMPORT_HOOK(Sleep)([](DWORD) {});

    EXPECT_EQ("", ReadAll(files));

    EXPECT_EQ(50, hook_Sleep.Calls());
}

TEST(LogFiles, AFileThatIsAlwaysElsewhereIsGivenUp)
{
    const LogFolder folder;
    folder.Put(L"App.log", "live");
    CLogFiles files{folder.Live()};
    IMPORT_HOOK(GetFileInformationByHandle)
    ([&](HANDLE file, LPBY_HANDLE_FILE_INFORMATION data) {
        const BOOL known = hook_GetFileInformationByHandle.Real()(file, data);
        // Each turn looks at the file at hand once and at the folder twice.
        data->dwVolumeSerialNumber = hook_GetFileInformationByHandle.Calls() % 3 == 0 ? 1 : 2;
        return known;
    });

    EXPECT_EQ("", ReadAll(files));
}

TEST(ServiceLogPaths, FoldersThatAreNotKnownAreLeftOut)
{
    IMPORT_HOOK(GetSystemDirectoryW)([](LPWSTR, UINT) -> UINT { return MAX_PATH; });
    IMPORT_HOOK(SHGetFolderPathW)([](auto...) -> HRESULT { return E_FAIL; });

    EXPECT_TRUE(HotKey::ServiceLogPaths().empty());
    EXPECT_EQ(L"", HotKey::ServiceLogPath());
}

TEST(ServiceLogPaths, TheFirstOneThatExistsIsTheLog)
{
    const LogFolder folder;
    std::filesystem::create_directories(folder.Path(L"quilLog"));
    IMPORT_HOOK(GetSystemDirectoryW)
    ([](LPWSTR path, UINT size) -> UINT {
        wcscpy_s(path, size, L"C:\\no\\such\\folder");
        return 17;
    });
    IMPORT_HOOK(SHGetFolderPathW)
    ([&](HWND, int, HANDLE, DWORD, LPWSTR path) -> HRESULT {
        const std::wstring roaming = folder.Path(L"quilLog");
        wcscpy_s(path, MAX_PATH, roaming.substr(0, roaming.rfind(L'\\')).c_str());
        return S_OK;
    });

    EXPECT_EQ(L"C:\\no\\such\\folder\\config\\systemprofile\\AppData\\Roaming\\quilLog\\HotKeyServiceTLY.log",
              HotKey::ServiceLogPath());
    folder.Put(L"quilLog\\HotKeyServiceTLY.log", "");
    EXPECT_EQ(folder.Path(L"quilLog\\HotKeyServiceTLY.log"), HotKey::ServiceLogPath());
}
