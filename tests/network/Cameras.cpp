// Cameras.cpp - comparison of frames, and files.
#include "tests/network/Cameras.h"

#include <cstring>
#include <fstream>
#include <iterator>

namespace ox3d::test {

bool CTruth::IsShownBy(const OX3D_RGBD_FRAME_DATA& frame) const {
    const OX3D_RGBD_IMAGE_DATA& depth = frame.stImageData[0];
    const OX3D_RGBD_IMAGE_DATA& color = frame.stImageData[1];
    if (frame.nImageCount != 2 || depth.nFrameNum == 0) {
        return false;
    }
    const FrameImages& images = m_frames[(depth.nFrameNum - 1) % kCycle];
    return depth.nWidth == images.m_depthWidth && depth.nHeight == images.m_depthHeight &&
           depth.nDataLen == images.m_depth.size() * 2 && color.nDataLen == images.m_color.size() &&
           std::memcmp(depth.pData, images.m_depth.data(), depth.nDataLen) == 0 &&
           std::memcmp(color.pData, images.m_color.data(), color.nDataLen) == 0;
}

std::string ReadBytes(const std::string& name) {
    std::ifstream file(name, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

void WriteBytes(const std::string& name, const std::string& bytes) {
    std::ofstream(name, std::ios::binary) << bytes;
}

} // namespace ox3d::test
