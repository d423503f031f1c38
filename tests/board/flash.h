/* SPDX-License-Identifier: Apache-2.0 */
/* The board's flash chip, kept over resets, and the file system on it. */
#ifndef JORN_TESTS_BOARD_FLASH_H
#define JORN_TESTS_BOARD_FLASH_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/** Erases the chip. */
void boardFlashErase(void);
/** Mounts the file system at "/", once the kernel's calls can be made. Ends the run when that fails. */
void boardFlashMount(void);

/** Saves the chip as it is now; restores it. */
void boardFlashKeep(void);
void boardFlashRestore(void);

/** Programs and erases since the power came on, and erases alone; a cut in the middle of the n-th of them, 0
 * for none. */
uint32_t boardFlashOperations(void);
uint32_t boardFlashErases(void);
void boardFlashCutAt(uint32_t operation);

#ifdef __cplusplus
}
#endif

#endif
