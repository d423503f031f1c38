// SPDX-License-Identifier: Apache-2.0
// The emulated board below the kernel: memory protection, interrupts, timers, the host behind the emulator,
// faults, and the power switch. One instruction takes 16 ns, one step of the board's counter: it counts
// instructions.
#ifndef JORN_TESTS_BOARD_MACHINE_H
#define JORN_TESTS_BOARD_MACHINE_H

#include <stddef.h>
#include <stdint.h>

/// Keeps a variable over resets: like the flash chip, it is not initialised when the power comes on.
#define BOARD_KEPT __attribute__((section(".kept")))

#ifdef __cplusplus
extern "C" {
#endif

/// Bytes of a page, the unit in which memory can be left unmapped; and of a task's place among the stacks,
/// whose first page is unmapped.
enum { kBoardPage = 4096, kBoardStackPlace = 4 * kBoardPage };

/// Maps memory so that all else, and the first page of each stack's place, faults; then sets up interrupts.
void boardMachineInit(void);

/// Instructions since the board was switched on. A cut does not reset it.
uint64_t boardInstructions(void);

/// Makes the tick come by itself, 60 times a second, or (0) not at all. A tick calls tickAnnounce().
void boardTicks(int isOn);
/// How many have come so.
uint32_t boardTicksCome(void);
/// Whether the caller is the tick's interrupt.
int boardIsInterrupt(void);

/// Cuts the power `instructions` from now, whatever runs then; 0 cancels it.
void boardCutAfter(uint64_t instructions);
/// Cuts the power: execution continues at the entry point.
__attribute__((noreturn)) void boardPowerCut(void);

/// Services of the emulator's host. boardHostWrite appends to a file that boardHostOpen has opened; 1 is the
/// console.
void boardConsole(const char *bytes, size_t size);
int boardHostOpen(const char *path);
void boardHostWrite(int file, const char *bytes, size_t size);
void boardHostClose(int file);
/// The arguments that the emulator was started with.
void boardArguments(char *text, size_t size);
__attribute__((noreturn)) void boardExit(int status);

/// Called at a fault for a description of an address; null when nothing is known about it.
const char *boardDescribe(uintptr_t address);

#ifdef __cplusplus
}
#endif

#endif
