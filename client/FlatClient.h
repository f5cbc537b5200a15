/** \file
   The client library for other languages: plain C functions, exported by hotkeyclient.dll.
   Each call makes a connection of its own and returns 0, or how it failed: 3 not reachable, 4 refused, 5 timed out,
   6 an answer that is not understood. status, if given, receives the RPC status of the failure, else 0.
   Texts are BSTRs that the caller frees; an empty answer is an empty text, a failure leaves null. Any thread may call.
 */
#ifndef CLIENT_FLAT_CLIENT_H
#define CLIENT_FLAT_CLIENT_H

#include <windows.h>

#include <oleauto.h>

/** Exported by the library's own build, imported by its callers. */
#ifdef HOTKEY_FLAT_CLIENT_EXPORTS
#define HOTKEY_FLAT __declspec(dllexport)
#else
#define HOTKEY_FLAT __declspec(dllimport)
#endif

#ifdef __cplusplus
extern "C"
{
#endif

    /** The system information, fields between separators. */
    HOTKEY_FLAT int __cdecl HotKeyReadSysInfo(unsigned timeoutMs, BSTR* text, unsigned* status);
    /** The USB Type-C information, fields between separators. */
    HOTKEY_FLAT int __cdecl HotKeyReadUsbTypeC(unsigned timeoutMs, BSTR* text, unsigned* status);
    /** Whether the device framework's service is installed and its node present: 1 or 0 each. */
    HOTKEY_FLAT int __cdecl HotKeyReadPresence(unsigned timeoutMs, int* fennixService, int* fennixNode,
                                               unsigned* status);
    /** Has the system information tool started on the user's desktop; nobody learns whether it started. */
    HOTKEY_FLAT int __cdecl HotKeyLaunchSystemInformation(unsigned timeoutMs, unsigned* status);
    /** Has the USB-C configuration application started likewise. */
    HOTKEY_FLAT int __cdecl HotKeyLaunchUsbCApp(unsigned timeoutMs, unsigned* status);

#ifdef __cplusplus
}
#endif

#endif
