// Many processes on one log file, and processes that are ended at any moment.
#include "tests/unit/shared/LogFolder.h"

#include <gtest/gtest.h>

#include <windows.h>

#include <algorithm>
#include <cstdio>
#include <map>
#include <memory>
#include <random>

namespace
{

std::wstring ProgramFolder()
{
    wchar_t path[MAX_PATH]{};
    GetModuleFileNameW(nullptr, path, MAX_PATH);
    const std::wstring full{path};
    return full.substr(0, full.rfind(L'\\') + 1);
}

// A running log_writer.
class Writer
{
  public:
    Writer(const std::wstring& path, bool queued, int id, int records, int kilobytes)
    {
        SECURITY_ATTRIBUTES inheritable{sizeof inheritable, nullptr, TRUE};
        HANDLE output = nullptr;
        EXPECT_TRUE(CreatePipe(&m_signal, &output, &inheritable, 0));
        SetHandleInformation(m_signal, HANDLE_FLAG_INHERIT, 0);
        std::wstring command = L"\"" + ProgramFolder() + L"log_writer.exe\" \"" + path + L"\" " +
                               (queued ? L"queued " : L"direct ") + std::to_wstring(id) + L" " +
                               std::to_wstring(records) + L" " + std::to_wstring(kilobytes);
        STARTUPINFOW startup{};
        startup.cb = sizeof startup;
        startup.dwFlags = STARTF_USESTDHANDLES;
        startup.hStdOutput = output;
        EXPECT_TRUE(
            CreateProcessW(nullptr, command.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr, &startup, &m_process))
            << GetLastError();
        CloseHandle(output);
    }
    ~Writer()
    {
        Kill();
        CloseHandle(m_signal);
        CloseHandle(m_process.hThread);
        CloseHandle(m_process.hProcess);
    }
    Writer(const Writer&) = delete;
    Writer& operator=(const Writer&) = delete;

    // Returns when the writer begins.
    void AwaitStart()
    {
        char letter = 0;
        DWORD read = 0;
        EXPECT_TRUE(ReadFile(m_signal, &letter, 1, &read, nullptr));
    }
    bool EndsWithin(DWORD milliseconds) { return WaitForSingleObject(m_process.hProcess, milliseconds) == 0; }
    DWORD ExitCode() const
    {
        DWORD code = 0;
        GetExitCodeProcess(m_process.hProcess, &code);
        return code;
    }
    void Kill()
    {
        TerminateProcess(m_process.hProcess, 1);
        WaitForSingleObject(m_process.hProcess, 10000);
    }

  private:
    HANDLE m_signal{nullptr};
    PROCESS_INFORMATION m_process{};
};

// Keeps rotation from deleting: with ten old files and more, which are empty here, nothing is deleted. Takes numbered
// and half renamed files with lines in them out of the way and keeps them for the count.
class Archive
{
  public:
    Archive(const LogFolder& live, const LogFolder& kept) : m_live{live}, m_kept{kept} { MakeEmptyOldFiles(); }

    // With the file's mutex, abandoned or not.
    void Collect()
    {
        const HANDLE mutex = CreateMutexW(nullptr, FALSE, MutexNameOf(m_live.File(L"App.log")).c_str());
        WaitForSingleObject(mutex, INFINITE);
        for (const std::wstring& name : m_live.Names())
        {
            if (name == L"App.log")
            {
                continue;
            }
            if (m_live.Read(name).empty())
            {
                EXPECT_TRUE(DeleteFileW(m_live.File(name).c_str()));
                continue;
            }
            const std::wstring number = std::to_wstring(m_rotations++);
            EXPECT_TRUE(MoveFileW(m_live.File(name).c_str(), m_kept.File(number).c_str())) << GetLastError();
        }
        MakeEmptyOldFiles();
        ReleaseMutex(mutex);
        CloseHandle(mutex);
    }
    int Rotations() const noexcept { return m_rotations; }

    std::vector<std::string> Contents() const
    {
        std::vector<std::string> contents;
        for (const std::wstring& name : m_kept.Names())
        {
            contents.push_back(m_kept.Read(name));
        }
        contents.push_back(m_live.Read(L"App.log"));
        return contents;
    }

  private:
    void MakeEmptyOldFiles() const
    {
        for (int number = 0; number < 10; ++number)
        {
            m_live.Write(L"App_000" + std::to_wstring(number) + L".log", "");
        }
    }

    const LogFolder& m_live;
    const LogFolder& m_kept;
    int m_rotations{0};
};

// What is in all files: each writer's record numbers, and the lines that are no records.
struct Found
{
    std::map<int, std::vector<int>> records;
    std::vector<std::string> torn;
};

// Checks byte-order marks and the order inside each file on the way.
Found Read(const std::vector<std::string>& contents)
{
    Found found;
    for (const std::string& content : contents)
    {
        EXPECT_TRUE(content.empty() || content.substr(0, 3) == "\xEF\xBB\xBF");
        EXPECT_EQ(std::string::npos, content.find("\xEF\xBB\xBF", 1));
        std::map<int, int> last;
        for (std::size_t begin = 3; begin < content.size();)
        {
            const std::size_t end = content.find("\r\n", begin);
            const std::string line = content.substr(begin, end - begin);
            begin = end == std::string::npos ? content.size() : end + 2;
            int writer = -1;
            int record = -1;
            int length = 0;
            const bool prefix =
                line.size() > 60 && line[23] == '|' && line[32] == '|' &&
                std::sscanf(line.c_str() + 33, "Information|Writer::Write|%d %d %n", &writer, &record, &length) == 2;
            const std::size_t text = 33 + static_cast<std::size_t>(length);
            if (!prefix || end == std::string::npos ||
                line.substr(text) != std::string(static_cast<std::size_t>(record % 64), 'x'))
            {
                found.torn.push_back(line);
                continue;
            }
            EXPECT_TRUE(!last.contains(writer) || last[writer] < record) << line;
            last[writer] = record;
            found.records[writer].push_back(record);
        }
    }
    for (auto& [writer, records] : found.records)
    {
        std::sort(records.begin(), records.end());
    }
    return found;
}

std::vector<int> UpTo(std::size_t count)
{
    std::vector<int> numbers(count);
    for (std::size_t i = 0; i < count; ++i)
    {
        numbers[i] = static_cast<int>(i);
    }
    return numbers;
}

// Ends writers of one mode at random moments while another process, which never rotates, goes on.
void KillWriters(bool queued)
{
    constexpr int kKills = 100;
    constexpr int kSurvivor = 1000;
    LogFolder live;
    LogFolder kept;
    Archive archive{live, kept};
    const std::wstring path = live.File(L"App.log");
    std::mt19937 random{queued ? 2u : 1u};
    auto survivor = std::make_unique<Writer>(path, false, kSurvivor, 1000000, 1000000);
    survivor->AwaitStart();

    for (int victim = 0; victim < kKills; ++victim)
    {
        Writer writer{path, queued, victim, 1000000, queued ? 200 : 8};
        writer.AwaitStart();
        Sleep(random() % 60);
        writer.Kill();
        archive.Collect();
    }
    // The survivor still writes: the mutex is in order.
    const std::size_t before = live.Read(L"App.log").size();
    for (int attempt = 0; attempt < 1000 && live.Read(L"App.log").size() == before; ++attempt)
    {
        Sleep(10);
    }
    EXPECT_LT(before, live.Read(L"App.log").size());
    survivor->Kill();
    archive.Collect();

    const Found found = Read(archive.Contents());
    EXPECT_LT(20, archive.Rotations());
    EXPECT_LT(30u, found.records.size()); // some are ended before their first record is in the file
    // Nobody's records are lost or doubled, except the last ones of those that were ended.
    for (const auto& [writer, records] : found.records)
    {
        EXPECT_EQ(UpTo(records.size()), records) << writer;
    }
    EXPECT_GE(static_cast<std::size_t>(kKills) + 1, found.torn.size());
}

} // namespace

TEST(LogStress, EightProcessesInBothModesLoseAndDoubleNothingThroughManyRotations)
{
    constexpr int kProcesses = 8;
    constexpr int kRecords = 20000;
    LogFolder live;
    LogFolder kept;
    Archive archive{live, kept};
    std::vector<std::unique_ptr<Writer>> writers;
    for (int id = 0; id < kProcesses; ++id)
    {
        writers.push_back(std::make_unique<Writer>(live.File(L"App.log"), id % 2 == 0, id, kRecords, 400));
    }
    for (const auto& writer : writers)
    {
        EXPECT_TRUE(writer->EndsWithin(100000));
        EXPECT_EQ(0u, writer->ExitCode());
    }
    archive.Collect();

    const Found found = Read(archive.Contents());
    EXPECT_LE(20, archive.Rotations());
    EXPECT_EQ(std::vector<std::string>{}, found.torn);
    ASSERT_EQ(static_cast<std::size_t>(kProcesses), found.records.size());
    for (const auto& [writer, records] : found.records)
    {
        EXPECT_EQ(UpTo(kRecords), records) << writer;
    }
}

TEST(LogStress, DirectWritersThatAreEndedAtAnyMomentTakeNobodyElsesLinesWithThem)
{
    KillWriters(false);
}

TEST(LogStress, QueuedWritersThatAreEndedAtAnyMomentTakeNobodyElsesLinesWithThem)
{
    KillWriters(true);
}
