// Every operation keeps its word whichever of its calls fails.
#include "tests/faults/FaultTests.h"

#include <cstdio>
#include <string>

namespace
{

constexpr DWORD kCodes[] = {ERROR_NO_SYSTEM_RESOURCES, ERROR_ACCESS_DENIED, ERROR_NOT_ENOUGH_MEMORY};

std::string Narrow(const std::wstring& text)
{
    std::string narrow;
    for (const wchar_t c : text)
    {
        narrow += static_cast<char>(c);
    }
    return narrow;
}

} // namespace

TEST_P(Operations, KeepTheirWordWhicheverCallFails)
{
    int points = 0;
    for (const DWORD code : kCodes)
    {
        const std::wstring outcomes = Faults::Sweep(GetParam(), code, points);

        if (outcomes != Faults::Expected(GetParam().outcomes, code))
        {
            ADD_FAILURE() << "The outcomes are not those of the table. They are:\n@" << GetParam().name
                          << Narrow(Faults::Template(outcomes, code)) << "@@ under error " << code;
        }
    }
    std::printf("%s: %d fault points\n", GetParam().name, points);
}

// Texts and containers throw when there is no memory. Nothing may stay behind then that does not stay behind otherwise.
TEST_P(Operations, LeaveNothingBehindWhicheverTextIsNotMade)
{
    std::string report;
    const int points = Faults::SweepTexts(GetParam(), report);

    EXPECT_EQ("", report);
    std::printf("%s: %d allocations\n", GetParam().name, points);
}
