// What the log finds at its place: files of any contents, old files of any name, policy values of any type and length.
#include "shared/LogLevel.h"
#include "shared/LogListenerFile.h"
#include "shared/LogPolicy.h"
#include "shared/LogRotation.h"
#include "tests/fuzz/FuzzRun.h"
#include "tests/harness/RegistryScope.h"
#include "tests/unit/shared/LogFolder.h"

#include <gtest/gtest.h>

#include <windows.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

using namespace Quil::Shared;

namespace
{

std::vector<std::string> ContentsOf(const LogFolder& folder)
{
    std::vector<std::string> contents;
    for (const std::wstring& name : folder.Names())
    {
        contents.push_back(folder.Read(name));
    }
    return contents;
}

void Clear(const LogFolder& folder)
{
    for (const std::wstring& name : folder.Names())
    {
        EXPECT_TRUE(DeleteFileW(folder.File(name).c_str())) << GetLastError();
    }
}

void WriteRecord(const LogFolder& folder, bool queued)
{
    CqlLogListenerFile listener{queued, TraceIn, folder.File(L"App.log")};
    listener.Write({Error, "A::B", L"the record"});
}

} // namespace

TEST(FuzzLog, AnyContentsOfTheFile)
{
    const RegistryScope registry;
    LogFolder folder;
    CFuzzRun run{"log-head", 100};
    run.Each([&](CFuzzSource& source) {
        std::string bytes = source.OneIn(4) ? source.Bytes(source.Below(200))
                                            : "\xEF\xBB\xBF"
                                              "2024/03/05 14:07:09.042|00001A2C|Error      |A::B|x\r\n";
        source.Mutate(bytes);
        run.WriteDown(bytes);
        folder.Write(L"App.log", bytes);

        WriteRecord(folder, source.OneIn(20));

        // Whether it stays in front or goes to a file of its own: no byte of it is lost or changed.
        const std::string live = folder.Read(L"App.log");
        const std::string old = folder.Read(L"App_0001.log");
        EXPECT_TRUE(live.ends_with("|Error      |A::B|the record\r\n"));
        EXPECT_TRUE(live.starts_with(bytes) || old == bytes);
        EXPECT_LE(folder.Names().size(), 2U);
        Clear(folder);
    });
}

TEST(FuzzLog, AnyOldFiles)
{
    LogFolder folder;
    CFuzzRun run{"log-names", 40};
    run.Each([&](CFuzzSource& source) {
        std::string names;
        std::vector<std::string> before;
        for (unsigned count = source.Below(13); count != 0; --count)
        {
            const std::wstring middle =
                source.OneIn(2) ? std::to_wstring(source.Below(15)) : source.Text(12, L"0123456789_-. aZ\u00e4");
            std::wstring name = (source.OneIn(10) ? L"app_" : L"App_") + middle + L".log";
            name.erase(std::remove_if(name.begin(), name.end(),
                                      [](wchar_t c) {
                                          return c < 0x20 || c >= 0xd800 || std::wcschr(L"<>:\"/\\|?*", c) != nullptr;
                                      }),
                       name.end());
            const std::string contents = "old file " + std::to_string(count);
            const HANDLE file =
                CreateFileW(folder.File(name).c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW, 0, nullptr);
            if (file == INVALID_HANDLE_VALUE)
            {
                continue;
            }
            CloseHandle(file);
            folder.Write(name, contents);
            folder.SetLastWrite(name, static_cast<int>(source.Below(10)));
            before.push_back(contents);
            names += std::string(name.begin(), name.end()) + "\n";
        }
        run.WriteDown(names);
        CLogFileNames parts;
        ASSERT_TRUE(parts.Split(folder.File(L"App.log")));

        ShiftNumberedLogs(parts);

        // Nothing is lost but the oldest of nine.
        std::vector<std::string> after = ContentsOf(folder);
        std::sort(before.begin(), before.end());
        std::sort(after.begin(), after.end());
        EXPECT_TRUE(std::includes(before.begin(), before.end(), after.begin(), after.end()));
        EXPECT_GE(after.size() + (before.size() >= 9 ? 1 : 0), before.size());
        Clear(folder);
    });
}

namespace
{

constexpr wchar_t kProductKey[] = L"Software\\Policies\\Quil\\Fuzz";

struct StoredValue
{
    DWORD type{REG_NONE};
    std::string bytes;

    std::wstring Text() const
    {
        std::wstring text(bytes.size() / 2, L'\0');
        std::memcpy(text.data(), bytes.data(), text.size() * 2);
        text.resize((std::min)(text.find(L'\0'), text.size()));
        return text;
    }
    DWORD Number() const
    {
        DWORD number = 0;
        std::memcpy(&number, bytes.data(), (std::min)(bytes.size(), sizeof number));
        return number;
    }
};

StoredValue SomeValue(CFuzzSource& source)
{
    constexpr const wchar_t* kWords[] = {L"Error", L"tracein", L"DIAG", L"Never", L"File;Event", L"console debug", L""};
    constexpr unsigned kLengths[] = {0, 1, 2, 3, 4, 5, 8, 127, 128, 129, 254, 255, 256, 257, 600};
    StoredValue value;
    value.type = source.OneIn(3) ? DWORD{REG_SZ} : source.OneIn(3) ? DWORD{REG_DWORD} : source.Below(14);
    if (source.OneIn(2))
    {
        const std::wstring word = source.Pick(kWords);
        // With its NUL, without it, or without the half of its last character.
        const std::size_t size = (word.size() + 1) * 2 - source.Below(4);
        value.bytes.assign(reinterpret_cast<const char*>(word.c_str()), (std::min)(size, (word.size() + 1) * 2));
    }
    else
    {
        value.bytes = source.OneIn(3) ? std::string(source.Pick(kLengths), 'E') : source.Bytes(source.Pick(kLengths));
    }
    return value;
}

} // namespace

TEST(FuzzLog, AnyPolicyValue)
{
    RegistryScope registry;
    CFuzzRun run{"policy", 1000};
    // 256 bytes without a NUL and the like: what is too long counts as missing.
    run.Each([&](CFuzzSource& source) {
        const StoredValue value = SomeValue(source);
        run.WriteDown(std::to_string(value.type) + "\n" + value.bytes);
        // Wine makes a NUL that stands behind a text a part of it.
        const std::string withNext = value.bytes + "next";
        for (const wchar_t* const name : {L"Any", L"LoggingType"})
        {
            registry.SetBytes(kProductKey, name, value.type, withNext.data(), static_cast<DWORD>(value.bytes.size()));
        }
        const CLogPolicy policy{L"Fuzz"};

        const std::optional<int> level = policy.Level(L"Any");
        const std::optional<DWORD> number = policy.Number(L"Any");
        const std::optional<bool> flag = policy.Flag(L"Any");
        const DWORD mask = policy.ListenerMask();

        const std::size_t size = value.bytes.size();
        const bool hasLevel = value.type == REG_SZ && size <= 256 && !value.Text().empty();
        EXPECT_EQ(hasLevel, level.has_value());
        if (hasLevel)
        {
            EXPECT_EQ(LogLevelFromName(value.Text()), *level);
        }
        EXPECT_EQ(value.type == REG_DWORD && size == 4 && value.Number() != 0, number.has_value());
        EXPECT_EQ(value.Number(), number.value_or(value.Number()));
        EXPECT_EQ(size == 4, flag.has_value());
        EXPECT_EQ(value.Number() != 0, flag.value_or(value.Number() != 0));
        EXPECT_TRUE(size <= 128 || mask == 0);
        EXPECT_EQ(0U, mask & ~DWORD{CqlLogListener::EventLog | CqlLogListener::Debugger | CqlLogListener::FileDirect |
                                    CqlLogListener::Console});
    });
}
