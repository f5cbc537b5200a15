#include "tests/fuzz/FuzzRun.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>

namespace
{

constexpr ULONGLONG kPatienceMilliseconds = 60000;

std::wstring Variable(const wchar_t* name)
{
    wchar_t text[MAX_PATH]{};
    const DWORD length = GetEnvironmentVariableW(name, text, MAX_PATH);
    return {text, length < MAX_PATH ? length : 0};
}

std::uint64_t NumberVariable(const wchar_t* name, std::uint64_t otherwise)
{
    const std::wstring text = Variable(name);
    return text.empty() ? otherwise : std::stoull(text);
}

std::wstring JournalPath(const std::string& subject)
{
    std::wstring folder = Variable(L"HOTKEY_FUZZ_FOLDER");
    if (folder.empty())
    {
        wchar_t temporary[MAX_PATH]{};
        GetTempPathW(MAX_PATH, temporary);
        folder = temporary + std::to_wstring(GetCurrentProcessId());
    }
    return folder + L"_" + std::wstring(subject.begin(), subject.end()) + L".txt";
}

} // namespace

std::uint64_t CFuzzSource::Next() noexcept
{
    m_ullState += 0x9E3779B97F4A7C15;
    std::uint64_t mixed = m_ullState;
    mixed = (mixed ^ mixed >> 30) * 0xBF58476D1CE4E5B9;
    mixed = (mixed ^ mixed >> 27) * 0x94D049BB133111EB;
    return mixed ^ mixed >> 31;
}

std::string CFuzzSource::Bytes(std::size_t size)
{
    std::string bytes(size, '\0');
    std::generate(bytes.begin(), bytes.end(), [this] { return static_cast<char>(Below(256)); });
    return bytes;
}

std::wstring CFuzzSource::Text(std::size_t longest, std::wstring_view letters)
{
    std::wstring text(Below(static_cast<unsigned>(longest) + 1), L'\0');
    for (wchar_t& character : text)
    {
        character = OneIn(8) ? static_cast<wchar_t>(Below(0x10000)) : Pick(letters);
    }
    return text;
}

void CFuzzSource::Mutate(std::string& bytes)
{
    for (unsigned changes = 1 + Below(4); changes != 0; --changes)
    {
        const std::size_t at = bytes.empty() ? 0 : Below(static_cast<unsigned>(bytes.size()));
        switch (Below(8))
        {
        case 0:
            bytes.resize(at);
            break;
        case 1:
            bytes.insert(at, Bytes(1 + Below(40)));
            break;
        case 2:
            bytes += bytes.substr(at);
            break;
        case 3:
            bytes.erase(at, 1 + Below(8));
            break;
        default:
            if (!bytes.empty())
            {
                constexpr unsigned char kEdges[] = {0x00, 0x01, 0x7f, 0x80, 0xff};
                bytes[at] = static_cast<char>(OneIn(2) ? Pick(kEdges) : Below(256));
            }
        }
    }
}

CFuzzRun::CFuzzRun(const char* subject, std::uint64_t usualInputs)
    : m_strSubject{subject}, m_ullSeed{NumberVariable(L"HOTKEY_FUZZ_SEED", 1)}, m_ullFirst{NumberVariable(
                                                                                    L"HOTKEY_FUZZ_FIRST", 0)},
      m_ullInputs{NumberVariable(L"HOTKEY_FUZZ_INPUTS", usualInputs)}, m_bLong{m_ullInputs > usualInputs},
      m_hJournal{CreateFileW(JournalPath(m_strSubject).c_str(), GENERIC_WRITE, FILE_SHARE_READ, nullptr, CREATE_ALWAYS,
                             Variable(L"HOTKEY_FUZZ_FOLDER").empty() ? FILE_FLAG_DELETE_ON_CLOSE : 0, nullptr)},
      m_hEnd{CreateEventW(nullptr, TRUE, FALSE, nullptr)}, m_ullStarted{GetTickCount64()}
{
    EXPECT_NE(INVALID_HANDLE_VALUE, m_hJournal) << GetLastError();
    m_hWatch = CreateThread(nullptr, 0, &Watch, this, 0, nullptr);
}

CFuzzRun::~CFuzzRun()
{
    SetEvent(m_hEnd);
    WaitForSingleObject(m_hWatch, INFINITE);
    CloseHandle(m_hWatch);
    CloseHandle(m_hEnd);
    CloseHandle(m_hJournal);
}

void CFuzzRun::Each(const std::function<void(CFuzzSource&)>& tryOne)
{
    for (std::uint64_t number = m_ullFirst; number != m_ullFirst + m_ullInputs; ++number)
    {
        m_ullNumber = number;
        m_ullStarted = GetTickCount64();
        WriteDown({});
        CFuzzSource source{m_ullSeed, number};
        tryOne(source);
        if (testing::Test::HasFailure())
        {
            FAIL() << m_strSubject << ": seed " << m_ullSeed << ", input " << number;
        }
    }
    m_ullStarted = GetTickCount64();
}

void CFuzzRun::WriteDown(std::string_view bytes)
{
    std::string text =
        m_strSubject + ": seed " + std::to_string(m_ullSeed) + ", input " + std::to_string(m_ullNumber.load()) + "\n";
    text += bytes;
    OVERLAPPED start{};
    DWORD written = 0;
    WriteFile(m_hJournal, text.data(), static_cast<DWORD>(text.size()), &written, &start);
    SetEndOfFile(m_hJournal);
}

DWORD WINAPI CFuzzRun::Watch(void* parameter)
{
    const auto& run = *static_cast<CFuzzRun*>(parameter);
    while (WaitForSingleObject(run.m_hEnd, 1000) == WAIT_TIMEOUT)
    {
        if (GetTickCount64() - run.m_ullStarted > kPatienceMilliseconds)
        {
            std::printf("%s: input %llu hangs\n", run.m_strSubject.c_str(),
                        static_cast<unsigned long long>(run.m_ullNumber.load()));
            std::fflush(stdout);
            TerminateProcess(GetCurrentProcess(), 3);
        }
    }
    return 0;
}
