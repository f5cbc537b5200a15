// Any command line of the service's program: one of its modes or none, never a failure.
#include "tests/fuzz/FuzzRun.h"
#include "tests/harness/ImportHook.h"
#include "tests/unit/sysinfo/FakeWmi.h"

#include <gtest/gtest.h>

#include <windows.h>

#include <fcntl.h>
#include <io.h>

#include <algorithm>
#include <cwctype>
#include <string>
#include <vector>

int wmain(int argc, wchar_t** argv);

namespace
{

// What the program prints is not looked at here.
class Quiet
{
  public:
    Quiet() : m_nStandard{_dup(1)}, m_nNowhere{_open("NUL", _O_WRONLY)}
    {
        std::fflush(stdout);
        _dup2(m_nNowhere, 1);
    }
    ~Quiet()
    {
        std::fflush(stdout);
        _dup2(m_nStandard, 1);
        _close(m_nStandard);
        _close(m_nNowhere);
    }
    Quiet(const Quiet&) = delete;
    Quiet& operator=(const Quiet&) = delete;

  private:
    int m_nStandard;
    int m_nNowhere;
};

std::wstring Lower(std::wstring text)
{
    std::transform(text.begin(), text.end(), text.begin(),
                   [](wchar_t c) { return static_cast<wchar_t>(c < 0x80 ? std::towlower(c) : c); });
    return text;
}

} // namespace

TEST(FuzzCommandLine, AnyArguments)
{
    constexpr const wchar_t* kSwitches[] = {L"-install", L"/remove", L"-INSTALL", L"/Remove", L"-instal",
                                            L"-removee", L"-",       L"/",        L"install", L"--install"};
    CFuzzRun run{"command-line", 60};
    IMPORT_HOOK(StartServiceCtrlDispatcherW)
    ([](auto...) {
        SetLastError(ERROR_FAILED_SERVICE_CONTROLLER_CONNECT);
        return FALSE;
    });
    IMPORT_HOOK(OpenSCManagerW)
    ([](auto...) {
        SetLastError(ERROR_ACCESS_DENIED);
        return SC_HANDLE{};
    });
    FakeWmi wmi; // the service object sets COM up
    int services = 0;
    int databases = 0;
    run.Each([&](CFuzzSource& source) {
        std::vector<std::wstring> arguments{L"HotKeyServiceTLY.exe"};
        for (unsigned count = source.Below(4); count != 0; --count)
        {
            std::wstring argument = source.OneIn(2) ? source.Pick(kSwitches) : source.Text(300, L"-/%sn\\\" aIremov");
            argument.resize((std::min)(argument.find(L'\0'), argument.size()));
            arguments.push_back(argument);
        }
        const std::wstring first = arguments.size() > 1 ? Lower(arguments[1]) : std::wstring{};
        const bool isSwitch = !first.empty() && (first[0] == L'-' || first[0] == L'/');
        const std::wstring word = isSwitch ? first.substr(1) : std::wstring{};
        if (word == L"console")
        {
            return; // runs until a key is pressed; the tests of the entry point have it
        }
        databases += word == L"install" || word == L"remove" ? 1 : 0;
        services += isSwitch ? 0 : 1;
        std::string written;
        std::vector<wchar_t*> pointers;
        for (std::wstring& argument : arguments)
        {
            written += std::string(reinterpret_cast<const char*>(argument.data()), argument.size() * 2) + "\n";
            pointers.push_back(argument.data());
        }
        pointers.push_back(nullptr);
        run.WriteDown(written);

        int result = 1;
        {
            const Quiet quiet;
            result = wmain(static_cast<int>(arguments.size()), pointers.data());
        }

        wmi.events.clear();
        EXPECT_EQ(0, result);
        EXPECT_EQ(databases, hook_OpenSCManagerW.Calls());
        EXPECT_EQ(services, hook_StartServiceCtrlDispatcherW.Calls());
    });
}
