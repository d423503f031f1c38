// SPDX-License-Identifier: Apache-2.0
#include "faults/failure_costs.h"

#include <algorithm>

namespace faults {

using probe::Way;

namespace {

constexpr bool kSometimes = false;

/// Creation. An object that is not made takes no items; nothing that was stored is touched.
std::vector<FailureCost> costsOfCreation() {
    return {
        {"allocate the object", {}, "", Loss::kUnlessTaken, kSometimes},
        {"look for the directory", {}, "Create DIR/# failed!", Loss::kUnlessTaken, kSometimes},
        {"close the directory", {}, "", Loss::kNone},
        {"make the directory", {}, "Create DIR/# failed!", Loss::kNone},
        {"allocate the summaries", {}, "Not enough memory for csv Info!", Loss::kUnlessTaken},
        {"create the mutex", {}, "Sem CsvRW_ID create failed!\n", Loss::kUnlessTaken},
        {"create the queue", {}, "failed to creat logInfoQID!\n", Loss::kUnlessTaken},
        {"spawn the store task", {}, "", Loss::kEverySubmitted, kSometimes},
    };
}

/// Deleted ids. No other task contends for the mutex here.
std::vector<FailureCost> costsOfIds() {
    return {
        {"lock the analysis", {}, "", Loss::kNone},   {"lock a batch", {}, "", Loss::kNone},
        {"lock a query", {}, "", Loss::kNone},        {"lock the clearing", {}, "", Loss::kNone},
        {"lock the letting go", {}, "", Loss::kNone}, {"wait for the last batch", {}, "", Loss::kNone},
        {"give the mutex", {}, "", Loss::kNone},      {"delete the mutex", {}, "", Loss::kNone},
        {"delete the queue", {}, "", Loss::kNone},    {"delete the store task", {}, "", Loss::kNone},
    };
}

/// Index and tidying. A file that seems to be missing is skipped, and the next write or rename may replace
/// it.
std::vector<FailureCost> costsOfIndexAndTidying() {
    return {
        {"open the index", {}, "DIR/#: Open index file error!", Loss::kFile, kSometimes},
        {"open the backup", {}, "Open index backup file error!", Loss::kNone, kSometimes},
        {"read the version", {}, "DIR/#: index.csv version error!", Loss::kFile, kSometimes},
        {"read the positions", {Way::kPlain, Way::kNoMatch}, "DIR/#: read index error!", Loss::kFile},
        {"read the positions", {Way::kShort}, "", Loss::kFile},
        {"make the backup the index", {}, "", Loss::kNone},
        {"look for the index", {}, "", Loss::kNone},
        {"look for the backup", {}, "", Loss::kNone},
        {"delete the former backup", {}, "", Loss::kNone},
        {"keep the index as backup", {}, "", Loss::kNone},
        {"create the index", {}, "Create index.csv error!", Loss::kItem},
        {"write the index", {}, "", Loss::kNone},
        {"close the index", {}, "", Loss::kNone},
        {"delete the backup", {}, "", Loss::kNone},
        {"look for a data file", {}, "Open file error: #.csv!", Loss::kFile, kSometimes},
        {"delete a surplus data file", {}, "", Loss::kNone},
        {"move a data file", {}, "Open file error: #.csv!", Loss::kNone},
        {"open a data file to summarise it", {}, "Open file error: #.csv!", Loss::kFile, kSometimes},
        {"read a line to summarise it", {}, "Error: analyse #.csv failed!", Loss::kFile, kSometimes},
        {"close a file that was read", {}, "", Loss::kNone},
    };
}

/// Submission.
std::vector<FailureCost> costsOfSubmission() {
    return {
        {"stamp an item", {}, "Msg send error = #", Loss::kNone, kSometimes},
        {"queue an item", {}, "(bare) errno #x#D#\r\n", Loss::kItem, kSometimes},
    };
}

/// The store task.
std::vector<FailureCost> costsOfStoreTask() {
    return {
        {"count the waiting messages", {}, "", Loss::kNone},
        {"wait for the next pass", {}, "", Loss::kNone},
        {"receive a message", {Way::kPlain}, "msg receive eror!", Loss::kNone},
        {"receive a message", {Way::kEmpty, Way::kTooLong}, "msg receive eror!", Loss::kItem},
        {"receive a message", {Way::kCut}, "Level info error!", Loss::kItem},
        {"start a data file", {}, "Create #.csv failed!", Loss::kItem},
        {"start the next data file", {}, "Create #.csv failed!", Loss::kItem},
        {"go on with a data file", {}, "", Loss::kFile},
        {"write an item", {Way::kPlain}, "", Loss::kItem},
        {"write an item", {Way::kOneByte}, "Level info error!", Loss::kItem, kSometimes},
        {"write an item", {Way::kHalf}, "Level info error!", Loss::kItemAndNext, kSometimes},
        {"write an item", {Way::kAllButOne}, "", Loss::kItemAndNext},
        {"close the data file", {Way::kPlain}, "", Loss::kNone},
        {"close the data file", {Way::kDropped}, "", Loss::kBuffered},
        {"close the full data file", {Way::kPlain}, "", Loss::kNone},
        {"close the full data file", {Way::kDropped}, "", Loss::kBuffered},
    };
}

/// Queries lose nothing; what they show is incomplete.
std::vector<FailureCost> costsOfQueries() {
    return {
        {"open a data file to count its items", {}, "Open file error: #.csv!\n", Loss::kNone},
        {"open a data file of the page", {}, "Open file error: #.csv!\n", Loss::kNone},
        {"read a line to count it", {}, " error: totalItem = #!", Loss::kNone, kSometimes},
        {"read a line of the page", {}, "", Loss::kNone},
        {"show a time", {}, "", Loss::kNone},
    };
}

const std::vector<FailureCost> &failureCosts() {
    static const std::vector<FailureCost> rows = [] {
        std::vector<FailureCost> all;
        for (const auto &part : {costsOfCreation(), costsOfIds(), costsOfIndexAndTidying(),
                                 costsOfSubmission(), costsOfStoreTask(), costsOfQueries()}) {
            all.insert(all.end(), part.begin(), part.end());
        }
        return all;
    }();
    return rows;
}

}  // namespace

const FailureCost *findFailureCost(const std::string &role, Way way) {
    for (const FailureCost &row : failureCosts()) {
        const bool isOfWay = row.ways.empty() || std::count(row.ways.begin(), row.ways.end(), way) != 0;
        if (row.role == role && isOfWay) {
            return &row;
        }
    }
    return nullptr;
}

}  // namespace faults
