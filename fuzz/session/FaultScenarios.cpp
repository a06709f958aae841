// FaultScenarios.cpp - sessions in which the camera library fails calls or lacks functions, or the system refuses memory
// and calls: each at every place.
#include <array>
#include <cstring>
#include <filesystem>
#include <fstream>

#include "fuzz/session/Checks.h"
#include "fuzz/session/Interpose.h"
#include "fuzz/session/Player.h"
#include "fuzz/session/Scenarios.h"
#include "src/CameraModule/CamLoadLibrary.h"
#include "tests/support/OpenThings.h"

namespace ox3d::session {
namespace {

// How often a session without faults asks the camera for each function.
std::array<uint32_t, kFunctions> CallsOf(const std::vector<Step>& session) {
    CPlayer player({});
    player.Play(session);
    player.End();
    return player.State().m_model.m_counts;
}

void PlayWith(const Faults& faults, const std::vector<Step>& session) {
    CPlayer player(faults);
    player.Play(session);
    player.End();
}

} // namespace

// First, second, last and a random call of each function, with each code; a sample of these where fewer are asked for.
// Functions that the session never asks for have no call to fail; the fault is set all the same.
void RunCameraErrors(Run& run) {
    constexpr size_t kAll = std::size(kCameraCodes) * kFunctions * 2 * 4;
    for (const bool isUsb : {false, true}) {
        const std::vector<Step> session = LongSession(isUsb);
        const auto calls = CallsOf(session);
        const auto play = [&](uint32_t function, uint32_t code, uint32_t ordinal) {
            if (Pick(run, 1, kAll) > run.m_count) {
                return;
            }
            PlayWith({{{function, ordinal, code}}, {}}, session);
            run.m_faults += ordinal <= calls[function] ? 1 : 0;
            ++run.m_done;
        };
        for (uint32_t function = 0; function < kFunctions; ++function) {
            for (const uint32_t code : kCameraCodes) {
                const uint32_t last = std::max(calls[function], 1u);
                for (const uint32_t ordinal : {1u, 2u, last, Pick(run, 1, last)}) {
                    play(function, code, ordinal);
                }
            }
        }
        PlayWith({}, session);
    }
}

// Sessions from random bytes, some with faults; every second one begins with a device and a stream.
void RunRandomSessions(Run& run) {
    for (; run.m_done < run.m_count; ++run.m_done) {
        std::vector<uint8_t> bytes(Pick(run, 1, 100));
        for (uint8_t& byte : bytes) {
            byte = static_cast<uint8_t>(Pick(run, 0, 255));
        }
        run.m_faults += bytes[0] %= 5;
        if (run.m_done % 2 == 0 && bytes.size() > 20) {
            const size_t begin = 1 + size_t{bytes[0]} * 3;
            bytes[begin] = KindOf("open");
            bytes[begin + 2] = KindOf("start");
            bytes[begin + 4] = KindOf("queue");
            bytes[begin + 6] = Pick(run, 0, 1) == 0 ? KindOf("frames") : KindOf("fetch");
        }
        PlayBytes(bytes.data(), bytes.size());
    }
}

namespace {

std::bitset<kFunctions> g_hidden;

constexpr const char* kNames[] = {
#define OX_CAM_SYMBOL(result, name, arguments, group, need) #name,
#include "src/CameraModule/CamSymbols.def"
};

bool IsNameHidden(const char* name) {
    for (uint32_t i = 0; i < kFunctions; ++i) {
        if (strcmp(kNames[i], name) == 0) {
            return g_hidden[i];
        }
    }
    return false;
}

// As in a process that has not loaded the camera library yet.
void ForgetFunctions() {
#define OX_CAM_SYMBOL(result, name, arguments, group, need) \
    __atomic_store_n(&(name), nullptr, __ATOMIC_SEQ_CST);
#include "src/CameraModule/CamSymbols.def"
}

} // namespace

// Each function absent, then random subsets of any size.
void RunMissingSymbols(Run& run) {
    HideSymbols(IsNameHidden);
    for (; run.m_done < run.m_count + kFunctions; ++run.m_done) {
        g_hidden.reset();
        if (run.m_done < kFunctions) {
            g_hidden.set(run.m_done);
        } else {
            for (const uint32_t size = Pick(run, 1, kFunctions); g_hidden.count() < size;) {
                g_hidden.set(Pick(run, 0, kFunctions - 1));
            }
        }
        ForgetFunctions();
        run.m_faults += g_hidden.count();
        PlayWith({{}, g_hidden}, LongSession(run.m_done % 2 == 1));
    }
    g_hidden.reset();
    ForgetFunctions();
    PlayWith({}, LongSession(false));
}

namespace {

constexpr int kRepeats = 20; // until the heap has what it keeps

void PlayShort(uint32_t index, EStrictness strictness) {
    CPlayer player({}, strictness);
    player.Play(ShortSession(index));
    player.End();
}

// What is done before each session: a log that rotates with its first lines, in a folder that may be missing.
void PrepareLog(bool isFolderMissing) {
    std::error_code ignored;
    std::filesystem::remove_all("Ox3dRgbdLog", ignored);
    if (!isFolderMissing) {
        std::filesystem::create_directory("Ox3dRgbdLog", ignored);
        const char* const name = "Ox3dRgbdLog/Ox3dRgbd_00.log";
        std::ofstream(name).put('\n');
        std::filesystem::resize_file(name, (uintmax_t{100} << 20) - 100, ignored); // a hole takes no room
        std::ofstream("Ox3dRgbdLog/Ox3dRgbd_01.log").put('\n');
    }
}

struct Refusal {
    EResource m_resource = EResource::Memory;
    EStrictness m_strictness = EStrictness::Lenient;
    void (*m_prepare)() = [] {};
};

// The session with one request refused, then without. False when the session makes no such request any more.
bool RefuseAt(Run& run, const Refusal& refusal, uint32_t session, uint64_t number, bool isForEver) {
    refusal.m_prepare();
    Refuse(refusal.m_resource, number, isForEver);
    PlayShort(session, refusal.m_strictness);
    const uint64_t refusals = Refusals(refusal.m_resource);
    RefuseNothing();
    run.m_faults += refusals;
    ++run.m_done;
    refusal.m_prepare();
    PlayShort(session, EStrictness::Exact);
    return refusals != 0;
}

// The same, with a look at what it leaves. Threads keep freed blocks, which count as used, and may take a hundred
// sessions until they keep no more: only what each refusal adds to, to the last round, is lost.
bool RefuseAndLook(Run& run, const Refusal& refusal, uint32_t session, uint64_t number, bool isForEver) {
    constexpr size_t kSmallest = 16; // bytes of a block
    constexpr int kGrowths = 16;
    const size_t files = test::OpenFiles();
    const size_t threads = test::Threads();
    const size_t bytes = test::HeapBytes();
    const bool isRefused = RefuseAt(run, refusal, session, number, isForEver);
    const std::string where = std::string(kResourceNames[static_cast<uint32_t>(refusal.m_resource)]) +
                              " request " + std::to_string(number) + (isForEver ? " and on" : "") +
                              " of session " + std::to_string(session);
    size_t before = bytes;
    size_t least = kSmallest;
    size_t now = test::HeapBytes();
    for (int growths = 0; now >= before + least && growths < kGrowths; ++growths) {
        least = kSmallest * kRepeats;
        before = now;
        for (int i = 0; i < kRepeats; ++i) {
            RefuseAt(run, refusal, session, number, isForEver);
        }
        now = test::HeapBytes();
    }
    if (now >= before + least) {
        Complain(where + " leaves memory");
    }
    if (test::OpenFiles() != files || test::ThreadsSettled(threads) > threads) {
        Complain(where + " leaves files or threads");
    }
    return isRefused;
}

// Every request of the sessions, as far as the run's count goes in each.
void RefuseAll(Run& run, const Refusal& refusal) {
    for (uint32_t session = 0; session < kShortSessions; ++session) {
        for (int i = 0; i < kRepeats; ++i) {
            refusal.m_prepare();
            PlayShort(session, EStrictness::Exact);
        }
        for (const bool isForEver : {false, true}) {
            const uint64_t step = run.m_count != 0 ? run.m_count : 1;
            for (uint64_t number = 1; RefuseAndLook(run, refusal, session, number, isForEver);
                 number += step) {
            }
        }
    }
}

} // namespace

// Every count-th allocation.
void RunOutOfMemory(Run& run) {
    RefuseAll(run, {});
}

// Files of the log and of the calibration, threads, and the camera library's functions.
void RunSystemFaults(Run& run) {
    Refuse(EResource::LoadLibrary, 1, false); // once in a process, so first
    PlayShort(0, EStrictness::Lenient);
    if (Refusals(EResource::LoadLibrary) != 1) {
        Complain("the camera library was not asked for");
    }
    RefuseNothing();
    const auto rotate = [] { PrepareLog(false); };
    constexpr auto kLenient = EStrictness::Lenient;
    constexpr auto kExact = EStrictness::Exact;
    for (const Refusal& refusal :
         {Refusal{EResource::Open, kLenient, rotate}, Refusal{EResource::Adopt, kExact, rotate},
          Refusal{EResource::Write, kExact, rotate}, Refusal{EResource::Flush, kExact, rotate},
          Refusal{EResource::Rename, kExact, rotate}, Refusal{EResource::Remove, kExact, rotate},
          Refusal{EResource::MakeFolder, kExact, [] { PrepareLog(true); }},
          Refusal{EResource::Thread, kExact, rotate},
          Refusal{EResource::FindSymbol, kLenient, ForgetFunctions}}) {
        RefuseAll(run, refusal);
    }
}

} // namespace ox3d::session
