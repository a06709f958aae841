// Steps.h - the kinds of steps that a session is made of: how each calls the library, and what the model says to it.
#ifndef OX3D_FUZZ_SESSION_STEPS_H
#define OX3D_FUZZ_SESSION_STEPS_H

#include <span>

#include "fuzz/session/Player.h"
#include "tests/doubles/ScriptedCamera.h"

namespace ox3d::session {

// What a kind does with the handle and with null arguments.
enum class EShape : uint8_t {
    Camera,          // is the camera's doing
    Alone,           // needs no handle
    Handle,          // has no argument to be null
    ArgumentFirst,   // a null argument is reported before a dead handle
    NullHandleFirst, // and a dead one last
    HandleFirst,
};

constexpr uint8_t kNullBit = 0x80;    // of a step's value: an argument is null
constexpr uint8_t kForeignBit = 0x40; // without an open device: a handle that is none, instead of null

struct StepKind {
    const char* m_name;
    EShape m_shape;
    uint32_t (*m_call)(CPlayer::Context& context, void* handle, uint8_t value);
    uint32_t (*m_predict)(CPlayer::Context& context, uint8_t value); // an open device, no null argument
};

std::span<const StepKind> StepKinds();

// The one raw frame of each kind; it lives as long as the process.
CRawFrame& RawFrame(EFrame kind);

} // namespace ox3d::session

#endif
