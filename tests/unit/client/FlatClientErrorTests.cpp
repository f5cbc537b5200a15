// The client for other languages over a run time that answers what a test wants: what each failure is to its callers.
// tests/wire has the library itself against the product's server.
#include "client/FlatClient.h"

#include "tests/harness/ImportHook.h"
#include "tests/unit/client/RpcStandIn.h"

#include <gtest/gtest.h>

#include <windows.h>

#include <oleauto.h>

#include <string>

namespace
{

constexpr unsigned kTimeoutMs = 40000;

} // namespace

TEST(FlatClientErrors, ATextWithoutItsEndIsNotUnderstood)
{
    RpcStandIn rpc;
    rpc.answer = [](unsigned) { return RpcReply{.bText = true, .strText = L"abc", .bTerminated = false}; };
    BSTR text = nullptr;
    unsigned status = 99;

    EXPECT_EQ(6, HotKeyReadSysInfo(kTimeoutMs, &text, &status));

    EXPECT_EQ(0U, status);
    EXPECT_EQ(nullptr, text);
}

TEST(FlatClientErrors, EachCallHandsTheStatusOn)
{
    RpcStandIn rpc;
    rpc.answer = [](unsigned) { return RpcReply::Status(1722); };
    BSTR text = nullptr;
    int service = 99;
    int node = 99;
    unsigned status = 0;

    EXPECT_EQ(3, HotKeyReadSysInfo(kTimeoutMs, &text, &status));
    EXPECT_EQ(1722U, status);
    EXPECT_EQ(3, HotKeyReadUsbTypeC(kTimeoutMs, &text, nullptr));
    EXPECT_EQ(3, HotKeyReadPresence(kTimeoutMs, &service, &node, &status));
    EXPECT_EQ(3, HotKeyLaunchSystemInformation(kTimeoutMs, &status));
    EXPECT_EQ(3, HotKeyLaunchUsbCApp(kTimeoutMs, nullptr));
    EXPECT_EQ(99, service);
    EXPECT_EQ(99, node);
}

TEST(FlatClientErrors, PresenceIsOneForYes)
{
    RpcStandIn rpc;
    rpc.answer = [](unsigned) { return RpcReply::Number(1); };
    int service = 99;
    int node = 99;

    EXPECT_EQ(0, HotKeyReadPresence(kTimeoutMs, &service, &node, nullptr));

    EXPECT_EQ(1, service);
    EXPECT_EQ(1, node);
}

TEST(FlatClientErrors, PresenceIsZeroForNo)
{
    RpcStandIn rpc;
    int service = 99;
    int node = 99;
    unsigned status = 99;

    EXPECT_EQ(0, HotKeyReadPresence(kTimeoutMs, &service, &node, &status));

    EXPECT_EQ(0, service);
    EXPECT_EQ(0, node);
    EXPECT_EQ(0U, status);
}

TEST(FlatClientErrors, RefusedAndLateCallsHaveCodesOfTheirOwn)
{
    const HANDLE answered = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    RpcStandIn rpc;
    rpc.answer = [answered](unsigned operation) {
        if (operation == 3)
        {
            WaitForMultipleObjects(1, &answered, FALSE, INFINITE);
        }
        return RpcReply::Status(operation == 2 ? 5 : 0);
    };
    unsigned status = 0;

    EXPECT_EQ(4, HotKeyLaunchSystemInformation(kTimeoutMs, &status));
    EXPECT_EQ(5U, status);
    EXPECT_EQ(5, HotKeyLaunchUsbCApp(200, &status));
    EXPECT_EQ(0U, status);
    SetEvent(answered);
}

TEST(FlatClientErrors, WithoutMemoryForTheTextTheCallIsRefused)
{
    RpcStandIn rpc;
    rpc.answer = [](unsigned) { return RpcReply::Text(L"text"); };
    IMPORT_HOOK(SysAllocStringLen)([](const OLECHAR*, UINT) -> BSTR { return nullptr; });
    BSTR text = nullptr;
    unsigned status = 0;

    EXPECT_EQ(4, HotKeyReadUsbTypeC(kTimeoutMs, &text, &status));

    EXPECT_EQ(14U, status);
    EXPECT_EQ(nullptr, text);
}
