// CameraConfig.cpp - reads the camera list: sections "[camera]" with "key = value" lines, '#' for comments.
#include "virtual-camera/CameraConfig.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <initializer_list>
#include <set>
#include <tuple>
#include <utility>

#include "base/Ipv4.h"
#include "recording/RecordingReader.h"
#include "virtual-camera/TextParse.h"

namespace ox3d {
namespace {

constexpr uint64_t kFirstMac = 0x020000000001; // locally administered
constexpr double kMinFps = 0.1;
constexpr double kMaxFps = 240;
constexpr size_t kMaxCameras = 256;

CameraConfig Numbered(size_t ordinal, const NetworkDefaults& network) {
    CameraConfig config;
    std::array<char, 16> serial{};
    std::snprintf(serial.data(), serial.size(), "VC%08zu", ordinal + 1);
    config.m_serial = serial.data();
    config.m_ip = network.m_firstIp + static_cast<uint32_t>(ordinal);
    config.m_mask = network.m_mask;
    config.m_gateway = network.m_gateway;
    config.m_hostIp = network.m_hostIp;
    config.m_mac = kFirstMac + ordinal;
    config.m_kind = network.m_kind;
    return config;
}

const char* GigEModel(ECameraKind kind) {
    return kind == ECameraKind::Native ? "VirtualRgbd-GigE" : "Virtual3d-GigE";
}

// What the procedural scene can be rendered at.
bool ReadSize(std::string_view value, uint64_t min, uint64_t max, uint32_t* out) {
    uint64_t number = 0;
    if (!ParseUnsigned(value, min, max, &number)) {
        return false;
    }
    *out = static_cast<uint32_t>(number);
    return true;
}

bool ReadColumns(std::string_view value, uint32_t* out) {
    return ReadSize(value, 640, 4000, out);
}

bool ReadRows(std::string_view value, uint32_t* out) {
    return ReadSize(value, 480, 3000, out);
}

bool ReadIp(std::string_view value, uint32_t* out) {
    const auto ip = ParseIpv4(value, EOctetForm::AnyDigits);
    *out = ip.value_or(*out);
    return ip.has_value();
}

bool ReadWord(std::string_view value, std::string_view no, std::string_view yes, bool* out) {
    if (value != no && value != yes) {
        return false;
    }
    *out = value == yes;
    return true;
}

// The position of a word among others.
template <class TEnum>
bool ReadChoice(std::string_view value, std::initializer_list<std::string_view> words, TEnum* out) {
    const auto found = std::find(words.begin(), words.end(), value);
    if (found == words.end()) {
        return false;
    }
    *out = static_cast<TEnum>(found - words.begin());
    return true;
}

// Texts end up in fields of the device record: one character stays for the terminator.
bool ReadText(std::string_view value, size_t fieldBytes, std::string* out) {
    const bool isPrintable =
        std::all_of(value.begin(), value.end(), [](char c) { return c >= ' ' && c <= '~'; });
    if (value.size() >= fieldBytes || !isPrintable) {
        return false;
    }
    *out = value;
    return true;
}

bool ReadName(std::string_view value, size_t fieldBytes, std::string* out) {
    return !value.empty() && ReadText(value, fieldBytes, out);
}

struct Key {
    const char* m_name;
    const char* m_expected;
    bool (*m_read)(std::string_view value, CameraConfig* config);
};

constexpr const char* kTextExpected = "a printable text that fits the device record";
constexpr const char* kColumnsExpected = "a number of pixels from 640 to 4000";
constexpr const char* kRowsExpected = "a number of pixels from 480 to 3000";

constexpr Key kKeys[] = {
    {"transport", "gige or usb",
     [](std::string_view v, CameraConfig* c) {
         bool isUsb = false;
         const bool isOk = ReadWord(v, "gige", "usb", &isUsb);
         c->m_transport = isUsb ? ETransport::Usb : ETransport::GigE;
         return isOk;
     }},
    {"serial", "up to 15 printable characters",
     [](std::string_view v, CameraConfig* c) { return ReadName(v, 16, &c->m_serial); }},
    {"model", kTextExpected,
     [](std::string_view v, CameraConfig* c) { return ReadName(v, 32, &c->m_model); }},
    {"manufacturer", kTextExpected,
     [](std::string_view v, CameraConfig* c) { return ReadName(v, 32, &c->m_manufacturer); }},
    {"user_name", "up to 15 printable characters",
     [](std::string_view v, CameraConfig* c) { return ReadText(v, 16, &c->m_userName); }},
    {"device_version", kTextExpected,
     [](std::string_view v, CameraConfig* c) { return ReadName(v, 32, &c->m_deviceVersion); }},
    {"mac", "six bytes such as 02:00:00:00:00:01",
     [](std::string_view v, CameraConfig* c) { return ParseMac(v, &c->m_mac); }},
    {"ip", "an IPv4 address", [](std::string_view v, CameraConfig* c) { return ReadIp(v, &c->m_ip); }},
    {"mask", "an IPv4 mask", [](std::string_view v, CameraConfig* c) { return ReadIp(v, &c->m_mask); }},
    {"gateway", "an IPv4 address",
     [](std::string_view v, CameraConfig* c) { return ReadIp(v, &c->m_gateway); }},
    {"host_ip", "an IPv4 address",
     [](std::string_view v, CameraConfig* c) { return ReadIp(v, &c->m_hostIp); }},
    {"width", kColumnsExpected,
     [](std::string_view v, CameraConfig* c) { return ReadColumns(v, &c->m_source.m_depthWidth); }},
    {"height", kRowsExpected,
     [](std::string_view v, CameraConfig* c) { return ReadRows(v, &c->m_source.m_depthHeight); }},
    {"color_width", "0 for no color, or a number of pixels from 640 to 4000",
     [](std::string_view v, CameraConfig* c) {
         return v == "0" ? (c->m_source.m_colorWidth = 0, true) : ReadColumns(v, &c->m_source.m_colorWidth);
     }},
    {"color_height", "0 for no color, or a number of pixels from 480 to 3000",
     [](std::string_view v, CameraConfig* c) {
         return v == "0" ? (c->m_source.m_colorHeight = 0, true) : ReadRows(v, &c->m_source.m_colorHeight);
     }},
    {"source", "scene or recording",
     [](std::string_view v, CameraConfig* c) {
         return ReadWord(v, "scene", "recording", &c->m_source.m_isRecording);
     }},
    {"recording", "an MCAP file or a folder",
     [](std::string_view v, CameraConfig* c) {
         c->m_source.m_folder = v;
         return !v.empty() && v.find('\0') == v.npos;
     }},
    {"loop", "yes or no",
     [](std::string_view v, CameraConfig* c) { return ReadWord(v, "no", "yes", &c->m_source.m_loop); }},
    {"speed", "a factor from 0.01 to 100",
     [](std::string_view v, CameraConfig* c) { return ParseReal(v, 0.01, 100, &c->m_source.m_speed); }},
    {"noise", "yes or no",
     [](std::string_view v, CameraConfig* c) { return ReadWord(v, "no", "yes", &c->m_source.m_noise); }},
    {"cycle", "0 for no cycle, or a number of frames up to 240",
     [](std::string_view v, CameraConfig* c) { return ReadSize(v, 0, 240, &c->m_source.m_cycleFrames); }},
    {"kind", "native or sfnc3d",
     [](std::string_view v, CameraConfig* c) {
         return ReadChoice(v, {"native", "sfnc3d"}, &c->m_kind);
     }},
    {"depth", "range, points, disparity or rectified",
     [](std::string_view v, CameraConfig* c) {
         return ReadChoice(v, {"range", "points", "disparity", "rectified"}, &c->m_scan3d.m_depth);
     }},
    {"intensity", "none, color or grey",
     [](std::string_view v, CameraConfig* c) {
         return ReadChoice(v, {"none", "color", "grey"}, &c->m_scan3d.m_intensity);
     }},
    {"unit", "millimeter, inch, meter or untold",
     [](std::string_view v, CameraConfig* c) {
         return ReadChoice(v, {"millimeter", "inch", "meter", "untold"}, &c->m_scan3d.m_unit);
     }},
    {"lens", "features, maps or untold",
     [](std::string_view v, CameraConfig* c) {
         return ReadChoice(v, {"features", "maps", "untold"}, &c->m_scan3d.m_lens);
     }},
    {"reference", "anchor, choice or transformed",
     [](std::string_view v, CameraConfig* c) {
         return ReadChoice(v, {"anchor", "choice", "transformed"}, &c->m_scan3d.m_reference);
     }},
    {"confidence", "yes or no",
     [](std::string_view v, CameraConfig* c) {
         return ReadWord(v, "no", "yes", &c->m_scan3d.m_hasConfidence);
     }},
    {"parts", "multipart or blocks",
     [](std::string_view v, CameraConfig* c) {
         return ReadWord(v, "blocks", "multipart", &c->m_scan3d.m_canMultiPart);
     }},
    {"invalid", "flag or confidence",
     [](std::string_view v, CameraConfig* c) {
         return ReadWord(v, "confidence", "flag", &c->m_scan3d.m_isInvalidFlagged);
     }},
    {"scale", "millimeters from -100 to 100, not 0",
     [](std::string_view v, CameraConfig* c) {
         return ParseReal(v, -100, 100, &c->m_scan3d.m_scaleMm) && std::abs(c->m_scan3d.m_scaleMm) >= 1e-4;
     }},
    {"offset", "millimeters from -100000 to 100000",
     [](std::string_view v, CameraConfig* c) { return ParseReal(v, -1e5, 1e5, &c->m_scan3d.m_offsetMm); }},
    {"fps", "frames a second from 0.1 to 240",
     [](std::string_view v, CameraConfig* c) { return ParseReal(v, kMinFps, kMaxFps, &c->m_fps); }},
};

// What a recording says of its camera under the same names.
constexpr std::string_view kIdentityKeys[] = {"transport",    "serial",    "model",
                                              "manufacturer", "user_name", "device_version"};

// Collects the sections of one file.
class CListReader {
public:
    CListReader(const std::string& fileName, const std::string& baseFolder, std::vector<std::string>* errors,
                const NetworkDefaults& network)
        : m_fileName(fileName), m_baseFolder(baseFolder), m_network(network), m_errors(errors) {}

    void Line(std::string_view line) {
        ++m_lineNumber;
        line = Trim(line);
        if (line.empty() || line.front() == '#') {
            return;
        }
        if (line.front() == '[') {
            FinishSection();
            StartSection(line);
        } else if (m_isInSection) {
            KeyValue(line);
        } else {
            Error("a line outside of a [camera] section");
        }
    }

    std::vector<CameraConfig> Finish() {
        FinishSection();
        return std::move(m_cameras);
    }

private:
    void Error(const std::string& what) {
        m_errors->push_back(m_fileName + ":" + std::to_string(m_lineNumber) + ": " + what);
        m_hasSectionError = true;
    }

    void StartSection(std::string_view line) {
        m_isInSection = true;
        m_hasSectionError = false;
        m_sectionLine = m_lineNumber;
        m_current = Numbered(m_sections++, m_network);
        m_given.clear();
        if (line != "[camera]") {
            Error("unknown section " + std::string(line) + ", expected [camera]");
        } else if (m_sections > kMaxCameras) {
            Error("more than " + std::to_string(kMaxCameras) + " cameras");
        }
    }

    void KeyValue(std::string_view line) {
        const size_t equals = line.find('=');
        if (equals == line.npos) {
            Error("expected key = value");
            return;
        }
        const std::string_view name = Trim(line.substr(0, equals));
        const std::string_view value = Trim(line.substr(equals + 1));
        std::string why = "unknown key '" + std::string(name) + "'";
        m_given.emplace(name);
        bool isRead = false;
        if (name == "fault") {
            isRead = ParseFault(value, &m_current.m_faults, &why);
        }
        for (const Key& key : kKeys) {
            if (name == key.m_name) {
                isRead = key.m_read(value, &m_current);
                why = std::string(name) + " must be " + key.m_expected;
            }
        }
        if (!isRead) {
            Error(why);
        }
    }

    void FinishSection() {
        if (!m_isInSection) {
            return;
        }
        m_isInSection = false;
        const size_t lastLine = std::exchange(m_lineNumber, m_sectionLine);
        CheckSection();
        m_lineNumber = lastLine;
        if (!m_hasSectionError) {
            m_cameras.push_back(std::move(m_current));
        }
    }

    // Who the camera was stands in the file; what the list says of it holds.
    void TakeRecordedIdentity(const std::string& file) {
        std::map<std::string, std::string> facts;
        std::string error;
        if (!ReadRecordedFacts(file, &facts, &error)) {
            Error(error);
        }
        for (const Key& key : kKeys) {
            const auto fact = facts.find(key.m_name);
            const bool isIdentity = std::find(std::begin(kIdentityKeys), std::end(kIdentityKeys),
                                              std::string_view(key.m_name)) != std::end(kIdentityKeys);
            if (isIdentity && fact != facts.end() && !m_given.contains(key.m_name)) {
                key.m_read(fact->second, &m_current); // one that cannot be shown stays as it is
            }
        }
    }

    // The path of a recording from the root.
    void CheckRecording() {
        FrameSourceConfig& source = m_current.m_source;
        if (source.m_folder.empty()) {
            Error("source = recording needs recording = FOLDER");
            return;
        }
        std::error_code ignored;
        if (std::filesystem::is_regular_file(source.m_folder, ignored)) {
            TakeRecordedIdentity(source.m_folder);
        } else if (!std::filesystem::is_directory(source.m_folder, ignored)) {
            Error("there is no folder " + source.m_folder);
        }
    }

    // Of a recording nobody can say where its lens was.
    void CheckKind() {
        if (m_current.m_kind == ECameraKind::Native) {
            return;
        }
        Scan3dConfig& scan3d = m_current.m_scan3d;
        if (!m_network.m_isWire || m_current.m_transport != ETransport::GigE) {
            Error("a camera of this kind can only be on the network");
        } else if (m_current.m_source.m_isRecording) {
            Error("a camera of this kind shows the scene, not a recording");
        } else if (!scan3d.m_isInvalidFlagged && !scan3d.m_hasConfidence) {
            Error("invalid = confidence needs confidence = yes");
        } else if (scan3d.IsDisparity() && scan3d.m_lens != ELensKind::Features) {
            Error("depth = disparity needs lens = features");
        }
        if (m_current.m_source.m_colorWidth == 0 && scan3d.m_intensity == EIntensityKind::Color) {
            scan3d.m_intensity = EIntensityKind::None;
        }
    }

    void CheckSection() {
        FrameSourceConfig& source = m_current.m_source;
        if (!source.m_folder.empty() && source.m_folder.front() != '/') {
            source.m_folder = m_baseFolder + "/" + source.m_folder;
        }
        if (source.m_isRecording) {
            CheckRecording();
        }
        if (m_current.m_model.empty()) {
            m_current.m_model =
                m_current.m_transport == ETransport::Usb ? "VirtualRgbd-USB" : GigEModel(m_current.m_kind);
        }
        CheckKind();
        if ((source.m_colorWidth == 0) != (source.m_colorHeight == 0)) {
            Error("color_width and color_height must both be 0, or neither");
        }
        const bool isTaken = std::any_of(m_cameras.begin(), m_cameras.end(), [&](const CameraConfig& other) {
            return other.m_serial == m_current.m_serial;
        });
        if (isTaken) {
            Error("serial " + m_current.m_serial + " belongs to an earlier camera");
        }
    }

    const std::string& m_fileName;
    const std::string& m_baseFolder;
    const NetworkDefaults m_network;
    std::vector<std::string>* m_errors;
    std::vector<CameraConfig> m_cameras;
    CameraConfig m_current;
    std::set<std::string, std::less<>> m_given; // keys of this section
    size_t m_lineNumber = 0;
    size_t m_sectionLine = 0;
    size_t m_sections = 0;
    bool m_isInSection = false;
    bool m_hasSectionError = false;
};

} // namespace

std::vector<CameraConfig> ParseCameraList(std::string_view text, const std::string& fileName,
                                          const std::string& baseFolder, std::vector<std::string>* errors,
                                          const NetworkDefaults& network) {
    CListReader reader(fileName, baseFolder, errors, network);
    constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF"; // some editors begin a text with it
    text.remove_prefix(text.starts_with(kByteOrderMark) ? kByteOrderMark.size() : 0);
    while (!text.empty()) {
        const size_t end = std::min(text.find('\n'), text.size());
        reader.Line(text.substr(0, end));
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return reader.Finish();
}

std::vector<CameraConfig> DefaultCameraList(const NetworkDefaults& network) {
    CameraConfig config = Numbered(0, network);
    config.m_model = GigEModel(config.m_kind);
    return {config};
}

bool IsSameCamera(const CameraConfig& a, const CameraConfig& b) {
    const auto sourceOf = [](const FrameSourceConfig& s) {
        return std::tie(s.m_isRecording, s.m_folder, s.m_loop, s.m_speed, s.m_depthWidth, s.m_depthHeight,
                        s.m_colorWidth, s.m_colorHeight, s.m_noise, s.m_seed, s.m_cycleFrames);
    };
    const auto textsOf = [](const CameraConfig& c) {
        return std::tie(c.m_serial, c.m_model, c.m_manufacturer, c.m_userName, c.m_deviceVersion);
    };
    const auto restOf = [](const CameraConfig& c) {
        return std::tie(c.m_kind, c.m_transport, c.m_mac, c.m_ip, c.m_mask, c.m_gateway, c.m_hostIp, c.m_fps);
    };
    return sourceOf(a.m_source) == sourceOf(b.m_source) && textsOf(a) == textsOf(b) &&
           restOf(a) == restOf(b) && a.m_scan3d == b.m_scan3d && a.m_faults == b.m_faults;
}

} // namespace ox3d
