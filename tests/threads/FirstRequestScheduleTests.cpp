// The first request for the system information under sixteen callers at once: one reading in the process, a whole text
// for everybody who waits for it, the empty one for those whose wait ran out, and handles that are closed once.
//
// Accepted, and therefore not looked at:
//   - several first requests each start a thread (Deliberate in service/MainService.h): one of them reads, the others
//     end without;
//   - a reading that still runs when the service ends is not waited for, and its reader is left to the end of the
//     process (Deliberate in service/MainService.cpp);
//   - the event around a request is signalled by whichever request ends first.
#include "hotkey/KeyBoardBridge.h"
#include "tests/harness/ImportHook.h"
#include "tests/threads/RequestMachine.h"
#include "tests/threads/Schedule.h"
#include "tests/unit/hotkey/ProbeBridge.h"
#include "tests/unit/service/MainServiceFixture.h"

#include <gtest/gtest.h>

#include <array>
#include <optional>
#include <set>
#include <string>

using RpcServer::CKeyBoardBridge;
using Threads::Draw;
using Threads::kCallers;
using Threads::PlaySchedules;
using Threads::Schedule;

namespace
{

constexpr char kReading[] = "RpcServer::WMIData::ReadSysInfo";

struct FirstRequestSchedules : testing::Test
{
    // As a client's call does.
    static std::wstring Ask() { return CKeyBoardBridge::getInstance(nullptr)->GetSysInfo(); }
    static void EndHandler() { CKeyBoardBridge::getInstance(nullptr)->ReleaseHotKeyHandlerInstance(); }

    // A new process.
    void Begin()
    {
        ProbeBridge::ForgetInstance();
        machine.Clear();
        texts = {};
    }
    std::set<std::wstring> Texts() const { return {texts.begin(), texts.end()}; }

    RequestMachine machine;
    std::array<std::wstring, kCallers> texts; // by caller
};

// Half of the waits for the reading run out at once.
struct FirstRequestSchedulesInHaste : FirstRequestSchedules
{
    IMPORT_HOOK(WaitForSingleObject){[this](HANDLE handle, DWORD time) {
        const DWORD given = haste && time == 25000 && Draw(2) == 0 ? 0 : time;
        return hook_WaitForSingleObject.Real()(handle, given);
    }};
    bool haste{true};
};

} // namespace

TEST_F(FirstRequestSchedules, ReadOnceAndAnswerEverybodyWithTheWholeText)
{
    PlaySchedules(1000, [&](Schedule& schedule) {
        Begin();
        {
            ExposedService service;

            schedule.Run([&](int caller) { texts.at(static_cast<std::size_t>(caller)) = Ask(); });
            schedule.AwaitStarted();
            EndHandler();
        }

        EXPECT_EQ((std::set<std::wstring>{RequestMachine::kAnswer}), Texts());
        EXPECT_EQ(1, machine.CallsOf(kReading));
        EXPECT_EQ(1, machine.CallsOf("RpcServer::WMIData::~WMIData"));
        EXPECT_EQ("", schedule.HandleComplaint());
    });
}

TEST_F(FirstRequestSchedulesInHaste, AnswerEmptyAndLaterWithTheTextOfTheOneReading)
{
    PlaySchedules(500, [&](Schedule& schedule) {
        Begin();
        std::wstring later;
        {
            ExposedService service;
            haste = true;
            schedule.Run([&](int caller) { texts.at(static_cast<std::size_t>(caller)) = Ask(); });
            haste = false;

            later = Ask();

            schedule.AwaitStarted();
            EndHandler();
        }
        std::set<std::wstring> answers = Texts();
        answers.erase(L"");
        answers.insert(RequestMachine::kAnswer);
        EXPECT_EQ((std::set<std::wstring>{RequestMachine::kAnswer}), answers);
        EXPECT_EQ(RequestMachine::kAnswer, later);
        EXPECT_EQ(1, machine.CallsOf(kReading));
        EXPECT_EQ("", schedule.HandleComplaint());
    });
}

TEST_F(FirstRequestSchedulesInHaste, LeaveNothingBehindWhenTheServiceEndsMeanwhile)
{
    PlaySchedules(500, [&](Schedule& schedule) {
        Begin();
        {
            std::optional<ExposedService> service{std::in_place};

            schedule.Run([&](int caller) {
                if (caller == 15)
                {
                    service->OnStop();
                    return;
                }
                texts.at(static_cast<std::size_t>(caller)) = Ask();
            });
            service.reset();
            schedule.AwaitStarted();
        }

        std::set<std::wstring> answers = Texts();
        answers.erase(L"");
        answers.insert(RequestMachine::kAnswer);
        EXPECT_EQ((std::set<std::wstring>{RequestMachine::kAnswer}), answers);
        EXPECT_GE(1, machine.CallsOf(kReading));
        EXPECT_GE(1, machine.CallsOf("RpcServer::WMIData::~WMIData"));
        EXPECT_EQ("", schedule.HandleComplaint());
    });
}
