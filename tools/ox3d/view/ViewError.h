// What is wrong with a request or a camera, as the viewer's clients are told.
#ifndef OX3D_TOOL_VIEW_ERROR_H
#define OX3D_TOOL_VIEW_ERROR_H

#include "tools/ox3d/Json.h"

#include <cstdint>
#include <exception>
#include <filesystem>
#include <stdexcept>
#include <string>

namespace ox3d::tool {

// Statuses of HTTP.
constexpr unsigned kBadRequest = 400;
constexpr unsigned kNotFound = 404;
constexpr unsigned kNoMethod = 405;
constexpr unsigned kConflict = 409;
constexpr unsigned kUnavailable = 503;

class CViewError : public std::runtime_error {
public:
    CViewError(unsigned httpStatus, const std::string& sentence)
        : std::runtime_error(sentence), m_httpStatus(httpStatus) {}
    unsigned HttpStatus() const { return m_httpStatus; }

private:
    unsigned m_httpStatus;
};

struct ViewProblem {
    std::string m_sentence;
    uint32_t m_status = 0; // of the library; 0: none
    unsigned m_httpStatus = kUnavailable;
};
// What a client is told names no folder of this host.
std::string WithoutFolder(std::string sentence, const std::filesystem::path& folder);
ViewProblem ProblemOf(const std::exception& error);
// {"error", "status", "name"}
Json ProblemJson(const ViewProblem& problem);

} // namespace ox3d::tool

#endif
