// SPDX-License-Identifier: Apache-2.0
// The test program's side of a mutation check: takes the active mutant from the environment and, when asked,
// records which mutants each test executes and how long it takes. Added to the test support of the rewritten
// tree.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>

#include "mutation.h"

namespace mutation {

int active = 0;
bool *reached = nullptr;

namespace {

bool reachedTable[kIdsMax];

/// Runs before the initialisation of any global: some of those are mutated too.
__attribute__((constructor(101))) void readEnvironment() {
    const char *const mutant = std::getenv("JORN_MUTANT");
    active = mutant != nullptr ? static_cast<int>(std::strtol(mutant, nullptr, 10)) : 0;
    reached = std::getenv("JORN_MUTATION_TRACE") != nullptr ? reachedTable : nullptr;
}

/// One line per test: name, milliseconds, numbers of the places reached.
class Trace : public ::testing::EmptyTestEventListener {
public:
    Trace() : file_(std::fopen(std::getenv("JORN_MUTATION_TRACE"), "w")) {}
    ~Trace() override { std::fclose(file_); }
    Trace(const Trace &) = delete;
    Trace &operator=(const Trace &) = delete;

private:
    /// What the initialisation of globals reaches counts for every test: its name is "*".
    void OnTestProgramStart(const ::testing::UnitTest & /*program*/) override {
        std::fprintf(file_, "*\t0\t");
        writeReached();
    }

    void OnTestEnd(const ::testing::TestInfo &test) override {
        std::fprintf(file_, "%s.%s\t%lld\t", test.test_suite_name(), test.name(),
                     static_cast<long long>(test.result()->elapsed_time()));
        writeReached();
    }

    void writeReached() {
        for (int id = 0; id < kIdsMax; ++id) {
            if (__atomic_exchange_n(&reachedTable[id], false, __ATOMIC_RELAXED)) {
                std::fprintf(file_, "%d ", id);
            }
        }
        std::fprintf(file_, "\n");
    }

    std::FILE *file_;
};

const bool isTraced = [] {
    if (reached != nullptr) {
        ::testing::UnitTest::GetInstance()->listeners().Append(new Trace);
    }
    return true;
}();

}  // namespace
}  // namespace mutation
