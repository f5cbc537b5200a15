// The diary: whole lines, in order, whoever writes them.
#include "testbed/Recorder.h"

#include "testbed/Text.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <windows.h>

#include <string>
#include <thread>
#include <vector>

using testing::ElementsAre;

namespace
{

class CScratchFile
{
  public:
    CScratchFile()
    {
        wchar_t folder[MAX_PATH] = {};
        GetTempPathW(MAX_PATH, folder);
        wchar_t path[MAX_PATH] = {};
        GetTempFileNameW(folder, L"rec", 0, path);
        m_path = path;
    }
    ~CScratchFile() { DeleteFileW(m_path.c_str()); }
    CScratchFile(const CScratchFile&) = delete;
    CScratchFile& operator=(const CScratchFile&) = delete;

    const wchar_t* Path() const { return m_path.c_str(); }
    std::vector<std::wstring> Lines() const
    {
        return Testbed::SplitLines(Testbed::WideFromUtf8(Testbed::ReadWholeFile(m_path)));
    }

  private:
    std::wstring m_path;
};

} // namespace

TEST(AppendLine, KeepsTheOrderAndEncodesUtf8)
{
    const CScratchFile file;

    Testbed::AppendLine(file.Path(), L"first \u00E9");
    Testbed::AppendLine(file.Path(), L"second");

    EXPECT_THAT(file.Lines(), ElementsAre(L"first \u00E9", L"second"));
}

TEST(AppendLine, LineFeedsInsideALineAreSpelledOut)
{
    const CScratchFile file;

    Testbed::AppendLine(file.Path(), L"one\r\ntwo");

    EXPECT_THAT(file.Lines(), ElementsAre(L"one\\r\\ntwo"));
}

TEST(AppendLine, LeavesTheLastErrorAlone)
{
    const CScratchFile file;

    SetLastError(4711);
    Testbed::AppendLine(file.Path(), L"text");

    EXPECT_EQ(4711u, GetLastError());
}

TEST(AppendLine, LinesOfManyThreadsNeverMix)
{
    const CScratchFile file;
    const std::wstring line(300, L'x');

    {
        std::vector<std::jthread> writers;
        for (int writer = 0; writer < 4; ++writer)
        {
            writers.emplace_back([&] {
                for (int count = 0; count < 25; ++count)
                {
                    Testbed::AppendLine(file.Path(), line);
                }
            });
        }
    }

    EXPECT_THAT(file.Lines(), testing::AllOf(testing::SizeIs(100), testing::Each(line)));
}
