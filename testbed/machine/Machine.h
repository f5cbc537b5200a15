// Makes the prefix that the calling program runs in the PC that a profile describes.
// Used by testbedctl.exe and by the end-to-end tests; one thread, nothing else may use the services meanwhile.
#pragma once

#include <string>

namespace Testbed
{

// Once per prefix: which stand-ins the system takes instead of its own parts, and no debugger for crashed programs.
void PrepareMachine();

// Puts C:\testbed\profiles\<name>.ini in force and makes the parts of the PC that live outside the stand-ins follow
// it: services, device nodes, files, programs and policies. False, with the reason, when the profile does not exist or
// a part cannot be made.
bool ApplyProfile(const std::wstring& name, std::wstring& reason);

// The parts of ApplyProfile, for a profile that is already in force.
bool ApplyServices(std::wstring& reason);
bool ApplyNodes(std::wstring& reason);
bool ApplyFiles(std::wstring& reason);

} // namespace Testbed
