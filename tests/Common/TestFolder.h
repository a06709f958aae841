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

#include "../OpenThings.h"
#include "Common/AsyncLog.h"

class CTestFolder : public testing::Test {
protected:
    void SetUp() override {
        std::string strFolder = std::filesystem::temp_directory_path() / "ox3d_common_XXXXXX";
        ASSERT_NE(mkdtemp(strFolder.data()), nullptr);
        std::filesystem::current_path(strFolder);
    }
    void TearDown() override {
        const std::filesystem::path folder = std::filesystem::current_path();
        std::filesystem::current_path(folder.parent_path());
        std::filesystem::remove_all(folder);
    }
    static void WriteFile(const char* pName, const std::string& strText) {
        std::ofstream(pName, std::ios::binary) << strText;
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
    bool bHolds = condition();
    while (!bHolds && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
        bHolds = condition();
    }
    return bHolds;
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
    static std::string WaitForLog(const std::string& strEnd) {
        std::string strLog;
        EXPECT_TRUE(Eventually([&] { return (strLog = ReadFile(kPrimary)).ends_with(strEnd); })) << strEnd;
        return strLog;
    }
    /// The text without the headers.
    static std::string Messages(std::string strLog) {
        for (size_t nAt = 0; (nAt = strLog.find("] | ", nAt)) != std::string::npos;) {
            nAt -= sizeof("[0000-00-00 00:00:00") - 1;
            strLog.erase(nAt, strLog.find(": ", nAt) + 2 - nAt);
        }
        return strLog;
    }
    const size_t m_nThreadsBefore = ox3d::test::Threads();
};

#endif
