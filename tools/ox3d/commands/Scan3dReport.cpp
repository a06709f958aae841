// The table says of each feature what the provider over Aravis does with it; docs/cameras.md has the same for readers.
#include "tools/ox3d/commands/Scan3dReport.h"

#include "tools/ox3d/Features.h"
#include "tools/ox3d/Table.h"

#include <algorithm>
#include <nlohmann/json.hpp>

namespace ox3d::tool {
namespace {

constexpr const char* kComponents = "ComponentSelector";
constexpr const char* kCoordinates = "Scan3dCoordinateSelector";

// With which component or coordinate selected a feature is read.
enum class EOf { Camera, Depth, Intensity, CoordinateC };

struct Row {
    const char* m_name;
    const char* m_entry; // of the enumeration, which is then what is looked for
    const char* m_otherName;
    EOf m_of;
    const char* m_use;
    const char* m_cost;
};

constexpr Row kRows[] = {
    {kComponents, "Range", nullptr, EOf::Camera, "depth as lengths",
     "depth comes of the component Disparity; without both, the one image is taken for depth"},
    {kComponents, "Disparity", nullptr, EOf::Camera, "depth, where there is no Range",
     "nothing where there is Range"},
    {kComponents, "Intensity", nullptr, EOf::Camera, "color, or grey, beside the depth",
     "frames have no color"},
    {kComponents, "Confidence", nullptr, EOf::Camera,
     "takes out depth of confidence 0, and below Ox3dConfidenceThreshold",
     "the invalid value alone tells where there is no depth"},
    {kComponents, "CoordinateMapA", nullptr, EOf::Camera,
     "with CoordinateMapB the depth's lens, where no feature tells it: looked at once, at opening",
     "the lens comes of features or of points"},
    {kComponents, "CoordinateMapB", nullptr, EOf::Camera, "as above", "as above"},
    {"ComponentIDValue", nullptr, nullptr, EOf::Depth, "tells components apart by the standard's numbers",
     "their names tell them apart"},
    {"PixelFormat", nullptr, nullptr, EOf::Depth, "how depth is sent",
     "acquisition does not start: nobody knows how depth is sent"},
    {"PixelFormat", nullptr, nullptr, EOf::Intensity, "how color is sent",
     "nothing where there is no Intensity"},
    {"Scan3dOutputMode", nullptr, nullptr, EOf::Depth, "what the coordinates are",
     "C is taken for the depth, of a pinhole camera"},
    {"Scan3dCoordinateScale", nullptr, nullptr, EOf::CoordinateC, "values to lengths",
     "a value is one unit, which is wrong unless the camera means it so"},
    {"Scan3dCoordinateOffset", nullptr, nullptr, EOf::CoordinateC, "added to scaled values", "0 is added"},
    {"Scan3dDistanceUnit", nullptr, nullptr, EOf::Depth, "lengths to millimetres",
     "lengths are taken for millimetres"},
    {"Scan3dInvalidDataFlag", nullptr, nullptr, EOf::CoordinateC,
     "whether a value means that there is no depth",
     "every value counts as depth, but for those of confidence 0"},
    {"Scan3dInvalidDataValue", nullptr, nullptr, EOf::CoordinateC, "which value that is", "as above"},
    {"Scan3dFocalLength", nullptr, nullptr, EOf::Depth, "the depth's lens, and depth of disparity",
     "no depth of disparity; the lens is learnt from the camera's maps or points at opening, if it has them"},
    {"Scan3dAspectRatio", nullptr, nullptr, EOf::Depth, "the focal length along columns",
     "pixels are taken for square"},
    {"Scan3dPrincipalPointU", nullptr, "Scan3dPrinciplePointU", EOf::Depth, "the centre of the depth's lens",
     "the lens is learnt, as without the focal length"},
    {"Scan3dPrincipalPointV", nullptr, "Scan3dPrinciplePointV", EOf::Depth, "the centre of the depth's lens",
     "the lens is learnt, as without the focal length"},
    {"Scan3dBaseline", nullptr, nullptr, EOf::Depth, "depth of disparity", "no depth of disparity"},
    {"Scan3dCoordinateSystemReference", nullptr, nullptr, EOf::Depth,
     "set to Anchor: points are the lens's own", "points are where the camera puts them"},
    {"GevSCCFGMultiPart", nullptr, nullptr, EOf::Camera, "all components in one payload",
     "blocks of one time stamp are put together, whose pixel formats must differ, unless a register of that "
     "meaning is there"},
    {"GevGVSPExtendedIDMode", nullptr, nullptr, EOf::Camera, "the block numbers that multi-part needs",
     "the camera's own numbers must do"}};

// A selector set to an entry as long as this lives, where the camera lets it.
class CSelected {
public:
    CSelected(void* handle, const char* selector, const std::string& entry)
        : m_handle(handle), m_selector(selector) {
        const std::optional<Feature> feature = entry.empty() ? std::nullopt : AskFor(handle, selector);
        if (feature && PlainText(*feature) != entry &&
            OX3D_RGBD_SetEnumByName(handle, selector, entry.c_str()) == OX3D_RGBD_OK) {
            m_before = PlainText(*feature);
        }
    }
    ~CSelected() {
        if (!m_before.empty()) {
            OX3D_RGBD_SetEnumByName(m_handle, m_selector, m_before.c_str());
        }
    }
    CSelected(const CSelected&) = delete;
    CSelected& operator=(const CSelected&) = delete;

private:
    void* const m_handle;
    const char* const m_selector;
    std::string m_before;
};

bool HasEntry(const std::optional<Feature>& feature, const std::string& entry) {
    return feature &&
           std::any_of(feature->m_entries.begin(), feature->m_entries.end(),
                       [&](const OX3D_RGBD_FEATURE_ENTRY& each) { return TextOf(each.chName) == entry; });
}

bool IsOn(void* handle, const char* component) {
    const CSelected selected(handle, kComponents, component);
    const std::optional<Feature> isOn = AskFor(handle, "ComponentEnable");
    return !isOn || PlainText(*isOn) == "yes";
}

Scan3dLine LineOf(void* handle, const Row& row, const std::string& component) {
    const CSelected selectedComponent(handle, kComponents, component);
    const CSelected selectedCoordinate(handle, kCoordinates,
                                       row.m_of == EOf::CoordinateC ? "CoordinateC" : "");
    std::optional<Feature> feature = AskFor(handle, row.m_name);
    Scan3dLine line{row.m_name, false, "", ""};
    if (row.m_entry != nullptr) {
        line.m_name += std::string(": ") + row.m_entry;
        line.m_isThere = HasEntry(feature, row.m_entry);
        line.m_value = line.m_isThere ? (IsOn(handle, row.m_entry) ? "on" : "off") : "";
    } else {
        if (!feature && row.m_otherName != nullptr) {
            feature = AskFor(handle, row.m_otherName);
            line.m_name = feature ? row.m_otherName : row.m_name;
        }
        line.m_isThere = feature.has_value();
        line.m_value = feature ? PlainText(*feature) : "";
        line.m_name += row.m_of == EOf::Intensity ? " of Intensity" : "";
    }
    line.m_text = line.m_isThere ? row.m_use : std::string("without it: ") + row.m_cost;
    return line;
}

} // namespace

Scan3dReport ReportScan3d(const CCamera& camera) {
    Scan3dReport report;
    report.m_kind = camera.Kind();
    const std::optional<Feature> components = AskFor(camera.Handle(), kComponents);
    const std::string depth = HasEntry(components, "Range")       ? "Range"
                              : HasEntry(components, "Disparity") ? "Disparity"
                                                                  : "";
    const std::string intensity = HasEntry(components, "Intensity") ? "Intensity" : "";
    for (const Row& row : kRows) {
        if (row.m_of != EOf::Intensity || !intensity.empty()) {
            report.m_lines.push_back(
                LineOf(camera.Handle(), row, row.m_of == EOf::Intensity ? intensity : depth));
        }
    }
    report.m_hasDepth = report.m_kind == "Native" || report.m_kind == "Sfnc3d";
    report.m_hasPoints = report.m_hasDepth && camera.Calibration(OX3D_RGBD_CALIB_DEPTH).has_value();
    report.m_hasColor =
        report.m_kind == "Sfnc3d" ? !intensity.empty() && IsOn(camera.Handle(), "Intensity") : true;
    report.m_isOneLens = report.m_kind == "Sfnc3d" && report.m_hasColor &&
                         camera.Calibration(OX3D_RGBD_CALIB_COLOR).has_value();
    return report;
}

std::string Scan3dText(const Scan3dReport& report) {
    std::string text =
        "kind: " + (report.m_kind.empty() ? "the camera control does not tell" : report.m_kind) + "\n";
    if (report.m_kind == "Native") {
        return text + "It is the library's own kind of camera, which needs nothing of the 3D model.\n";
    }
    std::vector<TableRow> rows = {{"", "FEATURE", "VALUE", "WHAT FOR, OR WHAT FOLLOWS"}};
    for (const Scan3dLine& line : report.m_lines) {
        rows.push_back({line.m_isThere ? "has" : "lacks", line.m_name,
                        line.m_value.empty() ? std::string(1, '-') : line.m_value, line.m_text});
    }
    text.append("\n").append(TableText(rows)).append("\n");
    text += std::string("depth:  ") + (report.m_hasDepth ? "yes\n" : "no\n");
    text += std::string("points: ") +
            (report.m_hasPoints ? "yes\n" : "no, the camera tells no lens of its depth\n");
    text += std::string("color:  ") +
            (!report.m_hasColor   ? "no\n"
             : report.m_isOneLens ? "yes, of the depth's lens\n"
                                  : "yes, not registered: the camera does not tell where it is taken from\n");
    return text;
}

Json Scan3dJson(const Scan3dReport& report) {
    Json features = Json::array();
    for (const Scan3dLine& line : report.m_lines) {
        features.push_back({{"name", line.m_name},
                            {"there", line.m_isThere},
                            {"value", line.m_value},
                            {"text", line.m_text}});
    }
    return {{"kind", report.m_kind},        {"features", features},       {"depth", report.m_hasDepth},
            {"points", report.m_hasPoints}, {"color", report.m_hasColor}, {"one_lens", report.m_isOneLens}};
}

} // namespace ox3d::tool
