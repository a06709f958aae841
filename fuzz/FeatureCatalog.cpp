// FeatureCatalog.cpp - a camera's GenICam description, of which the library lists the features.
#include <set>
#include <string>

#include "fuzz/Input.h"
#include "src/Manager/FeatureCatalog.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t lengthBytes) {
    std::set<std::string> names;
    for (const CatalogFeature& feature :
         ReadFeatureCatalog({reinterpret_cast<const char*>(data), lengthBytes})) {
        OX3D_FUZZ_EXPECT(names.insert(feature.m_name).second);
        OX3D_FUZZ_EXPECT(!feature.m_displayName.empty() && feature.m_type != 0);
    }
    return 0;
}
