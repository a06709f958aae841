// Recording.cpp - a folder with a recording: the input is a list of files (where, name, length, bytes).
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "base/TempFolder.h"
#include "fuzz/Input.h"
#include "recording/RecordingLayout.h"
#include "recording/RecordingReader.h"

namespace {

using namespace ox3d;
using namespace ox3d::fuzz;

constexpr int kMaxFiles = 6;
constexpr size_t kMaxNameBytes = 40;

// The folders stay, their files come and go.
class CFolder {
public:
    CFolder() {
        for (const char* const part : {kRecordingDepth, kRecordingColor, kRecordingLeft, kRecordingRight}) {
            std::filesystem::create_directory(m_folder.Path() / part);
        }
    }
    std::string Path() const { return m_folder.Path().string(); }
    void Write(const std::string& name, std::span<const uint8_t> bytes) {
        const std::string path = Path() + "/" + name;
        if (std::FILE* const file = std::fopen(path.c_str(), "wb"); file != nullptr) {
            std::fwrite(bytes.data(), 1, bytes.size(), file);
            std::fclose(file);
            m_written.push_back(path);
        }
    }
    void Clear() {
        for (const std::string& path : m_written) {
            unlink(path.c_str());
        }
        m_written.clear();
    }

private:
    const CTempFolder m_folder;
    std::vector<std::string> m_written;
};

// A name that the reader knows, or any that stays inside its folder.
std::string FileName(CInput& input) {
    const auto kind = input.Take<uint8_t>();
    if (kind % 8 == 0) {
        return "calibration.xml";
    }
    const std::string folder = kind % 16 == 12   ? "left/"
                               : kind % 16 == 13 ? "right/"
                               : kind % 2 == 0   ? "depth/"
                                                 : "color/";
    if (kind < 0xC0) {
        return folder + "00000" + std::to_string(kind >> 4 & 1) + ".png";
    }
    std::string name = input.TextUntil('\0').substr(0, kMaxNameBytes);
    for (char& letter : name) {
        letter = letter == '/' ? '_' : letter;
    }
    return name.empty() || name == "." || name == ".." ? folder + "1.png" : folder + name + ".png";
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t lengthBytes) {
    static CFolder s_folder;
    CInput input(data, lengthBytes);
    for (int i = 0; i < kMaxFiles && input.Left() > 0; ++i) {
        const std::string name = FileName(input);
        s_folder.Write(name, input.Bytes(input.Take<uint16_t>()));
    }
    std::string error;
    const auto recording = CRecordingReader::Open(s_folder.Path(), &error);
    OX3D_FUZZ_EXPECT(recording != nullptr || !error.empty());
    constexpr uint64_t kMaxDecodedPixels = 1u << 16;
    if (recording != nullptr) {
        const auto isShort = [](const PngSize& size) {
            return uint64_t{size.m_width} * size.m_height <= kMaxDecodedPixels;
        };
        for (size_t frame = 0; frame < recording->FrameCount(); ++frame) {
            std::vector<uint16_t> samples;
            std::vector<uint8_t> planes;
            if (isShort(recording->DepthSize())) {
                recording->ReadDepth(frame, &samples);
                const PngSize size = recording->DepthSize();
                const bool hasPair = recording->ReadPair(frame, &planes);
                OX3D_FUZZ_EXPECT(!hasPair || planes.size() == size_t{2} * size.m_width * size.m_height);
                OX3D_FUZZ_EXPECT(!hasPair || recording->HasPair());
            }
            if (isShort(recording->ColorSize())) {
                recording->ReadColor(frame, &planes);
            }
        }
    }
    s_folder.Clear();
    return 0;
}
