// Manager_LogConfig.cpp - reads the log's settings, takes a reference to the log and writes the start banner.
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <sys/stat.h>
#include <unistd.h>

#include "src/Common/AsyncLog.h"
#include "src/Common/DataFolder.h"
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

// Without a log the reason goes to standard error: that of the outermost folder that could not be made, or of the file.
void SayWhyNoLog(const char* folder, const char* file) {
    const char* const outer = ox3d::DataFolder();
    const char* name = access(folder, F_OK) == 0 ? file : folder;
    name = outer == nullptr || access(outer, F_OK) == 0 ? name : outer;
    const bool isTooLong = strlen(file) >= kLogNameBytes;
    const char* const reason = isTooLong ? strerrordesc_np(ENAMETOOLONG) : ox3d::WhyNotWritable(name);
    if (reason != nullptr) {
        fprintf(stderr, "Ox3dRgbd: no log, %s cannot be written: %s\n", isTooLong ? file : name, reason);
    }
}

// A name that the log would cut is refused.
bool CreateLog(const char* folder) {
    const ox3d::CDataPath file("./Ox3dRgbdLog/Ox3dRgbd_00.log");
    if (strlen(file.Text()) < kLogNameBytes) {
        if (CreateAsyncLog(folder, kLogSizeMiB) == OX3D_RGBD_OK) {
            return true;
        }
        DestroyAsyncLog();
    }
    SayWhyNoLog(folder, file.Text());
    return false;
}

} // namespace

void CManager::LoadLogConfig() {
    SetTime();
    ox3d::MakeDataFolder();
    const ox3d::CDataPath logFolder(kLogDirectory);
    const ox3d::CDataPath profile(kProfileName);
    if (access(logFolder.Text(), F_OK) != 0) {
        mkdir(logFolder.Text(), 0775);
    }
    const bool hasProfile = access(profile.Text(), F_OK) == 0;
    unsigned int logSize = kLogSizeMiB;
    int debugMode = 0;
    if (hasProfile) {
        logSize = Linux_GetPrivateProfileInt("LogConfig", "LogSize", kLogSizeMiB, profile.Text());
        logSize = logSize > kMaxReportedMiB ? kMaxReportedMiB : logSize;
        logSize = logSize < kMinReportedMiB ? kMinReportedMiB : logSize;
        debugMode = Linux_GetPrivateProfileInt("Debug", "DebugMode", 0, profile.Text()) != 0 ? 1 : 0;
    }
    if (!CreateLog(logFolder.Text())) {
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
        OX_LOG_INFO("Config (%s) exist .\r\n", profile.Text());
    } else {
        OX_LOG_INFO("Config (%s) not exist, use default value .\r\n", profile.Text());
    }
    OX_LOG_INFO("DebugMode[%d], nLogSize[%d].\r\n", debugMode, logSize);
    OX_LOG_DEBUG("Success open Min dump.\r\n");
}
