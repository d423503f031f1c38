// SPDX-License-Identifier: Apache-2.0
#include "report.h"

#include <cstdio>
#include <fstream>

namespace flash {

namespace {

std::string bufferText(const Platform &platform) {
    return platform.deviceBuffer == 0 ? "host" : std::to_string(platform.deviceBuffer);
}

bool isFaulty(const Result &result) {
    size_t faults = result.crash.empty() ? 0 : 1;
    for (const size_t found : result.figures->faults) {
        faults += found;
    }
    return faults != 0;
}

void printLosses(const std::vector<Result> &results, const std::string &workload) {
    for (size_t reason = 0; reason < kReasons; ++reason) {
        size_t images = 0;
        size_t most = 0;
        for (const Result &result : results) {
            if (result.workload == workload) {
                images += result.figures->lossImages[reason];
                most = std::max(most, result.figures->mostLost[reason]);
            }
        }
        if (images != 0) {
            printf("%-26s %-28s %8zu %8zu\n", workload.c_str(), nameOf(static_cast<Reason>(reason)), images,
                   most);
        }
    }
}

}  // namespace

size_t printFigures(const std::vector<Result> &results) {
    printf("%-26s %6s %6s %10s %7s %7s %7s %8s %7s %7s %7s %7s\n", "workload", "buffer", "caches",
           "operations", "erases", "images", "nested", "items", "open", "torn", "refuse", "again");
    size_t images = 0;
    size_t nested = 0;
    for (const Result &result : results) {
        const Figures &f = *result.figures;
        printf("%-26s %6s %6d %10zu %7zu %7zu %7zu %8zu %7zu %7zu %7zu %7zu\n", result.workload.c_str(),
               bufferText(result.platform).c_str(), result.platform.caches, f.operations, f.erases, f.images,
               f.nestedImages, f.items, f.openItems, f.tornLines, f.refusals, f.seenAgain);
        images += f.images;
        nested += f.nestedImages;
    }
    printf("\n%zu images, and %zu cut a second time: %zu in all\n", images, nested, images + nested);
    printf(
        "open: most items in no closed file at a cut; torn: images with part of a last line, or zeros in "
        "its\n"
        "place; refuse: whose queries answer only after the next item; again: that show cleared items "
        "again\n");
    printf("\n%-26s %-28s %8s %8s\n", "items in closed files", "no longer in sight because", "images",
           "at most");
    std::string last;
    for (const Result &result : results) {
        if (result.workload != last) {
            last = result.workload;
            printLosses(results, last);
        }
    }
    return images + nested;
}

bool writeTable(const std::string &path, const std::vector<Result> &results) {
    std::ofstream out(path);
    out << "workload\tbuffer\tcaches\toperations\terases\timages\tnested\titems\topen\ttorn\trefusals\tagain";
    for (size_t reason = 0; reason < kReasons; ++reason) {
        const std::string name = nameOf(static_cast<Reason>(reason));
        out << '\t' << name << " (images)\t" << name << " (most items)";
    }
    out << '\n';
    for (const Result &result : results) {
        const Figures &f = *result.figures;
        out << result.workload << '\t' << bufferText(result.platform) << '\t' << result.platform.caches
            << '\t' << f.operations << '\t' << f.erases << '\t' << f.images << '\t' << f.nestedImages << '\t'
            << f.items << '\t' << f.openItems << '\t' << f.tornLines << '\t' << f.refusals << '\t'
            << f.seenAgain;
        for (size_t reason = 0; reason < kReasons; ++reason) {
            out << '\t' << f.lossImages[reason] << '\t' << f.mostLost[reason];
        }
        out << '\n';
    }
    return out.flush().good();
}

bool printFaults(const std::vector<Result> &results) {
    bool isClean = true;
    for (const Result &result : results) {
        if (!isFaulty(result)) {
            continue;
        }
        isClean = false;
        const Figures &f = *result.figures;
        const bool isCrash = !result.crash.empty();
        printf("\nFAULT in \"%s\": %s\n", result.workload.c_str(),
               isCrash ? result.crash.c_str() : f.fault.data());
        printf("  again: jorn_flash_rig --workload \"%s\" --buffer %zu --caches %d %s\n",
               result.workload.c_str(), result.platform.deviceBuffer, result.platform.caches,
               textOf(isCrash ? f.place : f.faultPlace).c_str());
    }
    return isClean;
}

}  // namespace flash
