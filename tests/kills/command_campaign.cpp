// SPDX-License-Identifier: Apache-2.0
#include "kills/command_campaign.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <map>
#include <unordered_set>

#include "kills/kill_point.h"
#include "kills/ring_files.h"
#include "kills/ring_states.h"
#include "kills/scratch_directory.h"

namespace test {
namespace {

namespace fs = std::filesystem;

/// Every file below a directory, by its relative path.
using Tree = std::map<std::string, std::string>;

Tree treeOf(const std::string &root) {
    Tree tree;
    for (const fs::directory_entry &entry : fs::recursive_directory_iterator(root)) {
        if (entry.is_regular_file()) {
            std::ifstream file(entry.path(), std::ios::binary);
            tree[entry.path().lexically_relative(root).string()] = {std::istreambuf_iterator<char>(file), {}};
        }
    }
    return tree;
}

bool endsWith(const std::string &text, const std::string &end) {
    return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

/// Whether no command leaves this name permanently.
bool isTemporary(const std::string &path) {
    return path.find(".jorn-") != std::string::npos || endsWith(path, ".new");
}

std::vector<std::string> itemLinesOf(const std::string &content) {
    std::vector<std::string> lines;
    for (size_t start = 0, end = 0; (end = content.find('\n', start)) != std::string::npos; start = end + 1) {
        lines.push_back(content.substr(start, end - start));
    }
    return lines;
}

/// Lines of data files anywhere in the tree.
std::unordered_set<std::string> storedLines(const Tree &tree) {
    std::unordered_set<std::string> all;
    for (const auto &[path, content] : tree) {
        if (endsWith(path, ".csv")) {
            for (std::string &line : itemLinesOf(content)) {
                all.insert(std::move(line));
            }
        }
    }
    return all;
}

struct Situation {
    std::string root;
    Tree before;  ///< Of an undisturbed run, as is the next.
    Tree done;
    Tree killed;

    std::string path(const std::string &name) const { return root + "/" + name; }
};

using Complaint = std::string;  ///< Empty if there is nothing to complain about.

struct Command {
    const char *name;
    std::vector<std::string> words;  ///< Paths below the root begin with "@".
    std::function<void(const std::string &root)> prepare;
    std::function<Complaint(const Situation &)> judge;   ///< Right after the kill.
    std::function<Complaint(const Situation &)> finish;  ///< What the next commands make of it.
    const char *given;                                   ///< The data file whose items it may remove.
};

std::vector<std::string> wordsBelow(const std::string &root, std::vector<std::string> words) {
    for (std::string &word : words) {
        if (word.front() == '@') {
            word.replace(0, 1, root + "/");
        }
    }
    return words;
}

TraceOutcome jorn(const Situation &now, const std::vector<std::string> &words,
                  const std::string &input = "") {
    return runKilled(wordsBelow(now.root, words), input, now.root, std::nullopt).outcome;
}

Complaint complain(const char *what, const TraceOutcome &outcome) {
    return std::string(what) + " ends with exit code " + std::to_string(outcome.status) + ": " + outcome.out +
           outcome.err;
}

constexpr int kFirstNewItem = 90001;
constexpr int kNewItems = 10;

/// Starts the recorder as a service manager does, after the command was killed.
TraceOutcome restartRecorder(const Situation &now) {
    return jorn(now, {"record", "--files", "4", "--if-unclear", "aside", "@log"},
                itemInput(kFirstNewItem, kNewItems));
}

/// Checks that the recorder continues with all that is there and that the log is sound.
Complaint recorderGoesOn(const Situation &now) {
    std::vector<std::string> texts = {kStartText};
    for (int number = 0; number < kNewItems; ++number) {
        texts.push_back(itemText(kFirstNewItem + number));
    }
    const RingFiles before = RingFiles::read(now.path("log"));
    const TraceOutcome restart = restartRecorder(now);
    if (restart.status != 0) {
        return complain("record", restart);
    }
    const Verdict verdict = judgeRun(before, texts, RingFiles::read(now.path("log")), false);
    if (verdict.fault != Fault::None) {
        return std::string("after record: ") + nameOf(verdict.fault) + ": " + verdict.detail;
    }
    const TraceOutcome check = jorn(now, {"check", "--files", "4", "@log"});
    return check.status == 0 ? "" : complain("check", check);
}

/// Whether the tree after the kill has the content of one of the other two at a path.
bool isOneOf(const Situation &now, const std::string &path) {
    const auto contentIn = [&path](const Tree &tree) {
        const auto found = tree.find(path);
        return found == tree.end() ? "missing" : found->second;
    };
    const std::string content = contentIn(now.killed);
    return content == contentIn(now.before) || content == contentIn(now.done);
}

/// "time,3,0,Log all cleared!", whatever its time.
bool isClearedFile(const std::string &content) {
    return itemLinesOf(content).size() == 1 && endsWith(content, ",3,0,Log all cleared!\n");
}

Complaint judgeClearing(const Situation &now) {
    for (const char *const path : {"log/0.csv", "log/1.csv", "log/3.csv", "log/index.csv"}) {
        if (!isOneOf(now, path)) {
            return std::string(path) + " is neither as before nor as after";
        }
    }
    const auto target = now.killed.find("log/2.csv");
    const bool isWhole = target != now.killed.end() &&
                         (target->second == now.before.at("log/2.csv") || isClearedFile(target->second));
    return isWhole ? "" : "log/2.csv is neither as before nor as after";
}

Complaint finishClearing(const Situation &now) {
    const TraceOutcome again = jorn(now, {"clear", "--yes", "--files", "4", "@log"});
    if (again.status != 0) {
        return complain("clear again", again);
    }
    const TraceOutcome restart = restartRecorder(now);
    if (restart.status != 0) {
        return complain("record", restart);
    }
    const TraceOutcome check = jorn(now, {"check", "--files", "4", "@log"});
    if (check.status != 0) {
        return complain("check", check);
    }
    const TraceOutcome count = jorn(now, {"count", "-o", "csv", "@log"});
    const std::string wanted = "total,," + std::to_string(kNewItems + 2);
    return count.out.find(wanted) == std::string::npos ? complain("count", count) : "";
}

Complaint judgeExport(const Situation &now, const std::string &file) {
    for (const auto &[path, content] : now.before) {
        if (path.rfind("log/", 0) == 0 && now.killed.at(path) != content) {
            return path + " has changed";
        }
    }
    return isOneOf(now, file) ? "" : file + " is neither as before nor whole";
}

Complaint finishExport(const Situation &now, const std::string &file) {
    const TraceOutcome again = jorn(now, {"export", "-q", "--force", "--to", "@" + file, "@log"});
    if (again.status != 0) {
        return complain("export again", again);
    }
    const Tree after = treeOf(now.root);
    const auto found = after.find(file);
    if (found == after.end() || found->second != now.done.at(file)) {
        return "the next export is not whole";
    }
    return recorderGoesOn(now);
}

Complaint judgeRepair(const Situation &now) {
    for (const char *const path : {"log/0.csv", "log/1.csv", "log/2.csv", "log/3.csv", "log/index.csv"}) {
        if (!isOneOf(now, path)) {
            return std::string(path) + " is neither as before nor as after";
        }
    }
    return "";
}

Complaint finishRepair(const Situation &now) {
    const TraceOutcome again = jorn(now, {"repair", "--yes", "--files", "4", "--backup", "@second", "@log"});
    if (again.status != 0) {
        return complain("repair again", again);
    }
    return recorderGoesOn(now);
}

void makeLog(const std::string &root, const RingState &state) {
    state.make(root + "/log");
    fs::create_directory(root + "/out");
}

std::vector<Command> commands() {
    const auto whole = [](const std::string &root) { makeLog(root, smallRing()); };
    const auto withFormerExport = [](const std::string &root) {
        makeLog(root, smallRing());
        std::ofstream(root + "/out/x.csv") << "former";
    };
    const auto exportTo = [](const std::string &file) {
        return [file](const Situation &now) { return judgeExport(now, file); };
    };
    const auto exportAgain = [](const std::string &file) {
        return [file](const Situation &now) { return finishExport(now, file); };
    };
    return {
        {"clear",
         {"clear", "--yes", "--files", "4", "@log"},
         whole,
         judgeClearing,
         finishClearing,
         "log/2.csv"},
        {"export, new file",
         {"export", "-q", "--to", "@out/x.jsonl", "@log"},
         whole,
         exportTo("out/x.jsonl"),
         exportAgain("out/x.jsonl"),
         ""},
        {"export, over a file",
         {"export", "-q", "--force", "--to", "@out/x.csv", "@log"},
         withFormerExport,
         exportTo("out/x.csv"),
         exportAgain("out/x.csv"),
         ""},
        {"export, SQLite",
         {"export", "-q", "--to", "@out/x.db", "@log"},
         whole,
         exportTo("out/x.db"),
         exportAgain("out/x.db"),
         ""},
        {"repair",
         {"repair", "--yes", "--files", "4", "--backup", "@first", "@log"},
         [](const std::string &root) { makeLog(root, ringWithoutIndex()); },
         judgeRepair,
         finishRepair,
         ""},
    };
}

/// All moments of one command.
class CommandRun {
public:
    explicit CommandRun(const Command &command) : command_(command) { row_.command = command.name; }

    CommandRow run(size_t step) {
        reset();
        now_.root = scratch_.path("root");
        now_.before = treeOf(now_.root);
        const RunShape shape = shapeOf(wordsBelow(now_.root, command_.words), "", now_.root);
        if (shape.outcome.status != 0) {
            row_.faults.push_back(complain("undisturbed", shape.outcome));
            return row_;
        }
        now_.done = treeOf(now_.root);
        const std::vector<KillPoint> points = shape.everyPoint();
        for (size_t at = 0; at < points.size(); at += step) {
            killAt(points[at]);
        }
        return row_;
    }

private:
    void reset() const {
        fs::remove_all(scratch_.path("root"));
        fs::create_directory(scratch_.path("root"));
        command_.prepare(scratch_.path("root"));
    }

    void killAt(const KillPoint &point) {
        reset();
        const KilledRun run = runKilled(wordsBelow(now_.root, command_.words), "", now_.root, point);
        now_.killed = treeOf(now_.root);
        if (run.wasKilled) {
            ++row_.kills;
            row_.untouched += now_.killed == now_.before ? 1 : 0;
            row_.done += isDone() ? 1 : 0;
            row_.leftovers += hasTemporary(now_.killed) ? 1 : 0;
        }
        Complaint complaint = lostItem();
        complaint = complaint.empty() ? command_.judge(now_) : complaint;
        complaint = complaint.empty() ? command_.finish(now_) : complaint;
        if (complaint.empty() && hasTemporary(treeOf(now_.root))) {
            complaint = "a temporary name is left after all";
        }
        if (!complaint.empty()) {
            row_.faults.push_back(std::string(command_.name) + " killed " + run.place + " (" + point.text() +
                                  "): " + complaint);
        }
    }

    /// Compares names and sizes; the times in what was written differ.
    bool isDone() const {
        return now_.killed.size() == now_.done.size() &&
               std::equal(now_.killed.begin(), now_.killed.end(), now_.done.begin(),
                          [](const auto &a, const auto &b) {
                              return a.first == b.first && a.second.size() == b.second.size();
                          });
    }

    static bool hasTemporary(const Tree &tree) {
        return std::any_of(tree.begin(), tree.end(),
                           [](const auto &file) { return isTemporary(file.first); });
    }

    Complaint lostItem() const {
        const std::unordered_set<std::string> present = storedLines(now_.killed);
        for (const auto &[path, content] : now_.before) {
            if (path == command_.given || !endsWith(path, ".csv") || path.rfind("log/", 0) != 0 ||
                path == "log/index.csv") {
                continue;
            }
            for (const std::string &line : itemLinesOf(content)) {
                if (present.count(line) == 0) {
                    return "an item is lost: " + line;
                }
            }
        }
        return "";
    }

    const Command &command_;
    const ScratchDirectory scratch_;
    Situation now_;
    CommandRow row_;
};

}  // namespace

std::vector<CommandRow> runCommandCampaign(size_t step) {
    std::vector<CommandRow> rows;
    for (const Command &command : commands()) {
        rows.push_back(CommandRun(command).run(step));
    }
    return rows;
}

std::string commandTable(const std::vector<CommandRow> &rows) {
    std::string text =
        "| command | kills | nothing changed | all done | temporary name left | faults "
        "|\n|---|---|---|---|---|---|\n";
    for (const CommandRow &row : rows) {
        text += "| " + row.command + " |";
        for (const size_t figure : {row.kills, row.untouched, row.done, row.leftovers, row.faults.size()}) {
            text += " " + std::to_string(figure) + " |";
        }
        text += "\n";
    }
    return text;
}

}  // namespace test
