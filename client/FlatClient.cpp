#include "client/FlatClient.h"

#include "client/HotKeyClient.h"

#include <chrono>
#include <cstdint>
#include <new>

using HotKey::CError;
using HotKey::CHotKeyClient;
using HotKey::ErrorKind;

namespace
{

constexpr int kAnswered = 0;
constexpr int kUnreachable = 3;
constexpr int kRefused = 4;
constexpr int kTimedOut = 5;
constexpr int kNotUnderstood = 6;

int Failure(const CError& error, unsigned* status)
{
    if (status != nullptr)
    {
        *status = error.ulStatus;
    }
    switch (error.eKind)
    {
    case ErrorKind::Unreachable:
        return kUnreachable;
    case ErrorKind::TimedOut:
        return kTimedOut;
    case ErrorKind::NotUnderstood:
        return kNotUnderstood;
    case ErrorKind::Refused:
        break;
    }
    return kRefused;
}

// Makes a client, asks and hands the answer on. No exception leaves the library.
template <typename Ask, typename Take> int Call(unsigned timeoutMs, unsigned* status, Ask ask, Take take)
{
    if (status != nullptr)
    {
        *status = 0;
    }
    try
    {
        CHotKeyClient client{std::chrono::milliseconds{timeoutMs}};
        const auto answer = ask(client);
        if (!answer)
        {
            return Failure(answer.Error(), status);
        }
        take(answer.Value());
        return kAnswered;
    }
    catch (const std::bad_alloc&)
    {
        return Failure(CError{ErrorKind::Refused, ERROR_OUTOFMEMORY, {}}, status);
    }
}

template <typename Ask> int CallForText(unsigned timeoutMs, BSTR* text, unsigned* status, Ask ask)
{
    *text = nullptr;
    return Call(timeoutMs, status, ask, [text](const std::wstring& answer) {
        *text = SysAllocStringLen(answer.data(), static_cast<UINT>(answer.size()));
        if (*text == nullptr)
        {
            throw std::bad_alloc{};
        }
    });
}

} // namespace

int HotKeyReadSysInfo(unsigned timeoutMs, BSTR* text, unsigned* status)
{
    return CallForText(timeoutMs, text, status, [](CHotKeyClient& client) { return client.ReadSysInfoText(); });
}

int HotKeyReadUsbTypeC(unsigned timeoutMs, BSTR* text, unsigned* status)
{
    return CallForText(timeoutMs, text, status, [](CHotKeyClient& client) { return client.ReadUsbTypeCText(); });
}

int HotKeyReadPresence(unsigned timeoutMs, int* fennixService, int* fennixNode, unsigned* status)
{
    return Call(
        timeoutMs, status, [](CHotKeyClient& client) { return client.ReadPresence(); },
        [fennixService, fennixNode](const HotKey::CPresence& presence) {
            *fennixService = presence.bFennixService ? 1 : 0;
            *fennixNode = presence.bFennixNode ? 1 : 0;
        });
}

int HotKeyLaunchSystemInformation(unsigned timeoutMs, unsigned* status)
{
    return Call(
        timeoutMs, status, [](CHotKeyClient& client) { return client.LaunchSystemInformation(); }, [](const auto&) {});
}

int HotKeyLaunchUsbCApp(unsigned timeoutMs, unsigned* status)
{
    return Call(
        timeoutMs, status, [](CHotKeyClient& client) { return client.LaunchUsbCApp(); }, [](const auto&) {});
}
