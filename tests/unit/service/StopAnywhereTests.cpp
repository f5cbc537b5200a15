// Stop, shutdown and pre-shutdown at any moment: the service reports STOPPED once, in bounded time, with no call inside
// and without touching what it freed, and the next start works. By default one of the three controls at each point, in
// turn; HOTKEY_STOP_POINTS=all in the environment sends each of them at each point.
#include "tests/unit/service/StopMachine.h"

#include "hotkey/KeyBoardBridge.h"

#include <gtest/gtest.h>

#include <windows.h>

#include <HotKeyRpc.h>

#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>
#include <string_view>

using RpcServer::CKeyBoardBridge;

namespace
{

constexpr DWORD kControls[] = {SERVICE_CONTROL_STOP, SERVICE_CONTROL_SHUTDOWN, SERVICE_CONTROL_PRESHUTDOWN};

void AskSysInfo()
{
    long size = 0;
    wchar_t* text = nullptr;
    ReadSysInfo(nullptr, &size, &text);
    EXPECT_LE(1, size);
    midl_user_free(text);
}

void AskUsbTypeC()
{
    long size = 0;
    wchar_t* text = nullptr;
    ReadUSBTypeCInfo(nullptr, &size, &text);
    midl_user_free(text);
}

struct Scene
{
    const char* name;
    bool userLoggedOn;
    bool frameworkFails;
    std::function<void(StopMachine&)> calls;
    bool countsStart; // the points of the start, too
};

// What a process has that has just begun.
void BeginAnew()
{
    CKeyBoardBridge::getInstance(nullptr)->CreateHotKeyHandlerInstance();
}

// The number of points that the scene has without an early control.
int Play(const Scene& scene, int point, DWORD control)
{
    int points = 0;
    {
        StopMachine machine;
        machine.frameworkFails = scene.frameworkFails;
        machine.session = scene.userLoggedOn ? 1 : 0;
        if (!scene.countsStart)
        {
            BeginAnew();
        }
        machine.Arm(scene.countsStart ? point : 0, control);
        const bool inTime = machine.Run([&] {
            if (!scene.countsStart)
            {
                machine.Arm(point, control);
            }
            scene.calls(machine);
            points = machine.Points();
        });
        if (!inTime)
        {
            std::printf("no stop in a minute, point %d\n", point);
            std::fflush(stdout);
            TerminateProcess(GetCurrentProcess(), 1); // its threads are still inside
        }
        EXPECT_EQ(1, machine.StoppedReports());
        EXPECT_EQ(0, machine.CallsAtStop());
    }
    return points;
}

void ExpectStartWorks()
{
    StopMachine machine;
    machine.frameworkFails = false;
    BeginAnew();
    machine.Arm(0, SERVICE_CONTROL_STOP);
    long answer = 0;
    EXPECT_TRUE(machine.Run([&] { machine.Call([&] { answer = IsFennixServiceInstalled(nullptr); }); }));
    EXPECT_EQ(1, answer);
    EXPECT_EQ(1, machine.RunningReports());
    EXPECT_EQ(1, machine.StoppedReports());
}

void StopEverywhere(const Scene& scene, int atLeast)
{
    const int points = Play(scene, 0, SERVICE_CONTROL_STOP);
    std::printf("%s: %d points\n", scene.name, points);
    EXPECT_LE(atLeast, points);
    const char* const wanted = std::getenv("HOTKEY_STOP_POINTS");
    const bool all = wanted != nullptr && std::string_view{wanted} == "all";
    for (int point = 1; point <= points; ++point)
    {
        for (int i = 0; i < (all ? 3 : 1); ++i)
        {
            const DWORD control = kControls[(point + i) % 3];
            SCOPED_TRACE(std::string{scene.name} + ", point " + std::to_string(point) + ", control " +
                         std::to_string(control));
            static_cast<void>(Play(scene, point, control));
        }
        if (all || point % 10 == 0)
        {
            ExpectStartWorks();
        }
    }
}

} // namespace

TEST(StopAnywhere, DuringTheStart)
{
    StopEverywhere({"start", true, true, [](StopMachine&) {}, true}, 20);
}

TEST(StopAnywhere, DuringTheFirstRead)
{
    StopEverywhere({"first read", true, false, [](StopMachine& machine) { machine.Call(&AskSysInfo); }, false}, 20);
}

TEST(StopAnywhere, WhileTheFrameworkIsTriedAgain)
{
    // The first caller of the process makes the handler.
    const auto retry = [](StopMachine& machine) { machine.Call(&BeginAnew); };
    StopEverywhere({"framework retry", false, true, retry, false}, 50);
}

TEST(StopAnywhere, WhileCallsRun)
{
    const auto calls = [](StopMachine& machine) {
        std::thread other{[&] {
            machine.Call(&AskUsbTypeC);
            machine.Call(&AskSysInfo);
        }};
        machine.Call(&AskUsbTypeC);
        machine.Call([] { static_cast<void>(IsFennixServiceInstalled(nullptr)); });
        machine.Call(&AskSysInfo);
        machine.Call([] { LaunchUsbCApp(nullptr); });
        machine.Call(&AskSysInfo);
        other.join();
    };
    StopEverywhere({"running calls", true, false, calls, false}, 100);
}
