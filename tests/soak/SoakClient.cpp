// One of the soak's clients: soak_client <slot> <seed>. Calls a random mix of all operations until the board says that
// the run ends, compares each answer with the healthy laptop's, and tells the board.
#include "client/HotKeyClient.h"
#include "tests/soak/SoakBoard.h"

#include <windows.h>

#include <algorithm>
#include <cstdlib>
#include <random>
#include <string>

using namespace Soak;

namespace
{

constexpr wchar_t kUsbTypeC[] =
    L"USB 2.0|.#.$USB 3.1 Gen 2<.^.>Supported<.^.>Supported<.^.>Supported<.^.>Not Supported<.^.>65W";

// Of 200 calls; starting a program costs a hundred times what the others do.
constexpr unsigned kShares[kOperations] = {60, 60, 28, 28, 12, 10, 1, 1};

std::wstring Wrong(const std::wstring& text)
{
    return L"unexpected answer: " + text;
}

// Empty when the answer is right.
std::wstring Complaint(HotKey::CHotKeyClient& client, Operation operation)
{
    const auto yes = [](const HotKey::CResult<bool>& answer) {
        return !answer ? answer.Error().strText : answer.Value() ? std::wstring{} : Wrong(L"no");
    };
    const auto done = [](const HotKey::CResult<HotKey::CNothing>& answer) {
        return answer ? std::wstring{} : answer.Error().strText;
    };
    switch (operation)
    {
    case kReadSysInfo: {
        const auto answer = client.ReadSysInfo();
        if (!answer)
        {
            return answer.Error().strText;
        }
        const bool right = answer.Value() && answer.Value()->strProductName == L"Laptop 14 Model A";
        return right ? std::wstring{} : Wrong(answer.Value() ? answer.Value()->strProductName : L"nothing");
    }
    case kReadUsbTypeC: {
        const auto answer = client.ReadUsbTypeCText();
        return !answer ? answer.Error().strText : answer.Value() == kUsbTypeC ? std::wstring{} : Wrong(answer.Value());
    }
    case kIsServiceInstalled:
        return yes(client.IsFennixServiceInstalled());
    case kIsNodePresent:
        return yes(client.IsFennixNodePresent());
    case kReadPresence: {
        const auto answer = client.ReadPresence();
        return !answer                                                       ? answer.Error().strText
               : answer.Value().bFennixService && answer.Value().bFennixNode ? std::wstring{}
                                                                             : Wrong(L"absent");
    }
    case kReconnect:
        client.Disconnect();
        return done(client.Connect());
    case kLaunchSystemInformation:
        return done(client.LaunchSystemInformation());
    case kLaunchUsbCApp:
        return done(client.LaunchUsbCApp());
    case kOperations:
        break;
    }
    return Wrong(L"no such operation");
}

Operation Draw(std::mt19937& random)
{
    unsigned ticket = static_cast<unsigned>(random() % 200);
    unsigned operation = 0;
    while (ticket >= kShares[operation])
    {
        ticket -= kShares[operation++];
    }
    return static_cast<Operation>(operation);
}

void Raise(std::atomic<std::uint32_t>& slowest, std::uint32_t value)
{
    std::uint32_t known = slowest.load();
    while (known < value && !slowest.compare_exchange_weak(known, value))
    {
    }
}

void Complain(Slot& slot, Operation operation, const std::wstring& text)
{
    if (slot.lost++ == 0)
    {
        const std::wstring line = L"operation " + std::to_wstring(operation) + L": " + text;
        const std::size_t length = std::min(line.size(), std::size(slot.complaint) - 1);
        std::copy_n(line.begin(), length, slot.complaint);
    }
}

// The endpoint opens a moment after the service reports that it runs.
bool ConnectAtFirst(HotKey::CHotKeyClient& client)
{
    for (int attempt = 0; attempt < 200; ++attempt)
    {
        if (client.Connect())
        {
            return true;
        }
        Sleep(50);
    }
    return false;
}

void Work(Board& board, Slot& slot, HotKey::CHotKeyClient& client, std::mt19937& random)
{
    LARGE_INTEGER frequency{};
    QueryPerformanceFrequency(&frequency);
    while (board.phase != kEnding)
    {
        slot.inside = 1;
        if (board.phase != kRunning || slot.held != 0)
        {
            slot.inside = 0;
            Sleep(10);
            continue;
        }
        const Operation operation = Draw(random);
        LARGE_INTEGER begin{};
        LARGE_INTEGER end{};
        QueryPerformanceCounter(&begin);
        const std::wstring complaint = Complaint(client, operation);
        QueryPerformanceCounter(&end);
        slot.inside = 0;
        if (!complaint.empty())
        {
            Complain(slot, operation, complaint);
        }
        ++slot.calls;
        ++slot.operations[operation];
        Raise(slot.slowestMicroseconds,
              static_cast<std::uint32_t>((end.QuadPart - begin.QuadPart) * 1000000 / frequency.QuadPart));
        Sleep(static_cast<DWORD>(random() % 100));
    }
}

} // namespace

int wmain(int argc, wchar_t** argv)
{
    const unsigned place = argc == 3 ? static_cast<unsigned>(_wtoi(argv[1])) : kClients;
    Board* const board = OpenBoard(kBoardName);
    if (place >= kClients || board == nullptr)
    {
        return 2;
    }
    Slot& slot = board->slots[place];
    std::mt19937 random{static_cast<unsigned>(_wtoi(argv[2]))};
    HotKey::CHotKeyClient client;
    if (!ConnectAtFirst(client))
    {
        Complain(slot, kReconnect, L"no connection in ten seconds");
        return 1;
    }
    slot.ready = 1;
    Work(*board, slot, client, random);
    // The service is gone by now: there is nobody to say goodbye to.
    TerminateProcess(GetCurrentProcess(), 0);
    return 0;
}
