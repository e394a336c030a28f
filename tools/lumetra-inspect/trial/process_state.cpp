// process_state.cpp - /proc/self, and what the C library knows.
#include "tools/lumetra-inspect/trial/process_state.h"

#include <fenv.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <clocale>
#include <filesystem>
#include <fstream>
#include <thread>

namespace {

std::ptrdiff_t entriesOf(const char* folder) {
    return std::distance(std::filesystem::directory_iterator(folder), std::filesystem::directory_iterator());
}

std::string signalSettings() {
    sigset_t blocked;
    sigemptyset(&blocked);
    pthread_sigmask(SIG_BLOCK, nullptr, &blocked);
    std::string text;
    for (int number = 1; number < 32; ++number) {
        struct sigaction action = {};
        sigaction(number, nullptr, &action);
        text += "the action of signal " + std::to_string(number) + "\t" +
                std::to_string(reinterpret_cast<std::uintptr_t>(action.sa_handler)) + "\n";
        text += "the mask for signal " + std::to_string(number) + "\t" +
                std::to_string(sigismember(&blocked, number)) + "\n";
    }
    return text;
}

}  // namespace

std::ptrdiff_t threadCount() {
    return entriesOf("/proc/self/task");
}

std::ptrdiff_t descriptorCount() {
    return entriesOf("/proc/self/fd");
}

std::ptrdiff_t mappedPages() {
    std::ptrdiff_t pages = 0;
    std::ifstream("/proc/self/statm") >> pages;
    return pages;
}

std::string processSettings() {
    const mode_t mask = umask(0);
    umask(mask);
    return "the working folder\t" + std::filesystem::current_path().string() + "\nthe file mode mask\t" +
           std::to_string(mask) + "\nthe locale\t" + std::setlocale(LC_ALL, nullptr) +
           "\nthe rounding mode\t" + std::to_string(fegetround()) + "\n" + signalSettings();
}

bool becomesTrue(const std::function<bool()>& holds, std::chrono::milliseconds most) {
    const auto until = std::chrono::steady_clock::now() + most;
    while (!holds()) {
        if (std::chrono::steady_clock::now() >= until) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}
