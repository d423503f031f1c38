// SPDX-License-Identifier: Apache-2.0
// What storing costs the chip.
#ifndef JORN_TESTS_FAULTS_FLASH_WEAR_H
#define JORN_TESTS_FAULTS_FLASH_WEAR_H

namespace flash {

/// Prints pages programmed and blocks erased for each 1,000 items, for bursts of several sizes, and what the
/// pages were: data, headers of files and directories, pages that the file system moved to free their block,
/// and its summaries of blocks.
void printWear();

}  // namespace flash

#endif
