// Log.cpp - the log under a sequence of calls: levels, debug mode, lines of every length and source name, and
// several sizes of its file, the smallest of which makes every line rotate. The log lies in the working folder.
#include "src/Common/AsyncLog.h"

#include <string>
#include <sys/stat.h>

#include "fuzz/Input.h"
#include <ox3drgbd/Ox3dRgbdDefine.h>

namespace {

using namespace ox3d::fuzz;

constexpr int kMaxCalls = 32;
constexpr size_t kLongLineBytes = 8300; // more than a node of the queue holds

void Write(CInput& input) {
    const auto level = static_cast<_TRACE_LEVEL_>(input.Take<uint8_t>() % 6);
    const std::string source = input.TextUntil('\0').substr(0, 300);
    const int line = input.Take<int32_t>();
    const auto kind = input.Take<uint8_t>();
    std::string text = input.TextUntil('\0');
    if (kind % 8 == 0) {
        text.resize(kLongLineBytes - kind, 'x');
    }
    switch (kind >> 4 & 3) {
    case 0:
        OxWriteLog(level, source.c_str(), line, "%s\r\n", text.c_str());
        break;
    case 1:
        OxWriteLog(level, source.c_str(), line, "%20.5s|%#x|%-8d|%llu\r\n", text.c_str(), kind, line,
                   static_cast<unsigned long long>(kind) << 40);
        break;
    case 2:
        OxWriteLogDebugMode(level, source.c_str(), line, "%s", text.c_str());
        break;
    default:
        OxWriteLog(level, kind % 2 == 0 ? nullptr : source.c_str(), line, "%s", text.c_str());
        break;
    }
    const char* const name = GetFileName(source.c_str());
    OX3D_FUZZ_EXPECT(name == nullptr || source.ends_with(name));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t lengthBytes) {
    [[maybe_unused]] static const int s_folder = mkdir("log", 0700);
    CInput input(data, lengthBytes);
    const auto bits = input.Take<uint8_t>();
    // One process-wide log; it starts and stops now and then, since its writer takes milliseconds to end.
    static int s_references = 0;
    if (s_references == 0) {
        s_references =
            CreateAsyncLog((bits & 1) != 0 ? "log" : nullptr, bits >> 1 & 3) == OX3D_RGBD_OK ? 1 : 0;
    }
    for (int i = 0; i < kMaxCalls && input.Left() > 0; ++i) {
        const auto call = input.Take<uint8_t>();
        switch (call % 8) {
        case 0:
            OxLog_SetLevel(static_cast<_TRACE_LEVEL_>(input.Take<uint8_t>() % 6));
            break;
        case 1:
            OxLog_SetDebugMode(input.Take<int8_t>());
            OX3D_FUZZ_EXPECT(s_references > 0 || !OxLog_IsDebugMode());
            break;
        case 2:
            if (call == 0xFA && s_references > 0) {
                DestroyAsyncLog();
                --s_references;
            }
            break;
        default:
            Write(input);
            break;
        }
    }
    return 0;
}
