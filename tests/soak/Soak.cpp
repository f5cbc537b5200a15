// soak <output> <seconds> <seconds per run> <seed> [inside]: starts and stops the installed service run by run while 32
// client processes mix all operations, users come and go and clients are killed. Writes what it measures to the output,
// one line each (tests/soak/soak.py reads it). "inside" kills clients inside their calls too. Exit code 1 after a
// fault.
#include "tests/soak/SoakBoard.h"
#include "tests/soak/SoakedService.h"

#include "testbed/Text.h"
#include "testbed/machine/Controls.h"

#include <windows.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>
#include <vector>

using namespace Soak;

namespace
{

constexpr DWORD kLogKilobytes = 16384;
constexpr int kLongestStopMilliseconds = 5000;
constexpr int kShortLives = 5; // after each run
constexpr const wchar_t* kEndings[] = {L"stop", L"preshutdown", L"shutdown"};

constexpr const wchar_t* kEvents[] = {L"logoff", L"unlock",  L"logon",  L"lock",
                                      L"unlock", L"suspend", L"resume", L"power-status"};

struct Options
{
    std::wstring output;
    unsigned seconds;
    unsigned secondsPerRun;
    unsigned seed;
    bool killsInsideCalls;
};

class Course
{
  public:
    explicit Course(const Options& options)
        : m_options{options}, m_random{options.seed}, m_board{OpenBoard(kBoardName)},
          m_output{_wfopen(options.output.c_str(), L"wb")}, m_begin{GetTickCount64()}
    {
    }
    ~Course() { std::fclose(m_output); }
    Course(const Course&) = delete;
    Course& operator=(const Course&) = delete;

    bool IsUsable() const { return m_board != nullptr && m_output != nullptr; }

    // True when nothing went wrong.
    bool Run()
    {
        SoakedService service{kLogKilobytes};
        while (Elapsed() < m_options.seconds * 1000ULL && m_faults < 20)
        {
            ++m_run;
            if (!RunOnce(service))
            {
                break;
            }
        }
        return m_faults == 0;
    }

  private:
    ULONGLONG Elapsed() const { return GetTickCount64() - m_begin; }

    void Fault(const std::string& text)
    {
        ++m_faults;
        std::fprintf(m_output, "fault,%u,%.1f,%s\n", m_run, static_cast<double>(Elapsed()) / 1000, text.c_str());
        std::fflush(m_output);
    }

    Child MakeClient(unsigned place)
    {
        Slot& slot = m_board->slots[place];
        slot.ready = 0;
        slot.inside = 0;
        slot.held = 0;
        return Child{L"\"" + ProgramFolder() + L"soak_client.exe\" " + std::to_wstring(place) + L" " +
                     std::to_wstring(m_random() % 1000000)};
    }

    bool RunOnce(SoakedService& service)
    {
        m_kills = m_events = m_logons = 0;
        for (Slot& slot : m_board->slots)
        {
            slot.calls = 0;
            slot.slowestMicroseconds = 0;
            for (std::atomic<std::uint32_t>& count : slot.operations)
            {
                count = 0;
            }
        }
        m_callsBefore = 0;
        const int start = service.Start();
        if (start < 0)
        {
            Fault("the service does not start");
            return false;
        }
        m_board->phase = kRunning;
        std::vector<Child> clients;
        for (unsigned place = 0; place < kClients; ++place)
        {
            clients.push_back(MakeClient(place));
        }
        Load(service, clients);

        m_board->phase = kPaused;
        AwaitQuiet();
        const std::wstring ending = kEndings[m_run % std::size(kEndings)];
        const int stop = service.Stop(ending.c_str());
        m_board->phase = kEnding;
        CollectClients(clients);
        JudgeStop(stop);
        const LogCheck log = SoakedService::CheckLog();
        for (const std::string& line : log.broken)
        {
            Fault("a line of the log is not whole: " + line);
        }
        if (log.files >= 10)
        {
            Fault("old logs were deleted before they were read: use shorter runs");
        }
        std::fprintf(m_output, "run,%u,%d,%d,%s,%u,%u,%u,%u,%llu\n", m_run, start, stop,
                     Testbed::Utf8FromWide(ending).c_str(), Total(), m_kills, m_events, log.files,
                     static_cast<unsigned long long>(log.lines));
        std::fflush(m_output);
        LiveShortly(service);
        return true;
    }

    void JudgeStop(int milliseconds)
    {
        if (milliseconds < 0 || milliseconds > kLongestStopMilliseconds)
        {
            Fault("the stop took " + (milliseconds < 0 ? "more than 30000" : std::to_string(milliseconds)) + " ms");
        }
    }

    // Stops it a moment after its start: before, while and after its endpoint opens.
    void LiveShortly(SoakedService& service)
    {
        for (int life = 0; life < kShortLives; ++life)
        {
            if (service.Start() < 0)
            {
                Fault("the service does not start after a short life");
                return;
            }
            Sleep(static_cast<DWORD>(m_random() % 200));
            JudgeStop(service.Stop(kEndings[m_random() % std::size(kEndings)]));
        }
        static_cast<void>(SoakedService::CheckLog());
    }

    // One run's clients, users and killings.
    void Load(const SoakedService& service, std::vector<Child>& clients)
    {
        const ULONGLONG begin = GetTickCount64();
        ULONGLONG nextSample = begin + 1000;
        ULONGLONG nextEvent = begin + 500;
        ULONGLONG nextKill = begin + 1500;
        m_lastSample = begin;
        while (GetTickCount64() - begin < m_options.secondsPerRun * 1000ULL)
        {
            const ULONGLONG now = GetTickCount64();
            if (now >= nextSample)
            {
                nextSample = now + 1000;
                WriteSample(service, now - begin);
            }
            if (now >= nextEvent)
            {
                nextEvent = now + 300 + m_random() % 900;
                SendEvent();
            }
            if (now >= nextKill)
            {
                nextKill = now + 500 + m_random() % 1500;
                KillOne(clients);
            }
            Sleep(10);
        }
        for (unsigned place = 0; place < kClients; ++place)
        {
            if (m_board->slots[place].ready == 0 && !AwaitReady(place))
            {
                Fault("client " + std::to_string(place) + " never connected");
            }
        }
    }

    bool AwaitReady(unsigned place) const
    {
        for (int attempt = 0; attempt < 1000; ++attempt)
        {
            if (m_board->slots[place].ready != 0)
            {
                return true;
            }
            Sleep(10);
        }
        return false;
    }

    void SendEvent()
    {
        const std::wstring event = kEvents[m_events++ % std::size(kEvents)];
        if (const DWORD error = Testbed::SendControl(*Testbed::ControlCode(event)))
        {
            Fault("the event " + Testbed::Utf8FromWide(event) + " was refused with error " + std::to_string(error));
        }
        m_logons += event == L"logon" ? 1u : 0u;
    }

    void KillOne(std::vector<Child>& clients)
    {
        const auto place = static_cast<unsigned>(m_random() % kClients);
        Slot& slot = m_board->slots[place];
        if (slot.ready == 0)
        {
            return; // not at work yet
        }
        if (!m_options.killsInsideCalls)
        {
            slot.held = 1;
            AwaitOutside(slot);
        }
        clients[place].Kill();
        ++m_kills;
        clients[place] = MakeClient(place);
    }

    static bool AwaitOutside(const Slot& slot)
    {
        for (int attempt = 0; attempt < 6000; ++attempt)
        {
            if (slot.inside == 0)
            {
                return true;
            }
            Sleep(5);
        }
        return false;
    }

    // No call is in progress afterwards.
    void AwaitQuiet()
    {
        for (unsigned place = 0; place < kClients; ++place)
        {
            if (!AwaitOutside(m_board->slots[place]))
            {
                Fault("client " + std::to_string(place) + " got no answer in 30 seconds");
            }
        }
    }

    void CollectClients(const std::vector<Child>& clients)
    {
        for (unsigned place = 0; place < kClients; ++place)
        {
            if (!clients[place].EndsWithin(20000))
            {
                Fault("client " + std::to_string(place) + " does not end");
            }
            else if (clients[place].ExitCode() != 0)
            {
                Fault("client " + std::to_string(place) + " ended with " + std::to_string(clients[place].ExitCode()));
            }
            Slot& slot = m_board->slots[place];
            if (const std::uint32_t lost = slot.lost.exchange(0))
            {
                std::wstring complaint;
                for (std::atomic<wchar_t>& character : slot.complaint)
                {
                    complaint += character.exchange(0);
                }
                Fault(std::to_string(lost) + " lost answers of client " + std::to_string(place) +
                      ", the first: " + Testbed::Utf8FromWide(complaint.c_str()));
            }
        }
    }

    unsigned Total() const
    {
        unsigned total = 0;
        for (const Slot& slot : m_board->slots)
        {
            total += slot.calls;
        }
        return total;
    }

    void WriteSample(const SoakedService& service, ULONGLONG age)
    {
        const ULONGLONG now = GetTickCount64();
        const Sample sample = service.Measure();
        const unsigned calls = Total();
        unsigned slowest = 0;
        unsigned launches = 0;
        for (Slot& slot : m_board->slots)
        {
            slowest = (std::max)(slowest, slot.slowestMicroseconds.exchange(0));
            launches += slot.operations[kLaunchSystemInformation];
        }
        std::fprintf(m_output, "sample,%u,%.3f,%.3f,%llu,%u,%u,%.1f,%.3f,%u,%u,%u\n", m_run,
                     static_cast<double>(Elapsed()) / 1000, static_cast<double>(age) / 1000,
                     static_cast<unsigned long long>(sample.privateBytes / 1024), sample.handles, sample.threads,
                     (calls - m_callsBefore) * 1000.0 / static_cast<double>(now - m_lastSample), slowest / 1000.0,
                     launches, m_logons, m_kills);
        std::fflush(m_output);
        m_callsBefore = calls;
        m_lastSample = now;
        if (service.State() != SERVICE_RUNNING)
        {
            Fault("the service is in state " + std::to_string(service.State()));
        }
    }

    const Options m_options;
    std::mt19937 m_random;
    Board* const m_board;
    FILE* const m_output;
    const ULONGLONG m_begin;
    unsigned m_run{0};
    unsigned m_faults{0};
    unsigned m_kills{0};
    unsigned m_events{0};
    unsigned m_logons{0};
    unsigned m_callsBefore{0};
    ULONGLONG m_lastSample{0};
};

} // namespace

int wmain(int argc, wchar_t** argv)
{
    if (argc < 5)
    {
        std::fputs("usage: soak <output> <seconds> <seconds per run> <seed> [inside]\n", stderr);
        return 2;
    }
    const Options options{argv[1], static_cast<unsigned>(_wtoi(argv[2])), static_cast<unsigned>(_wtoi(argv[3])),
                          static_cast<unsigned>(_wtoi(argv[4])), argc > 5};
    Course course{options};
    if (!course.IsUsable())
    {
        std::fputs("soak: no shared memory, or the output cannot be written\n", stderr);
        return 2;
    }
    return course.Run() ? 0 : 1;
}
