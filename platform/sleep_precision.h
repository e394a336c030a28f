// sleep_precision.h - how exactly the calling thread's sleeps end. Each platform has a source file of its
// own.
#ifndef LUMETRA_PLATFORM_SLEEP_PRECISION_H
#define LUMETRA_PLATFORM_SLEEP_PRECISION_H

namespace lumetra {

/// Of one thread, which makes it, uses it and ends it.
class SleepPrecision {
public:
    /// Precise sleeps end as soon as the system can; others may be late by what it allows itself in order to
    /// save wake-ups.
    void set(bool precise);

private:
    bool m_precise = false;
};

}  // namespace lumetra

#endif
