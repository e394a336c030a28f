// play_error.h - what ends the program: one line that says what to do. main() prints it.
#ifndef LUMETRA_PLAY_PLAY_ERROR_H
#define LUMETRA_PLAY_PLAY_ERROR_H

#include <stdexcept>

struct PlayError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

#endif
