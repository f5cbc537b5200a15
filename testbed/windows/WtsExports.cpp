// What the service imports from wtsapi32.dll, under the names that Windows exports them by. Sessions and their users
// come from the profile; tokens and the process list come from the system's own wtsapi32.dll.
#include "testbed/Outcome.h"
#include "testbed/Profile.h"
#include "testbed/Text.h"
#include "testbed/windows/Sessions.h"
#include "testbed/windows/Tokens.h"

#include <windows.h>

#include <wtsapi32.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

namespace
{

using namespace Testbed;

// Loaded at the first call, never in DllMain.
template <typename Function> Function* SystemFunction(const char* name)
{
    static const HMODULE library = [] {
        wchar_t folder[MAX_PATH] = {};
        GetSystemDirectoryW(folder, MAX_PATH);
        return LoadLibraryW((std::wstring{folder} + L"\\wtsapi32.dll").c_str());
    }();
    return reinterpret_cast<Function*>(reinterpret_cast<void*>(GetProcAddress(library, name)));
}

// One block as the real functions give it: the records, their texts behind them.
template <typename Info> class CListBlock
{
  public:
    CListBlock(std::size_t count, std::size_t textBytes)
        : m_records{static_cast<Info*>(LocalAlloc(LPTR, count * sizeof(Info) + textBytes))},
          m_free{reinterpret_cast<BYTE*>(m_records + count)}
    {
    }
    Info& operator[](std::size_t index) { return m_records[index]; }
    void* Append(const void* bytes, std::size_t size)
    {
        void* const place = m_free;
        std::memcpy(place, bytes, size);
        // Records and SIDs want their alignment.
        m_free += Padded(size);
        return place;
    }
    wchar_t* Append(const std::wstring& text)
    {
        return static_cast<wchar_t*>(Append(text.c_str(), (text.size() + 1) * sizeof(wchar_t)));
    }
    Info* Get() { return m_records; }
    static std::size_t Padded(std::size_t size) { return (size + 7) / 8 * 8; }

  private:
    Info* m_records;
    BYTE* m_free;
};

std::size_t TextBytes(const std::wstring& text)
{
    return CListBlock<int>::Padded((text.size() + 1) * sizeof(wchar_t));
}

// Wine runs everything in one session; the profile says who is where: its [processes] section names a session, or
// "absent", by image name. Otherwise Windows's own processes are in session 0 and the rest in the console session.
DWORD SessionOfProcess(const std::wstring& image)
{
    static constexpr const wchar_t* systemImages[] = {L"services.exe",        L"winedevice.exe", L"plugplay.exe",
                                                      L"QuilSysInfoCap.exe",  L"svchost.exe",    L"rpcss.exe",
                                                      L"HotKeyServiceTLY.exe"};
    const bool ofSystem = std::ranges::any_of(systemImages, [&](const wchar_t* name) { return SameName(name, image); });
    return ProfileNumber(L"processes", image, ofSystem ? 0 : ConsoleSession());
}

bool IsHidden(const std::wstring& image)
{
    return SameName(ProfileValue(L"processes", image, L""), L"absent");
}

} // namespace

extern "C"
{

    __declspec(dllexport) BOOL WINAPI
        WTSEnumerateSessionsW(HANDLE, DWORD, DWORD, PWTS_SESSION_INFOW* list, DWORD* count)
    {
        if (PrescribedFailure(L"session", L"enumerate"))
        {
            return FALSE;
        }
        const std::vector<Session> sessions = Sessions();
        std::size_t textBytes = 0;
        for (const Session& session : sessions)
        {
            textBytes += TextBytes(session.station);
        }
        CListBlock<WTS_SESSION_INFOW> block{sessions.size(), textBytes};
        for (std::size_t index = 0; index < sessions.size(); ++index)
        {
            block[index].SessionId = sessions[index].id;
            block[index].State = sessions[index].state;
            block[index].pWinStationName = block.Append(sessions[index].station);
        }
        *list = block.Get();
        *count = static_cast<DWORD>(sessions.size());
        return TRUE;
    }

    __declspec(dllexport) BOOL WINAPI WTSQueryUserToken(ULONG id, PHANDLE token)
    {
        if (PrescribedFailure(L"session", L"query token"))
        {
            return FALSE;
        }
        const std::vector<Session> sessions = Sessions();
        const auto session = std::ranges::find_if(sessions, [id](const Session& each) { return each.id == id; });
        if (session == sessions.end())
        {
            SetLastError(ERROR_CTX_WINSTATION_NOT_FOUND);
            return FALSE;
        }
        if (session->user.empty())
        {
            SetLastError(ERROR_NO_TOKEN);
            return FALSE;
        }
        static const auto systemQuery = SystemFunction<decltype(WTSQueryUserToken)>("WTSQueryUserToken");
        if (!systemQuery(id, token))
        {
            return FALSE;
        }
        RememberToken(*token, {session->user, id, ProfileElevation(), false});
        return TRUE;
    }

    __declspec(dllexport) BOOL WINAPI
        WTSEnumerateProcessesW(HANDLE server, DWORD reserved, DWORD version, PWTS_PROCESS_INFOW* list, DWORD* count)
    {
        if (PrescribedFailure(L"session", L"enumerate processes"))
        {
            return FALSE;
        }
        static const auto systemEnumerate = SystemFunction<decltype(WTSEnumerateProcessesW)>("WTSEnumerateProcessesW");
        static const auto systemFree = SystemFunction<decltype(WTSFreeMemory)>("WTSFreeMemory");
        PWTS_PROCESS_INFOW found = nullptr;
        DWORD foundCount = 0;
        if (!systemEnumerate(server, reserved, version, &found, &foundCount))
        {
            return FALSE;
        }
        std::size_t textBytes = 0;
        for (DWORD index = 0; index < foundCount; ++index)
        {
            textBytes += TextBytes(found[index].pProcessName);
        }
        CListBlock<WTS_PROCESS_INFOW> block{foundCount, textBytes};
        DWORD shown = 0;
        for (DWORD index = 0; index < foundCount; ++index)
        {
            const std::wstring image = found[index].pProcessName;
            if (IsHidden(image))
            {
                continue;
            }
            block[shown].SessionId = SessionOfProcess(image);
            block[shown].ProcessId = found[index].ProcessId;
            block[shown].pProcessName = block.Append(image);
            ++shown;
        }
        systemFree(found);
        *list = block.Get();
        *count = shown;
        return TRUE;
    }

    __declspec(dllexport) void WINAPI WTSFreeMemory(PVOID memory)
    {
        LocalFree(memory);
    }

} // extern "C"
