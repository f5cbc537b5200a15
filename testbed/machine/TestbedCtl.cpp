// testbedctl.exe: the testbed's hand inside the prefix. testbed/prefix.sh and ./dev run it; so may you.
#include "testbed/machine/Controls.h"
#include "testbed/machine/Machine.h"
#include "testbed/machine/Processes.h"

#include <cstdio>
#include <string>
#include <string_view>

namespace
{

constexpr char kUsage[] =
    "usage: testbedctl prepare             point the prefix at its stand-ins\n"
    "       testbedctl profile NAME        become the PC of C:\\testbed\\profiles\\NAME.ini\n"
    "       testbedctl control NAME [N]    send the service logon, logoff, lock, unlock, suspend, resume,\n"
    "                                      power-status, preshutdown, shutdown, stop, session N, power N or a number\n"
    "       testbedctl start PROGRAM       start a program as the user would, print its process id\n"
    "       testbedctl pids IMAGE          print the process ids of all programs of that name\n";

int BecomeProfile(const std::wstring& name)
{
    std::wstring reason;
    if (Testbed::ApplyProfile(name, reason))
    {
        return 0;
    }
    std::fprintf(stderr, "testbed: %ls\n", reason.c_str());
    return 1;
}

int Send(const std::wstring& name)
{
    const std::optional<DWORD> code = Testbed::ControlCode(name);
    if (!code)
    {
        std::fprintf(stderr, "testbed: there is no control %ls\n", name.c_str());
        return 2;
    }
    const DWORD error = Testbed::SendControl(*code);
    if (error != ERROR_SUCCESS)
    {
        std::fprintf(stderr, "testbed: the control was not delivered, error %lu\n", error);
    }
    return error == ERROR_SUCCESS ? 0 : 1;
}

int Start(const std::wstring& program)
{
    const DWORD id = Testbed::StartDetached(program);
    if (id == 0)
    {
        std::fprintf(stderr, "testbed: %ls does not start, error %lu\n", program.c_str(), GetLastError());
        return 1;
    }
    std::printf("%lu\n", id);
    return 0;
}

int PrintIds(const std::wstring& image)
{
    for (const DWORD id : Testbed::ProcessIds(image))
    {
        std::printf("%lu\n", id);
    }
    return 0;
}

} // namespace

int wmain(int argc, wchar_t** argv)
{
    const std::wstring_view verb = argc > 1 ? argv[1] : L"";
    std::wstring argument = argc > 2 ? argv[2] : L"";
    if (argc > 3)
    {
        argument = argument + L" " + argv[3];
    }
    if (verb == L"prepare")
    {
        Testbed::PrepareMachine();
        return 0;
    }
    if (argument.empty())
    {
        std::fputs(kUsage, stderr);
        return 2;
    }
    if (verb == L"profile")
    {
        return BecomeProfile(argument);
    }
    if (verb == L"control")
    {
        return Send(argument);
    }
    if (verb == L"start")
    {
        return Start(argument);
    }
    if (verb == L"pids")
    {
        return PrintIds(argument);
    }
    std::fputs(kUsage, stderr);
    return 2;
}
