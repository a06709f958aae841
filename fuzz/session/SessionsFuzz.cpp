// SessionsFuzz.cpp - sessions from bytes. Whatever does not fit the model ends the process.
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "fuzz/session/Player.h"

using namespace ox3d::session;

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
    OnComplaint(&abort);
    // From here on the log stays open, and closing a device need not wait for its writer.
    CPlayer player({});
    player.Play(Step{KindOf("count devices"), 0});
    player.End();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    PlayBytes(data, size);
    return 0;
}
