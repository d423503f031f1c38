// SPDX-License-Identifier: Apache-2.0
// Every call that the module makes to its platform and the C library fails, at every place of every script,
// once and from then on. Each run is compared with the model; a table states what each failure costs.
#include <algorithm>
#include <iostream>
#include <map>

#include "faults/failure_costs.h"
#include "faults/rehearsal.h"

namespace faults {
namespace {

using probe::Way;

/// The ways in which each call can fail. What is not here cannot: free and printErrno return nothing.
const std::map<std::string, std::vector<Way>> &waysOfCalls() {
    static const std::map<std::string, std::vector<Way>> ways = {
        {"fopen", {Way::kPlain, Way::kNoSpace, Way::kNoEntry}},
        {"fclose", {Way::kPlain, Way::kDropped}},
        {"fwrite", {Way::kPlain, Way::kOneByte, Way::kHalf, Way::kAllButOne}},
        {"fgets", {Way::kPlain}},
        {"fscanf", {Way::kPlain, Way::kNoMatch, Way::kShort}},
        {"calloc", {Way::kPlain}},
        {"free", {}},
        {"opendir", {Way::kPlain}},
        {"closedir", {Way::kPlain}},
        {"jorn_MakeDirectory", {Way::kPlain}},
        {"rm", {Way::kPlain}},
        {"yaffs_rename", {Way::kPlain}},
        {"semMCreate", {Way::kPlain}},
        {"semTake", {Way::kPlain}},
        // These fail on an id that is no longer valid, and then there is nothing left to give or delete.
        {"semGive", {Way::kDone}},
        {"semDelete", {Way::kDone}},
        {"msgQDelete", {Way::kDone}},
        {"taskDelete", {Way::kDone}},
        {"msgQCreate", {Way::kPlain}},
        {"msgQSend", {Way::kPlain}},
        {"msgQReceive", {Way::kPlain, Way::kEmpty, Way::kTooLong, Way::kCut}},
        {"msgQNumMsgs", {Way::kPlain}},
        {"taskSpawn", {Way::kPlain}},
        {"taskDelay", {Way::kPlain}},
        {"time", {Way::kPlain, Way::kBack}},
        {"ctime", {Way::kPlain}},
        {"printErrno", {}},
    };
    return ways;
}

std::string wordOf(const std::string &call) { return call.substr(0, call.find(' ')); }

/// The messages of one run that another lacks.
std::vector<std::string> added(const std::vector<std::string> &messages, std::vector<std::string> without) {
    std::vector<std::string> more;
    for (const std::string &message : messages) {
        const auto found = std::find(without.begin(), without.end(), message);
        if (found != without.end()) {
            without.erase(found);
        } else {
            more.push_back(message);
        }
    }
    return more;
}

std::vector<std::string> missing(const std::set<std::string> &all, const std::set<std::string> &found) {
    std::vector<std::string> lost;
    std::set_difference(all.begin(), all.end(), found.begin(), found.end(), std::back_inserter(lost));
    return lost;
}

/// Numbers as "#", names of directories too, so that one row serves all places.
std::string general(const std::string &message) {
    std::string text;
    for (const char c : message) {
        if (c < '0' || c > '9') {
            text += c;
        } else if (text.empty() || text.back() != '#') {
            text += '#';
        }
    }
    for (const std::string name : {"DIR/a", "DIR/b"}) {
        if (const size_t found = text.find(name); found != text.npos) {
            text.replace(found, name.size(), "DIR/#");
        }
    }
    return text;
}

/// The most items that a loss can cost. The model's files show, byte by byte, how many are lost at one place:
/// an item may be overwritten later anyway.
size_t mostLost(Loss loss, size_t itemsAtMost) {
    switch (loss) {
        case Loss::kItem:
            return 1;
        case Loss::kItemAndNext:
            return 2;
        case Loss::kBuffered:
        case Loss::kFile:
        case Loss::kEverySubmitted:
            return itemsAtMost;
        default:
            return 0;
    }
}

/// What one run with one fault is compared with.
struct Place {
    std::string role;
    Way way;
    const Outcome &clean;
};

/// Items that are missing although their submission was accepted, or that were there before.
size_t lostItems(const Outcome &clean, const Outcome &faulty) {
    size_t lost = 0;
    for (const std::string &text : missing(clean.stored, faulty.stored)) {
        const bool isRefused = clean.accepted.count(text) != 0 && faulty.accepted.count(text) == 0;
        lost += isRefused ? 0 : 1;
    }
    return lost;
}

/// A message about an object that was not made, or about a queue that is full for a different item.
bool isFollowUp(const std::string &message) {
    return message.compare(0, 8, "hanld_id") == 0 || message.compare(0, 14, "Msg send error") == 0;
}

void expectCost(const Place &place, const Outcome &faulty) {
    const FailureCost *const cost = findFailureCost(place.role, place.way);
    ASSERT_NE(cost, nullptr) << "no row for: " << place.role;
    const std::vector<std::string> told = added(faulty.messages, place.clean.messages);
    const std::string first = told.empty() ? "" : general(told.front());
    const bool isAsTold =
        cost->message.empty() ? first.empty() : first.compare(0, cost->message.size(), cost->message) == 0;
    EXPECT_TRUE(isAsTold || (!cost->isAlwaysTold && (first.empty() || isFollowUp(first)))) << first;
    EXPECT_LE(lostItems(place.clean, faulty), mostLost(cost->loss, place.clean.stored.size()));
    const bool isRefusing = cost->loss == Loss::kUnlessTaken || place.role == "queue an item";
    EXPECT_TRUE(isRefusing || missing(place.clean.accepted, faulty.accepted).empty());
}

/// The items submitted after the fault has ended are the newest ones, in order, unless the line before the
/// first of them was torn, or no task writes.
void expectGoingOn(const Place &place, const Outcome &faulty) {
    const std::vector<std::string> anew = {"anew2", "anew1", "anew0"};
    EXPECT_EQ(faulty.restarted, anew);
    const FailureCost *const cost = findFailureCost(place.role, place.way);
    ASSERT_NE(cost, nullptr);
    if (cost->loss == Loss::kEverySubmitted) {
        return;
    }
    ASSERT_EQ(faulty.goneOn.size(), 3U);
    EXPECT_EQ(faulty.goneOn[0], "again2");
    EXPECT_EQ(faulty.goneOn[1], "again1");
    const bool mayBeTorn = place.way == Way::kHalf || place.way == Way::kAllButOne;
    EXPECT_TRUE(mayBeTorn || faulty.goneOn[2] == "again0") << faulty.goneOn[2];
}

class FaultSweepTest : public test::ModuleTest, public ::testing::WithParamInterface<Workload> {
protected:
    /// One call fails, once or from then on.
    void runFault(const Place &place, const Fault &fault) {
        const ::testing::ScopedTrace trace(__FILE__, __LINE__,
                                           place.role + ": " + fault.call + " number " +
                                               std::to_string(fault.skip + 1) + " fails in way " +
                                               std::to_string(static_cast<int>(fault.way)) +
                                               (fault.count == 1 ? ", once" : ", from then on"));
        const Outcome faulty = rehearse(GetParam(), {fault});
        ++faults_;
        const size_t lost = lostItems(place.clean, faulty);
        if (fault.count == 1) {
            expectCost(place, faulty);
            lostOnce_[place.role] = std::max(lostOnce_[place.role], lost);
        } else {
            lostForever_[place.role] = std::max(lostForever_[place.role], lost);
        }
        expectGoingOn(place, faulty);
    }

    void runFaults(const Outcome &clean, size_t number, int skip) {
        const std::string word = wordOf(clean.calls[number]);
        ASSERT_EQ(waysOfCalls().count(word), 1U) << word;
        const std::vector<Way> &ways = waysOfCalls().at(word);
        // The error numbers of fopen take turns: nothing may depend on them.
        const bool takesTurns = word == "fopen";
        for (size_t i = 0; i < (takesTurns ? 1 : ways.size()); ++i) {
            const Way way = ways[takesTurns ? static_cast<size_t>(skip) % ways.size() : i];
            runFault({clean.roles[number], way, clean}, {word, skip, 1, way});
            // A taskDelay that always returns at once would leave no time for other tasks.
            if (word != "taskDelay") {
                runFault({clean.roles[number], way, clean}, {word, skip, probe::Probe::kForever, way});
            }
        }
    }

    void reportLosses() const {
        std::cout << GetParam().name << ": " << faults_ << " faults";
        for (const auto &[role, lost] : lostOnce_) {
            const auto forever = lostForever_.find(role);
            const size_t more = forever != lostForever_.end() ? forever->second : 0;
            if (lost + more > 0) {
                std::cout << "; " << role << ": " << lost << " lost, " << more << " from then on";
            }
        }
        std::cout << '\n';
        RecordProperty("faults", faults_);
    }

    int faults_ = 0;
    std::map<std::string, size_t> lostOnce_;
    std::map<std::string, size_t> lostForever_;
};

TEST_P(FaultSweepTest, EveryCall_Fails_StoreDoesWhatIsRequiredAndGoesOn) {
    const Outcome clean = rehearse(GetParam(), {});
    ASSERT_FALSE(HasFailure()) << "without a fault";
    std::map<std::string, int> madeBefore;
    for (size_t i = 0; i < clean.calls.size() && !HasFailure(); ++i) {
        runFaults(clean, i, madeBefore[wordOf(clean.calls[i])]++);
    }
    EXPECT_GT(faults_, 0);
    reportLosses();
}

INSTANTIATE_TEST_SUITE_P(Scripts, FaultSweepTest, ::testing::ValuesIn(workloads()), WorkloadName());

}  // namespace
}  // namespace faults
