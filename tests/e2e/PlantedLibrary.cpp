// Stands under the name of a system library where a hostile user may write. Loaded, it leaves a file beside itself.
#include <windows.h>

#include <string>

BOOL WINAPI DllMain(HINSTANCE module, DWORD reason, void*)
{
    wchar_t path[MAX_PATH]{};
    if (reason == DLL_PROCESS_ATTACH && GetModuleFileNameW(module, path, MAX_PATH) != 0)
    {
        CloseHandle(CreateFileW((std::wstring{path} + L".loaded").c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0,
                                nullptr));
    }
    return TRUE;
}
