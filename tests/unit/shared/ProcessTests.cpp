// CqlProcess: which process is found or ended by its name, and what the caller gets when there is none.
#include "shared/Process.h"

#include "tests/harness/ChildProcess.h"
#include "tests/harness/ImportHook.h"

#include <gtest/gtest.h>

#include <tlhelp32.h>

#include <algorithm>
#include <cwctype>
#include <string>
#include <type_traits>
#include <vector>

using Quil::Shared::CqlProcess;

namespace
{
const HANDLE kSnapshot = reinterpret_cast<HANDLE>(0x5A5A0);
const HANDLE kProcess = reinterpret_cast<HANDLE>(0x6B6B0);

std::wstring UpperCase(std::wstring text)
{
    std::transform(text.begin(), text.end(), text.begin(), [](wchar_t c) { return std::towupper(c); });
    return text;
}

void Fill(PROCESSENTRY32W* entry, DWORD id, const wchar_t* name)
{
    entry->th32ProcessID = id;
    lstrcpyW(entry->szExeFile, name);
}
} // namespace

TEST(CqlProcess, HasAVirtualDestructor)
{
    EXPECT_TRUE(std::has_virtual_destructor_v<CqlProcess>);
}

TEST(KillProcessByName, WithoutANameGivesFail)
{
    EXPECT_EQ(static_cast<HRESULT>(0x80004005), CqlProcess{}.KillProcessByName(nullptr));
}

TEST(KillProcessByName, WithAnEmptyNameGivesInvalidArgument)
{
    EXPECT_EQ(static_cast<HRESULT>(0x80070057), CqlProcess{}.KillProcessByName(L""));
}

TEST(KillProcessByName, EndsARunningProcessWithExitCodeZero)
{
    const ChildProcess child{ChildProcess::UniqueBaseName()};
    ASSERT_TRUE(child.Running());

    EXPECT_EQ(S_OK, CqlProcess{}.KillProcessByName(child.ImageName().c_str()));

    ASSERT_TRUE(child.EndsSoon());
    EXPECT_EQ(0u, child.ExitCode());
}

TEST(KillProcessByName, FindsTheNameInAnyMixOfCase)
{
    const ChildProcess child{ChildProcess::UniqueBaseName()};
    ASSERT_TRUE(child.Running());

    EXPECT_EQ(S_OK, CqlProcess{}.KillProcessByName(UpperCase(child.ImageName()).c_str()));

    EXPECT_TRUE(child.EndsSoon());
}

TEST(KillProcessByName, EndsOnlyTheFirstOfTwoProcessesOfTheName)
{
    const ChildProcess first{ChildProcess::UniqueBaseName()};
    const ChildProcess second{ChildProcess::UniqueBaseName()};
    ASSERT_TRUE(first.Running() && second.Running());

    EXPECT_EQ(S_OK, CqlProcess{}.KillProcessByName(first.ImageName().c_str()));

    ASSERT_TRUE(first.EndsSoon() || second.EndsSoon());
    EXPECT_NE(first.Ended(), second.Ended());
}

TEST(KillProcessByName, ThatMatchesNoProcessGivesSuccess)
{
    IMPORT_HOOK(OpenProcess)([](auto...) { return nullptr; });

    EXPECT_EQ(S_OK, CqlProcess{}.KillProcessByName(L"no such program of anybody.exe"));

    EXPECT_EQ(0, hook_OpenProcess.Calls());
}

TEST(KillProcessByName, TakesOnlyTheWholeName)
{
    const ChildProcess child{ChildProcess::UniqueBaseName()};
    ASSERT_TRUE(child.Running());

    EXPECT_EQ(S_OK, CqlProcess{}.KillProcessByName(child.ImageName().substr(0, 10).c_str()));

    EXPECT_FALSE(child.Ended());
}

TEST(KillProcessByName, WithoutASnapshotGivesSuccessAndClosesNothing)
{
    std::vector<HANDLE> closed;
    IMPORT_HOOK(CreateToolhelp32Snapshot)([](auto...) { return INVALID_HANDLE_VALUE; });
    IMPORT_HOOK(CloseHandle)
    ([&](HANDLE handle) {
        closed.push_back(handle);
        return TRUE;
    });

    EXPECT_EQ(S_OK, CqlProcess{}.KillProcessByName(L"a.exe"));

    EXPECT_TRUE(closed.empty());
}

TEST(KillProcessByName, AsksForTheRightToEndAndTreatsARefusalAsSuccess)
{
    const ChildProcess child{ChildProcess::UniqueBaseName()};
    DWORD access = 0;
    BOOL inherit = TRUE;
    DWORD id = 0;
    IMPORT_HOOK(OpenProcess)
    ([&](DWORD desiredAccess, BOOL inheritHandle, DWORD processId) -> HANDLE {
        access = desiredAccess;
        inherit = inheritHandle;
        id = processId;
        SetLastError(ERROR_ACCESS_DENIED);
        return nullptr;
    });
    IMPORT_HOOK(TerminateProcess)([](auto...) { return TRUE; });

    EXPECT_EQ(S_OK, CqlProcess{}.KillProcessByName(child.ImageName().c_str()));

    EXPECT_EQ(0x0001u, access);
    EXPECT_FALSE(inherit);
    EXPECT_EQ(child.Id(), id);
    EXPECT_EQ(0, hook_TerminateProcess.Calls());
}

TEST(KillProcessByName, ReportsSuccessWhenTheProcessCannotBeEnded)
{
    HANDLE ended = nullptr;
    IMPORT_HOOK(CreateToolhelp32Snapshot)([](auto...) { return kSnapshot; });
    IMPORT_HOOK(CloseHandle)([](auto...) { return TRUE; });
    IMPORT_HOOK(Process32FirstW)
    ([](HANDLE, PROCESSENTRY32W* entry) {
        Fill(entry, 44, L"a.exe");
        return TRUE;
    });
    IMPORT_HOOK(OpenProcess)([](auto...) { return kProcess; });
    IMPORT_HOOK(TerminateProcess)
    ([&](HANDLE process, UINT) {
        ended = process;
        return FALSE;
    });

    EXPECT_EQ(S_OK, CqlProcess{}.KillProcessByName(L"a.exe"));

    EXPECT_EQ(kProcess, ended);
}

TEST(KillProcessByName, ClosesTheSnapshotAndKeepsTheProcessHandleOpen)
{
    std::vector<HANDLE> closed;
    IMPORT_HOOK(CreateToolhelp32Snapshot)([](auto...) { return kSnapshot; });
    IMPORT_HOOK(Process32FirstW)
    ([](HANDLE, PROCESSENTRY32W* entry) {
        Fill(entry, 44, L"a.exe");
        return TRUE;
    });
    IMPORT_HOOK(OpenProcess)([](auto...) { return kProcess; });
    IMPORT_HOOK(TerminateProcess)([](auto...) { return TRUE; });
    IMPORT_HOOK(CloseHandle)
    ([&](HANDLE handle) {
        closed.push_back(handle);
        return TRUE;
    });

    EXPECT_EQ(S_OK, CqlProcess{}.KillProcessByName(L"a.exe"));

    EXPECT_EQ(std::vector<HANDLE>{kSnapshot}, closed);
}

TEST(KillProcessByName, LeavesAMatchWithTheIdZeroAlone)
{
    IMPORT_HOOK(CreateToolhelp32Snapshot)([](auto...) { return kSnapshot; });
    IMPORT_HOOK(CloseHandle)([](auto...) { return TRUE; });
    IMPORT_HOOK(Process32FirstW)
    ([](HANDLE, PROCESSENTRY32W* entry) {
        Fill(entry, 0, L"a.exe");
        return TRUE;
    });
    IMPORT_HOOK(OpenProcess)([](auto...) { return kProcess; });

    EXPECT_EQ(S_OK, CqlProcess{}.KillProcessByName(L"a.exe"));

    EXPECT_EQ(0, hook_OpenProcess.Calls());
}

TEST(GetProcessIdByName, WithoutATargetGivesPointerError)
{
    EXPECT_EQ(static_cast<HRESULT>(0x80004003), CqlProcess{}.GetProcessIdByName(L"a.exe", nullptr));
    EXPECT_EQ(static_cast<HRESULT>(0x80004003), CqlProcess{}.GetProcessIdByName(nullptr, nullptr));
}

TEST(GetProcessIdByName, WithoutANameGivesInvalidArgumentAndZero)
{
    DWORD id = 99;

    EXPECT_EQ(static_cast<HRESULT>(0x80070057), CqlProcess{}.GetProcessIdByName(nullptr, &id));

    EXPECT_EQ(0u, id);
}

TEST(GetProcessIdByName, WithAnEmptyNameGivesInvalidArgumentAndZero)
{
    DWORD id = 99;

    EXPECT_EQ(static_cast<HRESULT>(0x80070057), CqlProcess{}.GetProcessIdByName(L"", &id));

    EXPECT_EQ(0u, id);
}

TEST(GetProcessIdByName, GivesTheIdOfARunningProcessInAnyMixOfCase)
{
    const ChildProcess child{ChildProcess::UniqueBaseName()};
    DWORD id = 0;

    EXPECT_EQ(S_OK, CqlProcess{}.GetProcessIdByName(UpperCase(child.ImageName()).c_str(), &id));

    EXPECT_EQ(child.Id(), id);
    EXPECT_FALSE(child.Ended());
}

TEST(GetProcessIdByName, ThatMatchesNoProcessGivesSuccessAndZero)
{
    DWORD id = 99;

    EXPECT_EQ(S_OK, CqlProcess{}.GetProcessIdByName(L"no such program of anybody.exe", &id));

    EXPECT_EQ(0u, id);
}

TEST(GetProcessIdByName, TakesTheFirstMatchOfOneSnapshotOfAllProcesses)
{
    DWORD flags = 0;
    DWORD process = 99;
    DWORD size = 0;
    int next = 0;
    std::vector<HANDLE> closed;
    IMPORT_HOOK(CreateToolhelp32Snapshot)
    ([&](DWORD snapshotFlags, DWORD processId) {
        flags = snapshotFlags;
        process = processId;
        return kSnapshot;
    });
    IMPORT_HOOK(Process32FirstW)
    ([&](HANDLE, PROCESSENTRY32W* entry) {
        size = entry->dwSize;
        Fill(entry, 4, L"other.exe");
        return TRUE;
    });
    IMPORT_HOOK(Process32NextW)
    ([&](HANDLE, PROCESSENTRY32W* entry) {
        Fill(entry, 100 + static_cast<DWORD>(next), L"A.exe");
        return ++next <= 2;
    });
    IMPORT_HOOK(CloseHandle)
    ([&](HANDLE handle) {
        closed.push_back(handle);
        return TRUE;
    });
    DWORD id = 0;

    EXPECT_EQ(S_OK, CqlProcess{}.GetProcessIdByName(L"a.EXE", &id));

    EXPECT_EQ(100u, id);
    EXPECT_EQ(1, next);
    EXPECT_EQ(0x00000002u, flags);
    EXPECT_EQ(0u, process);
    EXPECT_EQ(568u, size);
    EXPECT_EQ(std::vector<HANDLE>{kSnapshot}, closed);
}
