// The routines' memory: what is asked of the C run time, what is given back, and what happens when there is none.
// Only where the program imports the C run time can its functions be replaced.
#include "tests/harness/ImportHook.h"
#include "tests/harness/LogCapture.h"
#include "tests/unit/rpc/StubText.h"
#include "tests/wire/FedBridge.h"
#include <HotKeyRpc.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <windows.h>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <string>
#include <vector>

namespace
{

// These three have overloads or attributes that a macro cannot name.
struct MallocName
{
    static const wchar_t* Module() { return nullptr; }
    static const char* Name() { return "malloc"; }
};
struct FreeName
{
    static const wchar_t* Module() { return nullptr; }
    static const char* Name() { return "free"; }
};
struct CopyName
{
    static const wchar_t* Module() { return nullptr; }
    static const char* Name() { return "wcscpy_s"; }
};
using MallocHook = Harness::ImportHook<MallocName, void*(std::size_t)>;
using FreeHook = Harness::ImportHook<FreeName, void(void*)>;
using CopyHook = Harness::ImportHook<CopyName, int(wchar_t*, std::size_t, const wchar_t*)>;

class Operation : public testing::Test
{
  protected:
    FedBridgeScope m_feed;
};

} // namespace

using ConnectionMemory = Operation;
using ReadSysInfoMemory = Operation;
using ReadUSBTypeCInfoMemory = Operation;

TEST_F(ConnectionMemory, ConnectAsksForEightBytes)
{
    std::vector<std::size_t> sizes;
    HOTKEY_CONTEXT_HANDLE context = nullptr;
    {
        sizes.reserve(16);
        const MallocHook hook([&](std::size_t size) {
            sizes.push_back(size);
            return MallocHook::RealOfCurrent()(size);
        });
        Connect(nullptr, &context);
    }

    ASSERT_FALSE(sizes.empty());
    EXPECT_EQ(8U, sizes.front());
    Disconnect(&context);
}

TEST_F(ConnectionMemory, ConnectWithoutMemoryGivesANullHandle)
{
    HOTKEY_CONTEXT_HANDLE context = SomeContext();
    {
        const MallocHook hook([](std::size_t) -> void* { return nullptr; });
        Connect(nullptr, &context);
    }

    EXPECT_EQ(nullptr, context);
}

TEST_F(ConnectionMemory, DisconnectFreesBlockAndObject)
{
    HOTKEY_CONTEXT_HANDLE context = nullptr;
    Connect(nullptr, &context);
    void* const block = context;
    void* const object = *static_cast<void**>(context);
    std::vector<void*> freed;
    freed.reserve(16);
    {
        const FreeHook hook([&](void* memory) {
            freed.push_back(memory);
            FreeHook::RealOfCurrent()(memory);
        });
        Disconnect(&context);
    }

    EXPECT_THAT(freed, testing::ElementsAre(object, block));
}

TEST_F(ConnectionMemory, RundownFreesNothing)
{
    HOTKEY_CONTEXT_HANDLE context = nullptr;
    Connect(nullptr, &context);
    int freed = 0;
    {
        const FreeHook hook([&](void* memory) {
            ++freed;
            FreeHook::RealOfCurrent()(memory);
        });
        HOTKEY_CONTEXT_HANDLE_rundown(context);
    }

    EXPECT_EQ(0, freed);
    EXPECT_NE(nullptr, *static_cast<void**>(context));
    Disconnect(&context);
}

TEST_F(ReadSysInfoMemory, AllocatesTwiceWhatIsSent)
{
    Feed().sysInfo = [] { return std::wstring(20, L'x'); };
    std::vector<std::size_t> sizes;
    sizes.reserve(64);
    long size = -1;
    wchar_t* text = nullptr;
    {
        const MallocHook hook([&](std::size_t bytes) {
            sizes.push_back(bytes);
            return MallocHook::RealOfCurrent()(bytes);
        });
        ReadSysInfo(SomeContext(), &size, &text);
    }

    const StubText owner{text};
    EXPECT_EQ(21, size);
    EXPECT_THAT(sizes, testing::Contains(84U)); // (2 * 20 + 2) * 2
    EXPECT_EQ(L'\0', text[20]);
    EXPECT_TRUE(std::all_of(text + 20, text + 42, [](wchar_t c) { return c == L'\0'; })) << "zero-filled behind";
}

TEST_F(ReadSysInfoMemory, SaysSoWhenTheCopyFails)
{
    LogCapture log;
    Feed().sysInfo = [] { return L"text"; };
    const CopyHook hook([](wchar_t*, std::size_t, const wchar_t*) { return 22; });
    long size = -1;
    wchar_t* text = nullptr;

    ReadSysInfo(SomeContext(), &size, &text);

    const StubText owner{text};
    EXPECT_EQ(5, size);
    EXPECT_LINES(log, L"TraceIn|", L"Error|Failed to copy System Information", L"TraceOut|");
}

TEST_F(ReadSysInfoMemory, CopiesIntoTheWholeBuffer)
{
    Feed().sysInfo = [] { return L"text"; };
    std::size_t capacity = 0;
    const CopyHook hook([&](wchar_t* to, std::size_t size, const wchar_t* from) {
        capacity = size;
        return CopyHook::RealOfCurrent()(to, size, from);
    });
    long size = -1;
    wchar_t* text = nullptr;

    ReadSysInfo(SomeContext(), &size, &text);

    const StubText owner{text};
    EXPECT_EQ(10U, capacity); // 2 * 4 + 2
}

TEST_F(ReadSysInfoMemory, WithoutMemoryForTheTextSaysSoAndSendsNone)
{
    LogCapture log;
    Feed().sysInfo = [] { return std::wstring(2999, L'x'); };
    long size = -1;
    wchar_t* text = nullptr;
    {
        const MallocHook hook(
            [](std::size_t bytes) -> void* { return bytes == 12000 ? nullptr : MallocHook::RealOfCurrent()(bytes); });
        ReadSysInfo(SomeContext(), &size, &text);
    }

    EXPECT_EQ(nullptr, text);
    EXPECT_EQ(3000, size);
    EXPECT_LINES(log, L"TraceIn|", L"Error|Failed to copy System Information", L"TraceOut|");
}

TEST_F(ReadUSBTypeCInfoMemory, AllocatesTwiceWhatIsSent)
{
    Feed().usbTypeC = [] { return std::wstring(20, L'x'); };
    std::vector<std::size_t> sizes;
    sizes.reserve(64);
    long size = -1;
    wchar_t* text = nullptr;
    {
        const MallocHook hook([&](std::size_t bytes) {
            sizes.push_back(bytes);
            return MallocHook::RealOfCurrent()(bytes);
        });
        ReadUSBTypeCInfo(SomeContext(), &size, &text);
    }

    const StubText owner{text};
    EXPECT_THAT(sizes, testing::Contains(84U)); // (2 * 20 + 2) * 2
}

TEST_F(ReadUSBTypeCInfoMemory, SaysSoWhenTheCopyFails)
{
    LogCapture log;
    Feed().usbTypeC = [] { return L"text"; };
    const CopyHook hook([](wchar_t*, std::size_t, const wchar_t*) { return 22; });
    long size = -1;
    wchar_t* text = nullptr;

    ReadUSBTypeCInfo(SomeContext(), &size, &text);

    const StubText owner{text};
    EXPECT_EQ(5, size);
    EXPECT_LINES(log, L"TraceIn|", L"Information|USB Type C Info returned = text, pSize = 4",
                 L"Error|Failed to copy UsbTypeC Information", L"Information|USB Type C Information returned = ",
                 L"TraceOut|");
}

TEST(StubMemory, AllocationOfAnEarlierUseIsZeroFilled)
{
    const MallocHook hook([](std::size_t size) {
        void* const memory = MallocHook::RealOfCurrent()(size);
        std::memset(memory, 0xCC, size);
        return memory;
    });

    const auto memory = static_cast<unsigned char*>(midl_user_allocate(16));

    EXPECT_TRUE(std::all_of(memory, memory + 16, [](unsigned char c) { return c == 0; }));
    midl_user_free(memory);
}

TEST(StubMemory, NullIsNotFreed)
{
    int frees = 0;
    {
        const FreeHook hook([&](void* memory) {
            ++frees;
            FreeHook::RealOfCurrent()(memory);
        });
        midl_user_free(nullptr);
    }

    EXPECT_EQ(0, frees);
}
