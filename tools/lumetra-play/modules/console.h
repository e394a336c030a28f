// console.h - commands to modules that are typed, or piped in, while frames flow: NAME:NUMBER[=TEXT] a line,
// q to end. Reads on a thread of its own; a terminal is read only while the program is in its foreground.
#ifndef LUMETRA_PLAY_CONSOLE_H
#define LUMETRA_PLAY_CONSOLE_H

#include <string>
#include <thread>

#include "tools/lumetra-play/run/engine_session.h"
#include "tools/lumetra-play/run/stop_request.h"

class Console {
public:
    Console(EngineSession& engine, StopRequest& stop);
    ~Console();

private:
    void run();
    bool readSome();
    void obey(const std::string& line);

    EngineSession& m_engine;
    StopRequest& m_stop;
    Event m_end;
    std::string m_typed;  // of a line that is not complete
    std::thread m_thread;
};

#endif
