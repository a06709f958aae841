// ox3d calib: the lenses of both sensors, the way between them, and whether that can be one.
#include "tools/ox3d/Interrupt.h"
#include "tools/ox3d/Json.h"
#include "tools/ox3d/Session.h"
#include "tools/ox3d/Status.h"
#include "tools/ox3d/TargetFile.h"
#include "tools/ox3d/commands/Command.h"

#include <cmath>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <numbers>

namespace ox3d::tool {
namespace {

// Calibration files write six digits or so.
constexpr double kOrthonormalTo = 1e-3;

struct Lens {
    const char* m_title;
    const char* m_key;
    uint32_t m_type;
};
constexpr Lens kLenses[] = {{"depth sensor", "depth", OX3D_RGBD_CALIB_DEPTH},
                            {"color sensor", "color", OX3D_RGBD_CALIB_COLOR}};

double Degrees(uint32_t pixels, float focalLength) {
    const double half = static_cast<double>(pixels) / 2 / static_cast<double>(focalLength);
    return 2 * std::atan(half) * 180 / std::numbers::pi;
}

// How far R times its transpose is from the identity.
double OffOrthonormal(const float (&r)[9]) {
    double worst = 0;
    for (size_t row = 0; row < 3; ++row) {
        for (size_t other = 0; other < 3; ++other) {
            double dot = row == other ? -1 : 0;
            for (size_t i = 0; i < 3; ++i) {
                dot += static_cast<double>(r[3 * row + i]) * static_cast<double>(r[3 * other + i]);
            }
            worst = std::fmax(worst, std::isfinite(dot) ? std::fabs(dot) : HUGE_VAL);
        }
    }
    return worst;
}

double Determinant(const float (&r)[9]) {
    const auto minor = [&](size_t a, size_t b, size_t c, size_t d) {
        return static_cast<double>(r[a]) * static_cast<double>(r[b]) -
               static_cast<double>(r[c]) * static_cast<double>(r[d]);
    };
    return static_cast<double>(r[0]) * minor(4, 8, 5, 7) - static_cast<double>(r[1]) * minor(3, 8, 5, 6) +
           static_cast<double>(r[2]) * minor(3, 7, 4, 6);
}

struct Way {
    OX3D_RGBD_EXTRINSICS m_numbers{};
    double m_off = 0;
    double m_determinant = 0;
    bool IsRotation() const { return m_off <= kOrthonormalTo && m_determinant > 0; }
};

std::optional<Way> WayOf(const CCamera& camera) {
    Way way;
    if (OX3D_RGBD_GetExtrinsics(camera.Handle(), OX3D_RGBD_CAMERA_DEPTH, OX3D_RGBD_CAMERA_COLOR,
                                &way.m_numbers) != OX3D_RGBD_OK) {
        return std::nullopt;
    }
    way.m_off = OffOrthonormal(way.m_numbers.fRotation);
    way.m_determinant = Determinant(way.m_numbers.fRotation);
    return way;
}

Json LensJson(const OX3D_RGBD_CALIB_INFO& lens) {
    Json json = {
        {"width", lens.nWidth},
        {"height", lens.nHeight},
        {"fx", lens.fFx},
        {"fy", lens.fFy},
        {"cx", lens.fCx},
        {"cy", lens.fCy},
        {"distortion",
         {{"k1", lens.fK1}, {"k2", lens.fK2}, {"p1", lens.fP1}, {"p2", lens.fP2}, {"k3", lens.fK3}}}};
    if (lens.nWidth != 0) {
        json["field_of_view_degrees"] = {Degrees(lens.nWidth, lens.fFx), Degrees(lens.nHeight, lens.fFy)};
    }
    return json;
}

void PrintLens(const char* title, const OX3D_RGBD_CALIB_INFO& lens) {
    const auto number = [](float value) { return static_cast<double>(value); };
    std::printf("%s\n  image          %u x %u\n", title, lens.nWidth, lens.nHeight);
    std::printf("  focal length   %.3f  %.3f pixels\n", number(lens.fFx), number(lens.fFy));
    std::printf("  centre         %.3f  %.3f pixels\n", number(lens.fCx), number(lens.fCy));
    std::printf("  distortion     k1 %g  k2 %g  p1 %g  p2 %g  k3 %g\n", number(lens.fK1), number(lens.fK2),
                number(lens.fP1), number(lens.fP2), number(lens.fK3));
    if (lens.nWidth != 0) {
        std::printf("  field of view  %.1f x %.1f degrees\n", Degrees(lens.nWidth, lens.fFx),
                    Degrees(lens.nHeight, lens.fFy));
    }
}

void PrintWay(const Way& way) {
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

Json WayJson(const Way& way) {
    return {{"rotation", way.m_numbers.fRotation},
            {"translation_mm", way.m_numbers.fTranslation},
            {"off_orthonormal", way.m_off},
            {"determinant", way.m_determinant},
            {"is_rotation", way.IsRotation()}};
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
    Json document = Json::object();
    for (const Lens& lens : kLenses) {
        const std::optional<OX3D_RGBD_CALIB_INFO> info = camera.Calibration(lens.m_type);
        if (!info) {
            throw CToolError(EExitCode::Camera,
                             std::string("the camera has no usable calibration of its ") + lens.m_title);
        }
        document[lens.m_key] = LensJson(*info);
        if (!arguments.m_isJson) {
            PrintLens(lens.m_title, *info);
        }
    }
    const std::optional<Way> way = WayOf(camera);
    document["depth_to_color"] = way ? WayJson(*way) : Json();
    if (arguments.m_isJson) {
        PrintJson(document);
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
