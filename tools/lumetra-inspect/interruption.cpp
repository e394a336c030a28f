// interruption.cpp - the signals and their handler.
#include "tools/lumetra-inspect/interruption.h"

#include <signal.h>

namespace {

constexpr int SIGNALS[] = {SIGINT, SIGTERM, SIGHUP, SIGPIPE};

volatile sig_atomic_t noted = 0;

void note(int number) {
    noted = number;
}

void replace(void (*before)(int), void (*after)(int)) {
    for (const int number : SIGNALS) {
        struct sigaction action = {};
        sigaction(number, nullptr, &action);
        if (action.sa_handler != before) continue;
        action.sa_handler = after;
        action.sa_flags = SA_RESTART;
        sigaction(number, &action, nullptr);
    }
}

}  // namespace

void noteInterruptions() {
    replace(SIG_DFL, &note);
}

void actOnInterruptions() {
    replace(&note, SIG_DFL);
}

void throwIfInterrupted() {
    if (noted != 0) throw Interrupted{noted};
}
