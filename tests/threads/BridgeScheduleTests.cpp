// The bridge under sixteen callers at once: one bridge with one handler, whoever comes first; requests get a whole
// answer or, once the handler is released, the empty one; nothing is used after it is freed.
//
// Accepted, and therefore not looked at:
//   - which caller's reader the handler gets (the first one's);
//   - a helper that another renewal put in place meanwhile is forgotten, not freed (Deliberate in
//     hotkey/HotKeyHandler.cpp);
//   - two first requests for the USB-C text each ask the framework; both texts are the same;
//   - the event around a request is signalled by whichever request ends first.
#include "hotkey/HotKeyHandler.h"
#include "hotkey/KeyBoardBridge.h"
#include "tests/threads/RequestMachine.h"
#include "tests/threads/Schedule.h"
#include "tests/unit/hotkey/ProbeBridge.h"
#include "tests/unit/hotkey/SourceStandIn.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <memory>
#include <set>
#include <string>

using RpcServer::CKeyBoardBridge;
using RpcServer::SysInfo::CHotKeyHandler;
using Threads::kCallers;
using Threads::PlaySchedules;
using Threads::Schedule;

namespace
{

struct BridgeSchedules : testing::Test
{
    RequestMachine machine;
};

} // namespace

TEST_F(BridgeSchedules, FirstCallersGetOneBridgeWithOneHandler)
{
    PlaySchedules(3000, [&](Schedule& schedule) {
        ProbeBridge::ForgetInstance();
        machine.Clear();
        std::array<CKeyBoardBridge*, kCallers> bridges{};
        std::array<CHotKeyHandler*, kCallers> handlers{};

        schedule.Run([&](int caller) {
            const auto place = static_cast<std::size_t>(caller);
            bridges.at(place) = CKeyBoardBridge::getInstance(nullptr);
            handlers.at(place) = bridges.at(place)->GetHotKeyHandler().get();
        });
        CKeyBoardBridge::getInstance(nullptr)->ReleaseHotKeyHandlerInstance();

        EXPECT_EQ((std::set{bridges[0]}), (std::set<CKeyBoardBridge*>{bridges.begin(), bridges.end()}));
        EXPECT_EQ((std::set{handlers[0]}), (std::set<CHotKeyHandler*>{handlers.begin(), handlers.end()}));
        EXPECT_NE(nullptr, handlers[0]);
        EXPECT_EQ(1, machine.CallsOf("RpcServer::CKeyBoardBridge::CKeyBoardBridge"));
        EXPECT_EQ(1, machine.CallsOf("RpcServer::SysInfo::CHotKeyHandler::CHotKeyHandler"));
        EXPECT_EQ(1, machine.CallsOf("RpcServer::SysInfo::CHotKeyHandler::~CHotKeyHandler"));
        EXPECT_EQ("", schedule.HandleComplaint());
    });
}

TEST_F(BridgeSchedules, RequestsDuringARenewalAndTheReleaseGetAWholeAnswerOrNone)
{
    PlaySchedules(1500, [&](Schedule& schedule) {
        ProbeBridge::ForgetInstance();
        machine.Clear();
        ReaderStandIn reader;
        reader.SetText(L"a;b;c");
        CKeyBoardBridge* const bridge = CKeyBoardBridge::getInstance(&reader);
        std::array<std::set<std::wstring>, kCallers> answers;
        std::atomic<bool> released{false};
        std::atomic<int> late{0};

        schedule.Run([&](int caller) {
            std::set<std::wstring>& mine = answers.at(static_cast<std::size_t>(caller));
            for (int time = 0; time < 2; ++time)
            {
                const bool before = released;
                if (caller < 6)
                {
                    mine.insert(bridge->GetSysInfo());
                }
                else if (caller < 10)
                {
                    mine.insert(bridge->GetUSBTypeCInfoAsWString());
                }
                else if (caller < 12)
                {
                    const std::shared_ptr<CHotKeyHandler> handler = bridge->GetHotKeyHandler();
                    mine.insert(handler != nullptr ? handler->GetLocale() : L"");
                }
                else if (caller < 15)
                {
                    mine.insert(bridge->RecreateAppActivationHandler() ? L"renewed" : L"");
                }
                else if (time == 1)
                {
                    bridge->ReleaseHotKeyHandlerInstance();
                    released = true;
                }
                late += before && !mine.contains(L"") ? 1 : 0;
            }
        });

        std::set<std::wstring> all;
        for (const std::set<std::wstring>& some : answers)
        {
            all.insert(some.begin(), some.end());
        }
        all.erase(L"");
        const std::set<std::wstring> whole{
            L"a;b;c<.^.>yes",
            L"USB 2.0|.#.$USB 3.1 Gen 2<.^.>Supported<.^.>Supported<.^.>Supported<.^.>Supported<.^.>15W", L"en_US",
            L"renewed"};
        EXPECT_TRUE(std::includes(whole.begin(), whole.end(), all.begin(), all.end())) << testing::PrintToString(all);
        EXPECT_EQ(0, late);
        EXPECT_EQ(1, machine.CallsOf("RpcServer::SysInfo::CHotKeyHandler::~CHotKeyHandler"));
        EXPECT_EQ("", schedule.HandleComplaint());
    });
}
