// The stand-ins for what Wine lacks, one installer per subject; each redirects the program's imports of its functions.
// DllMain calls all of them before the program's entry point runs; none of them reads files or loads libraries there.
#pragma once

namespace Testbed
{

void InstallSessionStandIns();    // console session; the session list itself is exported as wtsapi32
void InstallTokenStandIns();      // elevation, linked token, UI access
void InstallLaunchStandIns();     // records each CreateProcessAsUserW
void InstallEventLogStandIns();   // C:\testbed\events.log
void InstallCapabilityStandIns(); // capability SIDs
void InstallControlStandIns();    // session, power and shutdown controls; records of status and recovery settings
void InstallEndpointStandIns();   // records of the RPC endpoint, its interface and their security descriptors
void InstallDeviceStandIns();     // driver version of a device node
void InstallLocaleStandIns();     // the user's language and country

} // namespace Testbed
