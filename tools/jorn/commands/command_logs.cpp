// SPDX-License-Identifier: Apache-2.0
#include <CLI/App.hpp>
#include <algorithm>
#include <memory>
#include <nlohmann/json.hpp>

#include "commands/commands.h"
#include "health/finding.h"
#include "log/disk_usage.h"
#include "options/log_options.h"
#include "options/output_options.h"
#include "options/read_end.h"
#include "output/csv_text.h"
#include "output/output.h"
#include "query/item_query.h"
#include "query/log_tree.h"
#include "query/ring_stats.h"
#include "system/directory_lock.h"
#include "system/failure.h"
#include "terminal/color.h"
#include "terminal/escape.h"
#include "terminal/text_table.h"
#include "terminal/time_text.h"
#include "usage/help.h"

namespace tool {
namespace {

constexpr HelpText kHelp = {
    "List the logs in and below directories", "jorn logs [OPTION]... DIR...\n",
    "  jorn logs /var/log                        each log there, with items and times\n"
    "  jorn logs -o json . | jq -r .log | xargs -d '\\n' jorn show -n 20\n",
    "The state of a log is ok, damaged (see jorn check), recording (locked by a recorder) or "
    "unreadable. A link is followed only if it is given as DIR. Directories whose names begin with a "
    "dot, or that are more than 16 levels deep, are skipped. Each log is read once.\n",
    "  0  done\n"
    "  2  usage error, or no log in or below a DIR\n"
    "  3  done, but a log is damaged\n"
    "  4  a directory or log cannot be read, or output failed\n"};

struct LogsOptions {
    std::vector<std::string> directories;
    OutputOptions output;
    bool isUtc = false;
};

enum class State { Ok, Recording, Damaged, Unreadable };

const char *nameOf(State state) {
    switch (state) {
        case State::Recording:
            return "recording";
        case State::Damaged:
            return "damaged";
        case State::Unreadable:
            return "unreadable";
        case State::Ok:
            break;
    }
    return "ok";
}

const char *colorOf(State state) {
    if (state == State::Ok) {
        return kCommon;
    }
    return state == State::Recording ? kGood : kUrgent;
}

struct ListedLog {
    std::string path;
    ItemSpan span;
    uint64_t bytes = 0;
    State state = State::Unreadable;
};

/// Throws Failure.
ListedLog readLog(const std::string &path) {
    ListedLog log;
    log.path = path;
    Question question{StoreDirectory::openForReading(path), {}, {}, {}, {}, false};
    ReadEnd end;
    log.span = readStable(question, &end, [&](const RingView &view, DamageLog *damage) {
        log.bytes = diskUsageOf(view.look().look()).bytes;
        ItemSpan span;
        for (const FileDigest &digest : digestsOf(view, damage)) {
            span.add({digest.info.itemCount, digest.earliest, digest.latest});
        }
        return span;
    });
    const State whole = isLocked(question.directory.descriptor()) ? State::Recording : State::Ok;
    log.state = end.damage.isEmpty() ? whole : State::Damaged;
    return log;
}

/// Reports a failure, and what it is for the exit code.
class Troubles {
public:
    void add(const Failure &failure) {
        printMessage(failure.what());
        add(failure.exitCode());
    }
    void add(int exitCode) { exitCode_ = std::max(exitCode_, exitCode); }
    int exitCode() const { return exitCode_; }

private:
    int exitCode_ = kExitDone;
};

std::vector<ListedLog> listLogs(const LogsOptions &options, Troubles *troubles) {
    LogTree tree([&](const Failure &failure) { troubles->add(failure); });
    for (const std::string &directory : options.directories) {
        if (!tree.add(directory)) {
            troubles->add(Failure(directory + ": no log here or below", kExitUsage));
        }
    }
    std::vector<ListedLog> logs;
    for (const std::string &path : tree.paths()) {
        ListedLog log;
        log.path = path;
        try {
            log = readLog(path);
        } catch (const Failure &failure) {
            troubles->add(failure);
        }
        troubles->add(log.state == State::Damaged ? kExitDamage : kExitDone);
        logs.push_back(log);
    }
    return logs;
}

std::string tableOf(const std::vector<ListedLog> &logs, bool isUtc, bool isInColor) {
    TimeFormatter time(TimeForm::Plain, isUtc);
    TableRows rows = {{"log", "items", "earliest", "latest", "bytes", "state"}};
    for (const ListedLog &log : logs) {
        const bool isEmpty = log.span.items == 0;
        rows.push_back({escaped(log.path), std::to_string(log.span.items),
                        isEmpty ? "-" : time.format(log.span.earliest),
                        isEmpty ? "-" : time.format(log.span.latest), std::to_string(log.bytes),
                        nameOf(log.state)});
    }
    const std::vector<std::string> lines = tableLines(rows);
    std::string text = lines.front() + "\n";
    for (size_t i = 0; i < logs.size(); ++i) {
        text += (isInColor ? colored(lines[i + 1], colorOf(logs[i].state)) : lines[i + 1]) + "\n";
    }
    return text;
}

std::string csvOf(const std::vector<ListedLog> &logs) {
    std::string text = "log,items,earliest,latest,bytes,state\n";
    for (const ListedLog &log : logs) {
        const bool isEmpty = log.span.items == 0;
        const std::string path = isOutputTerminal() ? escaped(log.path) : log.path;
        text += csvField(path) + "," + std::to_string(log.span.items) + "," +
                (isEmpty ? "," : std::to_string(log.span.earliest) + "," + std::to_string(log.span.latest)) +
                "," + std::to_string(log.bytes) + "," + nameOf(log.state) + "\n";
    }
    return text;
}

std::string jsonOf(const std::vector<ListedLog> &logs, bool isUtc) {
    TimeFormatter time(TimeForm::Iso, isUtc);
    std::string text;
    for (const ListedLog &log : logs) {
        nlohmann::ordered_json json = {{"log", log.path}, {"items", log.span.items}};
        if (log.span.items > 0) {
            json["earliest"] = time.format(log.span.earliest);
            json["latest"] = time.format(log.span.latest);
        }
        json["bytes"] = log.bytes;
        json["state"] = nameOf(log.state);
        text += onOneLine(json);
    }
    return text;
}

int run(const LogsOptions &options) {
    if (options.isUtc) {
        useUtc();
    }
    Troubles troubles;
    const std::vector<ListedLog> logs = listLogs(options, &troubles);
    if (logs.empty()) {
        return troubles.exitCode();
    }
    Output output(pagerCommand(options.output));
    if (options.output.form == "json") {
        output.write(jsonOf(logs, options.isUtc));
    } else if (options.output.form == "csv") {
        output.write(csvOf(logs));
    } else {
        output.write(tableOf(logs, options.isUtc, isColored(options.output, isOutputTerminal())));
    }
    output.finish();
    return troubles.exitCode();
}

}  // namespace

void addLogsCommand(CLI::App *app, int *exitCode) {
    CLI::App *const command = addCommand(app, "logs", kHelp);
    const auto options = std::make_shared<LogsOptions>();
    addDirectoriesOption(command, &options->directories);
    addFormOption(command, &options->output, {"text", "json", "csv"});
    command->add_flag("--utc", options->isUtc, "Print times in UTC");
    addTerminalOptions(command, &options->output);
    command->callback([options, exitCode] { *exitCode = run(*options); });
}

}  // namespace tool
