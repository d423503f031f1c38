// SPDX-License-Identifier: Apache-2.0
// Where the board's programs begin: the emulator is started with the name of one and its arguments.
#include <stdio.h>
#include <string.h>

#include "flash.h"
#include "kernel.h"
#include "machine.h"
#include "programs.h"

namespace {

struct Program {
    const char *name;
    void (*run)(const char *arguments);
};

constexpr Program kPrograms[] = {{"example", runExample}, {"contract", runContract}, {"golden", runGolden},
                                 {"cuts", runCuts},       {"limits", runLimits},     {"costs", runCosts}};

char line[256];

void root() {
    if (isCampaignUnderWay()) {
        runCuts(nullptr);
    }
    const size_t nameLength = strcspn(line, " ");
    const char *const arguments = line + nameLength + (line[nameLength] == ' ' ? 1 : 0);
    for (const Program &program : kPrograms) {
        if (strlen(program.name) == nameLength && strncmp(line, program.name, nameLength) == 0) {
            program.run(arguments);
            fflush(stdout);
            boardExit(failures() == 0 ? 0 : 1);
        }
    }
    printf("no such program: %s\n", line);
    fflush(stdout);
    boardExit(2);
}

}  // namespace

extern "C" void boardMain(void) {
    boardMachineInit();
    boardArguments(line, sizeof line);
    boardKernelStart(root, kRootPriority);
}
