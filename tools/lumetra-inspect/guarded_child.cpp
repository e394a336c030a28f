// guarded_child.cpp - fork, a pipe and a time limit.
#include "tools/lumetra-inspect/guarded_child.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <exception>
#include <system_error>

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::duration_cast;
using std::chrono::milliseconds;

constexpr std::string_view FINISHED = "finished";
constexpr std::size_t MOST_OUTPUT = 16 << 20;  // of a module that logs without end

[[noreturn]] void runChild(const std::function<void(const ChildLines&)>& work, int descriptor) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    setpgid(0, 0);  // what a module starts ends with it
    const rlimit noCore{0, 0};
    setrlimit(RLIMIT_CORE, &noCore);
    signal(SIGPIPE, SIG_DFL);
    const int nowhere = open("/dev/null", O_RDWR | O_CLOEXEC);
    if (nowhere >= 0) dup2(nowhere, STDOUT_FILENO);

    const ChildLines lines(descriptor);
    work(lines);
    lines.tell(FINISHED, "");
    _exit(0);
}

// Whatever arrives until the child lets go of the pipe, or has finished; false when time is over.
bool readUntil(int descriptor, Clock::time_point deadline, std::string& output) {
    char part[4096];
    const std::string end = "\n" + std::string(FINISHED) + "\t\n";
    while (output.size() < MOST_OUTPUT) {
        const auto left = duration_cast<milliseconds>(deadline - Clock::now()).count();
        if (left <= 0) return false;
        pollfd source{descriptor, POLLIN, 0};
        if (poll(&source, 1, static_cast<int>(left)) <= 0) continue;
        const ssize_t count = read(descriptor, part, sizeof part);
        if (count < 0 && errno == EINTR) continue;
        if (count <= 0) return true;
        output.append(part, static_cast<std::size_t>(count));
        if (output.ends_with(end)) return true;
    }
    return false;
}

std::vector<ChildLine> parse(const std::string& output, bool& finished) {
    std::vector<ChildLine> lines;
    for (std::size_t begin = 0, end; (end = output.find('\n', begin)) != std::string::npos; begin = end + 1) {
        const std::string line = output.substr(begin, end - begin);
        const std::size_t tab = line.find('\t');
        if (tab == std::string::npos) continue;
        if (line.substr(0, tab) == FINISHED)
            finished = true;
        else
            lines.push_back({line.substr(0, tab), line.substr(tab + 1)});
    }
    return lines;
}

std::string describeEnd(int status) {
    if (WIFSIGNALED(status)) return std::string("crashed (") + strsignal(WTERMSIG(status)) + ")";
    return "ended the process (exit status " + std::to_string(WEXITSTATUS(status)) + ")";
}

}  // namespace

void ChildLines::tell(std::string_view kind, std::string_view text) const {
    std::string line = std::string(kind) + "\t" + std::string(text);
    for (char& character : line)
        if (character == '\n' || character == '\r') character = ' ';
    line += '\n';
    for (std::size_t done = 0; done < line.size();) {
        const ssize_t count = write(m_descriptor, line.data() + done, line.size() - done);
        if (count < 0 && errno != EINTR) return;
        if (count > 0) done += static_cast<std::size_t>(count);
    }
}

ChildResult runGuarded(const std::function<void(const ChildLines&)>& work, milliseconds limit) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) throw std::system_error(errno, std::generic_category(), "pipe");
    const pid_t child = fork();
    if (child < 0) throw std::system_error(errno, std::generic_category(), "fork");
    if (child == 0) {
        close(ends[0]);
        runChild(work, ends[1]);
    }
    close(ends[1]);
    setpgid(child, child);  // whichever of the two comes first

    std::string output = "\n";
    const bool inTime = readUntil(ends[0], Clock::now() + limit, output);
    close(ends[0]);
    ChildResult result;
    result.lines = parse(output, result.finished);
    if (!inTime || result.finished) kill(-child, SIGKILL);
    int status = 0;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    kill(-child, SIGKILL);  // its own children, where it has left some
    if (!result.finished)
        result.fault =
            inTime ? describeEnd(status) : "did not return within " + std::to_string(limit.count()) + " ms";
    return result;
}
