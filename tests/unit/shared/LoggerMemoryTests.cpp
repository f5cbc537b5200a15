// The logger when memory runs out: what is cut or lost, and that no caller notices.
#include "shared/Logger.h"

#include "shared/TraceScope.h"
#include "tests/harness/AllocationFault.h"
#include "tests/harness/ImportHook.h"
#include "tests/harness/LogCapture.h"
#include "tests/harness/RegistryScope.h"
#include "tests/unit/shared/LogFolder.h"

#include <gtest/gtest.h>

#include <windows.h>

#include <shlobj.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

using namespace Quil::Shared;

namespace
{

// Keeps the messages.
class Keeper final : public CqlLogListener
{
  public:
    explicit Keeper(std::vector<std::wstring>& messages)
        : CqlLogListener{0, nullptr, nullptr, true}, m_messages{messages}
    {
    }
    void Write(const LogData& record) override { m_messages.emplace_back(record.Message()); }
    DWORD Type() const override { return Console; }

  private:
    std::vector<std::wstring>& m_messages;
};

} // namespace

TEST(Logger, WithoutMemoryForALargerBufferCutsTo511Characters)
{
    std::vector<std::wstring> messages;
    CqlLogger logger{1000};
    logger.AddListener(std::make_unique<Keeper>(messages));
    const std::wstring text(600, L'x');

    logger.Log(3, "A::B", L"%s", text.c_str());
    {
        const AllocationFault fault{0};
        logger.Log(3, "A::B", L"%s", text.c_str());
    }

    EXPECT_EQ((std::vector<std::wstring>{std::wstring(600, L'x'), std::wstring(511, L'x')}), messages);
}

TEST(Logger, WithoutMemoryForAMeasurementLosesItAlone)
{
    CqlLogger logger;
    logger.AddTiming("A::B", 1.5);
    {
        const ThrowingAllocationFault fault{0};
        EXPECT_NO_THROW(logger.AddTiming("A function whose name does not fit into a short text", 2.5));
    }

    EXPECT_EQ(1u, logger.Timings().size());
}

TEST(TraceScope, WithoutMemoryForItsExitTextWritesAnEmptyOne)
{
    LogCapture log;
    const std::wstring text(100, L'x');
    {
        CTraceScope trace{"A::B"};
        const ThrowingAllocationFault fault{0};
        EXPECT_NO_THROW(trace.ExitText(L"%s", text));
    }

    EXPECT_RECORDS(log, L"TraceIn|A::B|", L"TraceOut|A::B|");
}

// The policy's texts, the listener's and its file's.
TEST(Logger, IsMadeByALaterCallWhicheverTextOfTheFirstOneIsNotMade)
{
    const RegistryScope registry;
    const LogFolder folder;
    IMPORT_HOOK(SHGetFolderPathW)
    ([&](HWND, int, HANDLE, DWORD, wchar_t* path) -> HRESULT {
        folder.Path().copy(path, MAX_PATH);
        return S_OK;
    });
    auto previous = CqlLogger::ExchangeInstance(nullptr);
    int missing = 0;
    int made = 0;
    bool reached = true;
    for (int text = 0; reached; ++text)
    {
        static_cast<void>(CqlLogger::ExchangeInstance(nullptr));
        {
            const ThrowingAllocationFault fault{text};
            const CqlLogger* const first = CqlLogger::GetInstance();
            (first == nullptr ? missing : made) += 1;
            reached = fault.Asked() > text;
        }
        EXPECT_NE(nullptr, CqlLogger::GetInstance());
    }
    CqlLogger::ExchangeInstance(std::move(previous)).reset();

    EXPECT_LT(0, missing);
    EXPECT_LT(1, made);
    DeleteFileW(folder.File(L"quilLog\\shared_tests.log").c_str());
    RemoveDirectoryW(folder.File(L"quilLog").c_str());
}
