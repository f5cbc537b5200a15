// Costs of the logging library against spdlog (same compiler, same line of about 120 characters) and against the same
// bytes by plain calls. Run it pinned to one processor; the rows with four threads or processes may run free.
#include "bench/Measure.h"

#include "shared/LogFile.h"
#include "shared/LogListener.h"
#include "shared/LogQueue.h"
#include "shared/RecordFifo.h"
#include "shared/TraceScope.h"

#include <spdlog/async.h>
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/spdlog.h>

#include <windows.h>

#include <cstdio>
#include <iterator>
#include <memory>
#include <string>
#include <thread>
#include <vector>

using namespace Quil::Shared;

namespace
{

constexpr DWORD kLargeLimit = 4 * 1024 * 1024; // kilobytes: never reached
constexpr DWORD kDefaultLimit = 2048;
constexpr int kBurst = 5000;
constexpr int kSustained = 100000;
constexpr const char* kFunction = "RpcServer::SysInfo::CHotKeyHandler::Initialize";

std::wstring s_folder;

std::wstring PathOf(const std::wstring& name)
{
    return s_folder + L"\\" + name;
}

void DeleteLogs(const std::wstring& base)
{
    WIN32_FIND_DATAW data{};
    const CUniqueFind find{FindFirstFileW(PathOf(base + L"*").c_str(), &data)};
    if (find)
    {
        do
        {
            DeleteFileW(PathOf(data.cFileName).c_str());
        } while (FindNextFileW(find.Get(), &data));
    }
}

ULONGLONG SizeOf(const std::wstring& path)
{
    WIN32_FILE_ATTRIBUTE_DATA data{};
    GetFileAttributesExW(path.c_str(), GetFileExInfoStandard, &data);
    return ULONGLONG{data.nFileSizeHigh} << 32 | data.nFileSizeLow;
}

// The queued file listener with a size limit of the measurement's choice.
class QueuedFile final : public CqlLogListener
{
  public:
    QueuedFile(const std::wstring& path, DWORD maximumKilobytes)
        : CqlLogListener{0, nullptr, nullptr, true}, m_queue{std::make_shared<CLogFile>(path, maximumKilobytes)}
    {
    }
    void Write(const LogData& record) override { m_queue.Push(record); }
    DWORD Type() const override { return FileQueued; }

  private:
    CLogQueue m_queue;
};

void LogOurs(int records)
{
    const CLogName log{"RpcServer::SysInfo::CHotKeyHandler::Initialize"};
    for (int i = 0; i < records; ++i)
    {
        log.Information(L"record %08d", i);
    }
}

void LogTheirs(spdlog::logger& logger, int records)
{
    for (int i = 0; i < records; ++i)
    {
        logger.info("{}|record {:08}", kFunction, i);
    }
}

void OnThreads(int threads, const std::function<void()>& work)
{
    std::vector<std::jthread> running;
    for (int i = 1; i < threads; ++i)
    {
        running.emplace_back(work);
    }
    work();
}

// Bytes of one of our lines with its end: prefix 45, name, bar, "record 00000000", CR LF.
ULONGLONG OurLineBytes()
{
    return CqlLogListener::LogData{Information, kFunction, L"record 00000000"}.Line().size() + 2;
}

void AwaitSize(const std::wstring& path, ULONGLONG bytes)
{
    while (SizeOf(path) < bytes)
    {
        Sleep(1);
    }
}

struct Timing
{
    double producer;  // ns per record until the call returned
    double sustained; // ns per record until the last byte was in the file
};

Timing TimeOurs(int threads, int records, DWORD limit)
{
    DeleteLogs(L"ours");
    const std::wstring path = PathOf(L"ours.log");
    auto logger = std::make_unique<CqlLogger>();
    logger->AddListener(std::make_unique<QueuedFile>(path, limit));
    auto previous = CqlLogger::ExchangeInstance(std::move(logger));
    const int total = threads * records;
    double producer = 0;
    const double sustained = Bench::NanosecondsPerOperation(
        [&] {
            producer = Bench::NanosecondsPerOperation([&] { OnThreads(threads, [&] { LogOurs(records); }); }, total);
            if (limit == kLargeLimit)
            {
                AwaitSize(path, 3 + OurLineBytes() * static_cast<ULONGLONG>(total));
            }
            else
            {
                // Rotated files share the bytes; the queue's end is seen when its owner goes.
                CqlLogger::ExchangeInstance(nullptr).reset();
            }
        },
        total);
    CqlLogger::ExchangeInstance(std::move(previous));
    return {producer, sustained};
}

Timing TimeTheirs(int threads, int records)
{
    DeleteLogs(L"theirs");
    auto pool = std::make_shared<spdlog::details::thread_pool>(8192, 1);
    const std::wstring path = PathOf(L"theirs.log");
    auto sink = std::make_shared<spdlog::sinks::basic_file_sink_mt>(std::string{path.begin(), path.end()}, true);
    auto logger = std::make_shared<spdlog::async_logger>("bench", sink, pool, spdlog::async_overflow_policy::block);
    logger->set_pattern("%Y/%m/%d %H:%M:%S.%e|%8t|%-11l|%v");
    const int total = threads * records;
    double producer = 0;
    const double sustained = Bench::NanosecondsPerOperation(
        [&] {
            producer = Bench::NanosecondsPerOperation([&] { OnThreads(threads, [&] { LogTheirs(*logger, records); }); },
                                                      total);
            logger.reset();
            pool.reset(); // joins the worker after the last record
            sink->flush();
        },
        total);
    return {producer, sustained};
}

__attribute__((noinline)) void EmptyCall(int value)
{
    asm volatile("" : : "r"(value));
}

void MeasureFilteredCalls()
{
    constexpr int calls = 20000000;
    auto previous = CqlLogger::ExchangeInstance(std::make_unique<CqlLogger>());
    auto sink = std::make_shared<spdlog::sinks::basic_file_sink_mt>("NUL");
    spdlog::logger peer{"peer", sink};
    peer.set_level(spdlog::level::off);
    const CLogName log{"Bench"};
    const auto ours = [&] {
        return Bench::NanosecondsPerOperation(
            [&] {
                for (int i = 0; i < calls; ++i)
                {
                    log.Verbose(L"value %d", i);
                }
            },
            calls);
    };
    const auto empty = [&] {
        return Bench::NanosecondsPerOperation(
            [&] {
                for (int i = 0; i < calls; ++i)
                {
                    EmptyCall(i);
                }
            },
            calls);
    };
    const auto theirs = [&] {
        return Bench::NanosecondsPerOperation(
            [&] {
                for (int i = 0; i < calls; ++i)
                {
                    peer.debug("value {}", i);
                }
            },
            calls);
    };
    Bench::PrintRow("log call below the minimum level", "empty non-inlined call", Bench::SideBySide(ours, empty),
                    Bench::Bar::AtMost, 1.50);
    Bench::PrintRow("log call below the minimum level", "spdlog's", Bench::SideBySide(ours, theirs), Bench::Bar::AtMost,
                    0.15);
    CqlLogger::ExchangeInstance(std::move(previous));
}

// What every record costs at least: its clock, its formatting and one pair of lock calls.
double TimeBound(int records)
{
    CRITICAL_SECTION lock;
    InitializeCriticalSection(&lock);
    const double time = Bench::NanosecondsPerOperation(
        [&] {
            wchar_t message[512];
            for (int i = 0; i < records; ++i)
            {
                SYSTEMTIME now{};
                GetLocalTime(&now);
                _snwprintf(message, std::size(message), L"record %08d", i);
                EnterCriticalSection(&lock);
                LeaveCriticalSection(&lock);
            }
        },
        records);
    DeleteCriticalSection(&lock);
    return time;
}

void MeasureQueue(int threads)
{
    const std::string name = std::to_string(threads) + (threads == 1 ? " thread" : " threads");
    Bench::PrintRow(("queued producer, burst, " + name).c_str(), "spdlog async, blocking",
                    Bench::SideBySide([&] { return TimeOurs(threads, kBurst / threads, kLargeLimit).producer; },
                                      [&] { return TimeTheirs(threads, kBurst / threads).producer; }),
                    Bench::Bar::AtMost, 0.80);
    if (threads == 1)
    {
        Bench::PrintBound("queued producer, burst, 1 thread", "clock, formatting and lock",
                          Bench::SideBySide([] { return TimeOurs(1, kBurst, kLargeLimit).producer; },
                                            [] { return TimeBound(kBurst); }));
    }
    const Bench::Pair times =
        Bench::SideBySide([&] { return TimeOurs(threads, kSustained / threads, kLargeLimit).sustained; },
                          [&] { return TimeTheirs(threads, kSustained / threads).sustained; }, 5);
    Bench::PrintRow(("queued to the last byte, " + name).c_str(), "spdlog async, records/s",
                    {1e9 / times.figure / 1000, 1e9 / times.limit / 1000}, Bench::Bar::AtLeast, 2.0, "k");
}

void MeasureWorker()
{
    constexpr int count = 20000;
    const auto ours = [&] {
        DeleteLogs(L"worker");
        CRecordFifo records;
        for (int i = 0; i < count; ++i)
        {
            records.Append({Information, kFunction, L"record 00000000 with some more text behind it"});
        }
        CLogFile file{PathOf(L"worker.log"), kLargeLimit};
        static_cast<void>(file.Acquire());
        const double time = Bench::NanosecondsPerOperation(
            [&] {
                CqlLogListener::LogData record{TraceIn, "", L""};
                while (records.Take(record))
                {
                    file.WriteLine(record.Line());
                }
                file.Flush();
            },
            count);
        file.Release();
        return time;
    };
    const auto stream = [&] {
        DeleteLogs(L"stream");
        const std::wstring line = std::wstring{CqlLogListener::LogData{Information, kFunction,
                                                                       L"record 00000000 with some more text behind it"}
                                                   .Line()} +
                                  L"\n";
        FILE* const file = _wfopen(PathOf(L"stream.log").c_str(), L"a+,ccs=UTF-8");
        const double time = Bench::NanosecondsPerOperation(
            [&] {
                for (int i = 0; i < count; ++i)
                {
                    fputws(line.c_str(), file);
                }
                fflush(file);
            },
            count);
        fclose(file);
        return time;
    };
    Bench::PrintRow("worker: record to UTF-8 bytes in the file", "fputws into the same stream",
                    Bench::SideBySide(ours, stream), Bench::Bar::AtMost, 0.10);
}

// Direct mode: each record opens, appends and closes under the mutex.
double WriteDirect(int count)
{
    CLogFile file{PathOf(L"direct.log"), kLargeLimit};
    return Bench::NanosecondsPerOperation(
        [&] {
            for (int i = 0; i < count; ++i)
            {
                const CqlLogListener::LogData record{Information, kFunction, L"record 00000000"};
                if (file.Acquire())
                {
                    file.WriteLine(record.Line());
                    file.Release();
                }
            }
        },
        count);
}

double WritePlain(int count)
{
    const CUniqueHandle mutex{CreateMutexW(nullptr, FALSE, L"Global\\PlainBench")};
    const std::string line(100, 'x');
    return Bench::NanosecondsPerOperation(
        [&] {
            for (int i = 0; i < count; ++i)
            {
                WaitForSingleObject(mutex.Get(), INFINITE);
                {
                    const CUniqueHandle file{CreateFileW(
                        PathOf(L"plain.log").c_str(), FILE_APPEND_DATA | FILE_READ_DATA,
                        FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr)};
                    DWORD written = 0;
                    WriteFile(file.Get(), line.data(), static_cast<DWORD>(line.size()), &written, nullptr);
                }
                ReleaseMutex(mutex.Get());
            }
        },
        count);
}

double OnProcesses(int processes, const wchar_t* mode, int count)
{
    wchar_t program[MAX_PATH]{};
    GetModuleFileNameW(nullptr, program, MAX_PATH);
    return Bench::NanosecondsPerOperation(
        [&] {
            std::vector<CUniqueHandle> children;
            for (int i = 0; i < processes; ++i)
            {
                STARTUPINFOW startup{};
                startup.cb = sizeof startup;
                PROCESS_INFORMATION child{};
                std::wstring command = L"bench " + std::wstring{mode} + L" " + std::to_wstring(count);
                if (CreateProcessW(program, command.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup,
                                   &child))
                {
                    CloseHandle(child.hThread);
                    children.emplace_back(child.hProcess);
                }
            }
            for (const CUniqueHandle& child : children)
            {
                WaitForSingleObject(child.Get(), INFINITE);
            }
        },
        static_cast<double>(processes) * count);
}

void MeasureDirect()
{
    constexpr int count = 2000;
    Bench::PrintRow("direct mode, record by record, 1 process", "open, append, close under mutex",
                    Bench::SideBySide([&] { return WriteDirect(count); }, [&] { return WritePlain(count); }),
                    Bench::Bar::AtMost, 1.10);
    Bench::PrintRow("direct mode, record by record, 4 processes", "open, append, close under mutex",
                    Bench::SideBySide([&] { return OnProcesses(4, L"direct", count); },
                                      [&] { return OnProcesses(4, L"plain", count); }, 5),
                    Bench::Bar::AtMost, 1.10);
}

void PutFile(const std::wstring& path, std::size_t size)
{
    const CUniqueHandle file{CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr)};
    std::string text{"2024/03/05 14:07:09.042|00001A2C|Information|x|y\r\n"};
    text.append(size, 'x');
    DWORD written = 0;
    WriteFile(file.Get(), text.data(), static_cast<DWORD>(text.size()), &written, nullptr);
}

void PutNineAndLive(const std::wstring& base)
{
    DeleteLogs(base);
    for (int i = 9; i > 0; --i)
    {
        PutFile(PathOf(base + L"_000" + std::to_wstring(i) + L".log"), 2000);
    }
    PutFile(PathOf(base + L".log"), 2000);
}

// The prescribed calls of one rotation and one append, and nothing else.
void RotateBare(const std::wstring& base, HANDLE mutex)
{
    WaitForSingleObject(mutex, INFINITE);
    const std::wstring live = PathOf(base + L".log");
    CUniqueHandle file{CreateFileW(live.c_str(), FILE_APPEND_DATA | FILE_READ_DATA, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                   nullptr, OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr)};
    WIN32_FILE_ATTRIBUTE_DATA attributes{};
    GetFileAttributesExW(live.c_str(), GetFileExInfoStandard, &attributes);
    wchar_t full[MAX_PATH];
    GetFullPathNameW(live.c_str(), MAX_PATH, full, nullptr);
    WIN32_FIND_DATAW data{};
    std::vector<std::wstring> old;
    {
        const CUniqueFind find{FindFirstFileW(PathOf(base + L"_*.log").c_str(), &data)};
        do
        {
            old.push_back(PathOf(data.cFileName));
        } while (FindNextFileW(find.Get(), &data));
    }
    DeleteFileW(old.back().c_str());
    old.pop_back();
    std::vector<std::wstring> temporaries;
    for (std::size_t i = old.size(); i > 0; --i)
    {
        wchar_t temporary[MAX_PATH];
        GetTempFileNameW(s_folder.c_str(), L"_log_", static_cast<UINT>(i + 1), temporary);
        DeleteFileW(temporary);
        MoveFileW(old[i - 1].c_str(), temporary);
        temporaries.push_back(temporary);
    }
    for (std::size_t i = old.size(); i > 0; --i)
    {
        MoveFileW(temporaries[old.size() - i].c_str(),
                  PathOf(base + L"_000" + std::to_wstring(i + 1) + L".log").c_str());
    }
    file.Reset();
    MoveFileW(live.c_str(), PathOf(base + L"_0001.log").c_str());
    file.Reset(CreateFileW(live.c_str(), FILE_APPEND_DATA | FILE_READ_DATA, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                           OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
    const std::string line(120, 'x');
    DWORD written = 0;
    WriteFile(file.Get(), line.data(), static_cast<DWORD>(line.size()), &written, nullptr);
    file.Reset();
    ReleaseMutex(mutex);
}

double TimeRotation()
{
    double total = 0;
    for (int i = 0; i < 20; ++i)
    {
        PutNineAndLive(L"rotated");
        const CqlLogListener::LogData record{Information, kFunction, L"record 00000000"};
        CLogFile file{PathOf(L"rotated.log"), 1};
        total += Bench::NanosecondsPerOperation(
            [&] {
                static_cast<void>(file.Acquire());
                file.WriteLine(record.Line());
                file.Release();
            },
            1);
    }
    return total / 20;
}

double TimeBareRotation()
{
    const CUniqueHandle mutex{CreateMutexW(nullptr, FALSE, L"Global\\PlainBench")};
    double total = 0;
    for (int i = 0; i < 20; ++i)
    {
        PutNineAndLive(L"bare");
        total += Bench::NanosecondsPerOperation([&] { RotateBare(L"bare", mutex.Get()); }, 1);
    }
    return total / 20;
}

void MeasureRotation()
{
    const Bench::Pair rotation = Bench::SideBySide(TimeRotation, TimeBareRotation);
    Bench::PrintRow("one rotation with nine old files", "the same file calls made bare", rotation, Bench::Bar::AtMost,
                    1.05);

    // With the default limit about one rotation for each 2 MB; the bound adds their bare cost to the run without.
    const int records = kSustained;
    const double rotations = static_cast<double>(OurLineBytes()) * records / (kDefaultLimit * 1024.0);
    const Bench::Pair times = Bench::SideBySide([&] { return TimeOurs(1, records, kDefaultLimit).sustained; },
                                                [&] { return TimeOurs(1, records, kLargeLimit).sustained; }, 5);
    const double bound = times.limit + rotations * rotation.limit / records;
    Bench::PrintRow("queued to the last byte, default size limit", "what bare rotations leave, records/s",
                    {1e9 / times.figure / 1000, 1e9 / bound / 1000}, Bench::Bar::AtLeast, 0.75, "k");
}

} // namespace

int main(int argc, char** argv)
{
    wchar_t folder[MAX_PATH]{};
    GetTempPathW(MAX_PATH, folder);
    s_folder = std::wstring{folder} + L"log_bench";
    CreateDirectoryW(s_folder.c_str(), nullptr);
    if (argc == 3)
    {
        const int count = std::atoi(argv[2]);
        static_cast<void>(std::string{argv[1]} == "direct" ? WriteDirect(count) : WritePlain(count));
        return 0;
    }
    Bench::PrintHeader();
    MeasureFilteredCalls();
    MeasureQueue(1);
    MeasureQueue(4);
    MeasureWorker();
    MeasureDirect();
    MeasureRotation();
    return 0;
}
