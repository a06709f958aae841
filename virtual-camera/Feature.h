// Feature.h - the vocabulary of a camera's features: what one row of the feature table says.
//
// The table is the only place that knows a feature's type, range, access and register. The GenICam text, the
// register memory, access by name and the feature file are all derived from it.
#ifndef OX3D_VIRTUAL_CAMERA_FEATURE_H
#define OX3D_VIRTUAL_CAMERA_FEATURE_H

#include <cstdint>
#include <span>

namespace ox3d {

// Bit values, so that a table row can name several.
enum class ETransport : uint8_t { GigE = 1, Usb = 2 };
constexpr uint8_t kGigEOnly = 1;
constexpr uint8_t kUsbOnly = 2;
constexpr uint8_t kEveryTransport = 3;

constexpr bool IsOn(uint8_t transports, ETransport transport) {
    return (transports & static_cast<uint8_t>(transport)) != 0;
}

// What makes cameras differ beyond their transport. A row or an entry exists where the camera has one of its traits.
constexpr uint16_t kNativeTrait = 1;         // sends depth with colour in a chunk
constexpr uint16_t kScan3dTrait = 2;         // sends components, as the standard's 3D model has it
constexpr uint16_t kRangeTrait = 4;          // of the latter: the depth component is a range ...
constexpr uint16_t kDisparityTrait = 8;      // ... or a disparity;
constexpr uint16_t kIntensityTrait = 16;     // there is a picture,
constexpr uint16_t kConfidenceTrait = 32;    // a confidence,
constexpr uint16_t kDistanceUnitTrait = 64;  // a unit that is told,
constexpr uint16_t kMultiPartTrait = 128;    // payload of several parts,
constexpr uint16_t kColorTrait = 256;        // the picture is one of colours,
constexpr uint16_t kLensTrait = 512;         // the depth's lens is told by features,
constexpr uint16_t kMapsTrait = 1024;        // or by maps of what each pixel sees.
constexpr uint16_t kFixedSystemTrait = 2048; // Coordinates are in the anchor's system alone, ...
constexpr uint16_t kTransformTrait = 4096;   // ... or in one that can be moved from there,
constexpr uint16_t kToAnchorTrait = 8192;    // and that can be left for the anchor's
constexpr uint16_t kEveryTrait = 0xFFFF;

// The numbers of the events: the standard's, and two of the range that is left to makers.
constexpr uint16_t kEventExposureEnd = 0x0004;
constexpr uint16_t kEventDeviceTemperature = 0x9001; // data: degrees Celsius, 32-bit float
constexpr uint16_t kEventDeviceLost = 0x9002;        // data: 1, a restart

// The outcome of an operation on the model. The transport translates it into its own codes.
enum class EModelStatus {
    Ok,
    UnknownFeature,
    WrongType,
    Range,
    Access,   // not readable or writable now
    Argument, // an address, a length or a text that makes no sense
    NoData,   // a file that the camera should have is not there
    Full,     // the file store has no room
    Resource, // no memory
};

enum class EFeatureType : uint8_t { Integer, Float, Boolean, Enumeration, String, Command, Register };
enum class EAccess : uint8_t { ReadOnly, ReadWrite, WriteOnly };

// What makes a writable feature read-only for a while.
enum class ELock : uint8_t { Never, WhileAcquiring, WhileAutoExposure };

enum class EFeature : uint8_t {
    None,
    // Device
    DeviceVendorName,
    DeviceModelName,
    DeviceManufacturerInfo,
    DeviceVersion,
    DeviceSerialNumber,
    DeviceUserID,
    DeviceTemperature,
    DeviceReset,
    TimestampLatch,
    TimestampReset,
    TimestampLatchValue,
    // Image
    CameraWorkingMode,
    ImageMode,
    Width,
    Height,
    WidthMax,
    HeightMax,
    ColorWidth,
    ColorHeight,
    PixelFormat,
    // 3D model of the standard
    SensorWidth,
    SensorHeight,
    ComponentSelector,
    ComponentEnable,
    ComponentIDValue,
    OffsetX,
    OffsetY,
    BinningHorizontal,
    BinningVertical,
    Scan3dOutputMode,
    Scan3dDistanceUnit,
    Scan3dCoordinateSystem,
    Scan3dCoordinateSystemReference,
    Scan3dCoordinateSelector,
    Scan3dCoordinateScale,
    Scan3dCoordinateOffset,
    Scan3dInvalidDataFlag,
    Scan3dInvalidDataValue,
    Scan3dAxisMin,
    Scan3dAxisMax,
    Scan3dCoordinateReferenceSelector,
    Scan3dCoordinateReferenceValue,
    Scan3dTransformSelector,
    Scan3dTransformValue,
    Scan3dFocalLength,
    Scan3dAspectRatio,
    Scan3dPrincipalPointU,
    Scan3dPrincipalPointV,
    Scan3dBaseline,
    // Acquisition
    AcquisitionMode,
    AcquisitionFrameCount,
    AcquisitionStart,
    AcquisitionStop,
    AcquisitionActive,
    AcquisitionFrameRateEnable,
    AcquisitionFrameRate,
    ResultingFrameRate,
    TriggerSelector,
    TriggerMode,
    TriggerSource,
    TriggerSoftware,
    ExposureAuto,
    ExposureTime,
    Gain,
    // Chunks and events
    ChunkModeActive,
    ChunkSelector,
    ChunkEnable,
    EventSelector,
    EventNotification,
    EventExposureEnd,
    EventDeviceTemperature,
    EventDeviceLost,
    // User sets and files
    UserSetSelector,
    UserSetLoad,
    UserSetSave,
    UserSetDefault,
    FileSelector,
    FileOperationSelector,
    FileOpenMode,
    FileAccessOffset,
    FileAccessLength,
    FileAccessBuffer,
    FileOperationExecute,
    FileOperationStatus,
    FileOperationResult,
    FileSize,
    // Transport
    PayloadSize,
    TLParamsLocked,
    GevMACAddress,
    GevCurrentIPConfigurationLLA,
    GevCurrentIPConfigurationDHCP,
    GevCurrentIPConfigurationPersistentIP,
    GevCurrentIPAddress,
    GevCurrentSubnetMask,
    GevCurrentDefaultGateway,
    GevPersistentIPAddress,
    GevPersistentSubnetMask,
    GevPersistentDefaultGateway,
    GevHeartbeatTimeout,
    GevTimestampTickFrequency,
    GevCCP,
    GevMCPHostPort,
    GevMCDA,
    GevSCPHostPort,
    GevSCPSFireTestPacket,
    GevSCPSDoNotFragment,
    GevSCPSPacketSize,
    GevSCPD,
    GevSCDA,
    GevSCSP,
    GevSCCFGMultiPart,
    GevGVSPExtendedIDMode,
};

struct EnumEntry {
    const char* m_name;
    uint32_t m_value;
    uint8_t m_transports = kEveryTransport;
    uint16_t m_traits = kEveryTrait;
    uint32_t m_slots = UINT32_MAX; // values of the row's selector (bits) with which there is this entry
};

// Rows are written with the functions at the end of this file and their modifiers.
struct FeatureRow {
    EFeature m_id = EFeature::None;
    const char* m_name = "";
    EFeatureType m_type = EFeatureType::Integer;
    EAccess m_access = EAccess::ReadOnly;
    const char* m_category = "";
    const char* m_tip = "";
    uint8_t m_transports = kEveryTransport;
    uint16_t m_traits = kEveryTrait;
    uint32_t m_address = 0;     // 0: placed in the feature area, in the table's order
    uint32_t m_lengthBytes = 4; // of the register
    uint8_t m_shift = 0;        // position and width of a field inside the register;
    uint8_t m_bits = 0;         // 0 bits: the whole register
    int64_t m_min = 0;          // Integer
    int64_t m_max = UINT32_MAX;
    int64_t m_inc = 1;
    int64_t m_default = 0; // Integer, Boolean, Enumeration
    double m_floatMin = 0; // Float
    double m_floatMax = 0;
    double m_floatDefault = 0;
    const char* m_unit = "";
    std::span<const EnumEntry> m_entries;
    EFeature m_maxOf = EFeature::None;    // a feature whose value is the maximum, in place of m_max
    EFeature m_selector = EFeature::None; // one register for every entry of the selector
    ELock m_lock = ELock::Never;
    bool m_isSaved = false; // part of user sets and feature files

    constexpr FeatureRow Range(int64_t min, int64_t max, int64_t inc = 1) const {
        FeatureRow row = *this;
        row.m_min = min;
        row.m_max = max;
        row.m_inc = inc;
        return row;
    }
    constexpr FeatureRow FloatRange(double min, double max, double initial, const char* unit) const {
        FeatureRow row = *this;
        row.m_floatMin = min;
        row.m_floatMax = max;
        row.m_floatDefault = initial;
        row.m_unit = unit;
        return row;
    }
    constexpr FeatureRow Default(int64_t value) const {
        FeatureRow row = *this;
        row.m_default = value;
        return row;
    }
    constexpr FeatureRow Unit(const char* unit) const {
        FeatureRow row = *this;
        row.m_unit = unit;
        return row;
    }
    constexpr FeatureRow At(uint32_t address, uint32_t lengthBytes) const {
        FeatureRow row = *this;
        row.m_address = address;
        row.m_lengthBytes = lengthBytes;
        return row;
    }
    constexpr FeatureRow Length(uint32_t lengthBytes) const { return At(m_address, lengthBytes); }
    constexpr FeatureRow Field(uint8_t shift, uint8_t bits) const {
        FeatureRow row = *this;
        row.m_shift = shift;
        row.m_bits = bits;
        return row;
    }
    constexpr FeatureRow Entries(std::span<const EnumEntry> entries) const {
        FeatureRow row = *this;
        row.m_entries = entries;
        return row;
    }
    constexpr FeatureRow By(EFeature selector) const {
        FeatureRow row = *this;
        row.m_selector = selector;
        return row;
    }
    constexpr FeatureRow Locked(ELock lock) const {
        FeatureRow row = *this;
        row.m_lock = lock;
        return row;
    }
    constexpr FeatureRow Saved() const {
        FeatureRow row = *this;
        row.m_isSaved = true;
        return row;
    }
    constexpr FeatureRow On(uint8_t transports) const {
        FeatureRow row = *this;
        row.m_transports = transports;
        return row;
    }
    constexpr FeatureRow For(uint16_t traits) const {
        FeatureRow row = *this;
        row.m_traits = traits;
        return row;
    }
    constexpr FeatureRow UpTo(EFeature maximum) const {
        FeatureRow row = *this;
        row.m_maxOf = maximum;
        return row;
    }
};

constexpr FeatureRow Row(EFeature id, const char* name, EFeatureType type, EAccess access,
                         const char* category, const char* tip) {
    FeatureRow row;
    row.m_id = id;
    row.m_name = name;
    row.m_type = type;
    row.m_access = access;
    row.m_category = category;
    row.m_tip = tip;
    return row;
}

// The name of a feature and its identifier are one word.
#define OX3D_INT(id, ...) Row(EFeature::id, #id, EFeatureType::Integer, __VA_ARGS__)
#define OX3D_FLOAT(id, ...) Row(EFeature::id, #id, EFeatureType::Float, __VA_ARGS__)
#define OX3D_BOOL(id, ...) Row(EFeature::id, #id, EFeatureType::Boolean, __VA_ARGS__).Range(0, 1)
#define OX3D_ENUM(id, ...) Row(EFeature::id, #id, EFeatureType::Enumeration, __VA_ARGS__)
#define OX3D_TEXT(id, ...) Row(EFeature::id, #id, EFeatureType::String, __VA_ARGS__)
#define OX3D_COMMAND(id, category, tip) \
    Row(EFeature::id, #id, EFeatureType::Command, EAccess::WriteOnly, category, tip)

// Every feature of every transport. Selectors stand before what they select.
std::span<const FeatureRow> AllFeatures();
// What cameras of the standard's 3D model have besides.
std::span<const FeatureRow> Scan3dFeatures();

} // namespace ox3d

#endif
