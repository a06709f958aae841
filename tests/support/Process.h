// A child process with its output collected.
#ifndef OX3D_TESTS_SUPPORT_PROCESS_H
#define OX3D_TESTS_SUPPORT_PROCESS_H

#include <csignal>
#include <cstdlib>
#include <string>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace ox3d::test {

class CProcess {
public:
    // Starts the program in a working folder, with the variables set on top of the test's own.
    CProcess(const std::vector<std::string>& command, const std::string& folder,
             const std::vector<std::string>& variables = {}) {
        int ends[2] = {-1, -1};
        if (pipe(ends) != 0) {
            return;
        }
        m_pid = fork();
        if (m_pid == 0) {
            dup2(ends[1], STDOUT_FILENO);
            dup2(ends[1], STDERR_FILENO);
            close(ends[0]);
            close(ends[1]);
            std::vector<char*> arguments;
            arguments.reserve(command.size() + 1);
            for (const std::string& argument : command) {
                arguments.push_back(const_cast<char*>(argument.c_str()));
            }
            arguments.push_back(nullptr);
            for (const std::string& variable : variables) {
                putenv(const_cast<char*>(variable.c_str()));
            }
            if (chdir(folder.c_str()) == 0) {
                execv(arguments[0], arguments.data());
            }
            _exit(127);
        }
        close(ends[1]);
        m_pipe = ends[0];
    }
    ~CProcess() {
        if (m_pid > 0) {
            Signal(SIGKILL);
            Finish();
        }
        close(m_pipe);
    }
    CProcess(const CProcess&) = delete;
    CProcess& operator=(const CProcess&) = delete;

    // Reads until the text has appeared in the output; false when the process ended without it.
    bool WaitForOutput(const std::string& text) {
        while (m_output.find(text) == std::string::npos) {
            if (!ReadMore()) {
                return false;
            }
        }
        return true;
    }
    pid_t Id() const { return m_pid; }
    void Signal(int signal) const { kill(m_pid, signal); }
    // Reads to the end; the exit code, or minus the signal that ended the process.
    int Finish() {
        while (ReadMore()) {
        }
        int status = 0;
        waitpid(m_pid, &status, 0);
        m_pid = -1;
        return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
    }
    // Standard output and error together, as far as read.
    const std::string& Output() const { return m_output; }

private:
    bool ReadMore() {
        char buffer[4096];
        const ssize_t count = read(m_pipe, buffer, sizeof(buffer));
        m_output.append(buffer, count > 0 ? static_cast<size_t>(count) : 0);
        return count > 0;
    }

    pid_t m_pid = -1;
    int m_pipe = -1;
    std::string m_output;
};

} // namespace ox3d::test

#endif
