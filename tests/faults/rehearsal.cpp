// SPDX-License-Identifier: Apache-2.0
#include "faults/rehearsal.h"

#include <algorithm>
#include <cstdio>

namespace faults {
namespace {

/// Reports the first place where two lists differ.
void expectSameList(const std::string &what, const std::vector<std::string> &real,
                    const std::vector<std::string> &expected) {
    const auto parted = std::mismatch(real.begin(), real.end(), expected.begin(), expected.end());
    if (parted.first == real.end() && parted.second == expected.end()) {
        return;
    }
    ADD_FAILURE() << what << ", at " << parted.first - real.begin() << ": "
                  << (parted.first == real.end() ? "nothing" : *parted.first)
                  << "\nrequired: " << (parted.second == expected.end() ? "nothing" : *parted.second);
}

/// Compares calls, messages, results and files of both, after a part of the script.
void expectSame(const std::string &when, const RealStore &real, const ExpectedStore &expected) {
    expectSameList("calls " + when, real.calls(), expected.calls());
    expectSameList("messages " + when, real.messages(), expected.messages());
    expectSameList("results " + when, real.results(), expected.results());
    expectSameList("memory " + when, real.memory(), expected.memory());
    EXPECT_EQ(real.files(), expected.files()) << when;
}

/// Lets the store continue with the objects it has, or with a new one when it has none.
void goOn(StoreDriver &store, Handles &handles) {
    if (handles.a <= 0) {
        handles.a = store.create("a", kRingA);
    }
    passes(store, 2);
    addItems(store, handles.a, "again", 3);
    passes(store, 2);
    store.page(handles.a, 1, 3);
}

void startAgain(StoreDriver &store, Handles &handles) {
    destroyAll(store, handles);
    handles.a = store.create("a", kRingA);
    passes(store, 2);
    addItems(store, handles.a, "anew", 3);
    passes(store, 2);
    store.page(handles.a, 1, 3);
}

std::vector<std::string> shortened(std::vector<std::string> messages, const std::string &root) {
    for (std::string &message : messages) {
        if (const size_t found = message.find(root); found != message.npos) {
            message.replace(found, root.size(), "DIR");
        }
    }
    return messages;
}

}  // namespace

std::set<std::string> itemsIn(const Files &files) {
    std::set<std::string> texts;
    for (const auto &[path, bytes] : files) {
        size_t start = 0;
        for (size_t end = 0; (end = bytes.find('\n', start)) != bytes.npos; start = end + 1) {
            const std::string line = bytes.substr(start, end - start);
            int text = 0;
            sscanf(line.c_str(), "%*u,%*1u,%*1u,%n", &text);
            if (text > 0) {
                texts.insert(line.substr(static_cast<size_t>(text)));
            }
        }
    }
    return texts;
}

Outcome rehearse(const Workload &workload, const std::vector<Fault> &faults) {
    const test::TempDir root;
    test::platform().reset();
    RealStore real(root.path());
    ExpectedStore expected(root.path());
    Handles realHandles;
    Handles expectedHandles;
    const auto onBoth = [&](const Script &script) {
        script(real, realHandles);
        script(expected, expectedHandles);
    };

    onBoth(workload.prepare);
    onBoth([](StoreDriver &store, Handles &) { store.clearLog(); });
    for (const Fault &fault : faults) {
        onBoth([&](StoreDriver &store, Handles &) { store.fail(fault); });
    }
    onBoth(workload.run);
    expectSame("with the faults", real, expected);
    Outcome outcome;
    outcome.calls = real.calls();
    outcome.roles = expected.roles();
    outcome.messages = shortened(real.messages(), root.path());

    onBoth([](StoreDriver &store, Handles &) { store.heal(); });
    onBoth(goOn);
    expectSame("when going on", real, expected);
    outcome.goneOn = real.lastPage();
    outcome.stored = itemsIn(real.files());
    outcome.accepted = {real.accepted().begin(), real.accepted().end()};

    onBoth(startAgain);
    expectSame("after a restart", real, expected);
    outcome.restarted = real.lastPage();
    onBoth(destroyAll);
    expectSame("at the end", real, expected);
    test::expectNothingHeld();
    return outcome;
}

}  // namespace faults
