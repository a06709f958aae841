// A child process with its output collected.
#ifndef OX3D_TESTS_SUPPORT_PROCESS_H
#define OX3D_TESTS_SUPPORT_PROCESS_H

#include <string>
#include <sys/types.h>
#include <vector>

namespace ox3d::test {

class CProcess {
public:
    // Starts the program in a working folder, with the variables set on top of the test's own.
    CProcess(const std::vector<std::string>& command, const std::string& folder,
             const std::vector<std::string>& variables = {});
    ~CProcess();
    CProcess(const CProcess&) = delete;
    CProcess& operator=(const CProcess&) = delete;

    // Reads until the text has appeared in the output; false when the process ended without it.
    bool WaitForOutput(const std::string& text);
    void Signal(int signal) const;
    // Reads to the end; the exit code, or minus the signal that ended the process.
    int Finish();
    // Standard output and error together, as far as read.
    const std::string& Output() const { return m_output; }

private:
    bool ReadMore();

    pid_t m_pid = -1;
    int m_pipe = -1;
    std::string m_output;
};

} // namespace ox3d::test

#endif
