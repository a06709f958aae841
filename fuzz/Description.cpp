// Description.cpp - a camera's GenICam description, which the provider for real cameras walks through. The input is
// the description; Aravis parses it, what the provider asks of the result is under test.
#include <dlfcn.h>

#include <algorithm>
#include <array>
#include <string>

#include "fuzz/FakeDevice.h"
#include "fuzz/Input.h"
#include "fuzz/MemoryFile.h"
#include "providers/aravis/Description.h"
#include "providers/aravis/FeatureFile.h"
#include "providers/aravis/Features.h"

namespace {

using namespace ox3d;
using namespace ox3d::fuzz;

void Ask(ArvDevice* device, const char* name) {
    OX_CC_INT_VALUE_EX integer{};
    OX_CC_FLOAT_VALUE real{};
    OX_CC_ENUM_VALUE entries{};
    bool isOn = false;
    std::string text;
    int64_t maxBytes = 0;
    ArvGcFeatureNode* node = nullptr;
    if (features::Find(device, name, features::kNoType, &node) != 0) {
        return;
    }
    uint32_t access = 0;
    features::TypeOfNode(node);
    features::AccessOfNode(node, &access);
    if (features::GetInteger(device, name, &integer) == 0) {
        features::SetInteger(device, name, integer.nMax);
    }
    if (features::GetFloat(device, name, &real) == 0) {
        features::SetFloat(device, name, real.fMin);
    }
    if (features::GetEnum(device, name, &entries) == 0) {
        OX3D_FUZZ_EXPECT(entries.nSupportedNum <= OX_CC_MAX_ENUM_ENTRIES);
        features::SetEnum(device, name, entries.nSupportValue[0]);
    }
    features::GetEnumName(device, name, &text);
    if (features::GetString(device, name, &text, &maxBytes) == 0) {
        features::SetString(device, name, "a text");
    }
    if (features::GetBoolean(device, name, &isOn) == 0) {
        features::SetBoolean(device, name, !isOn);
    }
    features::Execute(device, name);
}

} // namespace

// Aravis's fake camera copies past the caller's buffer where a register lies behind its memory. A real one refuses such an
// address, and so does this, which libaravis finds before its own.
extern "C" gboolean arv_fake_camera_read_memory(ArvFakeCamera* camera, guint32 address, guint32 size,
                                                void* buffer) {
    using Read = decltype(&arv_fake_camera_read_memory);
    static const auto s_read = reinterpret_cast<Read>(dlsym(RTLD_NEXT, "arv_fake_camera_read_memory"));
    const bool isInside = uint64_t{address} + size <= ARV_FAKE_CAMERA_MEMORY_SIZE;
    return isInside ? s_read(camera, address, size, buffer) : FALSE;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t lengthBytes) {
    static CMemoryFile s_file;
    [[maybe_unused]] static const bool s_isSilent = [] {
        SilenceLibraries();
        return true;
    }();
    s_file.Write({data, lengthBytes});
    const CObject<ArvDevice> device = MakeFakeDevice(s_file.Path());
    if (device == nullptr || !IsUsableDescription(device.get())) {
        return 0; // not opened
    }
    for (const char* name : {"Root", "Width", "PixelFormat", "A", "B", "C"}) {
        Ask(device.get(), name);
    }
    std::string text;
    std::string where;
    if (SaveFeatureText(device.get(), true, &text) == 0) {
        LoadFeatureText(device.get(), text, &where);
    }
    return 0;
}
