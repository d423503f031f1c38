// SPDX-License-Identifier: Apache-2.0
// What the module's calls reach instead of the C library and the port: stdio over the real file system, a
// clock that is set by hand, and a record of every call that changes a file.
#ifndef JORN_TESTS_FAULTS_FLASH_FILE_CALLS_H
#define JORN_TESTS_FAULTS_FLASH_FILE_CALLS_H

#include <cstddef>
#include <cstdint>
#include <string>

#include "history.h"
#include "nand.h"

namespace flash {

/// Ways to make the real module do wrong, to see each of the checks fail.
enum class Sabotage {
    None,
    DropLine,       ///< one line is never written
    DuplicateLine,  ///< one line is written twice
    AlterLine,      ///< one byte of a line is changed
    SwapLines,      ///< two lines change places
    WrongIndex,     ///< the index names other positions
    LoseClose,      ///< a file is closed, but its last bytes never reach the file system
    AlterRead,      ///< a reader gets one wrong byte
    ExtraFile,      ///< a file appears that does not belong there
    RestlessStart,  ///< every creation changes the medium
    Spin            ///< a call is repeated without end
};

/// What surrounds the module in one life.
struct Surroundings {
    const Nand *chip = nullptr;  ///< counts operations
    History *history = nullptr;  ///< receives the calls; null for none
    size_t deviceBuffer = 0;     ///< bytes of a stream's buffer; 0 for the C library's own
    uint32_t time = 0;           ///< seconds since 1970
    Sabotage sabotage = Sabotage::None;
    size_t calls = 0;        ///< of the module; more than any life needs end the program
    size_t shortWrites = 0;  ///< data that the file system did not take
    size_t linesWritten = 0;
    std::string heldLine;  ///< to be written at a later place
};

/// The surroundings of the present life.
Surroundings &surroundings();

}  // namespace flash

#endif
