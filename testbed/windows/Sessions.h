// The PC's sessions as the profile lists them.
#pragma once

#include <windows.h>

#include <wtsapi32.h>

#include <string>
#include <vector>

namespace Testbed
{

struct Session
{
    DWORD id{};
    WTS_CONNECTSTATE_CLASS state{WTSDisconnected};
    std::wstring station;
    std::wstring user; // empty: nobody is logged on there
};

// In the profile's order.
std::vector<Session> Sessions();

// The session attached to the console, 0xFFFFFFFF when there is none.
DWORD ConsoleSession();

} // namespace Testbed
