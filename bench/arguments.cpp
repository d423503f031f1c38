// SPDX-License-Identifier: Apache-2.0
#include "arguments.h"

#include <benchmark/benchmark.h>
#include <jorn.h>
#include <sysLib.h>

#include <CLI/CLI.hpp>
#include <cstdlib>

namespace bench {

Arguments parseArguments(int argc, char **argv) {
    benchmark::Initialize(&argc, argv);
    Arguments arguments;
    CLI::App app("Measurements of the log store beside others; bench/run runs them.");
    app.add_option("--folder", arguments.folder, "folder of the run")
        ->required()
        ->check(CLI::ExistingDirectory);
    app.add_option("--files", arguments.files, "files of the large ring")
        ->check(CLI::Range(JORN_CSV_NUM_MIN, JORN_CSV_NUM_MAX))
        ->capture_default_str();
    app.add_option("--bursts", arguments.bursts, "bursts of submissions")
        ->check(CLI::PositiveNumber)
        ->capture_default_str();
    app.add_option("--repetitions", arguments.repetitions, "how often a ring is stored")
        ->check(CLI::PositiveNumber)
        ->capture_default_str();
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError &error) {
        exit(app.exit(error));
    }
    sysClkDisable();
    jorn_SetDebugPrintLevel(0);
    return arguments;
}

int runBenchmarks() {
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}

}  // namespace bench
