// CameraOptions.cpp - the command line of the network camera. Each line of the input is one argument; none of them
// leads to another folder.
#include <algorithm>
#include <string>
#include <vector>

#include "fuzz/Input.h"
#include "virtual-camera/gige/Options.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t lengthBytes) {
    constexpr size_t kMaxArguments = 12;
    ox3d::fuzz::CInput input(data, lengthBytes);
    std::vector<std::string> arguments{"ox3d-virtual-camera"};
    while (input.Left() > 0 && arguments.size() < kMaxArguments) {
        std::string argument = input.TextUntil('\n');
        std::replace(argument.begin(), argument.end(), '/', '_');
        std::replace(argument.begin(), argument.end(), '\0', '_');
        arguments.push_back(argument);
    }
    std::vector<char*> pointers;
    for (std::string& argument : arguments) {
        pointers.push_back(argument.data());
    }
    pointers.push_back(nullptr);
    ox3d::gige::Options options;
    int exitCode = -1;
    const bool isRead =
        ox3d::gige::ReadOptions(static_cast<int>(arguments.size()), pointers.data(), &options, &exitCode);
    OX3D_FUZZ_EXPECT(isRead ? !options.m_cameras.empty() : exitCode >= 0);
    return 0;
}
