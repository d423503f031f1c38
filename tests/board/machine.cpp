// SPDX-License-Identifier: Apache-2.0
#include "machine.h"

#include <stdio.h>
#include <string.h>
#include <tickLib.h>

extern "C" int boardHostCall(int operation, const void *arguments);
extern "C" char boardStacks[];

namespace {

constexpr uint32_t kCutTimer = 30;
constexpr uint32_t kTickTimer = 27;
constexpr uint32_t kInstructionsOfTick = 62500000 / 60;

volatile uint32_t &distributor(uint32_t offset) {
    return *reinterpret_cast<volatile uint32_t *>(0x08000000 + offset);
}
volatile uint32_t &cpuInterface(uint32_t offset) {
    return *reinterpret_cast<volatile uint32_t *>(0x08010000 + offset);
}
constexpr uint32_t kAcknowledge = 0x0c;
constexpr uint32_t kEndOfInterrupt = 0x10;

constexpr uint32_t kMegabytes = 4096;
constexpr uint32_t kPagesOfStacks = 256;
alignas(16384) uint32_t sections[kMegabytes];
alignas(1024) uint32_t stackPages[kPagesOfStacks];

bool inInterrupt;
uint32_t ticksCome;

void mapMemory() {
    constexpr uint32_t kDevice = 0x00000c02 | (1U << 2U);  // full access, shared device
    constexpr uint32_t kMemory = 0x00001c0e;               // full access, normal memory
    for (uint32_t megabyte = 0x080; megabyte < 0x0a0; ++megabyte) {
        sections[megabyte] = (megabyte << 20U) | kDevice;
    }
    for (uint32_t megabyte = 0x400; megabyte < 0x480; ++megabyte) {
        sections[megabyte] = (megabyte << 20U) | kMemory;
    }
    const auto stacks = reinterpret_cast<uint32_t>(boardStacks);
    for (uint32_t page = 0; page < kPagesOfStacks; ++page) {
        const uint32_t address = stacks + page * kBoardPage;
        stackPages[page] = address % kBoardStackPlace == 0 ? 0 : address | 0x7eU;
    }
    sections[stacks >> 20U] = reinterpret_cast<uint32_t>(stackPages) | 1U;
    asm volatile(
        "mcr p15, 0, %0, c2, c0, 0\n"  // table
        "mcr p15, 0, %1, c2, c0, 2\n"
        "mcr p15, 0, %2, c3, c0, 0\n"  // domain 0 obeys it
        "dsb\n isb\n"
        "mrc p15, 0, %0, c1, c0, 0\n"
        "orr %0, %0, #1\n"
        "mcr p15, 0, %0, c1, c0, 0\n"
        "isb\n"
        :
        : "r"(sections), "r"(0), "r"(1)
        : "memory");
}

/// The cut comes as a fast interrupt, which nothing masks; the tick as an ordinary one.
void startInterrupts() {
    distributor(0x000) = 3;
    distributor(0x380) = 0xffffffff;
    cpuInterface(kEndOfInterrupt) = kTickTimer;  // one that a cut has left active
    distributor(0x080) = ~(1U << kCutTimer);
    distributor(0x100) = (1U << kCutTimer) | (1U << kTickTimer);
    cpuInterface(0x04) = 0xff;
    cpuInterface(0x00) = 1 | 2 | 4 | 8;
    asm volatile("cpsie f");
}

void setTickTimer(uint32_t instructions) {
    asm volatile("mcr p15, 0, %0, c14, c3, 0" : : "r"(instructions));
    asm volatile("mcr p15, 0, %0, c14, c3, 1" : : "r"(instructions != 0 ? 1 : 0));
}

int hostCall(int operation, uint32_t one, uint32_t two = 0, uint32_t three = 0) {
    const uint32_t arguments[] = {one, two, three};
    return boardHostCall(operation, arguments);
}

uint32_t asWord(const void *pointer) { return reinterpret_cast<uint32_t>(pointer); }

}  // namespace

void boardMachineInit(void) {
    mapMemory();
    startInterrupts();
}

uint64_t boardInstructions(void) {
    uint64_t count;
    asm volatile("mrrc p15, 1, %Q0, %R0, c14" : "=r"(count));
    return count;
}

void boardTicks(int isOn) { setTickTimer(isOn != 0 ? kInstructionsOfTick : 0); }

uint32_t boardTicksCome(void) { return ticksCome; }

int boardIsInterrupt(void) { return inInterrupt ? 1 : 0; }

/// Runs on the stack for interrupts.
extern "C" void boardInterrupt(void) {
    const uint32_t interrupt = cpuInterface(kAcknowledge);
    if (interrupt == kTickTimer) {
        setTickTimer(kInstructionsOfTick);
        ++ticksCome;
        inInterrupt = true;
        tickAnnounce();
        inInterrupt = false;
    }
    cpuInterface(kEndOfInterrupt) = interrupt;
}

void boardCutAfter(uint64_t instructions) {
    const uint64_t when = boardInstructions() + instructions;
    asm volatile("mcrr p15, 2, %Q0, %R0, c14" : : "r"(when));
    asm volatile("mcr p15, 0, %0, c14, c2, 1" : : "r"(instructions != 0 ? 1 : 0));
}

void boardPowerCut(void) {
    asm volatile("mcr p15, 0, %0, c14, c2, 1" : : "r"(0));
    cpuInterface(kEndOfInterrupt) = cpuInterface(kAcknowledge);
    asm volatile("b boardEntry");
    __builtin_unreachable();
}

void boardHostWrite(int file, const char *bytes, size_t size) {
    hostCall(0x05, static_cast<uint32_t>(file), asWord(bytes), size);
}

int boardHostOpen(const char *path) { return hostCall(0x01, asWord(path), 5, strlen(path)); }

void boardHostClose(int file) { hostCall(0x02, static_cast<uint32_t>(file)); }

void boardConsole(const char *bytes, size_t size) {
    static int console;
    if (console == 0) {
        console = hostCall(0x01, asWord(":tt"), 4, 3);
    }
    boardHostWrite(console, bytes, size);
}

void boardArguments(char *text, size_t size) {
    const uint32_t arguments[] = {asWord(text), size};
    if (boardHostCall(0x15, arguments) != 0) {
        text[0] = '\0';
    }
}

void boardExit(int status) {
    for (;;) {
        hostCall(0x20, 0x20026, static_cast<uint32_t>(status));
    }
}

extern "C" void boardFault(uintptr_t at, uintptr_t address, int kind) {
    static const char *const kKinds[] = {"no access to", "no code at", "undefined instruction,"};
    char text[160];
    const char *const known = boardDescribe(address);
    const int length = snprintf(text, sizeof text, "\nFAULT at 0x%08x: %s 0x%08x%s%s\n",
                                static_cast<unsigned>(at), kKinds[kind], static_cast<unsigned>(address),
                                known != nullptr ? ", " : "", known != nullptr ? known : "");
    boardConsole(text, static_cast<size_t>(length));
    boardExit(3);
}
