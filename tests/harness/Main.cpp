// Entry point of every test program. A filter that selects nothing fails instead of passing unnoticed.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>

int main(int argc, char** argv)
{
    testing::InitGoogleMock(&argc, argv);
    const int result = RUN_ALL_TESTS();
    if (!GTEST_FLAG_GET(list_tests) && testing::UnitTest::GetInstance()->test_to_run_count() == 0)
    {
        std::fputs("No test matches the filter.\n", stderr);
        return 1;
    }
    return result;
}
