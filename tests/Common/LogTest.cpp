// The log as its callers and the readers of its files see it.
#include <gmock/gmock.h>

#include <ctime>

#include "tests/Common/TestFolder.h"
#include <ox3drgbd/Ox3dRgbdDefine.h>

namespace {

constexpr const char* kLogSource = "../../src/Any/Unit";

TEST_F(Log, LineIsTimeStampFileFieldLineNumberAndMessage) {
    const time_t before = time(nullptr);
    OxWriteLog(TRACE_LEVEL_ERROR, kLogSource, 42, "[Do] value %d\r\n", 7);
    OxWriteLog(TRACE_LEVEL_INFO, "..\\src\\Any.cpp", 12345, "next\r\n");
    const std::string log = WaitForLog("next\r\n");
    EXPECT_THAT(log, testing::MatchesRegex("\\[.{19}\\] \\| {15}\\(null\\)-L0042: \\[Do\\] value 7\r\n"
                                           "\\[.{19}\\] \\| {14}Any.cpp-L12345: next\r\n"));
    tm parsed{};
    const char* const end = strptime(log.c_str(), "[%Y-%m-%d %H:%M:%S]", &parsed);
    EXPECT_EQ(end, log.c_str() + 21);
    parsed.tm_isdst = -1;
    EXPECT_GE(mktime(&parsed), before);
    EXPECT_LE(mktime(&parsed), time(nullptr));
    EXPECT_EQ(GetFileName("a/b.cpp"), nullptr);
}

TEST_F(Log, WritesLevelsUpToTheThresholdOnly) {
    OxLog_SetLevel(TRACE_LEVEL_ERROR);
    OxLog_SetLevel(static_cast<_TRACE_LEVEL_>(5)); // refused, so the threshold stays
    for (const uint32_t level : {0U, 1U, 2U, 4U, 5U, 0xFFFFFFFFU}) {
        OxWriteLog(static_cast<_TRACE_LEVEL_>(level), kLogSource, 1, "level %u;", level);
    }
    OxWriteLog(TRACE_LEVEL_NULL, nullptr, 1, "no source;");
    OxWriteLog(TRACE_LEVEL_NULL, kLogSource, 1, "end;");
    EXPECT_EQ(Messages(WaitForLog("end;")), "level 0;level 1;end;");
}

TEST_F(Log, TakesALineOf8192CharactersAndLosesALongerOne) {
    OX_LOG_INFO(": ");
    const std::string fits(8192 - WaitForLog(": : ").size() + 2, 'x');
    OX_LOG_INFO("%sy", fits.c_str());
    OX_LOG_INFO("%s", fits.c_str());
    OX_LOG_INFO("end");
    EXPECT_EQ(Messages(WaitForLog("end")), ": " + fits + "end");
}

TEST_F(Log, DebugLinesCostNothingUntilTheDebugModeIsOn) {
    int evaluated = 0;
    for (const int debugMode : {0, 7}) {
        OxLog_SetDebugMode(debugMode);
        OX_LOG_DEBUG("macro %d;", ++evaluated);
        OxWriteLogDebugMode(TRACE_LEVEL_ERROR, kLogSource, 1, "function;");
    }
    EXPECT_EQ(Messages(WaitForLog("function;")), "macro 1;function;");
    DestroyAsyncLog();
    EXPECT_FALSE(OxLog_IsDebugMode());
}

TEST_F(Log, LivesUntilItsLastReferenceGoesAndThenAppends) {
    ASSERT_EQ(CreateAsyncLog("elsewhere", 1), OX3D_RGBD_OK) << "one log for all, wherever it is";
    DestroyAsyncLog();
    OX_LOG_WARNING("first;");
    WaitForLog("first;");
    DestroyAsyncLog();
    EXPECT_LE(ThreadsSettled(m_threadsBefore), m_threadsBefore);
    OX_LOG_INFO("lost;");
    DestroyAsyncLog();
    ASSERT_EQ(CreateAsyncLog(nullptr, 1), OX3D_RGBD_OK);
    OxWriteLog(TRACE_LEVEL_NULL, kLogSource, 1, "second;");
    EXPECT_EQ(Messages(WaitForLog("second;")), "first;second;");
    DestroyAsyncLog();
    EXPECT_LE(ThreadsSettled(m_threadsBefore), m_threadsBefore) << "one destroy too many did not count";
}

TEST_F(Log, KeepsEachLineWholeWhenManyThreadsWrite) {
    const auto write = [] {
        for (int n = 0; n < 500; ++n) {
            OX_LOG_INFO("ab%06dyz\r\n", n);
        }
    };
    std::thread first(write);
    std::thread second(write);
    write();
    first.join();
    second.join();
    EXPECT_THAT(Messages(WaitForLog("yz\r\n")), testing::MatchesRegex("(ab[0-9]{6}yz\r\n)+"));
}

} // namespace
