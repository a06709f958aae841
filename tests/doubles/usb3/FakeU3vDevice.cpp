// FakeU3vDevice.cpp - bootstrap registers, a small description, and frames of 64 x 48 depth samples.
#include "tests/doubles/usb3/FakeU3vDevice.h"

#include <cstring>

namespace ox3d::test {
namespace {

constexpr uint64_t kManifest = 0x1000;
constexpr uint64_t kSbrm = 0x2000;
constexpr uint64_t kSirm = 0x3000;
constexpr uint64_t kFeatures = 0x4000; // the words that the description names
constexpr uint64_t kXml = 0x10000;
constexpr uint64_t kMemoryBytes = 0x20000;
constexpr uint64_t kAcquiring = kFeatures + 0x0C;
constexpr uint32_t kWidth = 64;
constexpr uint32_t kHeight = 48;
constexpr uint32_t kDepthBytes = kWidth * kHeight * 2;
constexpr uint32_t kChunkBytes = 132; // a header of 32 bytes and something behind it
constexpr uint32_t kPayloadBytes = kDepthBytes + 8 + kChunkBytes + 8;
constexpr uint32_t kDepth = 0x011000B8;

std::string Description() {
    const auto word = [](const char* name, const char* address, const char* access) {
        return std::string("<IntReg Name=\"") + name + "Reg\"><Address>" + address +
               "</Address><Length>4</Length><AccessMode>" + access +
               "</AccessMode><pPort>Device</pPort><Cachable>NoCache</Cachable><Sign>Unsigned</Sign>"
               "<Endianess>LittleEndian</Endianess></IntReg>\n";
    };
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<RegisterDescription ModelName=\"Fake\" "
           "VendorName=\"Fake\" "
           "StandardNameSpace=\"USB\" SchemaMajorVersion=\"1\" SchemaMinorVersion=\"1\" "
           "SchemaSubMinorVersion=\"0\" "
           "MajorVersion=\"1\" MinorVersion=\"0\" SubMinorVersion=\"0\" ProductGuid=\"1\" VersionGuid=\"1\" "
           "xmlns=\"http://www.genicam.org/GenApi/Version_1_1\">\n"
           "<Category Name=\"Root\"><pFeature>Width</pFeature><pFeature>PayloadSize</pFeature>"
           "<pFeature>AcquisitionStart</pFeature><pFeature>AcquisitionStop</pFeature><pFeature>Step</"
           "pFeature>"
           "<pFeature>DeviceUserID</pFeature></Category>\n"
           "<Integer Name=\"Width\"><pValue>WidthReg</pValue></Integer>\n" +
           word("Width", "0x4000", "RO") +
           "<Integer Name=\"PayloadSize\"><pValue>PayloadSizeReg</pValue></Integer>\n" +
           word("PayloadSize", "0x4008", "RO") +
           "<Command "
           "Name=\"AcquisitionStart\"><pValue>AcquiringReg</pValue><CommandValue>1</CommandValue></Command>\n"
           "<Command "
           "Name=\"AcquisitionStop\"><pValue>AcquiringReg</pValue><CommandValue>0</CommandValue></"
           "Command>\n" +
           word("Acquiring", "0x400C", "RW") +
           "<Integer Name=\"Step\"><pIsLocked>AcquiringReg</pIsLocked><pValue>StepReg</pValue><Min>4</Min>"
           "<Max>100</Max><Inc>4</Inc></Integer>\n" +
           word("Step", "0x4010", "RW") +
           "<StringReg "
           "Name=\"DeviceUserID\"><Address>0x0184</Address><Length>64</Length><AccessMode>RW</AccessMode>"
           "<pPort>Device</pPort><Cachable>NoCache</Cachable></StringReg>\n"
           "<Port Name=\"Device\"/>\n</RegisterDescription>\n";
}

template <typename T>
void Append(std::vector<uint8_t>* bytes, T value) {
    for (size_t i = 0; i < sizeof(value); ++i) {
        bytes->push_back(static_cast<uint8_t>(static_cast<uint64_t>(value) >> (8 * i)));
    }
}

} // namespace

CFakeU3vDevice::CFakeU3vDevice() : m_memory(kMemoryBytes) {
    Put<uint32_t>(0x0000, 0x00010000);
    PutText(0x0004, "Fake");
    PutText(0x0044, "FakeUsb");
    PutText(0x0144, "U3V0001");
    Put<uint32_t>(0x01CC, 500);
    Put<uint64_t>(0x01D0, kManifest);
    Put<uint64_t>(0x01D8, kSbrm);
    Put<uint32_t>(kSbrm, 0x00010000);
    Put<uint64_t>(kSbrm + 0x04, 1); // there is a stream
    Put<uint32_t>(kSbrm + 0x14, 1024);
    Put<uint32_t>(kSbrm + 0x18, 1024);
    Put<uint32_t>(kSbrm + 0x1C, 1);
    Put<uint64_t>(kSbrm + 0x20, kSirm);
    Put<uint32_t>(kSbrm + 0x28, 0x30);
    Put<uint64_t>(kSirm + 0x08, kPayloadBytes);
    Put<uint32_t>(kSirm + 0x10, 52);
    Put<uint32_t>(kSirm + 0x14, 36);
    const std::string xml = Description();
    Put<uint64_t>(kManifest, 1);
    Put<uint64_t>(kManifest + 8 + 8, kXml);
    Put<uint64_t>(kManifest + 8 + 16, xml.size());
    std::memcpy(m_memory.data() + kXml, xml.data(), xml.size());
    Put<uint32_t>(kFeatures, kWidth);
    Put<uint32_t>(kFeatures + 0x08, kPayloadBytes);
    Put<uint32_t>(kFeatures + 0x10, 8);
}

template <typename T>
void CFakeU3vDevice::Put(uint64_t address, T value) {
    std::memcpy(m_memory.data() + address, &value, sizeof(value));
}

void CFakeU3vDevice::PutText(uint64_t address, const char* text) {
    std::memcpy(m_memory.data() + address, text, std::strlen(text));
}

uint32_t CFakeU3vDevice::Word(uint64_t address) const {
    uint32_t word = 0;
    std::memcpy(&word, m_memory.data() + address, sizeof(word));
    return word;
}

// ---- Control ----

void CFakeU3vDevice::Command(const uint8_t* bytes, size_t lengthBytes) {
    constexpr size_t kHeader = 12;
    constexpr uint16_t kRead = 0x0800;
    constexpr uint16_t kWrite = 0x0802;
    uint16_t words[4] = {}; // flags, command, length, id
    uint64_t address = 0;
    if (lengthBytes < kHeader + sizeof(address)) {
        return;
    }
    std::memcpy(words, bytes + 4, sizeof(words));
    std::memcpy(&address, bytes + kHeader, sizeof(address));
    if (words[1] == kRead) {
        uint16_t wanted = 0;
        std::memcpy(&wanted, bytes + kHeader + 10, sizeof(wanted));
        AnswerRead(words[3], address, wanted);
    } else if (words[1] == kWrite) {
        AnswerWrite(words[3], address, bytes + kHeader + 8, lengthBytes - kHeader - 8);
    }
}

void CFakeU3vDevice::AnswerRead(uint16_t id, uint64_t address, uint16_t lengthBytes) {
    const bool isIn = address <= kMemoryBytes && lengthBytes <= kMemoryBytes - address;
    m_answer.clear();
    Append<uint32_t>(&m_answer, 0x43563355);
    Append<uint16_t>(&m_answer, isIn ? 0 : 0x8003); // no such address
    Append<uint16_t>(&m_answer, 0x0801);
    Append<uint16_t>(&m_answer, isIn ? lengthBytes : 0);
    Append<uint16_t>(&m_answer, id);
    if (isIn) {
        m_answer.insert(m_answer.end(), m_memory.begin() + static_cast<std::ptrdiff_t>(address),
                        m_memory.begin() + static_cast<std::ptrdiff_t>(address + lengthBytes));
    }
}

void CFakeU3vDevice::AnswerWrite(uint16_t id, uint64_t address, const uint8_t* bytes, size_t lengthBytes) {
    const bool isIn = address <= kMemoryBytes && lengthBytes <= kMemoryBytes - address;
    if (isIn) {
        std::memcpy(m_memory.data() + address, bytes, lengthBytes);
        m_frame = address == kAcquiring ? 0 : m_frame;
    }
    m_answer.clear();
    Append<uint32_t>(&m_answer, 0x43563355);
    Append<uint16_t>(&m_answer, isIn ? 0 : 0x8003);
    Append<uint16_t>(&m_answer, 0x0803);
    Append<uint16_t>(&m_answer, 4);
    Append<uint16_t>(&m_answer, id);
    Append<uint16_t>(&m_answer, 0);
    Append<uint16_t>(&m_answer, static_cast<uint16_t>(lengthBytes));
}

std::vector<uint8_t> CFakeU3vDevice::TakeAnswer() {
    return std::move(m_answer);
}

// ---- Frames ----

bool CFakeU3vDevice::IsAcquiring() const {
    return Word(kAcquiring) != 0;
}

void CFakeU3vDevice::NextFrame() {
    ++m_frame;
}

std::vector<uint8_t> CFakeU3vDevice::Leader() const {
    std::vector<uint8_t> leader;
    Append<uint32_t>(&leader, 0x4C563355);
    Append<uint32_t>(&leader, 52u << 16);
    Append<uint64_t>(&leader, m_frame - 1);
    Append<uint32_t>(&leader, 0x4001u << 16); // image with chunks
    Append<uint64_t>(&leader, m_frame * 1000);
    for (const uint32_t word : {kDepth, kWidth, kHeight, 0u, 0u, 0u}) {
        Append(&leader, word);
    }
    return leader;
}

// Every sample is the frame's number.
std::vector<uint8_t> CFakeU3vDevice::Payload() const {
    std::vector<uint8_t> payload;
    for (uint32_t i = 0; i < kDepthBytes / 2; ++i) {
        Append(&payload, static_cast<uint16_t>(m_frame));
    }
    Append<uint32_t>(&payload, 1);
    Append<uint32_t>(&payload, kDepthBytes);
    payload.insert(payload.end(), kChunkBytes, static_cast<uint8_t>(m_frame));
    Append<uint32_t>(&payload, 0xA5A53D0B);
    Append<uint32_t>(&payload, kChunkBytes);
    return payload;
}

std::vector<uint8_t> CFakeU3vDevice::Trailer() const {
    std::vector<uint8_t> trailer;
    Append<uint32_t>(&trailer, 0x54563355);
    Append<uint32_t>(&trailer, 36u << 16);
    Append<uint64_t>(&trailer, m_frame - 1);
    Append<uint32_t>(&trailer, 0);
    Append<uint64_t>(&trailer, kPayloadBytes);
    Append<uint32_t>(&trailer, kHeight);
    Append<uint32_t>(&trailer, 0);
    return trailer;
}

} // namespace ox3d::test
