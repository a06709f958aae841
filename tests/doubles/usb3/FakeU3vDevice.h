// FakeU3vDevice.h - a USB3 Vision camera as its end points see it: register memory behind the control channel,
// and frames with one chunk.
#ifndef OX3D_DOUBLE_FAKE_U3V_DEVICE_H
#define OX3D_DOUBLE_FAKE_U3V_DEVICE_H

#include <cstdint>
#include <string>
#include <vector>

namespace ox3d::test {

class CFakeU3vDevice {
public:
    CFakeU3vDevice();

    // One command in, one answer kept.
    void Command(const uint8_t* bytes, size_t lengthBytes);
    std::vector<uint8_t> TakeAnswer();

    bool IsAcquiring() const;
    void NextFrame();
    std::vector<uint8_t> Leader() const;
    std::vector<uint8_t> Payload() const;
    std::vector<uint8_t> Trailer() const;

private:
    template <typename T>
    void Put(uint64_t address, T value);
    void PutText(uint64_t address, const char* text);
    uint32_t Word(uint64_t address) const;
    void AnswerRead(uint16_t id, uint64_t address, uint16_t lengthBytes);
    void AnswerWrite(uint16_t id, uint64_t address, const uint8_t* bytes, size_t lengthBytes);

    std::vector<uint8_t> m_memory;
    std::vector<uint8_t> m_answer;
    uint64_t m_frame = 0; // number of the frame under way; the first is 1, its block id 0
};

} // namespace ox3d::test

#endif
