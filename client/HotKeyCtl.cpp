// hotkeyctl: the hotkey service's operations by hand, in scripts and in tests.
#include "client/CtlBench.h"
#include "client/CtlCommands.h"
#include "client/CtlCompletion.h"
#include "client/CtlDoctor.h"
#include "client/CtlLog.h"
#include "client/CtlOutput.h"
#include "client/Doctor.h"
#include "client/Explanations.h"
#include "client/HotKeyClient.h"

#include <CLI/CLI.hpp>

#include <chrono>
#include <cmath>
#include <sstream>
#include <string>
#include <vector>

namespace
{

constexpr const char* kVersion = HOTKEYCTL_VERSION;

constexpr const char* kExitCodes = "Exit codes:\n"
                                   "  0 answered    1 answered, but empty    2 bad usage    3 service not reachable\n"
                                   "  4 refused     5 timed out              6 an answer that is not understood\n"
                                   "  7 doctor found a problem\n\n"
                                   "Example: hotkeyctl sysinfo --json\n";

struct Options
{
    double dTimeout{std::chrono::duration<double>(HotKey::CHotKeyClient::kDefaultTimeout).count()};
    bool bQuiet{false};
    bool bRaw{false};
    bool bJson{false};
    std::string strProgram;
    double dInterval{2};
    unsigned nCount{0};
    std::string strLevel;
    std::string strSince;
    std::string strLogPath;
    HotKey::CLogRequest log;
    HotKey::CBenchRequest bench;
    double dBenchSeconds{5};
    std::string strShell;
    bool bAskWmi{false};
    bool bPage{false};
    std::vector<std::string> vecWords;

    HotKey::Form Form() const { return bJson ? HotKey::Form::Json : bRaw ? HotKey::Form::Raw : HotKey::Form::Fields; }
};

void AddJson(CLI::App* command, Options& options)
{
    command->add_flag("--json", options.bJson, "One JSON object");
}

void AddForms(CLI::App* command, Options& options)
{
    command->add_flag("--raw", options.bRaw, "The text as the service sends it");
    command->add_flag("--json", options.bJson, "One JSON object")->excludes("--raw");
}

std::string CheckSince(const std::string& text)
{
    return HotKey::SinceText(text).empty() ? "neither a duration nor a time: " + text : std::string{};
}

void DescribeLog(CLI::App* log, CLI::App& app, Options& options)
{
    log->add_option("--level", options.strLevel, "Lowest level, in the service's order: TraceIn to Diag")
        ->check(CLI::IsMember({"TraceIn", "TraceOut", "Verbose", "Information", "Warning", "Error", "Diag"},
                              CLI::ignore_case));
    log->add_option("--function", options.log.filter.strFunction, "Part of the function's name");
    log->add_option("--since", options.strSince, "90s, 15m, 2h or 1d ago; 14:07 today; 2024/03/05; or both of these")
        ->check(CheckSince);
    CLI::Option* const follow = log->add_flag("--follow", options.log.bFollow, "Go on with what the service writes");
    log->add_flag("--json", options.log.bJson, "One JSON object per line");
    log->add_flag("--timings", options.log.bTimings, "Times of each function: count, total, mean, longest");
    log->add_option("--path", options.strLogPath, "Another log file; its rotated ones belong to it");
    follow->excludes("--timings")->excludes(app.get_option("--quiet"));
    log->footer("Examples:\n  hotkeyctl log --since 1h --level Warning\n  hotkeyctl log --follow --since 1m\n"
                "  hotkeyctl log --timings --function CMainService\n");
}

void Describe(CLI::App& app, Options& options)
{
    app.set_version_flag("--version", std::string{"hotkeyctl "} + kVersion);
    app.add_option("--timeout", options.dTimeout, "Longest time to wait for an answer, in seconds")
        ->check(CLI::Range(0.001, 86400.0))
        ->capture_default_str();
    app.add_flag("--quiet", options.bQuiet, "Write nothing; the exit code tells");
    app.require_subcommand(0, 1); // a missing command is looked for last, so that an unknown one is named
    app.fallthrough();
    app.footer(kExitCodes);

    CLI::App* const sysinfo = app.add_subcommand("sysinfo", "System information: ten fields and USB Type-C support");
    AddForms(sysinfo, options);
    sysinfo->footer("Examples:\n  hotkeyctl sysinfo\n  hotkeyctl sysinfo --raw > sysinfo.txt\n"
                    "  hotkeyctl sysinfo --json --timeout 60\n");

    CLI::App* const usbc = app.add_subcommand("usbc", "What the USB Type-C ports can do");
    AddForms(usbc, options);
    usbc->footer("Examples:\n  hotkeyctl usbc\n  hotkeyctl usbc --json\n");

    CLI::App* const presence = app.add_subcommand("presence", "Whether the Fennix service and its node are there");
    AddJson(presence, options);
    presence->footer("Examples:\n  hotkeyctl presence\n  hotkeyctl presence --json\n");

    CLI::App* const launch = app.add_subcommand("launch", "Start a program on the desktop of the logged-on user");
    launch->add_option("program", options.strProgram, "sysinfo (system information tool) or usbc (USB-C configuration)")
        ->required()
        ->check(CLI::IsMember({"sysinfo", "usbc"}));
    launch->footer("Examples:\n  hotkeyctl launch sysinfo\n  hotkeyctl launch usbc\n");

    CLI::App* const status = app.add_subcommand("status", "Whether the service is installed, runs and answers");
    AddJson(status, options);
    status->footer("Examples:\n  hotkeyctl status\n  hotkeyctl --quiet status\n");

    CLI::App* const watch = app.add_subcommand("watch", "Ask again and again; write a line when the answer changes");
    watch->add_option("--interval", options.dInterval, "Seconds between two questions")
        ->check(CLI::Range(0.01, 86400.0))
        ->capture_default_str();
    watch->add_option("--count", options.nCount, "End after so many questions (default: go on)");
    watch->footer("Examples:\n  hotkeyctl watch\n  hotkeyctl watch --interval 0.5 --count 20\n");

    CLI::App* const doctor = app.add_subcommand("doctor", "Check this PC; say what is wrong and what cures it");
    AddJson(doctor, options);
    doctor->add_flag("--ask-wmi", options.bAskWmi, "What the child does that may hang")->group("");
    doctor->footer("Verdicts: ok, unknown (this account or system cannot tell), warning, problem.\n"
                   "Examples:\n  hotkeyctl doctor\n  hotkeyctl --quiet doctor && echo well\n");

    CLI::App* const explain = app.add_subcommand("explain", "What a text or code of the service means, and its cure");
    explain->add_option("text", options.vecWords,
                        "A line of the log, its message or a part of it, a code (1722, 0x8004100E)");
    explain->add_flag("--page", options.bPage, "All of them as a page of the documents")->group("");
    AddJson(explain, options);
    explain->footer("Examples:\n  hotkeyctl explain 1740\n  hotkeyctl explain \"GetActiveSessionToken failed\"\n"
                    "  hotkeyctl explain wmi\n");

    CLI::App* const bench = app.add_subcommand("bench", "Measure how fast the running service answers");
    bench->add_option("--count", options.bench.nCalls, "Calls of each operation, at most")
        ->check(CLI::Range(1U, 1000000U))
        ->capture_default_str();
    bench->add_option("--seconds", options.dBenchSeconds, "Time for each operation, at most")
        ->check(CLI::Range(0.01, 3600.0))
        ->capture_default_str();
    AddJson(bench, options);
    bench->footer("It starts nothing and changes nothing.\nExamples:\n  hotkeyctl bench\n"
                  "  hotkeyctl bench --count 1000 --seconds 10 --json\n");

    CLI::App* const completion = app.add_subcommand("completion", "A script that completes commands in a shell");
    completion->add_option("shell", options.strShell, "bash or powershell")
        ->required()
        ->check(CLI::IsMember({"bash", "powershell"}));
    completion->footer("Examples:\n  eval \"$(hotkeyctl completion bash)\"\n"
                       "  hotkeyctl completion powershell | Out-String | Invoke-Expression\n");

    DescribeLog(app.add_subcommand("log", "The service's log of this PC, with its old files"), app, options);
}

std::chrono::milliseconds Milliseconds(double seconds)
{
    return std::chrono::milliseconds{std::llround(seconds * 1000)};
}

int PrintLog(const Options& options, const HotKey::CCtlOutput& output)
{
    HotKey::CLogRequest request = options.log;
    request.strPath = HotKey::FromUtf8(options.strLogPath);
    request.filter.nMinimumLevel = HotKey::LogLevelRank(options.strLevel);
    if (!options.strSince.empty())
    {
        request.filter.strSince = HotKey::SinceText(options.strSince);
    }
    return HotKey::CCtlLog{request, output}.Run();
}

int PrintExplanation(const Options& options, const HotKey::CCtlOutput& output)
{
    if (options.bPage)
    {
        output.Print(HotKey::FromUtf8(HotKey::ExplanationsPage()));
        return HotKey::ExitAnswered;
    }
    std::string text;
    for (const std::string& word : options.vecWords)
    {
        text += (text.empty() ? "" : " ") + word;
    }
    if (text.empty())
    {
        output.Complain(L"explain what? (see hotkeyctl explain --help)");
        return HotKey::ExitUsage;
    }
    return HotKey::RunExplain(text, output, options.bJson);
}

int Run(const CLI::App& app, const Options& options)
{
    const HotKey::CCtlOutput output{options.bQuiet};
    const std::string command = app.get_subcommands().front()->get_name();
    if (command == "explain")
    {
        return PrintExplanation(options, output);
    }
    if (command == "completion")
    {
        output.Print(HotKey::FromUtf8(options.strShell == "bash" ? HotKey::BashCompletion(app)
                                                                 : HotKey::PowerShellCompletion(app)));
        return HotKey::ExitAnswered;
    }
    if (options.bAskWmi)
    {
        return HotKey::AskWmi();
    }
    if (command == "log")
    {
        return PrintLog(options, output);
    }
    HotKey::CHotKeyClient client{Milliseconds(options.dTimeout)};
    if (command == "bench")
    {
        HotKey::CBenchRequest request = options.bench;
        request.patience = Milliseconds(options.dBenchSeconds);
        request.bJson = options.bJson;
        return HotKey::RunBench(client, output, request);
    }
    if (command == "doctor")
    {
        return HotKey::RunDoctor(client, output, options.bJson);
    }
    HotKey::CCtlCommands commands{client, output};
    if (command == "sysinfo")
    {
        return commands.SysInfo(options.Form());
    }
    if (command == "usbc")
    {
        return commands.UsbTypeC(options.Form());
    }
    if (command == "presence")
    {
        return commands.Presence(options.Form());
    }
    if (command == "launch")
    {
        return options.strProgram == "sysinfo" ? commands.LaunchSystemInformation() : commands.LaunchUsbCApp();
    }
    if (command == "status")
    {
        return commands.Status(options.Form(), HotKey::FromUtf8(kVersion));
    }
    return commands.Watch(static_cast<DWORD>(Milliseconds(options.dInterval).count()), options.nCount);
}

} // namespace

int wmain(int argc, wchar_t** argv)
{
    Options options;
    CLI::App app{"Asks the hotkey service.", "hotkeyctl"};
    Describe(app, options);

    std::vector<std::string> arguments; // CLI11 takes them last first
    for (int i = argc - 1; i > 0; --i)
    {
        arguments.push_back(HotKey::ToUtf8(argv[i]));
    }
    try
    {
        app.parse(std::move(arguments));
        if (app.get_subcommands().empty())
        {
            throw CLI::RequiredError{"A command"};
        }
    }
    catch (const CLI::ParseError& error)
    {
        std::ostringstream out;
        std::ostringstream complaint;
        const bool asked = app.exit(error, out, complaint) == 0; // for help or the version
        const HotKey::CCtlOutput output{false};
        output.Print(HotKey::FromUtf8(out.str()));
        if (!asked)
        {
            const std::wstring text = HotKey::FromUtf8(complaint.str());
            output.Complain(text.substr(0, text.find(L'\n')) + L" (see hotkeyctl --help)");
            return HotKey::ExitUsage;
        }
        return HotKey::ExitAnswered;
    }
    return Run(app, options);
}
