// The one list of functions against the header that providers are compiled against: same names, same types.
#include <iterator>
#include <type_traits>

#include <ox3drgbd/OxCameraControl.h>

namespace {

#define OX_CAM_SYMBOL(result, name, arguments, group, need) \
    static_assert(std::is_same_v<decltype(name), result arguments>, #name);
#include "src/CameraModule/CamSymbols.def"

constexpr const char* kNames[] = {
#define OX_CAM_SYMBOL(result, name, arguments, group, need) #name,
#include "src/CameraModule/CamSymbols.def"
};
static_assert(std::size(kNames) == 57);

} // namespace
