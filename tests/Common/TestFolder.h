// Fixtures that run each test in a fresh working directory, with or without a log of the process in it.
// Relies on std::filesystem.
#ifndef OX3D_TESTS_COMMON_TEST_FOLDER_H
#define OX3D_TESTS_COMMON_TEST_FOLDER_H

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <thread>

#include "src/Common/AsyncLog.h"
#include "tests/OpenThings.h"

class CTestFolder : public testing::Test {
protected:
    void SetUp() override {
        std::string folderName = std::filesystem::temp_directory_path() / "ox3d_common_XXXXXX";
        ASSERT_NE(mkdtemp(folderName.data()), nullptr);
        std::filesystem::current_path(folderName);
    }
    void TearDown() override {
        const std::filesystem::path folder = std::filesystem::current_path();
        std::filesystem::current_path(folder.parent_path());
        std::filesystem::remove_all(folder);
    }
    static void WriteFile(const char* pName, const std::string& text) {
        std::ofstream(pName, std::ios::binary) << text;
    }
    static std::string ReadFile(const char* pName) {
        std::ifstream file(pName, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }
};

/// True as soon as the condition holds; false when it does not within ten seconds.
template <typename TCondition>
bool Eventually(TCondition condition) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    bool isHeld = condition();
    while (!isHeld && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
        isHeld = condition();
    }
    return isHeld;
}

constexpr const char* kPrimary = "Ox3dRgbd_00.log";
constexpr const char* kBackup = "Ox3dRgbd_01.log";

class Log : public CTestFolder {
protected:
    void SetUp() override {
        CTestFolder::SetUp();
        ASSERT_EQ(CreateAsyncLog(nullptr, 1), 0U);
        OxLog_SetLevel(TRACE_LEVEL_ALL);
    }
    void TearDown() override {
        DestroyAsyncLog();
        CTestFolder::TearDown();
    }
    /// The primary file once it ends in the text.
    static std::string WaitForLog(const std::string& end) {
        std::string log;
        EXPECT_TRUE(Eventually([&] { return (log = ReadFile(kPrimary)).ends_with(end); })) << end;
        return log;
    }
    /// The text without the headers.
    static std::string Messages(std::string log) {
        for (size_t at = 0; (at = log.find("] | ", at)) != std::string::npos;) {
            at -= sizeof("[0000-00-00 00:00:00") - 1;
            log.erase(at, log.find(": ", at) + 2 - at);
        }
        return log;
    }
    const size_t m_threadsBefore = ox3d::test::Threads();
};

#endif
