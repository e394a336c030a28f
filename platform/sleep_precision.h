// sleep_precision.h - how exactly a thread's sleeps end. One source file for each platform.
#ifndef LUMETRA_PLATFORM_SLEEP_PRECISION_H
#define LUMETRA_PLATFORM_SLEEP_PRECISION_H

namespace lumetra {

/// Belongs to the thread that created it.
class SleepPrecision {
public:
    /// true: wake as exactly as possible; false: the system may delay wake-ups to save power.
    void set(bool precise);

private:
    bool m_precise = false;
};

}  // namespace lumetra

#endif
