// Fixtures that run each test in a fresh working folder, with or without the log of the process in it.
#ifndef OX3D_TESTS_COMMON_TEST_FOLDER_H
#define OX3D_TESTS_COMMON_TEST_FOLDER_H

#include <gtest/gtest.h>

#include <string>

#include "src/Common/AsyncLog.h"
#include "tests/support/Files.h"
#include "tests/support/OpenThings.h"

using namespace ox3d::test;

struct CTestFolder : testing::Test {
    CWorkFolder m_folder;
};

constexpr const char* kPrimary = "Ox3dRgbd_00.log";
constexpr const char* kBackup = "Ox3dRgbd_01.log";

class Log : public CTestFolder {
protected:
    void SetUp() override {
        ASSERT_EQ(CreateAsyncLog(nullptr, 1), 0U);
        OxLog_SetLevel(TRACE_LEVEL_ALL);
    }
    void TearDown() override { DestroyAsyncLog(); }
    // The primary file once it ends in the text.
    static std::string WaitForLog(const std::string& end) {
        std::string log;
        EXPECT_TRUE(Eventually([&] { return (log = ReadFile(kPrimary)).ends_with(end); })) << end;
        return log;
    }
    // The text without the headers.
    static std::string Messages(std::string log) {
        for (size_t at = 0; (at = log.find("] | ", at)) != std::string::npos;) {
            at -= sizeof("[0000-00-00 00:00:00") - 1;
            log.erase(at, log.find(": ", at) + 2 - at);
        }
        return log;
    }
    const size_t m_threadsBefore = Threads();
};

#endif
