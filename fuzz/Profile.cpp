// Profile.cpp - both readers of profile files. The input's first two lines are section and key, the rest is the
// file. Output buffers are allocations of exactly the size that the caller must have.
#include "src/Common/Profile.h"

#include <algorithm>
#include <memory>

#include "fuzz/Input.h"
#include "fuzz/MemoryFile.h"

namespace {

using namespace ox3d::fuzz;

constexpr unsigned long kValueBytes = 256; // of the longest value of a line
constexpr char kDefault[] = "default";

void ReadString(const std::string& section, const std::string& key, unsigned long statedBytes,
                const std::string& path) {
    // A value ignores the stated size unless it is 0 or 1; lists keep to it.
    const bool isList = section.empty() || key.empty();
    const unsigned long bytes = statedBytes < 2 || isList ? statedBytes : std::max(statedBytes, kValueBytes);
    const std::unique_ptr<char[]> out(new char[bytes]);
    const unsigned long length = Linux_GetPrivateProfileString(section.c_str(), key.c_str(), kDefault,
                                                               out.get(), statedBytes, path.c_str());
    if (statedBytes >= 2) {
        OX3D_FUZZ_EXPECT(length < bytes && out[length] == '\0');
    } else if (statedBytes == 1) {
        OX3D_FUZZ_EXPECT(out[0] == '\0');
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t lengthBytes) {
    static CMemoryFile s_file;
    CInput input(data, lengthBytes);
    const unsigned long bytes = input.Take<uint16_t>() % 600;
    const std::string section = input.TextUntil('\n');
    const std::string key = input.TextUntil('\n');
    s_file.Write(input.Rest());

    Linux_GetPrivateProfileInt(section.c_str(), key.c_str(), -7, s_file.Path().c_str());
    ReadString(section, key, bytes, s_file.Path());
    ReadString(section, "", bytes, s_file.Path());
    ReadString("", key, bytes, s_file.Path());
    return 0;
}
