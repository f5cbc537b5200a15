// hotkeyctl log: what it writes, what it complains of, and the exit code.
#include "client/CtlLog.h"

#include "client/CtlCommands.h"
#include "tests/harness/ImportHook.h"
#include "tests/unit/client/LogFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <shlobj.h>

#include <string>
#include <utility>

using HotKey::CCtlLog;
using HotKey::CCtlOutput;
using HotKey::CLogRequest;
using testing::HasSubstr;

namespace
{

constexpr std::string_view kLog =
    "\xEF\xBB\xBF"
    "2024/03/05 14:07:09.042|00001A2C|Information|CMainService::OnStart|Service started\r\n"
    "2024/03/05 14:07:09.100|00001A2C|Error      |Utils::GetService|first line\r\nsecond line\r\n"
    "2024/03/05 14:07:10.000|0000000A|Diag       |Utils::GetService|Elapsed time =     0.4 ms.\r\n"
    "2024/03/05 14:07:11.000|0000000A|Diag       |CMainService::OnStart|Elapsed time =     7.5 ms.\r\n"
    "2024/03/05 14:07:12.000|0000000A|Diag       |Utils::GetService|Elapsed time =     0.9 ms.\r\n";

struct Outcome
{
    int exitCode;
    std::string output;
    std::string complaint;
};

// Runs the command and keeps what it writes instead of writing it.
Outcome RunLog(const CLogRequest& request)
{
    Outcome outcome{};
    IMPORT_HOOK(GetStdHandle)([](DWORD stream) { return reinterpret_cast<HANDLE>(static_cast<ULONG_PTR>(stream)); });
    IMPORT_HOOK(GetConsoleMode)([](HANDLE, LPDWORD) -> BOOL { return FALSE; });
    IMPORT_HOOK(WriteFile)
    ([&](HANDLE stream, LPCVOID bytes, DWORD size, LPDWORD written, LPOVERLAPPED) -> BOOL {
        const bool error = static_cast<DWORD>(reinterpret_cast<ULONG_PTR>(stream)) == STD_ERROR_HANDLE;
        (error ? outcome.complaint : outcome.output).append(static_cast<const char*>(bytes), size);
        *written = size;
        return TRUE;
    });
    const CCtlOutput output{false};
    outcome.exitCode = CCtlLog{request, output}.Run();
    return outcome;
}

Outcome RunLogIn(const LogFolder& folder, CLogRequest request)
{
    request.strPath = folder.Live();
    return RunLog(request);
}

} // namespace

TEST(CtlLog, WritesTheLogAsItStands)
{
    const LogFolder folder;
    folder.Put(L"App.log", kLog);

    const Outcome outcome = RunLogIn(folder, {});

    EXPECT_EQ(HotKey::ExitAnswered, outcome.exitCode);
    EXPECT_EQ("", outcome.complaint);
    EXPECT_EQ("2024/03/05 14:07:09.042|00001A2C|Information|CMainService::OnStart|Service started\n"
              "2024/03/05 14:07:09.100|00001A2C|Error      |Utils::GetService|first line\nsecond line\n"
              "2024/03/05 14:07:10.000|0000000A|Diag       |Utils::GetService|Elapsed time =     0.4 ms.\n"
              "2024/03/05 14:07:11.000|0000000A|Diag       |CMainService::OnStart|Elapsed time =     7.5 ms.\n"
              "2024/03/05 14:07:12.000|0000000A|Diag       |Utils::GetService|Elapsed time =     0.9 ms.\n",
              outcome.output);
}

TEST(CtlLog, OldFilesComeFirst)
{
    const LogFolder folder;
    folder.Put(L"App.log", "2024/03/05 14:07:09.042|00001A2C|Error      |F|new\r\n");
    folder.Put(L"App_0001.log", "2024/03/05 14:07:09.041|00001A2C|Error      |F|old\r\n");

    EXPECT_EQ(
        "2024/03/05 14:07:09.041|00001A2C|Error      |F|old\n2024/03/05 14:07:09.042|00001A2C|Error      |F|new\n",
        RunLogIn(folder, {}).output);
}

TEST(CtlLog, FiltersGoTogether)
{
    const LogFolder folder;
    folder.Put(L"App.log", kLog);
    CLogRequest request;
    request.filter = {5, "getservice", "2024/03/05 14:07:09.1"};

    EXPECT_EQ("2024/03/05 14:07:09.100|00001A2C|Error      |Utils::GetService|first line\nsecond line\n"
              "2024/03/05 14:07:10.000|0000000A|Diag       |Utils::GetService|Elapsed time =     0.4 ms.\n"
              "2024/03/05 14:07:12.000|0000000A|Diag       |Utils::GetService|Elapsed time =     0.9 ms.\n",
              RunLogIn(folder, request).output);
}

TEST(CtlLog, NothingThatPassesIsEmpty)
{
    const LogFolder folder;
    folder.Put(L"App.log", kLog);
    CLogRequest request;
    request.filter.strFunction = "Nobody";

    const Outcome outcome = RunLogIn(folder, request);

    EXPECT_EQ(HotKey::ExitEmpty, outcome.exitCode);
    EXPECT_EQ("", outcome.output);
}

TEST(CtlLog, JsonIsOneObjectALine)
{
    const LogFolder folder;
    folder.Put(L"App.log", "no record\r\n2024/03/05 14:07:09.100|00001A2C|Error      |F|first \"line\"\r\nsecond\r\n"
                           "2024/03/05 14:07:09.101|00001A2C|Error      |F|cut in \xC3");
    CLogRequest request;
    request.bJson = true;

    EXPECT_EQ("{\"message\":\"no record\"}\n"
              "{\"time\":\"2024-03-05T14:07:09.100\",\"thread\":6700,\"level\":\"Error\",\"function\":\"F\","
              "\"message\":\"first \\\"line\\\"\\nsecond\"}\n"
              "{\"time\":\"2024-03-05T14:07:09.101\",\"thread\":6700,\"level\":\"Error\",\"function\":\"F\","
              "\"message\":\"cut in \xEF\xBF\xBD\",\"unfinished\":true}\n",
              RunLogIn(folder, request).output);
}

TEST(CtlLog, AHalfWrittenLineIsMarked)
{
    const LogFolder folder;
    folder.Put(L"App.log", "2024/03/05 14:07:09.100|00001A2C|Error      |F|hal");

    EXPECT_EQ("2024/03/05 14:07:09.100|00001A2C|Error      |F|hal [unfinished]\n", RunLogIn(folder, {}).output);
}

TEST(CtlLog, TimingsAreSummedPerFunctionAndTheLongestTotalComesFirst)
{
    const LogFolder folder;
    folder.Put(L"App.log", kLog);
    CLogRequest request;
    request.bTimings = true;

    const Outcome outcome = RunLogIn(folder, request);

    EXPECT_EQ(HotKey::ExitAnswered, outcome.exitCode);
    EXPECT_EQ("   count    total ms     mean ms  longest ms  function\n"
              "       1         7.5         7.5         7.5  CMainService::OnStart\n"
              "       2         1.3         0.7         0.9  Utils::GetService\n",
              outcome.output);
}

TEST(CtlLog, TimingsAreJsonAsWell)
{
    const LogFolder folder;
    folder.Put(L"App.log", kLog);
    CLogRequest request;
    request.bTimings = true;
    request.bJson = true;
    request.filter.strFunction = "GetService";

    EXPECT_EQ("{\"function\":\"Utils::GetService\",\"count\":2,\"totalMs\":1.3,\"meanMs\":0.7,\"longestMs\":0.9}\n",
              RunLogIn(folder, request).output);
}

TEST(CtlLog, ALogWithoutTimingsIsEmpty)
{
    const LogFolder folder;
    folder.Put(L"App.log", "2024/03/05 14:07:09.100|00001A2C|Error      |F|x\r\n");
    CLogRequest request;
    request.bTimings = true;

    const Outcome outcome = RunLogIn(folder, request);

    EXPECT_EQ(HotKey::ExitEmpty, outcome.exitCode);
    EXPECT_EQ("", outcome.output);
}

TEST(CtlLog, SaysWhereItLookedWhenThereIsNoLog)
{
    const LogFolder folder;
    IMPORT_HOOK(GetSystemDirectoryW)
    ([&](LPWSTR path, UINT size) -> UINT {
        wcscpy_s(path, size, folder.Path(L"system").c_str());
        return static_cast<UINT>(wcslen(path));
    });
    IMPORT_HOOK(SHGetFolderPathW)
    ([&](HWND, int, HANDLE, DWORD, LPWSTR path) -> HRESULT {
        wcscpy_s(path, MAX_PATH, folder.Path(L"user").c_str());
        return S_OK;
    });

    const Outcome outcome = RunLog({});

    EXPECT_EQ(HotKey::ExitEmpty, outcome.exitCode);
    EXPECT_EQ("", outcome.output);
    EXPECT_THAT(outcome.complaint, HasSubstr("hotkeyctl: no log found:\n"));
    EXPECT_THAT(
        outcome.complaint,
        HasSubstr("system\\config\\systemprofile\\AppData\\Roaming\\quilLog\\HotKeyServiceTLY.log: does not exist\n"));
    EXPECT_THAT(outcome.complaint, HasSubstr("user\\quilLog\\HotKeyServiceTLY.log: does not exist\n"));
}

TEST(CtlLog, SaysWhenItReadsAnotherLogBecauseTheServicesIsClosedToTheUser)
{
    const LogFolder folder;
    std::filesystem::create_directories(folder.Path(L"quilLog"));
    folder.Put(L"quilLog\\HotKeyServiceTLY.log", "2024/03/05 14:07:09.100|00001A2C|Error      |F|x\r\n");
    IMPORT_HOOK(GetSystemDirectoryW)
    ([&](LPWSTR path, UINT size) -> UINT {
        wcscpy_s(path, size, L"C:\\closed");
        return 9;
    });
    IMPORT_HOOK(SHGetFolderPathW)
    ([&](HWND, int, HANDLE, DWORD, LPWSTR path) -> HRESULT {
        wcscpy_s(path, MAX_PATH, folder.Path(L"").c_str());
        path[wcslen(path) - 1] = L'\0';
        return S_OK;
    });
    IMPORT_HOOK(CreateFileW)
    ([&](LPCWSTR name, DWORD access, DWORD share, LPSECURITY_ATTRIBUTES security, DWORD how, DWORD flags, HANDLE like) {
        if (std::wstring_view{name}.starts_with(L"C:\\closed"))
        {
            SetLastError(ERROR_ACCESS_DENIED);
            return INVALID_HANDLE_VALUE;
        }
        return hook_CreateFileW.Real()(name, access, share, security, how, flags, like);
    });

    const Outcome outcome = RunLog({});

    EXPECT_EQ(HotKey::ExitAnswered, outcome.exitCode);
    EXPECT_EQ("2024/03/05 14:07:09.100|00001A2C|Error      |F|x\n", outcome.output);
    EXPECT_THAT(outcome.complaint,
                HasSubstr("not the service's own log:\n  C:\\closed\\config\\systemprofile\\AppData\\"
                          "Roaming\\quilLog\\HotKeyServiceTLY.log: access denied"));
}

// Each round of following ends with a sleep, in which the service goes on.
TEST(CtlLog, FollowingGoesAcrossARotationAndWaitsForTheEndOfAHalfLine)
{
    const LogFolder folder;
    folder.Put(L"App.log", "2024/03/05 14:07:09.001|00001A2C|Error      |F|one\r\n2024/03/05 14:0");
    CLogRequest request;
    request.strPath = folder.Live();
    request.bFollow = true;
    std::string output;
    std::string soFar[8];
    int round = 0;
    bool reading = true;
    IMPORT_HOOK(Sleep)
    ([&](DWORD) {
        ASSERT_LT(round, 8);
        soFar[round] = output;
        switch (round++)
        {
        case 2:
            return folder.Append(L"App.log", "7:09.002|00001A2C|Error      |F|two\r\n");
        case 4:
            folder.Append(L"App.log", "2024/03/05 14:07:09.003|00001A2C|Error      |F|three\r\n");
            folder.Rotate();
            return folder.Put(L"App.log", "2024/03/05 14:07:09.004|00001A2C|Error      |F|four\r\n");
        case 6:
            reading = false;
            return folder.Append(L"App.log", "2024/03/05 14:07:09.005|00001A2C|Error      |F|five\r\n");
        default:
            return;
        }
    });
    IMPORT_HOOK(GetStdHandle)([](DWORD) { return reinterpret_cast<HANDLE>(ULONG_PTR{1}); });
    IMPORT_HOOK(GetConsoleMode)([](HANDLE, LPDWORD) -> BOOL { return FALSE; });
    IMPORT_HOOK(WriteFile)
    ([&](HANDLE stream, LPCVOID bytes, DWORD size, LPDWORD written, LPOVERLAPPED at) -> BOOL {
        if (stream != reinterpret_cast<HANDLE>(ULONG_PTR{1}))
        {
            return hook_WriteFile.Real()(stream, bytes, size, written, at);
        }
        if (reading)
        {
            output.append(static_cast<const char*>(bytes), size);
        }
        *written = reading ? size : 0;
        return reading;
    });
    const CCtlOutput out{false};

    EXPECT_EQ(HotKey::ExitAnswered, (CCtlLog{request, out}.Run())) << "ends when nobody reads";

    const std::string one = "2024/03/05 14:07:09.001|00001A2C|Error      |F|one\n";
    const std::string two = "2024/03/05 14:07:09.002|00001A2C|Error      |F|two\n";
    EXPECT_EQ("", soFar[0]);
    EXPECT_EQ(one, soFar[1]);
    EXPECT_EQ(one, soFar[2]);
    EXPECT_EQ(one, soFar[3]) << "nothing may still continue it";
    EXPECT_EQ(one + two, soFar[4]);
    EXPECT_EQ(one + two + "2024/03/05 14:07:09.003|00001A2C|Error      |F|three\n", soFar[5]);
    EXPECT_EQ(soFar[5] + "2024/03/05 14:07:09.004|00001A2C|Error      |F|four\n", soFar[6]);
}

TEST(SinceText, CountsBackFromNowInLocalTime)
{
    IMPORT_HOOK(GetSystemTimeAsFileTime)
    ([](LPFILETIME now) {
        const SYSTEMTIME time{2024, 3, 0, 5, 14, 7, 9, 42};
        EXPECT_TRUE(SystemTimeToFileTime(&time, now));
    });
    IMPORT_HOOK(SystemTimeToTzSpecificLocalTime)
    ([](const TIME_ZONE_INFORMATION*, const SYSTEMTIME* utc, LPSYSTEMTIME local) -> BOOL {
        *local = *utc;
        local->wHour = static_cast<WORD>(local->wHour + 1);
        return TRUE;
    });

    EXPECT_EQ("2024/03/05 15:05:39.042", HotKey::SinceText("90s"));
    EXPECT_EQ("2024/03/04 15:07:09.042", HotKey::SinceText("1d"));
    EXPECT_EQ("2024/03/05 08:00", HotKey::SinceText("08:00"));
    EXPECT_EQ("2024/01/31", HotKey::SinceText("2024-01-31"));
    EXPECT_EQ("", HotKey::SinceText("yesterday"));
}

TEST(SinceText, IsEmptyWhenTheTimeCannotBeTold)
{
    {
        IMPORT_HOOK(FileTimeToSystemTime)([](const FILETIME*, LPSYSTEMTIME) { return FALSE; });
        EXPECT_EQ("", HotKey::SinceText("90s"));
    }
    IMPORT_HOOK(SystemTimeToTzSpecificLocalTime)
    ([](const TIME_ZONE_INFORMATION*, const SYSTEMTIME*, LPSYSTEMTIME) { return FALSE; });
    EXPECT_EQ("", HotKey::SinceText("90s"));
}

TEST(CtlLog, SaysWhyALogCannotBeOpened)
{
    const LogFolder folder;
    for (const auto& [error, reason] : {std::pair{ERROR_PATH_NOT_FOUND, "does not exist"},
                                        std::pair{ERROR_ACCESS_DENIED, "access denied; an administrator may read it"},
                                        std::pair{ERROR_SHARING_VIOLATION, "cannot be opened, error 32"}})
    {
        IMPORT_HOOK(CreateFileW)
        ([code = static_cast<DWORD>(error)](auto...) {
            SetLastError(code);
            return INVALID_HANDLE_VALUE;
        });

        const Outcome outcome = RunLogIn(folder, {});

        EXPECT_EQ(HotKey::ExitEmpty, outcome.exitCode);
        EXPECT_THAT(outcome.complaint, HasSubstr(std::string{"App.log: "} + reason + "\n"));
    }
}

TEST(CtlLog, LinesBehindARecordThatDoesNotPassDoNotPassEither)
{
    const LogFolder folder;
    folder.Put(L"App.log", kLog);
    CLogRequest request;
    request.filter.nMinimumLevel = 4;
    request.filter.strSince = "2024/03/05 14:07:10";

    EXPECT_EQ("2024/03/05 14:07:10.000|0000000A|Diag       |Utils::GetService|Elapsed time =     0.4 ms.\n"
              "2024/03/05 14:07:11.000|0000000A|Diag       |CMainService::OnStart|Elapsed time =     7.5 ms.\n"
              "2024/03/05 14:07:12.000|0000000A|Diag       |Utils::GetService|Elapsed time =     0.9 ms.\n",
              RunLogIn(folder, request).output);
}

TEST(CtlLog, LinesThatFollowARecordIntoTheNextFilePassWithIt)
{
    const LogFolder folder;
    folder.Put(L"App_0001.log", "2024/03/05 14:07:09.041|00001A2C|Error      |F|old\r\n");
    folder.Put(L"App.log", "no record\r\n2024/03/05 14:07:09.042|00001A2C|TraceIn    |F|\r\n");
    CLogRequest request;
    request.filter.nMinimumLevel = 5;

    EXPECT_EQ("2024/03/05 14:07:09.041|00001A2C|Error      |F|old\nno record\n", RunLogIn(folder, request).output);
}
