/// \file
/// What the service manager does after a failure of the service. Called at every start, on the service-main thread.
#pragma once

namespace Utils
{

/// Restart after every failure, later each time. 0 when both settings were taken, 1 without the restart actions,
/// 16 without the flag for failures other than crashes, 17 without both; another value comes from GetService.
int SetServiceRestartRecoveryOnFailure(const wchar_t* serviceName);

} // namespace Utils
