// What is wrong, for clients.
#include "tools/ox3d/view/ViewError.h"

#include "tools/ox3d/Camera.h"

#include <nlohmann/json.hpp>
#include <ox3drgbd/Ox3dRgbdExtension.h>
#include <string_view>

namespace ox3d::tool {

std::string WithoutFolder(std::string sentence, const std::filesystem::path& folder) {
    const std::string name = folder.string() + "/";
    for (size_t at = sentence.find(name); at != sentence.npos; at = sentence.find(name, at)) {
        sentence.erase(at, name.size());
    }
    return sentence;
}

ViewProblem ProblemOf(const std::exception& error) {
    ViewProblem problem;
    problem.m_sentence = error.what();
    if (const auto* const view = dynamic_cast<const CViewError*>(&error); view != nullptr) {
        problem.m_httpStatus = view->HttpStatus();
    } else if (const auto* const status = dynamic_cast<const CStatusError*>(&error); status != nullptr) {
        problem.m_status = status->Status();
        problem.m_httpStatus = kConflict;
    } else if (const auto* const tool = dynamic_cast<const CToolError*>(&error); tool != nullptr) {
        problem.m_httpStatus = tool->Code() == EExitCode::Usage ? kBadRequest : kConflict;
    }
    return problem;
}

Json ProblemJson(const ViewProblem& problem) {
    std::string name;
    if (problem.m_status != 0) {
        const std::string_view text = OX3D_RGBD_StatusText(problem.m_status);
        const size_t colon = text.find(": ");
        name = colon == text.npos ? "" : text.substr(0, colon);
    }
    return {{"error", problem.m_sentence}, {"status", problem.m_status}, {"name", name}};
}

} // namespace ox3d::tool
