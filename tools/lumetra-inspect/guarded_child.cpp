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
#include <system_error>

#include "tools/lumetra-inspect/interruption.h"

namespace {

using std::chrono::milliseconds;

constexpr std::string_view FINISHED = "finished";
constexpr int LOOKS_EVERY_MS = 20;
constexpr int CHILDS_PIPE = 3;
constexpr std::size_t MOST_OUTPUT = 16 << 20;  // of a module that logs without end

[[noreturn]] void runChild(const std::function<void(const ChildLines&)>& work, int descriptor,
                           bool keepErrors) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    setpgid(0, 0);  // what a module starts ends with it
    const rlimit noCore{0, 0};
    setrlimit(RLIMIT_CORE, &noCore);
    actOnInterruptions();
    signal(SIGPIPE, SIG_DFL);
    dup2(descriptor, CHILDS_PIPE);
    close_range(CHILDS_PIPE + 1, ~0u, 0);  // other children's pipes
    fcntl(CHILDS_PIPE, F_SETFD, FD_CLOEXEC);
    const int nowhere = open("/dev/null", O_RDWR | O_CLOEXEC);
    if (nowhere >= 0) {
        dup2(nowhere, STDOUT_FILENO);
        if (!keepErrors) dup2(nowhere, STDERR_FILENO);
        close(nowhere);
    }
    const ChildLines lines(CHILDS_PIPE);
    work(lines);
    lines.tellFinished();
    _exit(0);
}

bool hasEnded(pid_t child) {
    siginfo_t info{};
    return waitid(P_PID, static_cast<id_t>(child), &info, WEXITED | WNOHANG | WNOWAIT) == 0 &&
           info.si_pid == child;
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

void ChildLines::tellFinished() const {
    tell(FINISHED, "");
}

GuardedChild::GuardedChild(const std::function<void(const ChildLines&)>& work, const ChildOptions& options)
    : m_limit(options.limit), m_deadline(Clock::now() + options.limit) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) throw std::system_error(errno, std::generic_category(), "pipe");
    signal(SIGCHLD, SIG_DFL);  // where it is ignored nobody learns how a child ended
    m_child = fork();
    if (m_child == 0) runChild(work, ends[1], options.keepErrors);
    close(ends[1]);
    m_descriptor = ends[0];
    if (m_child < 0) {
        close(m_descriptor);
        throw std::system_error(errno, std::generic_category(), "fork");
    }
    fcntl(m_descriptor, F_SETFL, O_NONBLOCK);
    setpgid(m_child, m_child);  // whichever of the two comes first
}

GuardedChild::~GuardedChild() {
    takeResult();
}

void GuardedChild::readAll() {
    char part[4096];
    while (m_open && m_output.size() < MOST_OUTPUT) {
        const ssize_t count = read(m_descriptor, part, sizeof part);
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) return;  // nothing there for now
        if (count == 0) m_open = false;
        m_output.append(part, static_cast<std::size_t>(count));
    }
}

bool GuardedChild::isOver() {
    if (m_end != End::None) return true;
    const bool ended = hasEnded(m_child);  // asked first, so that all it wrote is there
    readAll();
    if (ended || m_output.ends_with("\n" + std::string(FINISHED) + "\t\n"))
        m_end = End::Child;
    else if (m_output.size() >= MOST_OUTPUT)
        m_end = End::Output;
    else if (Clock::now() >= m_deadline)
        m_end = End::Time;
    return m_end != End::None;
}

std::string GuardedChild::describe(int status) const {
    if (m_end == End::Time) return "did not return within " + std::to_string(m_limit.count()) + " ms";
    if (m_end == End::Output) return "logged without end";
    if (WIFSIGNALED(status)) return std::string("crashed (") + strsignal(WTERMSIG(status)) + ")";
    return "ended the process (exit status " + std::to_string(WEXITSTATUS(status)) + ")";
}

ChildResult GuardedChild::takeResult() {
    ChildResult result;
    if (m_child < 0) return result;
    close(m_descriptor);
    result.lines = parse(m_output, result.finished);
    if (m_end != End::Child || result.finished) kill(-m_child, SIGKILL);
    int status = 0;
    while (waitpid(m_child, &status, 0) < 0 && errno == EINTR) {
    }
    kill(-m_child, SIGKILL);  // its own children, where it has left some
    m_child = -1;
    if (!result.finished) result.fault = describe(status);
    return result;
}

void GuardedChild::wait(const std::vector<GuardedChild*>& children) {
    std::vector<pollfd> sources;
    int patience = LOOKS_EVERY_MS;
    for (const GuardedChild* child : children) {
        if (child->m_open)
            sources.push_back({child->m_descriptor, POLLIN, 0});
        else
            patience = 5;  // it says no more, so that its end comes unseen
    }
    poll(sources.data(), sources.size(), patience);
    throwIfInterrupted();
}

ChildResult runGuarded(const std::function<void(const ChildLines&)>& work, const ChildOptions& options) {
    GuardedChild child(work, options);
    while (!child.isOver()) GuardedChild::wait({&child});
    return child.takeResult();
}
