// SPDX-License-Identifier: Apache-2.0
// jorn_flash_rig: cuts the power of the whole module at every operation of a flash chip.
#include <signal.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <sysLib.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <map>
#include <new>

#include "cut_run.h"
#include "jorn.h"
#include "report.h"
#include "wear.h"
#include "workloads.h"

namespace {

using flash::CutOptions;
using flash::CutPlace;
using flash::Figures;
using flash::Platform;
using flash::Result;
using flash::Torn;
using flash::Workload;

struct Arguments {
    unsigned jobs = 2;
    size_t scale = 1;
    std::vector<std::string> workloads;
    std::vector<size_t> buffers = {1024, 0};
    std::vector<int> caches = {10, 0};
    size_t nestedEvery = 41;
    bool isEveryPage = false;
    bool isList = false;
    bool isWear = false;
    std::string cut;
    std::string again;
    std::string table;
    unsigned timeLimit = 1200;
    size_t least = 0;
};

/// Parses "12:block-garbled" into operation and way; false when it is not of that form.
bool parseCut(const std::string &text, size_t *operation, Torn *torn) {
    const size_t colon = text.find(':');
    *operation = strtoul(text.c_str(), nullptr, 10);
    for (const Torn way : {Torn::Nothing, Torn::HalfDataNoTags, Torn::FullDataHalfTags,
                           Torn::HalfDataFullTags, Torn::BlockGarbled}) {
        if (colon != std::string::npos && text.substr(colon + 1) == nameOf(way)) {
            *torn = way;
            return *operation != 0;
        }
    }
    return false;
}

/// Figures that children write and this process reads.
Figures *sharedFigures(size_t count) {
    void *const memory =
        mmap(nullptr, count * sizeof(Figures), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) {
        perror("mmap");
        exit(2);
    }
    auto *const figures = static_cast<Figures *>(memory);
    for (size_t i = 0; i < count; ++i) {
        new (&figures[i]) Figures();
    }
    return figures;
}

/// Runs in a process of its own: the module has one state for the whole process, and may crash.
[[noreturn]] void runChild(const Workload &workload, const Platform &platform, const CutOptions &options,
                           unsigned timeLimit, Figures *figures) {
    alarm(timeLimit);
    sysClkDisable();
    jorn_SetDebugPrintLevel(0);
    flash::CutRun(workload, platform, options, figures).run();
    _exit(0);
}

std::string endOf(int status) {
    if (WIFSIGNALED(status)) {
        return std::string("ended by signal ") + strsignal(WTERMSIG(status));
    }
    return WEXITSTATUS(status) == 0 ? "" : "ended with status " + std::to_string(WEXITSTATUS(status));
}

/// Runs everything, as many processes at a time as wanted.
class Runner {
public:
    Runner(const Arguments &arguments, const CutOptions &options)
        : arguments_(arguments), options_(options) {}

    std::vector<Result> run(const std::vector<Workload> &workloads) {
        Figures *const figures =
            sharedFigures(workloads.size() * arguments_.buffers.size() * arguments_.caches.size());
        for (const Workload &workload : workloads) {
            for (const size_t buffer : arguments_.buffers) {
                for (const int caches : arguments_.caches) {
                    start(workload, {buffer, caches}, &figures[results_.size()]);
                }
            }
        }
        while (!children_.empty()) {
            waitForOne();
        }
        return results_;
    }

private:
    void start(const Workload &workload, const Platform &platform, Figures *figures) {
        while (children_.size() >= arguments_.jobs) {
            waitForOne();
        }
        results_.push_back({workload.name, platform, figures, ""});
        fflush(stdout);
        const pid_t child = fork();
        if (child < 0) {
            perror("fork");
            exit(2);
        }
        if (child == 0) {
            runChild(workload, platform, options_, arguments_.timeLimit, figures);
        }
        children_[child] = results_.size() - 1;
    }

    void waitForOne() {
        int status = 0;
        const pid_t child = wait(&status);
        const auto found = children_.find(child);
        if (found != children_.end()) {
            results_[found->second].crash = endOf(status);
            children_.erase(found);
        }
    }

    const Arguments &arguments_;
    const CutOptions &options_;
    std::vector<Result> results_;
    std::map<pid_t, size_t> children_;
};

std::vector<Workload> chosenWorkloads(const Arguments &arguments) {
    std::vector<Workload> chosen;
    for (Workload &workload : flash::allWorkloads(arguments.scale)) {
        const auto &names = arguments.workloads;
        if (names.empty() || std::find(names.begin(), names.end(), workload.name) != names.end()) {
            chosen.push_back(std::move(workload));
        }
    }
    return chosen;
}

void declare(CLI::App &app, Arguments *arguments) {
    app.add_option("--jobs", arguments->jobs, "Processes at a time")->capture_default_str();
    app.add_option("--scale", arguments->scale, "How many times longer the workloads are")
        ->capture_default_str();
    app.add_option("--workload", arguments->workloads, "Only this workload; may be repeated");
    app.add_option("--buffer", arguments->buffers, "Bytes of a stream's buffer; 0: the C library's own");
    app.add_option("--caches", arguments->caches, "Pages that the file system keeps in memory");
    app.add_option("--nested-every", arguments->nestedEvery,
                   "Cut every n-th image again at each operation of its life; 0: none")
        ->capture_default_str();
    app.add_flag("--every-page", arguments->isEveryPage, "Read every page of the largest rings too");
    app.add_option("--cut", arguments->cut, "Only this cut, OPERATION:WAY");
    app.add_option("--again", arguments->again, "With --cut: and this one in the life after it");
    app.add_option("--table", arguments->table, "Write the figures to this file, fields apart by tabs");
    app.add_option("--time-limit", arguments->timeLimit, "Seconds that one workload may take")
        ->capture_default_str();
    app.add_option("--least", arguments->least, "Fail when there are fewer images than this")
        ->capture_default_str();
    app.add_flag("--wear", arguments->isWear, "Print what storing costs the chip, and end");
    app.add_flag("--list", arguments->isList, "List the workloads and end");
}

bool setOptions(const Arguments &arguments, CutOptions *options) {
    options->nestedEvery = arguments.nestedEvery;
    options->isEveryPage = arguments.isEveryPage;
    CutPlace &only = options->only;
    return (arguments.cut.empty() || parseCut(arguments.cut, &only.operation, &only.torn)) &&
           (arguments.again.empty() || parseCut(arguments.again, &only.nestedOperation, &only.nestedTorn));
}

int runRig(int argc, char **argv) {
    Arguments arguments;
    CLI::App app{
        "Cuts the power at every operation of the flash chip, in every way, and looks at what is left"};
    declare(app, &arguments);
    CLI11_PARSE(app, argc, argv);
    setenv("TZ", "UTC", 1);

    if (arguments.isWear) {
        sysClkDisable();
        jorn_SetDebugPrintLevel(0);
        flash::printWear();
        return 0;
    }
    CutOptions options;
    const std::vector<Workload> workloads = chosenWorkloads(arguments);
    if (!setOptions(arguments, &options) || workloads.empty()) {
        fprintf(stderr, "no such cut or workload\n");
        return 2;
    }
    if (arguments.isList) {
        for (const Workload &workload : workloads) {
            printf("%s\n", workload.name.c_str());
        }
        return 0;
    }
    const std::vector<Result> results = Runner(arguments, options).run(workloads);
    const size_t images = flash::printFigures(results);
    if (!arguments.table.empty() && !flash::writeTable(arguments.table, results)) {
        fprintf(stderr, "%s cannot be written\n", arguments.table.c_str());
        return 2;
    }
    if (images < arguments.least) {
        fprintf(stderr, "%zu images, at least %zu are wanted\n", images, arguments.least);
        return 1;
    }
    return flash::printFaults(results) ? 0 : 1;
}

}  // namespace

int main(int argc, char **argv) {
    try {
        return runRig(argc, argv);
    } catch (const std::exception &failure) {
        fprintf(stderr, "%s\n", failure.what());
        return 2;
    }
}
