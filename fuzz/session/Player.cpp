// Player.cpp - see Player.h.
#include "fuzz/session/Player.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdio>
#include <cstring>
#include <sstream>
#include <stdexcept>

#include "fuzz/session/Interpose.h"
#include "fuzz/session/OwnTime.h"
#include "fuzz/session/Steps.h"

namespace ox3d::session {
namespace {

std::atomic<uint64_t> g_complaints{0};
std::atomic<void (*)()> g_answer{nullptr};

// The type of a feature stands in its name.
void AnswerType(const test::DoubleCall& call) {
    struct Row {
        const char* m_key;
        uint32_t m_type;
    };
    constexpr Row kRows[] = {{"(Bool)", OX_IFT_IBoolean}, {"(Int)", OX_IFT_IInteger},
                             {"(Float)", OX_IFT_IFloat},  {"(Enum)", OX_IFT_IEnumeration},
                             {"(Text)", OX_IFT_IString},  {"(Category)", OX_IFT_ICategory}};
    for (const Row& row : kRows) {
        if (call.m_text.ends_with(row.m_key)) {
            memcpy(call.m_output, &row.m_type, sizeof(row.m_type));
        }
    }
}

// The scripted camera runs outside the library, whatever thread calls it.
void Visit(bool isBegin) {
    constexpr size_t kDeep = 16; // a callback in a call in a callback ...
    static thread_local std::array<bool, kDeep> s_formers{};
    static thread_local size_t s_depth = 0;
    if (isBegin) {
        s_formers[s_depth++ % kDeep] = SetInside(false);
    } else {
        SetInside(s_formers[--s_depth % kDeep]);
    }
}

void SetUpDouble(const Faults& faults) {
    for (uint8_t i = 0; i < static_cast<uint8_t>(EFrame::Count); ++i) {
        RawFrame(static_cast<EFrame>(i)); // made before anything is refused
    }
    test::CDouble& scripted = test::Double();
    scripted.m_onVisit = &Visit;
    scripted.Reset();
    scripted.m_script.m_calls.reserve(256);
    scripted.SetDevices({EthernetDevice("ETH1"), UsbDevice("USB1")});
    scripted.SetFile("RGBDSensorCali", kCalibration);
    scripted.SetFile("LSLSystemCali", "");
    scripted.AddRule({.m_function = test::DOUBLE_OX_XML_GetNodeInterfaceType, .m_work = AnswerType});
    scripted.AddRule({.m_function = test::DOUBLE_OX_CC_GetIntValueEx,
                      .m_output = RecordBytes(OX_CC_INT_VALUE_EX{640, 4000, 1, 1})});
    for (const CameraFault& fault : faults.m_camera) {
        scripted.AddRule(
            {.m_function = fault.m_function, .m_ordinal = fault.m_ordinal, .m_status = fault.m_code});
    }
}

// What a system that refuses something may make of a call, besides what the model says.
bool IsRefusal(uint32_t status) {
    constexpr uint32_t kRefusals[] = {OX3D_RGBD_E_MEMORY,  OX3D_RGBD_E_HANDLE,       OX3D_RGBD_E_ALGORITHM,
                                      OX3D_RGBD_E_NO_DATA, OX3D_RGBD_E_LOAD_LIBRARY, OX3D_RGBD_E_CAMERA};
    return std::find(std::begin(kRefusals), std::end(kRefusals), status) != std::end(kRefusals);
}

} // namespace

void Complain(const std::string& text) {
    constexpr uint64_t kShown = 20;
    const CInside outside(false);
    if (++g_complaints <= kShown) {
        fprintf(stderr, "complaint: %s\n", text.c_str());
    }
    if (void (*const answer)() = g_answer) {
        answer();
    }
}

uint64_t Complaints() {
    return g_complaints;
}

void OnComplaint(void (*answer)()) {
    g_answer = answer;
}

uint8_t KindOf(const char* name) {
    const auto kinds = StepKinds();
    for (size_t i = 0; i < kinds.size(); ++i) {
        if (strcmp(kinds[i].m_name, name) == 0) {
            return static_cast<uint8_t>(i);
        }
    }
    throw std::logic_error(std::string("no such step: ") + name);
}

uint32_t Kinds() {
    return static_cast<uint32_t>(StepKinds().size());
}

CPlayer::CPlayer(const Faults& faults, EStrictness strictness) : m_faults(faults), m_strictness(strictness) {
    OwnTime(); // before threads are counted
    m_context.m_model = CModel(m_faults);
    SetUpDouble(m_faults);
}

void CPlayer::Play(const std::vector<Step>& steps) {
    for (const Step& step : steps) {
        Play(step);
    }
}

void CPlayer::Play(const Step& step) {
    static int s_foreign = 0;
    const StepKind& kind = StepKinds()[step.m_kind % Kinds()];
    CModel& model = m_context.m_model;
    if (kind.m_call == StepKinds()[0].m_call && model.m_isOpen) {
        return; // one device at a time
    }
    m_steps.push_back(step);
    const CModel before = model;
    void* handle = (step.m_value & kForeignBit) != 0 ? &s_foreign : nullptr;
    if (model.m_isOpen) {
        handle = m_context.m_handle;
    }
    const bool takesHandle = kind.m_shape > EShape::Alone;
    const bool isNull = takesHandle && kind.m_shape != EShape::Handle && (step.m_value & kNullBit) != 0;
    uint32_t predicted = OX3D_RGBD_OK;
    const bool isArgumentFirst = kind.m_shape == EShape::ArgumentFirst ||
                                 (kind.m_shape == EShape::NullHandleFirst && handle != nullptr);
    if (isNull && (isArgumentFirst || model.m_isOpen)) {
        predicted = OX3D_RGBD_E_PARAMETER;
    } else {
        predicted =
            takesHandle && !model.m_isOpen ? OX3D_RGBD_E_HANDLE : kind.m_predict(m_context, step.m_value);
    }
    const CModel after = model;
    model = before; // what the step does depends on it
    const auto begin = OwnTime();
    uint32_t actual = OX3D_RGBD_OK;
    {
        const CInside inside(kind.m_shape != EShape::Camera);
        actual = kind.m_call(m_context, handle, step.m_value);
    }
    model = after;
    if (OwnTime() - begin > kGrace) {
        Complain(std::string(kind.m_name) + " took longer than a second" + History());
    }
    Compare(kind.m_name, actual, predicted, before);
}

void CPlayer::Compare(const char* name, uint32_t actual, uint32_t predicted, const CModel& before) {
    CModel& model = m_context.m_model;
    const bool isExact = m_strictness == EStrictness::Exact;
    if (actual != predicted && (isExact || !IsRefusal(actual))) {
        std::ostringstream text;
        text << name << " gave " << std::hex << std::showbase << actual << ", not " << predicted << History();
        Complain(text.str());
    }
    if (actual != predicted) { // as if the step had not been, but for the frames that it took
        const size_t frames = test::Double().Script()->m_frames.size();
        model = before;
        while (model.m_queue.size() > frames) {
            model.m_queue.erase(model.m_queue.begin());
        }
    }
    if (isExact && (m_context.m_frameCalls != model.m_frameCalls ||
                    m_context.m_exceptionCalls != model.m_exceptionCalls)) {
        Complain(std::string(name) + ": callbacks that should not be, or none" + History());
    }
    m_context.m_frameCalls = model.m_frameCalls;
    m_context.m_exceptionCalls = model.m_exceptionCalls;
    if (!model.m_isOpen) {
        m_context.m_handle = nullptr;
    }
}

void CPlayer::End() {
    if (m_context.m_model.m_isOpen) {
        Play(Step{KindOf("close"), 0});
    }
    const CModel& model = m_context.m_model;
    test::CDouble& scripted = test::Double();
    for (uint32_t i = 0; i < kFunctions && m_strictness == EStrictness::Exact; ++i) {
        if (scripted.CallCount(i) != model.m_counts[i]) {
            std::ostringstream text;
            text << "function " << i << " of the camera was called " << scripted.CallCount(i)
                 << " times, not " << model.m_counts[i] << History();
            Complain(text.str());
        }
    }
    if (scripted.Handles() != model.m_keptHandles || scripted.LentFrames() != model.m_keptFrames ||
        scripted.Script()->m_faults != 0) {
        std::ostringstream text;
        text << "the camera is left with " << scripted.Handles() << " handles and " << scripted.LentFrames()
             << " frames, not " << model.m_keptHandles << " and " << model.m_keptFrames << ", and "
             << scripted.Script()->m_faults << " calls that no caller should make" << History();
        Complain(text.str());
    }
    scripted.m_cameras.clear();
    scripted.Reset();
}

std::string CPlayer::History() const {
    std::ostringstream text;
    text << "; steps:";
    for (const Step& step : m_steps) {
        text << ' ' << StepKinds()[step.m_kind % Kinds()].m_name << '/' << unsigned{step.m_value};
    }
    for (const CameraFault& fault : m_faults.m_camera) {
        text << "; fault: function " << fault.m_function << " call " << fault.m_ordinal << std::hex
             << std::showbase << " code " << fault.m_code << std::dec;
    }
    return text.str();
}

std::vector<Step> LongSession(bool isUsb) {
    std::vector<Step> steps;
    const auto add = [&steps](const char* name, uint8_t value = 0) {
        steps.push_back({KindOf(name), value});
    };
    for (const char* const name : {"count devices", "list devices", "is accessible", "set ip"}) {
        add(name);
    }
    add("set ip", 1);
    add("open", isUsb ? 1 : 0);
    add("switch", 5); // the RGB-D image, too
    for (const char* const name : {"device info",
                                   "nodes",
                                   "access mode",
                                   "invalidate",
                                   "export",
                                   "import",
                                   "xml",
                                   "read file",
                                   "write file",
                                   "upgrade",
                                   "upgrade progress",
                                   "read memory",
                                   "write memory",
                                   "set timeout",
                                   "get timeout",
                                   "calibration",
                                   "execute",
                                   "exceptions",
                                   "trigger",
                                   "start",
                                   "trigger",
                                   "export system",
                                   "import system",
                                   "map nobody's frame",
                                   "copy nobody's frame",
                                   "free nobody's copy"}) {
        add(name);
    }
    for (uint8_t i = 0; i < 6; ++i) {
        add("get", i);
        add("set", i);
    }
    for (const uint8_t frame : {4, 0, 2}) {
        add("queue", frame);
        add("fetch");
    }
    add("fetch"); // there is none
    add("points");
    add("frames");
    for (const uint8_t frame : {0, 4, 1}) {
        add("deliver", frame);
    }
    add("raise");
    add("frames", 1);
    add("stop");
    add("start");
    add("close");
    return steps;
}

std::vector<Step> ShortSession(uint32_t index) {
    constexpr const char* kSessions[][14] = {
        {"open", "switch", "start", "queue", "fetch", "queue", "fetch", "points", "calibration", "get",
         "stop", "close"},
        {"open", "frames", "exceptions", "start", "deliver", "deliver", "raise", "set", "trigger", "execute",
         "close"},
        {"open", "start", "queue", "fetch", "queue", "fetch", "stop", "start", "frames", "deliver", "close"},
        {"set ip", "open", "start", "queue", "fetch", "read file", "export", "close"},
    };
    constexpr uint8_t kTransports[] = {0, 0, 1, 0};
    std::vector<Step> steps;
    for (const char* const name : kSessions[index % std::size(kSessions)]) {
        if (name != nullptr) {
            const bool isOpen = strcmp(name, "open") == 0;
            const bool isSwitch = strcmp(name, "switch") == 0;
            const uint8_t value = isSwitch ? 5 : strcmp(name, "queue") == 0 && index % 2 == 0 ? 4 : 0;
            steps.push_back({KindOf(name), isOpen ? kTransports[index % std::size(kTransports)] : value});
        }
    }
    return steps;
}

namespace {

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

void PlayBytes(const uint8_t* data, size_t size) {
    constexpr size_t kMaxFaults = 4;
    constexpr size_t kMaxSteps = 100;
    constexpr uint8_t kOrdinals = 8; // 0 is every call
    CBytes bytes(data, size);
    Faults faults;
    for (size_t i = bytes.Next() % (kMaxFaults + 1); i > 0; --i) {
        const uint32_t function = bytes.Next() % kFunctions;
        const uint32_t ordinal = bytes.Next() % kOrdinals;
        faults.m_camera.push_back({function, ordinal, kCameraCodes[bytes.Next() % std::size(kCameraCodes)]});
    }
    CPlayer player(faults);
    for (size_t i = 0; i < kMaxSteps && !bytes.IsEmpty(); ++i) {
        const uint8_t kind = bytes.Next();
        player.Play(Step{kind, bytes.Next()});
    }
    player.End();
}

} // namespace ox3d::session
