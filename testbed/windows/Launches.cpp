// Process starts in the user's session: recorded with everything that decides where and as whom the program runs.
#include "testbed/Outcome.h"
#include "testbed/Recorder.h"
#include "testbed/Text.h"
#include "testbed/windows/ImportTable.h"
#include "testbed/windows/StandIns.h"
#include "testbed/windows/Tokens.h"

#include <windows.h>

#include <userenv.h>

#include <string>

namespace Testbed
{
namespace
{

std::wstring Quoted(const wchar_t* text)
{
    return text == nullptr ? L"null" : L"\"" + std::wstring{text} + L"\"";
}

BOOL WINAPI CreateProcessRecorded(HANDLE token, LPCWSTR application, LPWSTR commandLine,
                                  LPSECURITY_ATTRIBUTES processAttributes, LPSECURITY_ATTRIBUTES threadAttributes,
                                  BOOL inherit, DWORD flags, LPVOID environment, LPCWSTR folder, LPSTARTUPINFOW startup,
                                  LPPROCESS_INFORMATION process)
{
    const std::wstring request = L"application=" + Quoted(application) + L" command-line=" + Quoted(commandLine) +
                                 L" desktop=" + Quoted(startup->lpDesktop) + L" flags=" + Hex(flags) + L" inherit=" +
                                 (inherit ? L"yes" : L"no") + L" environment=" +
                                 (environment != nullptr ? L"block" : L"null") + L" " + DescribeToken(token);
    const BOOL started = !PrescribedFailure(L"launch", L"create process") &&
                         CreateProcessAsUserW(token, application, commandLine, processAttributes, threadAttributes,
                                              inherit, flags, environment, folder, startup, process);
    Record(L"CreateProcessAsUserW", request + (started ? L" -> pid " + std::to_wstring(process->dwProcessId)
                                                       : L" -> error " + std::to_wstring(GetLastError())));
    return started;
}

BOOL WINAPI CreateEnvironment(LPVOID* environment, HANDLE token, BOOL inherit)
{
    return !PrescribedFailure(L"launch", L"environment") && CreateEnvironmentBlock(environment, token, inherit);
}

} // namespace

void InstallLaunchStandIns()
{
    TESTBED_REPLACE(CreateProcessAsUserW, CreateProcessRecorded);
    TESTBED_REPLACE(CreateEnvironmentBlock, CreateEnvironment);
}

} // namespace Testbed
