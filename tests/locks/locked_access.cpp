// locked_access.cpp - compiles as it is, and does not with any of the accesses that a define adds.
#include "base/synchronized.h"

int main() {
    lumetra::Synchronized<int> number(1);
#if defined(WITHOUT_LOCK)
    number.m_value = 2;
#elif defined(REFERENCE_LEAVES)
    int& kept = number.with([](int& value) -> int& { return value; });
    kept = 2;
#elif defined(POINTER_LEAVES)
    *number.with([](int& value) { return &value; }) = 2;
#elif defined(POINTER_LEAVES_A_WAIT)
    *number.waitWith([](int& value, lumetra::WaitLock&) { return &value; }) = 2;
#elif defined(UNLOCKED_BY_HAND)
    number.waitWith([](int& value, lumetra::WaitLock& lock) {
        lock.m_lock.unlock();
        value = 2;
    });
#elif defined(CHANGED_WHILE_CONST)
    const auto& constant = number;
    constant.with([](int& value) { value = 2; });
#elif defined(COPIED_WITH_ITS_LOCK)
    const auto copy = number;
#endif
    return number.with([](int& value) { return value - 1; });
}
