// hotkeyctl doctor and hotkeyctl explain: what is wrong on this PC, and what a text or code of the service means.
#pragma once

#include "client/CtlOutput.h"
#include "client/HotKeyClient.h"

#include <string>

namespace HotKey
{

// Writes one line per check, with a cure where one is due. ExitProblem when a check found a problem.
int RunDoctor(CHotKeyClient& client, const CCtlOutput& output, bool json);

// ExitEmpty when nothing is known of the text.
int RunExplain(const std::string& text, const CCtlOutput& output, bool json);

} // namespace HotKey
