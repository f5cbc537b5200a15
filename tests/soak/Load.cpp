// load <held> <hold seconds> <connects> <killed>: the installed service under more than it is made for. Prints what
// each step did to it, and whether it answers as before afterwards; exit code 1 when it does not.
#include "tests/soak/LoadBoard.h"
#include "tests/soak/SoakedService.h"

#include "testbed/Paths.h"
#include "testbed/Text.h"

#include <windows.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

using namespace Soak;

namespace
{

constexpr DWORD kLogKilobytes = 1000000;
constexpr unsigned kSlowestAnswerMicroseconds = 100000;
constexpr unsigned kKilledAtOnce = 250;
// So many calls Wine's run time lets run side by side, whatever maximum it is told: its pool has 500 threads, and one
// of them listens. The others wait in line.
constexpr unsigned kCallsOfWine = 499;
constexpr unsigned kMute = 16;
constexpr unsigned kFlooding = 2;

// Waits up to two minutes.
template <typename Condition> bool Eventually(Condition condition)
{
    for (const ULONGLONG begin = GetTickCount64(); GetTickCount64() - begin < 120000; Sleep(50))
    {
        if (condition())
        {
            return true;
        }
    }
    return condition();
}

// How long the device framework takes for each of its answers from now on.
void SetFrameworkDelay(unsigned milliseconds)
{
    const std::string text = "\n[framework]\ndelay = " + std::to_string(milliseconds) + "\n";
    const HANDLE file = CreateFileW(Testbed::kProfilePath, FILE_APPEND_DATA, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                    nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    DWORD written = 0;
    WriteFile(file, text.data(), static_cast<DWORD>(text.size()), &written, nullptr);
    CloseHandle(file);
}

class Load
{
  public:
    explicit Load(LoadBoard& board) : m_board{board} {}

    bool Succeeded() const { return m_succeeded; }

    // All calls wait for the device framework at the same time; one more caller comes.
    void HoldCalls(unsigned count, unsigned seconds)
    {
        SetFrameworkDelay(seconds * 1000 + 6000 + count * 20);
        if (!Begin("calls held"))
        {
            return;
        }
        const Child holder = Client(L"hold", count);
        const bool connected =
            Eventually([&] { return m_board.connected == count || m_board.refused != 0; }) && m_board.refused == 0;
        Expect(connected, "not all clients connected");
        const Sample before = m_service.Measure();
        const ULONGLONG begin = GetTickCount64();
        m_board.go = 1;
        const unsigned expected = (std::min)(count, kCallsOfWine);
        Expect(Eventually([&] { return SoakedService::CallsInProgress() == expected; }), "calls are not inside");
        const ULONGLONG allInside = GetTickCount64();
        const Sample full = m_service.Measure();
        const Child oneMore = Client(L"probe", 1);
        while (GetTickCount64() - allInside < seconds * 1000ULL)
        {
            Sleep(50);
        }
        const bool waits = !oneMore.EndsWithin(0);
        Expect(m_board.answered + m_board.refused == (waits ? 0u : 1u), "calls ended before their time");
        const unsigned inside = SoakedService::CallsInProgress();
        Expect(inside == expected, "calls ended before their time");
        SetFrameworkDelay(0);
        const bool answered =
            Eventually([&] { return m_board.answered + m_board.refused == count + 1; }) && m_board.refused == 0;
        Expect(answered, "calls got no answer");
        Expect(holder.EndsWithin(60000) && oneMore.EndsWithin(60000), "the callers do not end");
        std::printf("  %u calls at once: %u inside after %llu ms and after %u s more, %u in line\n", count, inside,
                    static_cast<unsigned long long>(allInside - begin), seconds, count - inside);
        std::printf("  threads %u -> %u, private memory %llu -> %llu KB\n", before.threads, full.threads,
                    static_cast<unsigned long long>(before.privateBytes / 1024),
                    static_cast<unsigned long long>(full.privateBytes / 1024));
        std::printf("  one more caller %s\n", waits ? "waited in line" : "was answered meanwhile");
        CheckAnswers();
        End();
    }

    void ConnectOften(unsigned count)
    {
        if (!Begin("connects"))
        {
            return;
        }
        CheckAnswers();
        const Sample before = m_service.Measure();
        m_board.connected = 0;
        const ULONGLONG begin = GetTickCount64();
        const Child client = Client(L"connect", count);
        Expect(client.EndsWithin(600000) && m_board.connected == count, "connects failed");
        const ULONGLONG duration = GetTickCount64() - begin;
        const Sample after = m_service.Measure();
        std::printf("  %u connects and disconnects in %llu ms\n", count, static_cast<unsigned long long>(duration));
        PrintCost(before, after, count, "connection");
        Expect(after.handles < before.handles + 50, "handles are left");
        CheckAnswers();
        End();
    }

    // Processes with many connections each are ended while all of them are in a call.
    void KillClients(unsigned count)
    {
        for (unsigned killed = 0; killed < count;)
        {
            const unsigned now = (std::min)(count - killed, kKilledAtOnce);
            SetFrameworkDelay(6000 + now * 20);
            if (!Begin("clients killed in a call, " + std::to_string(killed + 1) + " to " +
                       std::to_string(killed + now)))
            {
                return;
            }
            const Sample before = m_service.Measure();
            {
                const Child holder = Client(L"hold", now);
                Expect(Eventually([&] { return m_board.connected == now; }), "clients cannot connect");
                m_board.go = 1;
                Expect(Eventually([&] { return SoakedService::CallsInProgress() == now; }), "not all calls are inside");
                holder.Kill();
            }
            SetFrameworkDelay(0);
            Expect(Eventually([] { return SoakedService::CallsInProgress() == 0; }), "calls of killed clients go on");
            CheckAnswers();
            PrintCost(before, m_service.Measure(), now, "killed client");
            // Wine's run time may have lost count of such a call, and then waits for it when it is stopped.
            EndAtOnce();
            killed += now;
        }
    }

    // Their threads wait until somebody reads.
    void NeverRead()
    {
        if (!Begin("clients that never read an answer"))
        {
            return;
        }
        CheckAnswers();
        for (const wchar_t* const kind : {L"mute", L"flood"})
        {
            const bool flood = std::wstring_view{kind} == L"flood";
            const Sample before = m_service.Measure();
            m_board.connected = 0;
            const Child client = Client(kind, flood ? kFlooding : kMute);
            Expect(Eventually([&] { return m_board.connected == (flood ? kFlooding : kMute); }),
                   "clients cannot connect");
            Sleep(2000);
            if (!flood)
            {
                CheckAnswers();
            }
            PrintCost(before, m_service.Measure(), flood ? kFlooding : kMute,
                      flood ? "client with request upon request" : "client with one request");
            client.Kill();
            CheckAnswers();
        }
        EndAtOnce();
    }

  private:
    Child Client(const wchar_t* kind, unsigned count) const
    {
        return Child{L"\"" + ProgramFolder() + L"load_client.exe\" " + kind + L" " + std::to_wstring(count)};
    }

    void Expect(bool condition, const std::string& complaint)
    {
        if (!condition)
        {
            std::printf("  FAULT: %s\n", complaint.c_str());
            m_succeeded = false;
        }
    }

    bool Begin(const std::string& title)
    {
        std::printf("%s\n", title.c_str());
        std::fflush(stdout);
        m_board.connected = m_board.go = m_board.answered = m_board.refused = m_board.status = 0;
        const bool started = m_service.Start() >= 0;
        Expect(started, "the service does not start");
        return started;
    }
    void End()
    {
        const int stop = m_service.Stop(L"stop");
        Expect(stop >= 0 && stop <= 5000, "the stop took " + std::to_string(stop) + " ms");
        const LogCheck log = SoakedService::CheckLog();
        Expect(log.broken.empty(), log.broken.empty() ? "" : "a broken line of the log: " + log.broken.front());
        std::fflush(stdout);
    }
    void EndAtOnce()
    {
        m_service.Kill();
        static_cast<void>(SoakedService::CheckLog());
        std::fflush(stdout);
    }

    void CheckAnswers()
    {
        m_board.medianMicroseconds = 0;
        const unsigned refused = m_board.refused;
        const Child probe = Client(L"probe", 21);
        const bool ended = probe.EndsWithin(30000);
        Expect(ended && m_board.refused == refused, "the service does not answer");
        Expect(m_board.medianMicroseconds < kSlowestAnswerMicroseconds, "the service answers slowly");
        std::printf("  then an answer takes %.1f ms, the slowest of 21 %.1f ms\n", m_board.medianMicroseconds / 1000.0,
                    m_board.slowestMicroseconds / 1000.0);
    }

    static void PrintCost(const Sample& before, const Sample& after, unsigned count, const char* what)
    {
        const auto each = [&](double earlier, double later) { return (later - earlier) / count; };
        std::printf("  right after: %.2f KB, %.2f handles, %.2f threads more for each %s\n",
                    each(static_cast<double>(before.privateBytes), static_cast<double>(after.privateBytes)) / 1024,
                    each(before.handles, after.handles), each(before.threads, after.threads), what);
    }

    LoadBoard& m_board;
    SoakedService m_service{kLogKilobytes};
    bool m_succeeded{true};
};

} // namespace

int wmain(int argc, wchar_t** argv)
{
    LoadBoard* const board = OpenLoadBoard();
    if (argc != 5 || board == nullptr)
    {
        std::fputs("usage: load <held> <hold seconds> <connects> <killed>\n", stderr);
        return 2;
    }
    const auto number = [&](int index) { return static_cast<unsigned>(_wtoi(argv[index])); };
    Load load{*board};
    load.HoldCalls(number(1), number(2));
    load.ConnectOften(number(3));
    load.KillClients(number(4));
    load.NeverRead();
    std::puts(load.Succeeded() ? "no faults" : "FAULTS");
    return load.Succeeded() ? 0 : 1;
}
