// The one list of functions against the header that providers are compiled against: same names, same types.
#include <type_traits>

#include "OxCameraControl.h"

namespace {

#define OX_CAM_SYMBOL(result, name, arguments, group, need) \
    static_assert(std::is_same_v<decltype(name), result arguments>, #name);
#include "CameraModule/CamSymbols.def"

constexpr int kCount = 0
#define OX_CAM_SYMBOL(result, name, arguments, group, need) +1
#include "CameraModule/CamSymbols.def"
    ;
static_assert(kCount == 57);

} // namespace
