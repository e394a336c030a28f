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
using std::chrono::milliseconds;

constexpr std::string_view FINISHED = "finished";
constexpr int LOOKS_EVERY_MS = 20;
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

bool hasEnded(pid_t child) {
    siginfo_t info{};
    return waitid(P_PID, static_cast<id_t>(child), &info, WEXITED | WNOHANG | WNOWAIT) == 0 &&
           info.si_pid == child;
}

enum class End { Child, Time, Output };

// Whatever arrives until the child has ended or finished. The pipe alone does not tell: a module may close
// it, or leave a process behind that holds it.
End readUntilEnd(int descriptor, pid_t child, Clock::time_point deadline, std::string& output) {
    char part[4096];
    const std::string end = "\n" + std::string(FINISHED) + "\t\n";
    for (bool open = true; output.size() < MOST_OUTPUT;) {
        if (Clock::now() >= deadline) return End::Time;
        const bool ended = hasEnded(child);  // asked first, so that all it wrote is there
        pollfd source{open ? descriptor : -1, POLLIN, 0};
        if (poll(&source, 1, ended ? 0 : LOOKS_EVERY_MS) <= 0) {
            if (ended) return End::Child;
            continue;
        }
        const ssize_t count = read(descriptor, part, sizeof part);
        if (count == 0) open = false;
        if (count <= 0) continue;
        output.append(part, static_cast<std::size_t>(count));
        if (output.ends_with(end)) return End::Child;
    }
    return End::Output;
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

std::string describe(End end, int status, milliseconds limit) {
    if (end == End::Time) return "did not return within " + std::to_string(limit.count()) + " ms";
    if (end == End::Output) return "logged without end";
    if (WIFSIGNALED(status)) return std::string("crashed (") + strsignal(WTERMSIG(status)) + ")";
    return "ended the process (exit status " + std::to_string(WEXITSTATUS(status)) + ")";
}

}  // namespace

void ChildLines::tell(std::string_view kind, std::string_view text) const {
    std::string line = std::string(kind) + "\t" + std::string(text);
    for (char& character : line)
        if (character == '\n' || character == '\r') character = ' ';
    line += '\n';
    const std::lock_guard lock(m_mutex);  // a long line goes out in parts
    for (std::size_t done = 0; done < line.size();) {
        const ssize_t count = write(m_descriptor, line.data() + done, line.size() - done);
        if (count < 0 && errno != EINTR) return;
        if (count > 0) done += static_cast<std::size_t>(count);
    }
}

ChildResult runGuarded(const std::function<void(const ChildLines&)>& work, milliseconds limit) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) throw std::system_error(errno, std::generic_category(), "pipe");
    signal(SIGCHLD, SIG_DFL);  // where it is ignored nobody learns how a child ended
    const pid_t child = fork();
    if (child < 0) throw std::system_error(errno, std::generic_category(), "fork");
    if (child == 0) {
        close(ends[0]);
        runChild(work, ends[1]);
    }
    close(ends[1]);
    setpgid(child, child);  // whichever of the two comes first

    std::string output = "\n";
    const End end = readUntilEnd(ends[0], child, Clock::now() + limit, output);
    close(ends[0]);
    ChildResult result;
    result.lines = parse(output, result.finished);
    if (end != End::Child || result.finished) kill(-child, SIGKILL);
    int status = 0;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    kill(-child, SIGKILL);  // its own children, where it has left some
    if (!result.finished) result.fault = describe(end, status, limit);
    return result;
}
