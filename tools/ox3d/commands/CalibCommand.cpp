// ox3d calib: the lenses of both sensors, the way between them, and whether that can be one.
#include "tools/ox3d/Interrupt.h"
#include "tools/ox3d/Json.h"
#include "tools/ox3d/Session.h"
#include "tools/ox3d/Status.h"
#include "tools/ox3d/TargetFile.h"
#include "tools/ox3d/commands/CalibrationJson.h"
#include "tools/ox3d/commands/Command.h"

#include <cstdio>
#include <nlohmann/json.hpp>

namespace ox3d::tool {
namespace {

void PrintLens(const char* title, const OX3D_RGBD_CALIB_INFO& lens) {
    const auto number = [](float value) { return static_cast<double>(value); };
    std::printf("%s sensor\n  image          %u x %u\n", title, lens.nWidth, lens.nHeight);
    std::printf("  focal length   %.3f  %.3f pixels\n", number(lens.fFx), number(lens.fFy));
    std::printf("  centre         %.3f  %.3f pixels\n", number(lens.fCx), number(lens.fCy));
    std::printf("  distortion     k1 %g  k2 %g  p1 %g  p2 %g  k3 %g\n", number(lens.fK1), number(lens.fK2),
                number(lens.fP1), number(lens.fP2), number(lens.fK3));
    if (lens.nWidth != 0) {
        std::printf("  field of view  %.1f x %.1f degrees\n", DegreesOfView(lens.nWidth, lens.fFx),
                    DegreesOfView(lens.nHeight, lens.fFy));
    }
}

void PrintWay(const CameraWay& way) {
    std::puts("from depth to color");
    for (size_t row = 0; row < 3; ++row) {
        const float* const r = way.m_numbers.fRotation + 3 * row;
        std::printf("  %s  %9.6f %9.6f %9.6f   %9.3f mm\n", row == 0 ? "rotation, shift" : "               ",
                    static_cast<double>(r[0]), static_cast<double>(r[1]), static_cast<double>(r[2]),
                    static_cast<double>(way.m_numbers.fTranslation[row]));
    }
    std::printf("  check            the rotation is %s (off by %.1e, determinant %.6f)\n",
                way.IsRotation() ? "orthonormal" : "NOT orthonormal", way.m_off, way.m_determinant);
}

void Export(const CCamera& camera, CTargetFile& target) {
    if (const uint32_t status = camera.SaveCalibration(target.Part()); status != OX3D_RGBD_OK) {
        throw CToolError(EExitCode::Camera,
                         "cannot read the camera's calibration file: " + StatusText(status));
    }
    CheckInterrupted();
    target.Keep();
}

} // namespace

EExitCode RunCalib(CCameraControl& control, const Arguments& arguments) {
    const ProviderChoice& provider = control.Enter();
    std::optional<CTargetFile> target;
    if (!arguments.m_file.m_local.empty()) {
        target.emplace(arguments.m_file.m_local, arguments.m_file.Existing());
    }
    CSession session(provider, arguments.m_serial);
    const CCamera& camera = session.Camera();
    if (target) {
        Export(camera, *target);
    }
    CheckInterrupted();
    const CameraCalibration calibration = CalibrationOf(camera);
    for (const auto& [title, lens] : calibration.m_lenses) {
        if (!lens) {
            throw CToolError(EExitCode::Camera,
                             "the camera has no usable calibration of its " + title + " sensor");
        }
        if (!arguments.m_isJson) {
            PrintLens(title.c_str(), *lens);
        }
    }
    const std::optional<CameraWay>& way = calibration.m_depthToColor;
    if (arguments.m_isJson) {
        PrintJson(CalibrationJson(calibration));
    } else if (way) {
        PrintWay(*way);
    }
    if (!way || !way->IsRotation()) {
        std::fputs(way ? "ox3d: the calibration's rotation is none\n"
                       : "ox3d: the calibration has no usable way from depth to color\n",
                   stderr);
        return EExitCode::Host;
    }
    return EExitCode::Ok;
}

} // namespace ox3d::tool
