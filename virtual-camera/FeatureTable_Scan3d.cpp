// FeatureTable_Scan3d.cpp - the features of cameras that follow the standard's 3D model, one row each.
//
// Registers of a component or a coordinate lie side by side, one for every value of the selector. What follows from
// other settings is brought up to date before it is read (CameraModel_Scan3d.cpp).
#include "gigevision/Registers.h"
#include "virtual-camera/scan3d/Scan3dFormat.h"
#include "virtual-camera/scan3d/Scan3dSettings.h"

namespace ox3d {
namespace {

namespace reg = gige::reg;

constexpr EAccess kRo = EAccess::ReadOnly;
constexpr EAccess kRw = EAccess::ReadWrite;

constexpr const char* kImage = "ImageFormatControl";
constexpr const char* kScan3d = "Scan3dControl";
constexpr const char* kTransport = "TransportLayerControl";

constexpr double kAnyFloat = 3.0e38;

constexpr EnumEntry kComponents[] = {
    {"Intensity", kIntensity, kEveryTransport, kIntensityTrait},
    {"Range", kRange, kEveryTransport, kRangeTrait},
    {"Confidence", kConfidence, kEveryTransport, kConfidenceTrait},
    {"Disparity", kDisparity, kEveryTransport, kDisparityTrait},
    {"CoordinateMapA", kCoordinateMapA, kEveryTransport, kMapsTrait},
    {"CoordinateMapB", kCoordinateMapB, kEveryTransport, kMapsTrait},
};
constexpr EnumEntry kOutputModes[] = {
    {"UncalibratedC", kUncalibratedC, kEveryTransport, kRangeTrait},
    {"CalibratedABC_Grid", kCalibratedAbcGrid, kEveryTransport, kRangeTrait},
    {"CalibratedC", kCalibratedC, kEveryTransport, kRangeTrait},
    {"RectifiedC", kRectifiedC, kEveryTransport, kRangeTrait},
    {"DisparityC", kDisparityC, kEveryTransport, kDisparityTrait},
    {"ProjectedC", kProjectedC, kEveryTransport, kRangeTrait},
};
constexpr auto kFormatEntries = Scan3dFormatEntries();
constexpr EnumEntry kUnits[] = {{"Millimeter", 0}, {"Inch", 1}, {"Pixel", 2}, {"Meter", 3}};
constexpr EnumEntry kSystems[] = {{"Cartesian", 0}};
constexpr EnumEntry kSystemReferences[] = {
    {"Anchor", kAnchor, kEveryTransport, kFixedSystemTrait | kToAnchorTrait},
    {"Transformed", kTransformed, kEveryTransport, kTransformTrait},
};
constexpr EnumEntry kCoordinates[] = {{"CoordinateA", 0}, {"CoordinateB", 1}, {"CoordinateC", 2}};
constexpr EnumEntry kReferences[] = {{"RotationX", 0},    {"RotationY", 1},
                                     {"RotationZ", 2},    {"TranslationX", 3},
                                     {"TranslationY", 4}, {"TranslationZ", kTranslationZ}};
constexpr EnumEntry kOffOn[] = {{"Off", 0}, {"On", 1}};

constexpr FeatureRow kRows[] = {
    OX3D_INT(SensorWidth, kRo, kImage, "Columns of the depth sensor").Range(1, 65535).Unit("px"),
    OX3D_INT(SensorHeight, kRo, kImage, "Rows of the depth sensor").Range(1, 65535).Unit("px"),
    OX3D_ENUM(ComponentSelector, kRw, kImage, "The component that the features below are about")
        .Entries(kComponents)
        .Default(kRange) // of disparity and picture as the camera has them
        .Saved(),
    OX3D_BOOL(ComponentEnable, kRw, kImage, "Whether the selected component is sent")
        .By(EFeature::ComponentSelector)
        .Locked(ELock::WhileAcquiring)
        .Saved(),
    OX3D_INT(ComponentIDValue, kRo, kImage, "What the selected component is, in the standard's numbers")
        .Range(0, 65535)
        .By(EFeature::ComponentSelector),
    OX3D_INT(WidthMax, kRo, kImage, "Columns of the selected component after binning")
        .Range(1, 65535)
        .Unit("px")
        .By(EFeature::ComponentSelector),
    OX3D_INT(HeightMax, kRo, kImage, "Rows of the selected component after binning")
        .Range(1, 65535)
        .Unit("px")
        .By(EFeature::ComponentSelector),
    OX3D_INT(Width, kRw, kImage, "Columns of the selected component")
        .Range(kMinRegion, 65535, kRegionStep)
        .UpTo(EFeature::WidthMax)
        .Unit("px")
        .By(EFeature::ComponentSelector)
        .Locked(ELock::WhileAcquiring)
        .Saved(),
    OX3D_INT(Height, kRw, kImage, "Rows of the selected component")
        .Range(kMinRegion, 65535, kRegionStep)
        .UpTo(EFeature::HeightMax)
        .Unit("px")
        .By(EFeature::ComponentSelector)
        .Locked(ELock::WhileAcquiring)
        .Saved(),
    OX3D_INT(OffsetX, kRw, kImage, "First column of the selected component; the region stays inside WidthMax")
        .Range(0, 65535, kRegionStep)
        .UpTo(EFeature::WidthMax)
        .Unit("px")
        .By(EFeature::ComponentSelector)
        .Locked(ELock::WhileAcquiring)
        .Saved(),
    OX3D_INT(OffsetY, kRw, kImage, "First row of the selected component; the region stays inside HeightMax")
        .Range(0, 65535, kRegionStep)
        .UpTo(EFeature::HeightMax)
        .Unit("px")
        .By(EFeature::ComponentSelector)
        .Locked(ELock::WhileAcquiring)
        .Saved(),
    OX3D_INT(BinningHorizontal, kRw, kImage, "Columns of the depth sensor that become one; the rows follow")
        .Range(1, kMaxBinning)
        .Default(1)
        .Locked(ELock::WhileAcquiring)
        .Saved(),
    OX3D_INT(BinningVertical, kRw, kImage, "Rows of the depth sensor that become one; the columns follow")
        .Range(1, kMaxBinning)
        .Default(1)
        .Locked(ELock::WhileAcquiring)
        .Saved(),
    OX3D_ENUM(PixelFormat, kRw, kImage, "Pixel format of the selected component")
        .Entries(kFormatEntries)
        .By(EFeature::ComponentSelector)
        .Locked(ELock::WhileAcquiring)
        .Saved(),

    OX3D_ENUM(Scan3dOutputMode, kRw, kScan3d, "What the depth component's values are")
        .Entries(kOutputModes)
        .Locked(ELock::WhileAcquiring)
        .Saved(),
    OX3D_ENUM(Scan3dDistanceUnit, kRo, kScan3d, "Unit of the coordinates")
        .Entries(kUnits)
        .For(kDistanceUnitTrait),
    OX3D_ENUM(Scan3dCoordinateSystem, kRo, kScan3d, "Coordinate system of the points").Entries(kSystems),
    OX3D_ENUM(Scan3dCoordinateSystemReference, kRo, kScan3d, "Where the coordinates' origin is")
        .Entries(kSystemReferences)
        .For(kFixedSystemTrait),
    OX3D_ENUM(Scan3dCoordinateSystemReference, kRw, kScan3d, "Where the coordinates' origin is")
        .Entries(kSystemReferences)
        .Locked(ELock::WhileAcquiring)
        .For(kTransformTrait)
        .Saved(),
    OX3D_ENUM(Scan3dTransformSelector, kRw, kScan3d, "The number of the transform that the value is")
        .Entries(kReferences)
        .For(kTransformTrait)
        .Saved(),
    OX3D_FLOAT(Scan3dTransformValue, kRw, kScan3d,
               "A number of the way from the anchor's system to the transformed")
        .FloatRange(-kAnyFloat, kAnyFloat, 0, "")
        .By(EFeature::Scan3dTransformSelector)
        .Locked(ELock::WhileAcquiring)
        .For(kTransformTrait)
        .Saved(),
    OX3D_ENUM(Scan3dCoordinateSelector, kRw, kScan3d, "The coordinate that the features below are about")
        .Entries(kCoordinates)
        .Default(2)
        .Saved(),
    OX3D_FLOAT(Scan3dCoordinateScale, kRo, kScan3d, "Factor from transmitted values to the coordinate")
        .FloatRange(-kAnyFloat, kAnyFloat, 1, "")
        .By(EFeature::Scan3dCoordinateSelector),
    OX3D_FLOAT(Scan3dCoordinateOffset, kRo, kScan3d, "What is added after the factor")
        .FloatRange(-kAnyFloat, kAnyFloat, 0, "")
        .By(EFeature::Scan3dCoordinateSelector),
    OX3D_BOOL(Scan3dInvalidDataFlag, kRo, kScan3d, "Whether one transmitted value means that there is none")
        .By(EFeature::Scan3dCoordinateSelector),
    OX3D_FLOAT(Scan3dInvalidDataValue, kRo, kScan3d, "The transmitted value that means it")
        .FloatRange(-kAnyFloat, kAnyFloat, 0, "")
        .By(EFeature::Scan3dCoordinateSelector),
    OX3D_FLOAT(Scan3dAxisMin, kRo, kScan3d, "Least value that can be transmitted, as the coordinate")
        .FloatRange(-kAnyFloat, kAnyFloat, 0, "")
        .By(EFeature::Scan3dCoordinateSelector),
    OX3D_FLOAT(Scan3dAxisMax, kRo, kScan3d, "Greatest value that can be transmitted, as the coordinate")
        .FloatRange(-kAnyFloat, kAnyFloat, 0, "")
        .By(EFeature::Scan3dCoordinateSelector),
    OX3D_ENUM(Scan3dCoordinateReferenceSelector, kRw, kScan3d, "The number of the camera's pose that is read")
        .Entries(kReferences)
        .Saved(),
    OX3D_FLOAT(Scan3dCoordinateReferenceValue, kRo, kScan3d, "A number of the camera's pose")
        .FloatRange(-kAnyFloat, kAnyFloat, 0, "")
        .By(EFeature::Scan3dCoordinateReferenceSelector),
    OX3D_FLOAT(Scan3dFocalLength, kRo, kScan3d, "Focal length, in columns of the depth component")
        .FloatRange(0, 1e6, 0, "px")
        .For(kLensTrait),
    OX3D_FLOAT(Scan3dAspectRatio, kRo, kScan3d, "Focal length in rows by that in columns")
        .FloatRange(0, 1e3, 1, "")
        .For(kLensTrait),
    OX3D_FLOAT(Scan3dPrincipalPointU, kRo, kScan3d,
               "Column of the principal point in the depth component's region")
        .FloatRange(-1e6, 1e6, 0, "px")
        .For(kLensTrait),
    OX3D_FLOAT(Scan3dPrincipalPointV, kRo, kScan3d,
               "Row of the principal point in the depth component's region")
        .FloatRange(-1e6, 1e6, 0, "px")
        .For(kLensTrait),
    OX3D_FLOAT(Scan3dBaseline, kRo, kScan3d, "Distance of the two imagers")
        .FloatRange(0, 1e3, 0, "m")
        .For(kDisparityTrait),

    OX3D_BOOL(GevSCCFGMultiPart, kRw, kTransport,
              "Components are parts of one payload; needs extended block ids")
        .At(reg::kStreamConfiguration, 4)
        .Field(6, 1)
        .Locked(ELock::WhileAcquiring)
        .For(kMultiPartTrait),
    OX3D_ENUM(GevGVSPExtendedIDMode, kRw, kTransport, "Block ids of 64 bits and packet ids of 32")
        .At(reg::kStreamProtocolConfiguration, 4)
        .Field(30, 1)
        .Entries(kOffOn)
        .Locked(ELock::WhileAcquiring),
};

} // namespace

std::span<const FeatureRow> Scan3dFeatures() {
    return kRows;
}

} // namespace ox3d
