// Playback.cpp - answers of a recording as the records of the C interface.
#include "recording/interface/Playback.h"

#include "recording/CalibrationReader.h"
#include "recording/interface/Refusal.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <unistd.h>

namespace ox3d {
namespace {

[[noreturn]] void ThrowNoData(const std::string& what) {
    throw CRefusal(OX3D_REC_E_NO_DATA, what);
}

// Names and values are another program's bytes: a line is a line.
std::string FactsText(const std::map<std::string, std::string>& facts) {
    std::string text;
    for (const auto& [name, value] : facts) {
        std::string line = name;
        line.append("=").append(value);
        std::replace_if(
            line.begin(), line.end(), [](char c) { return static_cast<unsigned char>(c) < ' '; }, ' ');
        text.append(line).append("\n");
    }
    return text;
}

OX3D_RGBD_INTRINSICS RecordOf(const RecordedLens& lens) {
    OX3D_RGBD_INTRINSICS record{};
    record.nWidth = lens.m_width;
    record.nHeight = lens.m_height;
    record.fFx = static_cast<float>(lens.m_fx);
    record.fFy = static_cast<float>(lens.m_fy);
    record.fCx = static_cast<float>(lens.m_cx);
    record.fCy = static_cast<float>(lens.m_cy);
    float* const distortion[] = {&record.fK1, &record.fK2, &record.fP1, &record.fP2, &record.fK3};
    for (size_t i = 0; i < std::size(distortion); ++i) {
        *distortion[i] = static_cast<float>(lens.m_distortion[i]);
    }
    return record;
}

} // namespace

CPlayback::CPlayback(const std::string& path) {
    if (access(path.c_str(), R_OK) != 0) {
        throw CRefusal(OX3D_REC_E_FILE, path + ": " + std::strerror(errno));
    }
    std::string error;
    const CLock lock(m_mutex);
    m_reader = CRecordingReader::Open(path, &error);
    if (m_reader == nullptr) {
        throw CRefusal(OX3D_REC_E_FOREIGN, error);
    }
    m_camera = m_reader->Camera();
    AddLensesOfFile(m_reader->DepthSize(), m_reader->ColorSize(), &m_camera); // a folder has its file alone
}

OX3D_REC_INFO CPlayback::Info() {
    const CLock lock(m_mutex);
    OX3D_REC_INFO info{};
    info.nFrames = m_reader->FrameCount();
    const std::vector<uint64_t>& times = m_reader->HostTimes();
    info.nFirstUtcNs = times.empty() ? 0 : times.front();
    info.nLastUtcNs = times.empty() ? 0 : times.back();
    info.nWidth = m_reader->DepthSize().m_width;
    info.nHeight = m_reader->DepthSize().m_height;
    info.nColorWidth = m_reader->ColorSize().m_width;
    info.nColorHeight = m_reader->ColorSize().m_height;
    info.nIsClosed = m_reader->IsClosed() ? 1 : 0;
    const auto& facts = m_camera.m_facts;
    const auto color = facts.find("color");
    info.nIsColorLossy = info.nColorWidth > 0 && color != facts.end() && color->second == "jpeg" ? 1 : 0;
    return info;
}

std::string CPlayback::Text(const std::string& name) {
    const CLock lock(m_mutex);
    const std::pair<const char*, std::string> texts[] = {
        {OX3D_REC_TEXT_CALIBRATION, m_camera.m_calibrationXml},
        {OX3D_REC_TEXT_FEATURES, m_camera.m_features},
        {OX3D_REC_TEXT_DESCRIPTION, m_camera.m_description},
        {OX3D_REC_TEXT_FACTS, FactsText(m_camera.m_facts)},
    };
    const auto* const found = std::find_if(std::begin(texts), std::end(texts),
                                           [&](const auto& text) { return name == text.first; });
    if (found == std::end(texts)) {
        throw CRefusal(OX3D_REC_E_PARAMETER, "recordings have no text of the name " + name);
    }
    if (found->second.empty()) {
        ThrowNoData("it has no " + name);
    }
    return found->second;
}

OX3D_RGBD_INTRINSICS CPlayback::Lens(uint32_t sensor) {
    if (sensor != OX3D_RGBD_CAMERA_DEPTH && sensor != OX3D_RGBD_CAMERA_COLOR) {
        throw CRefusal(OX3D_REC_E_PARAMETER, "a lens is that of depth or of color");
    }
    const CLock lock(m_mutex);
    const bool isColor = sensor == OX3D_RGBD_CAMERA_COLOR;
    const auto& lens = isColor ? m_camera.m_colorLens : m_camera.m_depthLens;
    if (lens) {
        return RecordOf(*lens);
    }
    ThrowNoData("the lens is not known");
}

OX3D_RGBD_EXTRINSICS CPlayback::Way() {
    const CLock lock(m_mutex);
    const std::optional<RecordedWay>& way = m_camera.m_depthToColor;
    if (!way) {
        ThrowNoData("where the cameras are is not known");
    }
    OX3D_RGBD_EXTRINSICS record{};
    const auto toFloat = [](double number) { return static_cast<float>(number); };
    std::transform(way->m_rotation.begin(), way->m_rotation.end(), record.fRotation, toFloat);
    std::transform(way->m_translationMm.begin(), way->m_translationMm.end(), record.fTranslation, toFloat);
    return record;
}

OX3D_REC_FRAME CPlayback::Read(uint64_t frame) {
    const CLock lock(m_mutex);
    if (frame >= m_reader->FrameCount()) {
        ThrowNoData("there is no frame " + std::to_string(frame) + " in a recording of " +
                    std::to_string(m_reader->FrameCount()));
    }
    if (!m_reader->ReadDepth(frame, &m_depth)) {
        ThrowNoData("frame " + std::to_string(frame) + " is damaged");
    }
    OX3D_REC_FRAME record{};
    record.pDepth = m_depth.data();
    record.nWidth = m_reader->DepthSize().m_width;
    record.nHeight = m_reader->DepthSize().m_height;
    if (m_reader->ReadColor(frame, &m_color)) {
        record.pColor = m_color.data();
        record.nColorWidth = m_reader->ColorSize().m_width;
        record.nColorHeight = m_reader->ColorSize().m_height;
    }
    RecordedFacts facts;
    facts.m_number = frame + 1; // where nothing is known of it
    if (m_reader->ReadFacts(frame, &facts)) {
        record.nTimeStamp = facts.m_ticks;
        record.nArrivalUtcNs = facts.m_hostNs;
        // A recording has the arrival there where the capture is not known.
        record.nCaptureUtcNs = facts.m_cameraNs == facts.m_hostNs ? 0 : facts.m_cameraNs;
        record.nLostBefore = facts.m_lostBefore;
        record.nIsIncomplete = facts.m_isIncomplete ? 1 : 0;
    }
    record.nFrameNum = facts.m_number;
    return record;
}

} // namespace ox3d
