/// \file
/// `hotkeyctl doctor` and `hotkeyctl explain`: what is wrong on this PC, and what a text or code of the service means.
#pragma once

#include "client/CtlOutput.h"
#include "client/HotKeyClient.h"

#include <string>

namespace HotKey
{

/// Writes one line per check, with a cure where one is due; takes as long as GatherDoctorFacts. ExitProblem when a
/// check found a problem.
int RunDoctor(CHotKeyClient& client, const CCtlOutput& output, bool json);

/// Writes what is known of a text or code of the service. ExitEmpty when nothing is.
int RunExplain(const std::string& text, const CCtlOutput& output, bool json);

} // namespace HotKey
