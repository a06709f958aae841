// VirtualCamera.cpp - a virtual camera as applications reach it: features by name, registers by address, files, and
// settings as text. The input is a sequence of such calls.
#include <string>
#include <vector>

#include "fuzz/Input.h"
#include "fuzz/Renewed.h"
#include "tests/virtual-camera/FakeSource.h"
#include "virtual-camera/FeatureMap.h"

namespace {

using namespace ox3d;
using namespace ox3d::fuzz;

constexpr int kMaxCalls = 16;

const CFeatureMap& Features(ETransport transport) {
    static const CFeatureMap s_gige(ETransport::GigE);
    static const CFeatureMap s_usb(ETransport::Usb);
    return transport == ETransport::GigE ? s_gige : s_usb;
}

// Of a feature that there is, or any.
std::string Name(CInput& input, ETransport transport) {
    const auto& features = Features(transport).Features();
    const auto number = input.Take<uint8_t>();
    return number < features.size() ? features[number].m_row->m_name : input.TextUntil('\0');
}

void Get(CCameraModel& camera, const std::string& name) {
    IntegerValue integer;
    FloatValue real;
    EnumValue entries;
    StringValue text;
    bool isOn = false;
    EFeatureType type{};
    EAccess access{};
    const bool isKnown = camera.TypeOf(name, &type) == EModelStatus::Ok;
    OX3D_FUZZ_EXPECT(isKnown || camera.AccessOf(name, &access) != EModelStatus::Ok);
    const int read = (camera.GetInteger(name, &integer) == EModelStatus::Ok ? 1 : 0) +
                     (camera.GetFloat(name, &real) == EModelStatus::Ok ? 1 : 0) +
                     (camera.GetEnum(name, &entries) == EModelStatus::Ok ? 1 : 0) +
                     (camera.GetString(name, &text) == EModelStatus::Ok ? 1 : 0) +
                     (camera.GetBoolean(name, &isOn) == EModelStatus::Ok ? 1 : 0);
    OX3D_FUZZ_EXPECT(read <= 1); // a feature has one type
}

void Set(CCameraModel& camera, const std::string& name, CInput& input) {
    switch (input.Take<uint8_t>() % 7) {
    case 0:
        camera.SetInteger(name, input.Flag() ? input.Take<int64_t>() : input.Take<int16_t>());
        break;
    case 1:
        camera.SetFloat(name, input.Take<float>());
        break;
    case 2:
        camera.SetEnum(name, input.Flag() ? input.Take<int64_t>() : input.Take<uint8_t>());
        break;
    case 3:
        camera.SetEnumByName(name, input.TextUntil('\0'));
        break;
    case 4:
        camera.SetString(name, input.TextUntil('\0'));
        break;
    case 5:
        camera.SetBoolean(name, input.Flag());
        break;
    default:
        camera.Execute(name);
        break;
    }
}

void Memory(CCameraModel& camera, CInput& input) {
    constexpr uint64_t kAreas[] = {0, kFeatureArea, kFileBuffer, kXmlArea};
    const auto kind = input.Take<uint8_t>();
    const uint64_t address =
        kind == 0xFF ? input.Take<uint64_t>() : kAreas[kind % std::size(kAreas)] + input.Take<uint16_t>();
    const uint64_t length = kind == 0xFE ? input.Take<uint64_t>() : input.Take<uint16_t>() % 1024;
    std::vector<uint8_t> bytes(std::min<uint64_t>(length, 1024));
    if (length > bytes.size() && camera.HasMemory(address, length)) {
        return; // the caller's memory would be too small
    }
    if (input.Flag()) {
        camera.ReadMemory(address, bytes.data(), length);
    } else {
        const auto content = input.Bytes(bytes.size());
        std::copy(content.begin(), content.end(), bytes.begin());
        camera.WriteMemory(address, bytes.data(), length);
    }
}

void Files(CCameraModel& camera, CInput& input) {
    const std::string name = input.Flag() ? kCalibrationFile : input.TextUntil('\0');
    std::vector<uint8_t> bytes;
    if (input.Flag()) {
        camera.ReadFile(name, &bytes);
        return;
    }
    const auto content = input.Bytes(input.Take<uint8_t>());
    camera.WriteFile(name, {content.begin(), content.end()});
}

void Settings(CCameraModel& camera, CInput& input) {
    std::string where;
    const std::string before = camera.SaveFeatures();
    if (camera.LoadFeatures(input.TextUntil('\0'), &where) != EModelStatus::Ok) {
        OX3D_FUZZ_EXPECT(camera.SaveFeatures() == before && !where.empty());
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t lengthBytes) {
    CInput input(data, lengthBytes);
    const ETransport transport = input.Flag() ? ETransport::Usb : ETransport::GigE;
    static CRenewed<test::CFakeCamera> s_cameras[2];
    CCameraModel& camera = s_cameras[transport == ETransport::Usb ? 1 : 0].Get(test::FakeConfig(transport));
    camera.PowerUp();
    for (int i = 0; i < kMaxCalls && input.Left() > 0; ++i) {
        switch (input.Take<uint8_t>() % 6) {
        case 0:
            Get(camera, Name(input, transport));
            break;
        case 1:
        case 2:
            Set(camera, Name(input, transport), input);
            break;
        case 3:
            Memory(camera, input);
            break;
        case 4:
            Files(camera, input);
            break;
        default:
            Settings(camera, input);
            break;
        }
    }
    return 0;
}
