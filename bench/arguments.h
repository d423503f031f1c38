// SPDX-License-Identifier: Apache-2.0
// What bench/run passes to the programs besides the benchmark library's own options.
#ifndef JORN_BENCH_ARGUMENTS_H
#define JORN_BENCH_ARGUMENTS_H

#include <string>

namespace bench {

struct Arguments {
    std::string folder;   ///< of the run, for rings and what the peers write; its name is short
    int files = 90;       ///< of the large ring
    int bursts = 200;     ///< of submissions
    int repetitions = 1;  ///< of storing
};

/// Removes the benchmark library's options, then parses ours. Ends the process when any is wrong.
Arguments parseArguments(int argc, char **argv);

/// Runs the registered benchmarks. Returns the process's exit code.
int runBenchmarks();

}  // namespace bench

#endif
