// push_gate.h - lets modules' pushes in while their engine lives.
// Modules push on threads of their own, and a host may destroy its engine without removing them: a push that
// comes too late finds the gate closed, and touches nothing.
#ifndef LUMETRA_IMAGE_PUSH_GATE_H
#define LUMETRA_IMAGE_PUSH_GATE_H

#include <condition_variable>

#include "base/synchronized.h"

namespace lumetra {

/// Any thread. The engine's is processWide().
class PushGate {
public:
    void open(const void* engine);
    /// Lets no further push in, and waits until all pushes on other threads have returned.
    void close(const void* engine);

    /// One push, from its first look at the engine to its last.
    class Visit {
    public:
        Visit(PushGate& gate, const void* engine);
        ~Visit();
        Visit(const Visit&) = delete;
        Visit& operator=(const Visit&) = delete;

        explicit operator bool() const { return m_isInside; }  ///< false: `engine` is not alive
        /// Whether it still is: a push's own thread may have destroyed it from the host's text exchange.
        bool isStillOpen() const;

    private:
        PushGate& m_gate;
        const void* m_engine;
        bool m_isInside;
    };

private:
    struct State {
        const void* engine = nullptr;
        int inside = 0;  // pushes
    };

    Synchronized<State> m_state;
    std::condition_variable m_left;
};

}  // namespace lumetra

#endif
