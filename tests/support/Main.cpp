// Main.cpp - runs the tests of one program. A filter that selects no test is a mistake and ends with a failure,
// also where tests are only listed: nothing else would tell a misspelt or outdated filter from success.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>

int main(int argc, char** argv) {
    testing::InitGoogleMock(&argc, argv);
    const int result = RUN_ALL_TESTS();
    if (testing::UnitTest::GetInstance()->test_to_run_count() == 0) {
        std::fprintf(stderr, "no test is selected by --gtest_filter=%s\n", GTEST_FLAG_GET(filter).c_str());
        return 1;
    }
    return result;
}
