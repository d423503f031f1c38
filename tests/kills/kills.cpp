// SPDX-License-Identifier: Apache-2.0
// Kills the tool at many moments and checks what the next start makes of it. See README.md.
#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
#include <CLI/Validators.hpp>
#include <cstdio>
#include <exception>

#include "kills/command_campaign.h"
#include "kills/record_campaign.h"
#include "trace/traced_run.h"

namespace {

constexpr int kSkipped = 77;
constexpr size_t kMost = 30;  ///< How many faults of a kind are printed.

void printFaults(const test::CampaignResult &result) {
    std::map<std::string, size_t> counts;
    for (const test::CampaignFault &fault : result.faults) {
        ++counts[nameOf(fault.fault)];
    }
    for (const auto &[name, count] : counts) {
        printf("%zu x %s\n", count, name.c_str());
    }
    for (size_t at = 0; at < result.faults.size() && at < kMost; ++at) {
        printf("trial %zu: %s\n", result.faults[at].trial, result.faults[at].text.c_str());
    }
}

void printPlaces(const test::CampaignResult &result) {
    printf("\n| killed | times |\n|---|---|\n");
    for (const auto &[place, count] : result.places) {
        printf("| %s | %zu |\n", place.c_str(), count);
    }
}

/// Whether nothing was wrong.
bool killRecorders(const test::CampaignOptions &options, bool showsPlaces) {
    const test::CampaignResult result = runRecordCampaign(options);
    printf("seed %llu, %zu of %zu moments at changes\n\n%s\n", static_cast<unsigned long long>(options.seed),
           result.momentsDone, result.moments, result.table().c_str());
    if (showsPlaces) {
        printPlaces(result);
    }
    printFaults(result);
    return result.faults.empty();
}

bool killCommands(size_t step) {
    const std::vector<test::CommandRow> rows = test::runCommandCampaign(step);
    printf("\n%s\n", commandTable(rows).c_str());
    size_t count = 0;
    for (const test::CommandRow &row : rows) {
        for (const std::string &fault : row.faults) {
            if (count++ < kMost) {
                printf("%s\n", fault.c_str());
            }
        }
    }
    return count == 0;
}

int run(int argc, char **argv) {
    test::CampaignOptions options;
    bool showsPlaces = false;
    bool isPlain = false;
    size_t step = 1;
    CLI::App app("Kills jorn at many moments and checks what the next start makes of it");
    app.add_option("--kills", options.kills, "Kills of the recorder")->capture_default_str();
    app.add_option("--seed", options.seed, "Of everything random but the kills by time")
        ->capture_default_str();
    app.add_option("--trial", options.onlyTrial, "Only this one of the trials that the seed gives");
    app.add_option("--command-step", step, "Kill commands at each so-many-th moment only, 0 at none")
        ->capture_default_str();
    app.add_flag("--places", showsPlaces, "Print also how often it was killed where");
    app.add_flag("--plain", isPlain, "Start the recorder without --if-unclear aside");
    CLI11_PARSE(app, argc, argv);
    if (!test::TracedRun::isPossible()) {
        printf("%s\n", test::TracedRun::obstacle().c_str());
        return kSkipped;
    }
    options.setsAside = !isPlain;
    const bool isRecorderRight = options.kills == 0 || killRecorders(options, showsPlaces);
    const bool areCommandsRight = step == 0 || killCommands(step);
    return isRecorderRight && areCommandsRight ? 0 : 1;
}

}  // namespace

int main(int argc, char **argv) {
    try {
        return run(argc, argv);
    } catch (const std::exception &error) {
        fprintf(stderr, "%s\n", error.what());
        return 2;
    }
}
