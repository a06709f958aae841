// Manager_LogConfig.cpp - reads the log's settings, takes a reference to the log and writes the start banner.
#include <cstdlib>
#include <sys/stat.h>
#include <unistd.h>

#include "src/Common/AsyncLog.h"
#include "src/Common/Profile.h"
#include "src/Common/Time.h"
#include "src/Common/Version.h"
#include "src/Manager/Manager.h"

namespace {

constexpr const char* kLogSource = "../../src/Manager/Manager";
constexpr const char* kProfileName = "Ox3dRgbdCfg.ini";
constexpr const char* kLogDirectory = "./Ox3dRgbdLog";
// Preserved for compatibility: the size limit of a log file is fixed, and the size in the profile is only
// logged.
constexpr unsigned int kLogSizeMiB = 100;
constexpr unsigned int kMinReportedMiB = 5;
constexpr unsigned int kMaxReportedMiB = 1000;
constexpr unsigned int kSdkVersion = 0x1010000;

} // namespace

void CManager::LoadLogConfig() {
    SetTime();
    if (access(kLogDirectory, F_OK) != 0) {
        mkdir(kLogDirectory, 0775);
    }
    const bool hasProfile = access(kProfileName, F_OK) == 0;
    unsigned int logSize = kLogSizeMiB;
    int debugMode = 0;
    if (hasProfile) {
        logSize = Linux_GetPrivateProfileInt("LogConfig", "LogSize", kLogSizeMiB, kProfileName);
        logSize = logSize > kMaxReportedMiB ? kMaxReportedMiB : logSize;
        logSize = logSize < kMinReportedMiB ? kMinReportedMiB : logSize;
        debugMode = Linux_GetPrivateProfileInt("Debug", "DebugMode", 0, kProfileName) != 0 ? 1 : 0;
    }
    if (CreateAsyncLog(kLogDirectory, kLogSizeMiB) != OX3D_RGBD_OK) {
        DestroyAsyncLog();
        return;
    }
    m_hasLogReference = true;
    OxLog_SetLevel(TRACE_LEVEL_ALL);
    OxLog_SetDebugMode(debugMode);

    char buildTime[256] = {};
    GetMyVersion(buildTime);
    OX_LOG_INFO("---------------------Start call Ox3dRgbd.dll start--------------------\r\n");
    OX_LOG_INFO("Build Time[%s], SDK version[%#x].\r\n", buildTime, kSdkVersion);
    if (hasProfile) {
        OX_LOG_INFO("Config (%s) exist .\r\n", kProfileName);
    } else {
        OX_LOG_INFO("Config (%s) not exist, use default value .\r\n", kProfileName);
    }
    OX_LOG_INFO("DebugMode[%d], nLogSize[%d].\r\n", debugMode, logSize);
    OX_LOG_DEBUG("Success open Min dump.\r\n");
}
