// FeatureTable.cpp - the features of the virtual cameras, one row each.
//
// Rows with an address live where the transport's own standard puts them (the bootstrap registers of
// GigE Vision, the identification block of USB3 Vision); the others are placed in the feature area.
#include "gigevision/Registers.h"
#include "virtual-camera/Feature.h"

namespace ox3d {
namespace {

namespace reg = gige::reg;

constexpr EAccess kRo = EAccess::ReadOnly;
constexpr EAccess kRw = EAccess::ReadWrite;

constexpr const char* kDevice = "DeviceControl";
constexpr const char* kImage = "ImageFormatControl";
constexpr const char* kAcquisition = "AcquisitionControl";
constexpr const char* kAnalog = "AnalogControl";
constexpr const char* kChunk = "ChunkDataControl";
constexpr const char* kEvent = "EventControl";
constexpr const char* kUserSet = "UserSetControl";
constexpr const char* kFile = "FileAccessControl";
constexpr const char* kTransport = "TransportLayerControl";

constexpr EnumEntry kWorkingModes[] = {{"DepthOnly", 1}, {"Rgbd", 4}};
constexpr EnumEntry kImageModes[] = {{"Grey", 1}, {"Depth", 2}};
constexpr EnumEntry kPixelFormats[] = {{"Mono8", 0x01080001}, {"Coord3D_C16", 0x011000B8}};
constexpr EnumEntry kAcquisitionModes[] = {{"Continuous", 0}, {"SingleFrame", 1}, {"MultiFrame", 2}};
constexpr EnumEntry kTriggerSelectors[] = {{"FrameStart", 0}};
constexpr EnumEntry kOffOn[] = {{"Off", 0}, {"On", 1}};
constexpr EnumEntry kTriggerSources[] = {{"Line0", 0}, {"Line1", 1}, {"Software", 7}};
constexpr EnumEntry kAutoModes[] = {{"Off", 0}, {"Continuous", 2}};
constexpr EnumEntry kChunks[] = {{"DemosaicPair", 19, kUsbOnly}, {"ExtendedImage", 24}};
constexpr EnumEntry kEvents[] = {
    {"ExposureEnd", 0}, {"DeviceTemperature", 1, kGigEOnly}, {"DeviceLost", 2, kGigEOnly}};
constexpr EnumEntry kUserSets[] = {{"Default", 0}, {"UserSet1", 1}, {"UserSet2", 2}};
constexpr EnumEntry kFiles[] = {{"RGBDSensorCali", 0, kEveryTransport, kNativeTrait},
                                {"LSLSystemCali", 1, kEveryTransport, kNativeTrait},
                                {"DeviceFirmware", 2},
                                {"UserFile1", 3},
                                {"UserFile2", 4},
                                {"UserFile3", 5},
                                {"UserFile4", 6}};
constexpr EnumEntry kFileOperations[] = {{"Open", 0}, {"Close", 1}, {"Read", 2}, {"Write", 3}, {"Delete", 4}};
constexpr EnumEntry kOpenModes[] = {{"Read", 0}, {"Write", 1}, {"ReadWrite", 2}};
constexpr EnumEntry kFileStatus[] = {{"Success", 0}, {"Failure", 1}, {"FileUnavailable", 2}};
constexpr EnumEntry kPrivileges[] = {{"OpenAccess", 0}, {"ExclusiveAccess", 1}, {"ControlAccess", 2}};

constexpr FeatureRow kRows[] = {
    // Identification, in GigE Vision's bootstrap registers and in USB3 Vision's.
    OX3D_TEXT(DeviceVendorName, kRo, kDevice, "Name of the maker")
        .At(reg::kManufacturerName, 32)
        .On(kGigEOnly),
    OX3D_TEXT(DeviceVendorName, kRo, kDevice, "Name of the maker").At(0x0004, 64).On(kUsbOnly),
    OX3D_TEXT(DeviceModelName, kRo, kDevice, "Model of the camera").At(reg::kModelName, 32).On(kGigEOnly),
    OX3D_TEXT(DeviceModelName, kRo, kDevice, "Model of the camera").At(0x0044, 64).On(kUsbOnly),
    OX3D_TEXT(DeviceVersion, kRo, kDevice, "Version of the firmware")
        .At(reg::kDeviceVersion, 32)
        .On(kGigEOnly),
    OX3D_TEXT(DeviceVersion, kRo, kDevice, "Version of the firmware").At(0x00C4, 64).On(kUsbOnly),
    OX3D_TEXT(DeviceManufacturerInfo, kRo, kDevice, "Further text of the maker")
        .At(reg::kManufacturerInfo, 48)
        .On(kGigEOnly),
    OX3D_TEXT(DeviceManufacturerInfo, kRo, kDevice, "Further text of the maker").At(0x0104, 64).On(kUsbOnly),
    OX3D_TEXT(DeviceSerialNumber, kRo, kDevice, "Serial number").At(reg::kSerialNumber, 16).On(kGigEOnly),
    OX3D_TEXT(DeviceSerialNumber, kRo, kDevice, "Serial number").At(0x0144, 64).On(kUsbOnly),
    OX3D_TEXT(DeviceUserID, kRw, kDevice, "Name given by the user, kept without power")
        .At(reg::kUserDefinedName, 16)
        .On(kGigEOnly),
    OX3D_TEXT(DeviceUserID, kRw, kDevice, "Name given by the user, kept without power")
        .At(0x0184, 64)
        .On(kUsbOnly),
    OX3D_FLOAT(DeviceTemperature, kRo, kDevice, "Temperature of the sensor board")
        .FloatRange(-40, 125, 0, "C"),
    OX3D_COMMAND(DeviceReset, kDevice, "Restarts the camera; the connection is lost"),
    OX3D_COMMAND(TimestampLatch, kDevice, "Copies the device clock into TimestampLatchValue"),
    OX3D_COMMAND(TimestampReset, kDevice, "Sets the device clock to 0"),
    OX3D_INT(TimestampLatchValue, kRo, kDevice, "Latched device clock")
        .Length(8)
        .Range(0, INT64_MAX)
        .Unit("ns"),

    // What the main image is.
    OX3D_ENUM(CameraWorkingMode, kRw, kImage, "Which images a frame may carry")
        .Entries(kWorkingModes)
        .Default(1)
        .Locked(ELock::WhileAcquiring)
        .Saved()
        .For(kNativeTrait),
    OX3D_ENUM(ImageMode, kRw, kImage, "What the main image shows")
        .Entries(kImageModes)
        .Default(2)
        .Locked(ELock::WhileAcquiring)
        .Saved()
        .For(kNativeTrait),
    OX3D_INT(Width, kRo, kImage, "Columns of the main image").Range(1, 65535).Unit("px").For(kNativeTrait),
    OX3D_INT(Height, kRo, kImage, "Rows of the main image").Range(1, 65535).Unit("px").For(kNativeTrait),
    OX3D_INT(WidthMax, kRo, kImage, "Columns of the depth sensor")
        .Range(1, 65535)
        .Unit("px")
        .For(kNativeTrait),
    OX3D_INT(HeightMax, kRo, kImage, "Rows of the depth sensor").Range(1, 65535).Unit("px").For(kNativeTrait),
    OX3D_INT(ColorWidth, kRo, kImage, "Columns of the color image, 0 without one")
        .Range(0, 65535)
        .Unit("px")
        .For(kNativeTrait),
    OX3D_INT(ColorHeight, kRo, kImage, "Rows of the color image, 0 without one")
        .Range(0, 65535)
        .Unit("px")
        .For(kNativeTrait),
    OX3D_ENUM(PixelFormat, kRo, kImage, "Pixel format of the main image, follows ImageMode")
        .Entries(kPixelFormats)
        .Default(0x011000B8)
        .For(kNativeTrait),

    OX3D_ENUM(AcquisitionMode, kRw, kAcquisition, "How many frames one start gives")
        .Entries(kAcquisitionModes)
        .Locked(ELock::WhileAcquiring)
        .Saved(),
    OX3D_INT(AcquisitionFrameCount, kRw, kAcquisition, "Frames of one start in MultiFrame")
        .Range(1, 65535)
        .Default(1)
        .Locked(ELock::WhileAcquiring)
        .Saved(),
    OX3D_COMMAND(AcquisitionStart, kAcquisition, "Starts acquisition; frames are numbered from 1 again"),
    OX3D_COMMAND(AcquisitionStop, kAcquisition, "Stops acquisition"),
    OX3D_BOOL(AcquisitionActive, kRo, kAcquisition, "Whether acquisition runs"),
    OX3D_BOOL(AcquisitionFrameRateEnable, kRw, kAcquisition, "Off: the camera runs at its own frame rate")
        .Default(1)
        .Saved(),
    OX3D_FLOAT(AcquisitionFrameRate, kRw, kAcquisition, "Frames a second when enabled")
        .FloatRange(0.1, 240, 30, "Hz")
        .Saved(),
    OX3D_FLOAT(ResultingFrameRate, kRo, kAcquisition, "Frames a second that rate and exposure allow")
        .FloatRange(0, 240, 0, "Hz"),
    OX3D_ENUM(TriggerSelector, kRw, kAcquisition, "The trigger that is set up")
        .Entries(kTriggerSelectors)
        .Saved(),
    OX3D_ENUM(TriggerMode, kRw, kAcquisition, "On: one frame for every trigger").Entries(kOffOn).Saved(),
    OX3D_ENUM(TriggerSource, kRw, kAcquisition, "Where triggers come from")
        .Entries(kTriggerSources)
        .Default(7)
        .Saved(),
    OX3D_COMMAND(TriggerSoftware, kAcquisition,
                 "Takes one frame; needs TriggerMode On and TriggerSource Software"),
    OX3D_ENUM(ExposureAuto, kRw, kAcquisition, "Whether the camera chooses the exposure")
        .Entries(kAutoModes)
        .Saved(),
    OX3D_FLOAT(ExposureTime, kRw, kAcquisition, "Exposure; limits the frame rate")
        .FloatRange(20, 1000000, 5000, "us")
        .Locked(ELock::WhileAutoExposure)
        .Saved(),
    OX3D_FLOAT(Gain, kRw, kAnalog, "Gain of the sensors").FloatRange(0, 24, 0, "dB").Saved(),

    // Whatever changes the payload is locked while acquisition runs: receivers size their buffers at the
    // start.
    OX3D_BOOL(ChunkModeActive, kRw, kChunk, "Whether frames carry chunks")
        .Locked(ELock::WhileAcquiring)
        .Saved()
        .For(kNativeTrait),
    OX3D_ENUM(ChunkSelector, kRw, kChunk, "The chunk that ChunkEnable is about")
        .Entries(kChunks)
        .Default(24)
        .Saved()
        .For(kNativeTrait),
    OX3D_BOOL(ChunkEnable, kRw, kChunk, "Whether the selected chunk is sent")
        .By(EFeature::ChunkSelector)
        .Locked(ELock::WhileAcquiring)
        .Saved()
        .For(kNativeTrait),
    OX3D_ENUM(EventSelector, kRw, kEvent, "The event that EventNotification is about")
        .Entries(kEvents)
        .Saved(),
    OX3D_ENUM(EventNotification, kRw, kEvent, "Whether the selected event is sent")
        .Entries(kOffOn)
        .By(EFeature::EventSelector)
        .Saved(),
    OX3D_INT(EventExposureEnd, kRo, kEvent, "Number of the event").Default(kEventExposureEnd),
    OX3D_INT(EventDeviceTemperature, kRo, kEvent, "Number of the event")
        .Default(kEventDeviceTemperature)
        .On(kGigEOnly),
    OX3D_INT(EventDeviceLost, kRo, kEvent, "Number of the event").Default(kEventDeviceLost).On(kGigEOnly),

    OX3D_ENUM(UserSetSelector, kRw, kUserSet, "The user set of the commands").Entries(kUserSets),
    OX3D_COMMAND(UserSetLoad, kUserSet, "Takes the selected set over").Locked(ELock::WhileAcquiring),
    OX3D_COMMAND(UserSetSave, kUserSet,
                 "Stores the current settings in the selected set; Default cannot be stored"),
    OX3D_ENUM(UserSetDefault, kRw, kUserSet, "The set that the camera starts from").Entries(kUserSets),

    OX3D_ENUM(FileSelector, kRw, kFile, "The file of the operations").Entries(kFiles).For(kNativeTrait),
    OX3D_ENUM(FileSelector, kRw, kFile, "The file of the operations")
        .Entries(kFiles)
        .Default(2)
        .For(kScan3dTrait),
    OX3D_ENUM(FileOperationSelector, kRw, kFile, "What FileOperationExecute does").Entries(kFileOperations),
    OX3D_ENUM(FileOpenMode, kRw, kFile, "How a file is opened").Entries(kOpenModes),
    OX3D_INT(FileAccessOffset, kRw, kFile, "Where the next read or write begins")
        .Range(0, UINT32_MAX)
        .Unit("B"),
    OX3D_INT(FileAccessLength, kRw, kFile, "How much the next read or write moves").Range(0, 4096).Unit("B"),
    Row(EFeature::FileAccessBuffer, "FileAccessBuffer", EFeatureType::Register, kRw, kFile,
        "The bytes that are moved")
        .At(0x00020000, 4096),
    OX3D_COMMAND(FileOperationExecute, kFile, "Runs the selected operation"),
    OX3D_ENUM(FileOperationStatus, kRo, kFile, "How the last operation ended").Entries(kFileStatus),
    OX3D_INT(FileOperationResult, kRo, kFile, "Bytes moved by the last operation").Unit("B"),
    OX3D_INT(FileSize, kRo, kFile, "Size of the selected file").Unit("B"),

    OX3D_INT(PayloadSize, kRo, kTransport, "Bytes of a frame with its chunks").Unit("B"),
    // Clients announce streaming with it. What has to stay put is locked by acquisition itself.
    OX3D_INT(TLParamsLocked, kRw, kTransport, "1 while a client streams").Range(0, 1),
    OX3D_INT(GevMACAddress, kRo, kTransport, "Hardware address")
        .At(reg::kMac, 8)
        .Range(0, 0xFFFFFFFFFFFF)
        .On(kGigEOnly),
    OX3D_BOOL(GevCurrentIPConfigurationLLA, kRo, kTransport, "Link-local addresses")
        .At(reg::kIpConfig, 4)
        .Field(2, 1)
        .Default(1)
        .On(kGigEOnly),
    OX3D_BOOL(GevCurrentIPConfigurationDHCP, kRw, kTransport, "Address by DHCP")
        .At(reg::kIpConfig, 4)
        .Field(1, 1)
        .On(kGigEOnly),
    OX3D_BOOL(GevCurrentIPConfigurationPersistentIP, kRw, kTransport, "Persistent address")
        .At(reg::kIpConfig, 4)
        .Field(0, 1)
        .On(kGigEOnly),
    OX3D_INT(GevCurrentIPAddress, kRo, kTransport, "Address in use").At(reg::kCurrentIp, 4).On(kGigEOnly),
    OX3D_INT(GevCurrentSubnetMask, kRo, kTransport, "Subnet mask in use")
        .At(reg::kCurrentMask, 4)
        .On(kGigEOnly),
    OX3D_INT(GevCurrentDefaultGateway, kRo, kTransport, "Gateway in use")
        .At(reg::kCurrentGateway, 4)
        .On(kGigEOnly),
    OX3D_INT(GevPersistentIPAddress, kRw, kTransport, "Address at the next start")
        .At(reg::kPersistentIp, 4)
        .On(kGigEOnly),
    OX3D_INT(GevPersistentSubnetMask, kRw, kTransport, "Subnet mask at the next start")
        .At(reg::kPersistentMask, 4)
        .On(kGigEOnly),
    OX3D_INT(GevPersistentDefaultGateway, kRw, kTransport, "Gateway at the next start")
        .At(reg::kPersistentGateway, 4)
        .On(kGigEOnly),
    OX3D_INT(GevHeartbeatTimeout, kRw, kTransport, "Silence after which control is lost")
        .At(reg::kHeartbeatTimeout, 4)
        .Range(500, 60000)
        .Default(3000)
        .Unit("ms")
        .On(kGigEOnly),
    OX3D_INT(GevTimestampTickFrequency, kRo, kTransport, "Ticks a second of the device clock")
        .At(reg::kTickFrequency, 8)
        .Range(0, INT64_MAX)
        .Default(1000000000)
        .Unit("Hz")
        .On(kGigEOnly),
    OX3D_ENUM(GevCCP, kRw, kTransport, "Control privilege")
        .At(reg::kControlPrivilege, 4)
        .Entries(kPrivileges)
        .On(kGigEOnly),
    OX3D_INT(GevMCPHostPort, kRw, kTransport, "Port of the message channel")
        .At(reg::kMessagePort, 4)
        .Range(0, 65535)
        .On(kGigEOnly),
    OX3D_INT(GevMCDA, kRw, kTransport, "Address of the message channel")
        .At(reg::kMessageAddress, 4)
        .On(kGigEOnly),
    OX3D_INT(GevSCPHostPort, kRw, kTransport, "Port of the stream channel")
        .At(reg::kStreamPort, 4)
        .Field(0, 16)
        .Range(0, 65535)
        .On(kGigEOnly),
    OX3D_COMMAND(GevSCPSFireTestPacket, kTransport, "Sends one test packet of the packet size")
        .At(reg::kStreamPacketSize, 4)
        .Field(31, 1)
        .On(kGigEOnly),
    OX3D_BOOL(GevSCPSDoNotFragment, kRw, kTransport, "Packets must not be fragmented")
        .At(reg::kStreamPacketSize, 4)
        .Field(30, 1)
        .Default(1)
        .On(kGigEOnly),
    OX3D_INT(GevSCPSPacketSize, kRw, kTransport, "Bytes of a stream packet with its IP header")
        .At(reg::kStreamPacketSize, 4)
        .Field(0, 16)
        .Range(576, 16384, 4)
        .Default(1500)
        .Unit("B")
        .Locked(ELock::WhileAcquiring)
        .On(kGigEOnly),
    OX3D_INT(GevSCPD, kRw, kTransport, "Delay between packets")
        .At(reg::kStreamPacketDelay, 4)
        .Range(0, 100000000)
        .Unit("ns")
        .On(kGigEOnly),
    OX3D_INT(GevSCDA, kRw, kTransport, "Address of the stream channel")
        .At(reg::kStreamAddress, 4)
        .On(kGigEOnly),
    OX3D_INT(GevSCSP, kRo, kTransport, "Source port of the stream channel")
        .At(reg::kStreamSourcePort, 4)
        .Range(0, 65535)
        .On(kGigEOnly),
};

} // namespace

std::span<const FeatureRow> AllFeatures() {
    return kRows;
}

} // namespace ox3d
