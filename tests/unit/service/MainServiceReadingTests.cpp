// CMainService: the thread that reads the system information once, and what is left of it when the service object ends.
#include "service/MainService.h"

#include "hotkey/SysInfoSource.h"
#include "tests/harness/ImportHook.h"
#include "tests/unit/service/MainServiceFixture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <windows.h>

#include <algorithm>
#include <vector>

using RpcServer::SysInfo::g_sysInfoSource;
using testing::Contains;
using testing::ElementsAre;
using testing::Not;

TEST_F(RunningMainService, AnswersCompletedBeforeAnyReading)
{
    EXPECT_TRUE(CMainService::IsReadSysInfoReadCompleted(25000));
    EXPECT_THAT(machine.Story(),
                ElementsAre(L"IsReadSysInfoReadCompleted: TraceIn|",
                            L"IsReadSysInfoReadCompleted: Information|m_hReadSysInfoThread is NULL.",
                            L"IsReadSysInfoReadCompleted: Information|ReadSysInfoThread already finished.",
                            L"IsReadSysInfoReadCompleted: TraceOut|"));
}

TEST_F(RunningMainService, ReadingRunsOnceOnAThreadOfItsOwn)
{
    EXPECT_TRUE(CMainService::ReadSysInfo());
    EXPECT_TRUE(CMainService::IsReadSysInfoReadCompleted(INFINITE));
    EXPECT_TRUE(CMainService::ReadSysInfo());

    EXPECT_THAT(machine.log.LinesOf("CMainService::ReadSysInfo"),
                ElementsAre(L"TraceIn|", L"Information|Starting Read SysInfo Thread ",
                            L"TraceOut|ReadSysInfo return = 1", L"TraceIn|", L"TraceOut|ReadSysInfo return = 1"));
    EXPECT_THAT(machine.log.LinesOf("CMainService::ReadSysInfoThread"), ElementsAre(L"TraceIn|", L"TraceOut|"));
    EXPECT_EQ(1, machine.CallsOf("RpcServer::WMIData::ReadSysInfo"));
}

TEST_F(RunningMainService, ThreadIsMadeWithTheReaderAsItsParameter)
{
    void* parameter = nullptr;
    IMPORT_HOOK(CreateThread)
    ([&](LPSECURITY_ATTRIBUTES security, SIZE_T stack, LPTHREAD_START_ROUTINE routine, LPVOID param, DWORD flags,
         LPDWORD threadId) {
        EXPECT_EQ(nullptr, security);
        EXPECT_EQ(0u, stack);
        EXPECT_NE(nullptr, routine);
        EXPECT_EQ(0u, flags);
        EXPECT_NE(nullptr, threadId);
        parameter = param;
        return CreateEventW(nullptr, TRUE, TRUE, nullptr);
    });

    EXPECT_TRUE(CMainService::ReadSysInfo());

    EXPECT_EQ(g_sysInfoSource.GetWMIData(), parameter);
}

TEST_F(RunningMainService, ThreadThatCannotBeMadeIsLoggedAndTriedAgainNextTime)
{
    {
        IMPORT_HOOK(CreateThread)
        ([](auto...) -> HANDLE {
            SetLastError(ERROR_NOT_ENOUGH_MEMORY);
            return nullptr;
        });
        EXPECT_FALSE(CMainService::ReadSysInfo());
    }
    EXPECT_THAT(machine.Story(),
                ElementsAre(L"ReadSysInfo: TraceIn|", L"ReadSysInfo: Information|Starting Read SysInfo Thread ",
                            L"ReadSysInfo: Error|Failed to create ReadSysInfo thread : 8",
                            L"ReadSysInfo: TraceOut|ReadSysInfo return = 0"));

    EXPECT_TRUE(CMainService::ReadSysInfo());
    EXPECT_TRUE(CMainService::IsReadSysInfoReadCompleted(INFINITE));
}

TEST_F(RunningMainService, WaitPassesTheTimeOn)
{
    EXPECT_TRUE(CMainService::ReadSysInfo());
    EXPECT_TRUE(CMainService::IsReadSysInfoReadCompleted(INFINITE));
    DWORD waited = 0;
    IMPORT_HOOK(WaitForSingleObject)
    ([&](HANDLE, DWORD milliseconds) {
        waited = milliseconds;
        return WAIT_OBJECT_0;
    });

    EXPECT_TRUE(CMainService::IsReadSysInfoReadCompleted(25000));

    EXPECT_EQ(25000u, waited);
}

TEST_F(RunningMainService, AnyOtherResultOfTheWaitMeansNotCompleted)
{
    EXPECT_TRUE(CMainService::ReadSysInfo());
    EXPECT_TRUE(CMainService::IsReadSysInfoReadCompleted(INFINITE));
    for (const DWORD result : {DWORD{WAIT_TIMEOUT}, DWORD{WAIT_ABANDONED}, DWORD{WAIT_FAILED}})
    {
        machine.log.Clear();
        IMPORT_HOOK(WaitForSingleObject)([&](HANDLE, DWORD) { return result; });

        EXPECT_FALSE(CMainService::IsReadSysInfoReadCompleted(25000));

        EXPECT_THAT(machine.Story(),
                    ElementsAre(L"IsReadSysInfoReadCompleted: TraceIn|",
                                L"IsReadSysInfoReadCompleted: Warning|Reading System information from BIOS is not "
                                L"completed.",
                                L"IsReadSysInfoReadCompleted: TraceOut|"));
    }
}

TEST_F(RunningMainService, TwoFirstRequestsAtOnceReadOnceAndKeepOneHandle)
{
    std::vector<HANDLE> made;
    std::vector<HANDLE> closed;
    bool second = false;
    {
        IMPORT_HOOK(CreateThread)
        ([&](auto... arguments) {
            if (!second)
            {
                second = true;
                EXPECT_TRUE(CMainService::ReadSysInfo()); // comes in before the first has kept its handle
            }
            made.push_back(decltype(hook_CreateThread)::RealOfCurrent()(arguments...));
            return made.back();
        });
        machine.onCloseHandle = [&](HANDLE handle) { closed.push_back(handle); };
        EXPECT_TRUE(CMainService::ReadSysInfo());
        machine.onCloseHandle = {};
    }

    ASSERT_EQ(2u, made.size());
    EXPECT_THAT(closed, ElementsAre(made[1]));
    EXPECT_TRUE(CMainService::IsReadSysInfoReadCompleted(INFINITE));
    EXPECT_EQ(1, machine.CallsOf("RpcServer::WMIData::ReadSysInfo"));
}

TEST_F(MainService, DestructionClosesTheThreadHandleOnce)
{
    HANDLE thread = nullptr;
    std::vector<HANDLE> closed;
    {
        ExposedService service;
        IMPORT_HOOK(CreateThread)([&](auto...) { return thread = CreateEventW(nullptr, TRUE, TRUE, nullptr); });
        EXPECT_TRUE(CMainService::ReadSysInfo());
        machine.onCloseHandle = [&](HANDLE handle) { closed.push_back(handle); };
    }

    EXPECT_EQ(1, std::count(closed.begin(), closed.end(), thread));
    machine.onCloseHandle = {};
    // Nothing is left of it: the next object starts anew.
    ExposedService next;
    machine.log.Clear();
    EXPECT_TRUE(CMainService::IsReadSysInfoReadCompleted(0));
    EXPECT_THAT(machine.Story(), Contains(L"IsReadSysInfoReadCompleted: Information|m_hReadSysInfoThread is NULL."));
}

TEST_F(MainService, HandleThatCannotBeClosedIsKept)
{
    {
        ExposedService service;
        IMPORT_HOOK(CreateThread)([&](auto...) { return CreateEventW(nullptr, TRUE, TRUE, nullptr); });
        EXPECT_TRUE(CMainService::ReadSysInfo());
        machine.closeHandleFails = true;
    }
    machine.closeHandleFails = false;

    ExposedService next; // closes it at last
    machine.log.Clear();
    EXPECT_TRUE(CMainService::IsReadSysInfoReadCompleted(0));
    EXPECT_THAT(machine.Story(),
                Not(Contains(L"IsReadSysInfoReadCompleted: Information|m_hReadSysInfoThread is NULL.")));
}

TEST_F(MainService, ReaderIsNotFreedUnderAReadingThatStillRuns)
{
    const HANDLE reached = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    const HANDLE goOn = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    HANDLE thread = nullptr;
    machine.onCoCreateInstance = [&] {
        SetEvent(reached);
        WaitForSingleObject(goOn, INFINITE);
    };
    {
        ExposedService service;
        IMPORT_HOOK(CreateThread)
        ([&](LPSECURITY_ATTRIBUTES security, SIZE_T stack, LPTHREAD_START_ROUTINE routine, LPVOID param, DWORD flags,
             LPDWORD threadId) {
            const HANDLE made =
                decltype(hook_CreateThread)::RealOfCurrent()(security, stack, routine, param, flags, threadId);
            DuplicateHandle(GetCurrentProcess(), made, GetCurrentProcess(), &thread, SYNCHRONIZE, FALSE, 0);
            return made;
        });
        EXPECT_TRUE(CMainService::ReadSysInfo());
        WaitForSingleObject(reached, INFINITE);
        EXPECT_FALSE(CMainService::IsReadSysInfoReadCompleted(0));
    }

    EXPECT_EQ(0, machine.CallsOf("RpcServer::WMIData::~WMIData"));
    SetEvent(goOn);
    EXPECT_EQ(DWORD{WAIT_OBJECT_0}, WaitForSingleObject(thread, INFINITE));
    for (const HANDLE handle : {reached, goOn, thread})
    {
        CloseHandle(handle);
    }
}

TEST_F(MainService, ReadingThatStartsAfterTheReaderIsGoneReadsNothing)
{
    LPTHREAD_START_ROUTINE routine = nullptr;
    void* parameter = nullptr;
    {
        ExposedService service;
        IMPORT_HOOK(CreateThread)
        ([&](LPSECURITY_ATTRIBUTES, SIZE_T, LPTHREAD_START_ROUTINE start, LPVOID param, DWORD, LPDWORD) {
            routine = start;
            parameter = param;
            return CreateEventW(nullptr, TRUE, FALSE, nullptr);
        });
        EXPECT_TRUE(CMainService::ReadSysInfo());
    }

    EXPECT_EQ(0u, routine(parameter));

    EXPECT_EQ(0, machine.CallsOf("RpcServer::WMIData::ReadSysInfo"));
}
