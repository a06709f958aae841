// SessionsFuzz.cpp - a session from bytes: how many faults, the faults (function, call, code), then steps (kind, value).
// Whatever does not fit the model ends the process.
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "fuzz/session/Player.h"

namespace {

using namespace ox3d::session;

constexpr uint32_t kCodes[] = {0x80000000, 0x80000001, 0x80000002, 0x80000003, 0x80000004, 0x80000006,
                               0x80000007, 0x80000008, 0x80000009, 0x8000000A, 0x8000000B, 0x8000000C,
                               0x800000FF, 0x80000100, 0x80000101, 0x80000102, 0x80000104, 0x80000106,
                               0x80000203, 0x80000005, 0xFFFFFFFF, 1};
constexpr size_t kMaxFaults = 4;
constexpr size_t kMaxSteps = 100;
constexpr uint8_t kOrdinals = 8; // 0 is every call

class CBytes {
public:
    CBytes(const uint8_t* data, size_t size) : m_next(data), m_end(data + size) {}
    bool IsEmpty() const { return m_next == m_end; }
    uint8_t Next() { return IsEmpty() ? 0 : *m_next++; }

private:
    const uint8_t* m_next;
    const uint8_t* m_end;
};

} // namespace

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
    OnComplaint(&abort);
    // From here on the log stays open, and closing a device need not wait for its writer.
    CPlayer player({});
    player.Play(Step{KindOf("count devices"), 0});
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    CBytes bytes(data, size);
    Faults faults;
    for (size_t i = bytes.Next() % (kMaxFaults + 1); i > 0; --i) {
        const uint32_t function = bytes.Next() % kFunctions;
        const uint32_t ordinal = bytes.Next() % kOrdinals;
        faults.m_camera.push_back({function, ordinal, kCodes[bytes.Next() % std::size(kCodes)]});
    }
    CPlayer player(faults);
    for (size_t i = 0; i < kMaxSteps && !bytes.IsEmpty(); ++i) {
        const uint8_t kind = bytes.Next();
        player.Play(Step{kind, bytes.Next()});
    }
    player.End();
    return 0;
}
