// push_gate.cpp - counts pushes under way, and waits for them.
#include "image/push_gate.h"

namespace lumetra {

namespace {

thread_local int ownVisits = 0;  // a push's text exchange may push again, or destroy the engine

}  // namespace

void PushGate::open(const void* engine) {
    m_state.with([engine](State& state) { state.engine = engine; });
}

void PushGate::close(const void* engine) {
    m_state.waitWith([this, engine](State& state, WaitLock& lock) {
        if (state.engine != engine) return;
        state.engine = nullptr;
        lock.wait(m_left, [&state] { return state.inside == ownVisits; });
    });
}

PushGate::Visit::Visit(PushGate& gate, const void* engine)
    : m_gate(gate), m_engine(engine), m_isInside(gate.m_state.with([engine](State& state) {
          if (engine == nullptr || state.engine != engine) return false;
          ++state.inside;
          ++ownVisits;
          return true;
      })) {}

bool PushGate::Visit::isStillOpen() const {
    return m_gate.m_state.with([this](const State& state) { return state.engine == m_engine; });
}

PushGate::Visit::~Visit() {
    if (!m_isInside) return;
    m_gate.m_state.with([](State& state) { --state.inside; });
    --ownVisits;
    m_gate.m_left.notify_all();
}

}  // namespace lumetra
