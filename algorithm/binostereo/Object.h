// The algorithm object as it lies at the start of the persistent block, and what the units of the library
// share. Relies on the public header alone.
#pragma once

#include <ox3drgbd/Oxb3dBinoStereo.h>

#include <cstddef>
#include <cstdint>

namespace ox3d::stereo {

constexpr size_t kMemAlignment = OXB3D_BINOSTEREO_MEM_ALIGNMENT;
constexpr size_t kParamCount = 26;

// The smallest image that the processes with a memory take.
constexpr int32_t kMinWidth = 640;
constexpr int32_t kMinHeight = 480;

// The mark by which an object is recognised: 16 characters and the zero that ends them.
constexpr char kMagic[] = "OXB3D_BINOSTEREO";
static_assert(sizeof kMagic == 17);

struct BinoObject {
    char m_magic[sizeof kMagic];
    uint8_t m_reserved0[7];
    OXB3D_BINOSTEREO_ABILITY m_ability;
    int32_t m_params[kParamCount]; // in the order of the parameter table
    uint32_t m_initialised;        // set by process type 1, cleared by restart
    ZQA_SIZE m_imageSize;          // what process type 1 was given
    uint32_t m_reserved1;
    void* m_fusionDepthRegion;
    void* m_multiFuseRegion;
    void* m_scratchRegion;
    uint8_t m_reserved2[104];
};
static_assert(sizeof(BinoObject) == 304 && sizeof(BinoObject) <= OXB3D_BINOSTEREO_OBJECT_SIZE);
static_assert(offsetof(BinoObject, m_ability) % 8 == 0, "the image size is one 64-bit pair");

// Null gives E_NULL, memory without the mark E_OBJECT.
int32_t CheckHandle(const void* handle);

// Only after CheckHandle.
inline BinoObject* ObjectOf(void* handle) {
    return static_cast<BinoObject*>(handle);
}

// True where an image fits the memory that was sized for the object's ability.
inline bool FitsAbility(const BinoObject& object, int32_t width, int32_t height) {
    return width <= object.m_ability.width && height <= object.m_ability.height;
}

// The parameters that processes read; the numbers are their ids.
enum class EParam : uint32_t {
    Param1 = 1, // of the matcher: the window of the census
    SmallestDisparity = 2,
    Param3 = 3, // disparities
    Paths = 4,
    Images = 5,
    Smoothness = 6,
    FuseMode = 257,
    FusePinned = 258,
    FuseThreshold = 259,
    FuseRowShift = 260,
    FuseColumnShift = 261,
    SaddleMark = 514,       // from which score on a board passes
    SharpnessMark = 515,    // the same of an image
    RegistrationMark = 516, // of depth on color
    IslandSide = 769,
    IslandStep = 770,
    IslandFilter = 771,
    MedianFilter = 772,
    Tolerance = 773,
    LargeStepPercent = 774,
    LargeStepFalls = 775,
    LargeStepFallen = 776,
    Smoothing = 777,
    Distortion = 1025,   // that a calibration fits
    OutlierRounds = 1026 // in which it leaves out what is far off
};

// 0 where the handle is no object.
int32_t ParamOf(void* handle, EParam param);

// Loads every parameter's default.
void LoadDefaultParams(BinoObject* object);

} // namespace ox3d::stereo
