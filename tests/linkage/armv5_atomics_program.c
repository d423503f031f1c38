/* SPDX-License-Identifier: Apache-2.0 */
/* Runs port/vxworks/armv5_atomics.cpp on the core it is for, with the calls that the compiler makes for that
 * core. Interrupts are simulated: until the moment they are locked, another task changes the word, and at the
 * moment they are unlocked, the new value must be in it. A program without a C library, for the user-mode
 * emulator: exit code 0, or 1 after a line about the first check that fails. */
#include <intLib.h>
#include <stdint.h>

#define TEXT_OF(number) #number
#define TEXT(number) TEXT_OF(number)
#define CHECK(condition)                                                                                 \
    if (!(condition)) {                                                                                  \
        fail("armv5_atomics_program.c:" TEXT(__LINE__) ": does not hold: " #condition "\n",              \
             sizeof("armv5_atomics_program.c:" TEXT(__LINE__) ": does not hold: " #condition "\n") - 1); \
    }

enum { kSystemExit = 1, kSystemWrite = 4, kFirstKey = 0x40 };

static uint32_t word;
/* What another task adds to the word before interrupts are locked. */
static uint32_t preemption;
static uint32_t wordAtUnlock;
static int lockCount;
static int isLocked;

static void systemCall(int number, int first, const char *second, unsigned third) {
    register int r0 __asm__("r0") = first;
    register const char *r1 __asm__("r1") = second;
    register unsigned r2 __asm__("r2") = third;
    register int r7 __asm__("r7") = number;
    __asm__ volatile("svc #0" : "+r"(r0) : "r"(r1), "r"(r2), "r"(r7) : "memory");
}

static void fail(const char *text, unsigned length) {
    systemCall(kSystemWrite, 2, text, length);
    systemCall(kSystemExit, 1, 0, 0);
}

int intLock(void) {
    CHECK(!isLocked)
    word += preemption;
    isLocked = 1;
    ++lockCount;
    return kFirstKey + lockCount;
}

void intUnlock(int lockKey) {
    CHECK(isLocked)
    CHECK(lockKey == kFirstKey + lockCount)
    isLocked = 0;
    wordAtUnlock = word;
}

/* Sets the word, and what another task is about to add to it. */
static void begin(uint32_t value, uint32_t added) {
    lockCount = 0;
    preemption = added;
    wordAtUnlock = 0;
    __atomic_store_n(&word, value, __ATOMIC_RELAXED);
}

/* Checks that the word got its new value under one lock. */
static void checkEnd(uint32_t value) {
    CHECK(lockCount == 1)
    CHECK(!isLocked)
    CHECK(wordAtUnlock == value)
    CHECK(__atomic_load_n(&word, __ATOMIC_RELAXED) == value)
}

static void checkAdding(void) {
    begin(5, 1000);
    CHECK(__atomic_fetch_add(&word, 7, __ATOMIC_SEQ_CST) == 1005)
    checkEnd(1012);
    begin(UINT32_MAX, 0);
    CHECK(__atomic_fetch_add(&word, 1, __ATOMIC_SEQ_CST) == UINT32_MAX)
    checkEnd(0);
}

static void checkSubtracting(void) {
    begin(5, 1000);
    CHECK(__atomic_fetch_sub(&word, 7, __ATOMIC_SEQ_CST) == 1005)
    checkEnd(998);
    begin(0, 0);
    CHECK(__atomic_fetch_sub(&word, 1, __ATOMIC_SEQ_CST) == 0)
    checkEnd(UINT32_MAX);
}

static void checkExchanging(void) {
    begin(5, 1000);
    CHECK(__atomic_exchange_n(&word, 7, __ATOMIC_SEQ_CST) == 1005)
    checkEnd(7);
}

static void checkBarrier(void) {
    begin(5, 1000);
    __atomic_thread_fence(__ATOMIC_SEQ_CST);
    checkEnd(1005);
}

void _start(void) {
    checkAdding();
    checkSubtracting();
    checkExchanging();
    checkBarrier();
    systemCall(kSystemExit, 0, 0, 0);
}
