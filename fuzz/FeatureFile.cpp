// FeatureFile.cpp - settings as text, loaded into a camera: all or nothing, whatever the text is.
#include "providers/aravis/FeatureFile.h"

#include "fuzz/FakeDevice.h"
#include "fuzz/Input.h"
#include "providers/aravis/Features.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t lengthBytes) {
    using namespace ox3d;
    static const CObject<ArvDevice> s_device = [] {
        fuzz::SilenceLibraries();
        auto device = fuzz::MakeFakeDevice("");
        // Its register holds neither of the two values: what cannot be read cannot be brought back.
        OX3D_FUZZ_EXPECT(features::SetBoolean(device.get(), "TestBoolean", false) == 0);
        return device;
    }();
    fuzz::CInput input(data, lengthBytes);
    const std::string text = input.Text(lengthBytes);
    std::string before;
    OX3D_FUZZ_EXPECT(SaveFeatureText(s_device.get(), true, &before) == 0);
    std::string where;
    if (LoadFeatureText(s_device.get(), text, &where) != 0) {
        OX3D_FUZZ_EXPECT(!where.empty());
        std::string after;
        OX3D_FUZZ_EXPECT(SaveFeatureText(s_device.get(), true, &after) == 0 && after == before);
    }
    OX3D_FUZZ_EXPECT(LoadFeatureText(s_device.get(), before, &where) == 0);
    return 0;
}
