// The judgement of ox3d doctor: from facts about the host to findings, each with the commands that mend it.
// It asks neither the system nor a camera.
#ifndef OX3D_TOOL_HOST_CHECKS_H
#define OX3D_TOOL_HOST_CHECKS_H

#include "tools/ox3d/host/HostFacts.h"

#include <string>
#include <vector>

namespace ox3d::tool {

enum class EMark { Ok, Note, Problem };

struct Finding {
    EMark m_mark = EMark::Ok;
    std::string m_topic;                 // "receive buffer"
    std::string m_saw;                   // what was found
    std::string m_follows;               // what that means; empty for what is plainly good
    std::vector<std::string> m_commands; // what mends it, for a shell
};

std::vector<Finding> JudgeHost(const HostFacts& facts);

// A text as one word of a shell command. Names come from cameras and must not become commands.
std::string ShellWord(const std::string& text);

} // namespace ox3d::tool

#endif
