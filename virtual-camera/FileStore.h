// FileStore.h - the files inside a camera, and access to them in pieces as the file features do it.
#ifndef OX3D_VIRTUAL_CAMERA_FILE_STORE_H
#define OX3D_VIRTUAL_CAMERA_FILE_STORE_H

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "virtual-camera/Feature.h"

namespace ox3d {

constexpr const char* kCalibrationFile = "RGBDSensorCali";
constexpr const char* kSystemCalibrationFile = "LSLSystemCali";
constexpr const char* kFirmwareFile = "DeviceFirmware";

class CFileStore {
public:
    static constexpr size_t kMaxFiles = 64;
    static constexpr uint64_t kMaxBytes = 64u << 20; // of one file

    const std::vector<uint8_t>* Find(std::string_view name) const;
    EModelStatus Write(std::string_view name, std::vector<uint8_t> bytes);
    EModelStatus WriteAt(std::string_view name, uint64_t offset, const uint8_t* bytes, uint64_t lengthBytes);
    bool Erase(std::string_view name);

private:
    EModelStatus CheckRoom(std::string_view name, uint64_t sizeBytes) const;

    std::map<std::string, std::vector<uint8_t>, std::less<>> m_files;
};

enum class EFileOperation : uint32_t { Open, Close, Read, Write, Delete };
enum class EFileStatus : uint32_t { Success, Failure, Unavailable };

// One piecewise access: open, read or write pieces, close. Only one file is open at a time.
class CFileAccess {
public:
    struct Request {
        EFileOperation m_operation;
        std::string m_file;
        uint32_t m_openMode; // 0 read, 1 write, 2 both
        uint64_t m_offset;
        uint64_t m_lengthBytes;
        std::vector<uint8_t>* m_buffer; // of m_lengthBytes or more
    };
    // Bytes moved go to *moved.
    EFileStatus Execute(CFileStore* store, const Request& request, uint64_t* moved);
    const std::string& OpenFile() const { return m_openFile; }
    bool IsOpenForWriting() const { return m_openMode != 0; }

private:
    EFileStatus Open(CFileStore* store, const Request& request);
    EFileStatus Read(const CFileStore& store, const Request& request, uint64_t* moved) const;

    std::string m_openFile;
    uint32_t m_openMode = 0;
};

} // namespace ox3d

#endif
