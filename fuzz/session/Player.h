// Player.h - plays a session: steps against the library over the scripted camera, each compared with the model. What
// does not fit is a complaint; it names the steps so far.
#ifndef OX3D_FUZZ_SESSION_PLAYER_H
#define OX3D_FUZZ_SESSION_PLAYER_H

#include <cstdint>
#include <string>
#include <vector>

#include "fuzz/session/Model.h"

namespace ox3d::session {

struct Step {
    uint8_t m_kind = 0; // of the table, modulo its length
    uint8_t m_value = 0;
};

// The index of the kind of this name in the table; it must be there.
uint8_t KindOf(const char* name);
uint32_t Kinds();

// How exactly statuses are compared.
enum class EStrictness : uint8_t {
    Exact,   // as the model says
    Lenient, // or one of the statuses of a system that refuses something
};

class CPlayer {
public:
    // Resets the scripted camera and gives it two devices, files, features and these faults.
    explicit CPlayer(const Faults& faults, EStrictness strictness = EStrictness::Exact);
    CPlayer(const CPlayer&) = delete;
    CPlayer& operator=(const CPlayer&) = delete;

    void Play(const Step& step);
    void Play(const std::vector<Step>& steps);
    // The last call: closes what is open, and compares what the camera was asked and what it was left with.
    void End();

    // For the steps of the table.
    struct Context {
        void* m_handle = nullptr;
        CModel m_model;
        uint32_t m_frameCalls = 0; // that the application's callbacks saw
        uint32_t m_exceptionCalls = 0;
    };
    Context& State() { return m_context; }

private:
    void Compare(const char* name, uint32_t actual, uint32_t predicted, const CModel& before);
    std::string History() const;

    Faults m_faults; // the model refers to it
    EStrictness m_strictness;
    Context m_context;
    std::vector<Step> m_steps;
};

// One session of all kinds of steps, in an order that a sensible application could have chosen, for each transport.
std::vector<Step> LongSession(bool isUsb);

// A short one without the functions that keep something for the process, which take their memory once only.
std::vector<Step> ShortSession(uint32_t index);
constexpr uint32_t kShortSessions = 4;

// A session from bytes: how many faults, the faults (function, call, code), then steps (kind, value).
void PlayBytes(const uint8_t* data, size_t size);

// Complaints of this process: printed, counted, and answered by what was set (nothing).
void Complain(const std::string& text);
uint64_t Complaints();
void OnComplaint(void (*answer)());

} // namespace ox3d::session

#endif
