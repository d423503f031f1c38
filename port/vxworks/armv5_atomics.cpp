// SPDX-License-Identifier: Apache-2.0
// Atomic access for ARM cores before ARMv6, which cannot exchange or add a word by themselves: there g++
// calls these four. The build recipe adds this file only for such cores; newer ones do not need the calls.
//
// Such a device has one core, so a task can be interrupted but nothing runs at the same time: with interrupts
// locked an access is atomic. Each lock lasts for a few instructions. Every caller gets the strictest memory
// order, whichever it asks for.
#include <intLib.h>

namespace {

/// Locks interrupts for a scope.
class InterruptLock {
public:
    [[nodiscard]] InterruptLock() : key_(intLock()) {}
    ~InterruptLock() { intUnlock(key_); }
    InterruptLock(const InterruptLock &) = delete;
    InterruptLock &operator=(const InterruptLock &) = delete;

private:
    int key_;
};

}  // namespace

extern "C" {

/// Adds to a word. Returns what it held before.
unsigned __atomic_fetch_add_4(volatile void *word, unsigned number, int) {
    volatile unsigned *const place = static_cast<volatile unsigned *>(word);
    const InterruptLock lock;
    const unsigned former = *place;
    *place = former + number;
    return former;
}

/// Subtracts from a word. Returns what it held before.
unsigned __atomic_fetch_sub_4(volatile void *word, unsigned number, int order) {
    return __atomic_fetch_add_4(word, 0U - number, order);
}

/// Replaces a word. Returns what it held before.
unsigned __atomic_exchange_4(volatile void *word, unsigned number, int) {
    volatile unsigned *const place = static_cast<volatile unsigned *>(word);
    const InterruptLock lock;
    const unsigned former = *place;
    *place = number;
    return former;
}

/// Keeps the accesses before it before those after it. One core sees its own accesses in order; the compiler
/// moves none across a call.
void __sync_synchronize() { const InterruptLock lock; }
}
