// One overlapped record: its event, what happens without one, and how it is given up.
#include "hotkey/OverlappedIO.h"

#include "tests/harness/AllocationFault.h"
#include "tests/harness/ImportHook.h"
#include "tests/harness/LogCapture.h"

#include <gtest/gtest.h>

#include <vector>

using RpcServer::SysInfo::COverlappedIO;

namespace
{
class ProbeOverlapped : public COverlappedIO
{
  public:
    using COverlappedIO::m_hEvent;
    using COverlappedIO::m_pOverlapped;
};
} // namespace

TEST(OverlappedIO, HasAZeroedRecordWithAnUnnamedManualResetEvent)
{
    int events = 0;
    IMPORT_HOOK(CreateEventW)
    ([&](LPSECURITY_ATTRIBUTES security, BOOL manualReset, BOOL signalled, LPCWSTR name) {
        ++events;
        EXPECT_EQ(nullptr, security);
        EXPECT_EQ(TRUE, manualReset);
        EXPECT_EQ(FALSE, signalled);
        EXPECT_EQ(nullptr, name);
        return decltype(hook_CreateEventW)::RealOfCurrent()(security, manualReset, signalled, name);
    });

    const ProbeOverlapped overlapped;

    EXPECT_EQ(1, events);
    ASSERT_NE(nullptr, overlapped.m_pOverlapped);
    EXPECT_EQ(overlapped.m_hEvent.Get(), overlapped.m_pOverlapped->hEvent);
    EXPECT_EQ(0u, overlapped.m_pOverlapped->Offset);
    EXPECT_EQ(0u, overlapped.m_pOverlapped->OffsetHigh);
    EXPECT_EQ(0u, overlapped.m_pOverlapped->Internal);
    EXPECT_EQ(0u, overlapped.m_pOverlapped->InternalHigh);
}

TEST(OverlappedIO, WithoutAnEventItSaysSoWithTwoBlanksAndGoesOn)
{
    LogCapture log;
    IMPORT_HOOK(CreateEventW)
    ([](auto...) -> HANDLE {
        SetLastError(8);
        return nullptr;
    });

    const ProbeOverlapped overlapped;

    EXPECT_EQ(nullptr, overlapped.m_pOverlapped->hEvent);
    EXPECT_RECORDS(log, L"TraceIn|RpcServer::SysInfo::COverlappedIO::COverlappedIO|",
                   L"Error|RpcServer::SysInfo::COverlappedIO::COverlappedIO|CreateEvent  failed with Error : 8",
                   L"TraceOut|RpcServer::SysInfo::COverlappedIO::COverlappedIO|");
}

TEST(OverlappedIO, ThrowsTheLastErrorAsAnUnsignedLongWhenTheRecordCannotBeAllocated)
{
    const AllocationFault fault{0};
    unsigned long thrown = 0;
    IMPORT_HOOK(CreateEventW)
    ([](auto...) {
        const HANDLE event = decltype(hook_CreateEventW)::RealOfCurrent()(nullptr, TRUE, FALSE, nullptr);
        SetLastError(1450);
        return event;
    });

    try
    {
        const COverlappedIO overlapped;
    }
    catch (unsigned long error)
    {
        thrown = error;
    }

    EXPECT_EQ(1450u, thrown);
}

TEST(OverlappedIO, SignalsItsEventBeforeClosingIt)
{
    std::vector<std::wstring> calls;
    HANDLE event = nullptr;
    IMPORT_HOOK(SetEvent)
    ([&](HANDLE handle) {
        if (handle == event)
        {
            calls.push_back(L"SetEvent");
        }
        return decltype(hook_SetEvent)::RealOfCurrent()(handle);
    });
    IMPORT_HOOK(CloseHandle)
    ([&](HANDLE handle) {
        if (handle == event)
        {
            calls.push_back(L"CloseHandle");
        }
        return decltype(hook_CloseHandle)::RealOfCurrent()(handle);
    });

    {
        const ProbeOverlapped overlapped;
        event = overlapped.m_hEvent.Get();
    }

    EXPECT_EQ((std::vector<std::wstring>{L"SetEvent", L"CloseHandle"}), calls);
}
