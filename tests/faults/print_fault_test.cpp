// SPDX-License-Identifier: Apache-2.0
// The console fails: every print of every script, at the print level that prints most, once and from then
// on. The text is missing, and nothing else changes.
#include <algorithm>
#include <iostream>

#include "faults/real_store.h"
#include "faults/workloads.h"
#include "support/module_test.h"

namespace faults {
namespace {

constexpr int32_t kEverythingPrinted = 8;

/// What one run did, without directories.
struct Trace {
    std::vector<std::string> calls;
    std::vector<std::string> results;
    std::vector<std::string> memory;  ///< Before the objects are destroyed.
    Files files;
    std::vector<std::string> printed;  ///< Each print separately.
};

void expectSame(const Trace &trace, const Trace &clean) {
    EXPECT_EQ(trace.calls, clean.calls);
    EXPECT_EQ(trace.results, clean.results);
    EXPECT_EQ(trace.memory, clean.memory);
    EXPECT_EQ(trace.files, clean.files);
    EXPECT_EQ(trace.printed, clean.printed);
}

std::vector<std::string> without(std::vector<std::string> texts, const std::string &path) {
    for (std::string &text : texts) {
        if (const size_t found = text.find(path); found != text.npos) {
            text.erase(found, path.size());
        }
    }
    return texts;
}

/// Whether a print is the module's own: printErrno is the platform's and is printed another way.
bool isOwn(const std::string &printed) { return printed.compare(0, 6, "errno ") != 0; }

/// What is printed when `skip` of the module's prints succeed and the next `count` fail.
std::vector<std::string> without(const std::vector<std::string> &printed, int skip, int count) {
    std::vector<std::string> left;
    int number = 0;
    for (const std::string &text : printed) {
        const bool isLost = isOwn(text) && number >= skip && number - skip < count;
        number += isOwn(text) ? 1 : 0;
        if (!isLost) {
            left.push_back(text);
        }
    }
    return left;
}

class PrintFaultTest : public test::ModuleTest, public ::testing::WithParamInterface<Workload> {
protected:
    /// Runs the script, a page and the destruction of the objects, with `count` prints failing after the
    /// first `skip`.
    static Trace trace(int skip, int count) {
        const test::TempDir root;
        test::platform().reset();
        jorn_SetDebugPrintLevel(kEverythingPrinted);
        RealStore store(root.path());
        Handles handles;
        GetParam().prepare(store, handles);
        store.clearLog();
        store.fail({"printf", skip, count, probe::Way::kPlain});
        GetParam().run(store, handles);
        store.page(handles.a, 1, 20);  // prints, even when there is no object any more
        Trace done;
        done.memory = store.memory();
        destroyAll(store, handles);
        done.calls = store.calls();
        done.results = store.results();
        done.files = store.files();
        done.printed = without(test::platform().pieces(), root.path());
        test::expectNothingHeld();
        return done;
    }

    static void runFault(const Trace &clean, int skip, int count) {
        SCOPED_TRACE("print number " + std::to_string(skip + 1) + " fails" +
                     (count == 1 ? ", once" : ", from then on"));
        Trace expected = clean;
        expected.printed = without(clean.printed, skip, count);
        EXPECT_LT(expected.printed.size(), clean.printed.size());
        expectSame(trace(skip, count), expected);
    }
};

TEST_P(PrintFaultTest, EveryPrint_Fails_OnlyItsTextIsMissing) {
    const Trace clean = trace(0, 0);
    const int prints = static_cast<int>(std::count_if(clean.printed.begin(), clean.printed.end(), isOwn));
    ASSERT_GT(prints, 0);
    for (int skip = 0; skip < prints && !HasFailure(); ++skip) {
        runFault(clean, skip, 1);
        runFault(clean, skip, probe::Probe::kForever);
    }
    std::cout << GetParam().name << ": " << prints << " prints\n";
    RecordProperty("prints", prints);
}

INSTANTIATE_TEST_SUITE_P(Scripts, PrintFaultTest, ::testing::ValuesIn(workloads()), WorkloadName());

}  // namespace
}  // namespace faults
