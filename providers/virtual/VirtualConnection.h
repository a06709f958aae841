// VirtualConnection.h - one opening of a virtual camera: the operations are those of its model.
#ifndef OX3D_PROVIDER_VIRTUAL_CONNECTION_H
#define OX3D_PROVIDER_VIRTUAL_CONNECTION_H

#include "providers/common/Connection.h"
#include "virtual-camera/CameraModel.h"

namespace ox3d {

class CVirtualConnection final : public CConnection {
public:
    static constexpr const char* kExposureEnd = "ExposureEnd";

    CVirtualConnection(std::shared_ptr<CCameraModel> model, std::shared_ptr<CHandleCallbacks> callbacks,
                       uint32_t accessMode);

    CCameraModel& Model() const { return *m_model; }
    uint32_t PlugCount() const { return m_plugCount; }
    bool IsAlive() override;
    void RaiseExposureEnd(const CameraFrame& frame);

    std::shared_ptr<CStream> MakeStream(std::shared_ptr<CFrameBuffer> frames) override;
    int StartAcquisition() override;
    void StopAcquisition() override;
    int OptimalPacketSize() override;

    int GetInteger(const char* key, OX_CC_INT_VALUE_EX* value) override;
    int SetInteger(const char* key, int64_t value) override;
    int GetFloat(const char* key, OX_CC_FLOAT_VALUE* value) override;
    int SetFloat(const char* key, float value) override;
    int GetEnum(const char* key, OX_CC_ENUM_VALUE* value) override;
    int SetEnum(const char* key, uint32_t value) override;
    int SetEnumByName(const char* key, const char* entry) override;
    int GetString(const char* key, OX_CC_STRING_VALUE* value) override;
    int SetString(const char* key, const char* value) override;
    int GetBoolean(const char* key, bool* value) override;
    int SetBoolean(const char* key, bool value) override;
    int Execute(const char* key) override;
    int AccessOf(const char* key, uint32_t* accessMode) override;
    int TypeOf(const char* key, uint32_t* interfaceType) override;
    int Xml(std::string* xml) override;
    int SaveFeatures(std::string* text) override;
    int LoadFeatures(const std::string& text, std::string* where) override;

    int ReadMemory(uint64_t address, void* bytes, uint64_t lengthBytes) override;
    int WriteMemory(uint64_t address, const void* bytes, uint64_t lengthBytes) override;
    int ReadFile(const std::string& name, const TransferProgress& progress,
                 std::vector<uint8_t>* bytes) override;
    int WriteFile(const std::string& name, std::vector<uint8_t> bytes,
                  const TransferProgress& progress) override;
    int InstallFirmware(std::vector<uint8_t> bytes, const TransferProgress& progress) override;

private:
    const std::shared_ptr<CCameraModel> m_model;
    const uint32_t m_plugCount;
};

} // namespace ox3d

#endif
