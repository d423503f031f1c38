// SPDX-License-Identifier: Apache-2.0
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <CLI/App.hpp>
#include <CLI/Error.hpp>
#include <CLI/Option.hpp>
#include <algorithm>
#include <filesystem>
#include <iostream>
#include <memory>
#include <set>
#include <utility>

#include "commands/commands.h"
#include "commands/cursor_options.h"
#include "export/export_form.h"
#include "export/export_sink.h"
#include "export/form_sink.h"
#include "export/shipping.h"
#include "log/ring_view.h"
#include "merge/log_names.h"
#include "options/filter_options.h"
#include "options/log_options.h"
#include "options/read_end.h"
#include "output/output.h"
#include "output/syslog_format.h"
#include "query/item_scanner.h"
#include "system/failure.h"
#include "system/file_mark.h"
#include "system/replaced_file.h"
#include "system/stop_signals.h"
#include "terminal/counted.h"
#include "terminal/escape.h"
#include "terminal/progress_bar.h"
#include "usage/help.h"
#include "usage/option_kinds.h"

namespace tool {
namespace {

constexpr HelpText kHelp = {
    "Export items as JSON Lines, CSV, syslog or an SQLite database",
    "jorn export [OPTION]... DIR...\n"
    "jorn export --cursor-file FILE --status [DIR]...\n",
    "  jorn export DIR > items.jsonl                    all items, as JSON Lines\n"
    "  jorn export --to all.db unit1/door unit2/gate    tables of a database\n"
    "  jorn export -o syslog DIR | nc -q 0 collector 514\n"
    "  jorn export --cursor-file c --exec load DIR      new items, in batches\n",
    "Without -o, FORM follows from FILE's suffix: .jsonl, .ndjson, .json; .csv; .syslog, .log; "
    ".sqlite, .sqlite3, .db; without --to it is jsonl. FILE appears when it is complete; an export "
    "that fails or is interrupted leaves what was there.\n"
    "With --cursor-file, items also have the members epoch and seq. Together with device and log they "
    "are the key of an item, which stays the same when the item is sent again. A batch is done when "
    "the FILE of --to, which must not exist yet, is complete, or when COMMAND exits with 0; otherwise "
    "it is sent again.\n",
    "  0  done\n"
    "  1  no item matches, with -g; never with --cursor-file\n"
    "  2  usage error, or no log in DIR\n"
    "  3  done, but damage was found: see jorn check\n"
    "  4  input or output failed, or COMMAND failed\n",
    kFilterNotes};

struct ExportOptions {
    FilterOptions filter;
    std::string form;
    std::string file;
    bool mayReplace = false;
    std::string table;
    std::string facility = "local0";
    std::string severities = "3,4,6,7";
    std::string hostName;
    std::string device;
    bool isDeviceByParent = false;
    std::string log;
    ShippingOptions shipping;
    bool isProgressOff = false;
    bool isQuiet = false;

    bool hasCursors() const { return !shipping.cursorFile.empty(); }
    /// Whether items show where they come from.
    bool isOriginTold() const { return hasCursors() || !device.empty() || isDeviceByParent || !log.empty(); }
    bool hasFile() const { return !file.empty() && file != "-"; }
};

void addSyslogOptions(CLI::App *command, ExportOptions *options) {
    command->add_option("--facility", options->facility, "syslog: facility name or number (default: local0)")
        ->type_name("NAME");
    command
        ->add_option("--severities", options->severities,
                     "syslog: severities of levels 0 to 3 (default: 3,4,6,7)")
        ->type_name("A,B,C,D");
    command->add_option("--hostname", options->hostName, "syslog: host name (default: the device, else -)")
        ->type_name("NAME");
}

void addOriginOptions(CLI::App *command, ExportOptions *options) {
    beginGroup(command, "Where items come from");
    CLI::Option *const device =
        command->add_option("--device", options->device, "Device that the logs come from")->type_name("NAME");
    command
        ->add_flag("--device-by-parent", options->isDeviceByParent,
                   "Name the device after the directory above DIR")
        ->excludes(device);
    command->add_option("--log", options->log, "Name of the log (default: that of DIR)")->type_name("NAME");
}

void addOptions(CLI::App *command, ExportOptions *options) {
    addDirectoriesOption(command, &options->filter.directories)->required(false);
    addQuestionOptions(command, &options->filter);
    beginGroup(command, kFormGroup);
    addChoiceOption(command, "-o,--output", &options->form, exportFormNames(), "")->type_name("FORM");
    addNotationOptions(command, &options->filter);
    command->add_option("--to", options->file, "Write to FILE instead of standard output")->type_name("FILE");
    command->add_flag("--force", options->mayReplace, "Replace FILE if it exists");
    command->add_option("--table", options->table, "sqlite: name of the table, for one DIR only")
        ->type_name("NAME");
    addSyslogOptions(command, options);
    addOriginOptions(command, options);
    addCursorOptions(command, &options->shipping);
    beginGroup(command, kOtherGroup);
    command->add_flag("--no-progress", options->isProgressOff, "Do not show progress on the terminal");
    command->add_flag("-q,--quiet", options->isQuiet, "Show neither progress nor the number of items");
}

ExportForm chosenForm(const ExportOptions &options) {
    if (!options.form.empty()) {
        return *exportFormOf(options.form);
    }
    if (!options.hasFile()) {
        return ExportForm::JsonLines;
    }
    const std::optional<ExportForm> form = exportFormOfFile(options.file);
    if (!form) {
        refuse(options.file + ": its extension does not show the form; give it with -o");
    }
    return *form;
}

SyslogStyle syslogStyle(const ExportOptions &options) {
    SyslogStyle style;
    const std::optional<int> facility = facilityNumber(options.facility);
    if (!facility) {
        refuse("--facility: '" + options.facility +
               "' is neither a number from 0 to 23 nor the name of a facility");
    }
    const std::optional<Severities> severities = parseSeverities(options.severities);
    if (!severities) {
        refuse("--severities: '" + options.severities +
               "' is not four numbers from 0 to 7 separated by commas");
    }
    if (!options.hostName.empty() && !isHostName(options.hostName)) {
        refuse("--hostname: '" + options.hostName + "' is not 1 to 255 printable ASCII characters");
    }
    style.facility = *facility;
    style.severities = *severities;
    style.hostName = options.hostName;
    style.isUtc = options.filter.isUtc;
    return style;
}

/// Checks a name that items will show, if one is given.
void checkName(const char *option, const std::string &name) {
    constexpr size_t kMost = 255;
    if (escaped(name) != name || name.size() > kMost) {
        refuse(std::string(option) + ": the name is not 1 to 255 bytes of UTF-8 without control characters");
    }
}

/// Checks that depend on more than one option.
void checkTogether(const ExportOptions &options, ExportForm form) {
    if (options.filter.directories.empty() && !options.shipping.isStatus) {
        throw CLI::RequiredError("DIR");
    }
    if (options.hasCursors()) {
        checkCursorOptions(options.shipping, {options.form, form, options.hasFile(), options.mayReplace});
    }
    if (form == ExportForm::Sqlite && !options.hasFile() && !options.shipping.isDry) {
        refuse("a database cannot go to standard output; name a file with --to");
    }
    if (!options.table.empty() && (form != ExportForm::Sqlite || options.filter.directories.size() > 1)) {
        refuse("--table is for a database of one DIR");
    }
    if (!options.log.empty() && options.filter.directories.size() > 1) {
        refuse("--log is for one DIR; several logs have the names of their directories");
    }
    if (!isUtf8(options.table)) {
        refuse("--table: the name is not UTF-8");
    }
    checkName("--device", options.device);
    checkName("--log", options.log);
}

/// A log to be exported.
struct Source {
    Question question;
    std::string name;
    ItemOrigin origin;  ///< What items show of it.
};

/// Whether items need their log's name to distinguish several logs. Tables and syslog messages have it
/// anyway.
bool isLogColumnNeeded(const ExportOptions &options) {
    const ExportForm form = chosenForm(options);
    return options.filter.directories.size() > 1 &&
           (form == ExportForm::JsonLines || form == ExportForm::Csv);
}

/// The origin that each item of a log shows. A log whose device is known is called by its own name only,
/// whatever other logs there are.
ItemOrigin originOf(const ExportOptions &options, const std::string &directory, const std::string &name) {
    ItemOrigin origin;
    origin.device = options.isDeviceByParent ? parentNameOf(directory) : options.device;
    origin.log = options.log;
    if (options.log.empty() && options.isOriginTold()) {
        origin.log = logNameOf(directory);
    } else if (options.log.empty() && isLogColumnNeeded(options)) {
        origin.log = name;
    }
    return origin;
}

/// The items of two logs with the same name could not be distinguished.
void refuseSameName(const ExportOptions &options, const std::vector<Source> &sources, const Source &next) {
    for (const Source &other : sources) {
        if (options.isOriginTold() && other.origin.device == next.origin.device &&
            other.origin.log == next.origin.log) {
            refuse(other.question.directory.path() + " and " + next.question.directory.path() +
                   " have the same name, " + next.origin.log + "; export them one by one with --log");
        }
    }
}

FileMark markAt(const std::string &path) {
    struct stat status = {};
    stat(path.c_str(), &status);
    return markOf(status);
}

bool isSameDirectory(const FileMark &mark, const StoreDirectory &directory) {
    return isSameFile(mark, markAt(directory.shortName()));
}

/// Everything that can be wrong with the question is reported before anything is written.
std::vector<Source> openSources(const ExportOptions &options) {
    refuseSameDirectory(options.filter.directories);
    const time_t now = time(nullptr);
    const std::vector<std::string> names = distinctLogNames(options.filter.directories);
    std::vector<Source> sources;
    for (size_t i = 0; i < options.filter.directories.size(); ++i) {
        const std::string &directory = options.filter.directories[i];
        Question question = openLogQuestion(options.filter, directory, now);
        ItemOrigin origin = originOf(options, directory, names[i]);
        Source source{std::move(question), origin.log.empty() ? names[i] : origin.log, std::move(origin)};
        refuseSameName(options, sources, source);
        sources.push_back(std::move(source));
    }
    return sources;
}

/// Not even the export's own file may change a log's directory.
void refuseFileInLog(const std::string &file, const std::vector<Source> &sources) {
    namespace fs = std::filesystem;
    // weakly_canonical() leaves a relative path relative where no part of it exists.
    const fs::path parent = fs::weakly_canonical(fs::absolute(file)).parent_path();
    const FileMark mark = markAt(parent.string());
    for (const Source &source : sources) {
        if (isSameDirectory(mark, source.question.directory)) {
            refuse(file + ": is inside the log's own directory; write it elsewhere");
        }
    }
}

/// How the items of all logs are written.
FormTerms formTermsOf(const ExportOptions &options, ExportForm form) {
    FormTerms terms;
    terms.form = form;
    terms.isUtc = options.filter.isUtc;
    terms.syslog = syslogStyle(options);
    terms.table = options.table;
    return terms;
}

std::unique_ptr<ExportSink> makeSink(const FormTerms &terms, const ReplacedFile *file) {
    if (terms.form == ExportForm::Sqlite) {
        return makeSqliteSink(file->temporaryPath(), file->path(), terms.table);
    }
    return file != nullptr ? makeLineSink(terms, file->descriptor(), file->path())
                           : makeLineSink(terms, STDOUT_FILENO, "standard output");
}

/// The outcome of an export.
struct Exported {
    uint64_t items = 0;
    bool isWanted = true;  ///< False once the reader has closed the output.
    std::vector<ReadEnd> ends;
};

void throwIfStopped(const StopSignals &signals, const std::string &file) {
    if (signals.hasCome()) {
        throw Failure(file + ": interrupted; nothing was written");
    }
}

class Exporter {
public:
    /// `file` and `signals` are null for standard output, where a signal ends the process as usual.
    Exporter(const ExportOptions &options, const ReplacedFile *file, const StopSignals *signals,
             ExportSink *sink)
        : file_(file),
          sink_(sink),
          signals_(signals),
          bar_(!options.isProgressOff && !options.isQuiet && (file != nullptr || !isOutputTerminal())) {}

    void exportLog(const Source &source) {
        RingView view(source.question.directory, source.question.ringSize);
        view.settleEnd();
        ReadEnd end;
        end.takeFrom(view);
        uint64_t total = 0;
        for (const RingFile &file : view.files()) {
            total += file.size;
        }
        bar_.start(source.name, total);
        sink_->beginLog({source.name, &source.question.shownNames(), source.origin});
        scan(view, source.question.filter, &end);
        exported_.ends.push_back(std::move(end));
    }

    const Exported &finish() {
        sink_->finish();
        if (signals_ != nullptr) {
            throwIfStopped(*signals_, file_->path());
        }
        bar_.clear();
        return exported_;
    }

    bool isWanted() const { return exported_.isWanted; }

private:
    void scan(const RingView &view, const ItemFilter &filter, ReadEnd *end) {
        ItemScanner scanner(view, filter, Order::OldestFirst, &end->damage);
        scanner.setWatch([this](uint64_t bytes) {
            bar_.show(bytes);
            if (signals_ != nullptr) {
                throwIfStopped(*signals_, file_->path());
            }
        });
        for (const Item *item = scanner.next(); item != nullptr && exported_.isWanted;
             item = scanner.next()) {
            exported_.isWanted = sink_->take(*item);
            ++exported_.items;
        }
    }

    const ReplacedFile *file_;
    ExportSink *sink_;
    const StopSignals *signals_;
    ProgressBar bar_;
    Exported exported_;
};

int endExport(const ExportOptions &options, const std::vector<Source> &sources, const Exported &exported) {
    int exitCode = kExitDone;
    for (size_t i = 0; i < exported.ends.size(); ++i) {
        const bool hasMatch = exported.items > 0;
        exitCode =
            std::max(exitCode, endReading(options.filter, sources[i].question, exported.ends[i], hasMatch));
    }
    if (options.hasFile() && !options.isQuiet) {
        std::cerr << counted(exported.items, "item", "items") << '\n';
    }
    return exitCode;
}

/// The logs by the names that their items bear.
std::vector<ShippedLog> shippedLogs(const ExportOptions &options) {
    std::vector<ShippedLog> logs;
    std::set<std::pair<std::string, std::string>> names;
    for (const std::string &directory : options.filter.directories) {
        const ItemOrigin origin = originOf(options, directory, "");
        if (!names.emplace(origin.device, origin.log).second) {
            refuse(directory + ": another log has the same name, " + origin.log +
                   "; export them one by one with --log, or name devices by --device-by-parent");
        }
        const std::string place = std::filesystem::absolute(directory).string();
        logs.push_back({directory, place, origin.device, origin.log});
    }
    return logs;
}

/// Not even the cursors may change a log's directory.
void refuseFileIn(const std::string &directory, const std::string &file) {
    namespace fs = std::filesystem;
    const fs::path parent = fs::weakly_canonical(fs::absolute(file)).parent_path();
    struct stat status = {};
    if (stat(directory.c_str(), &status) == 0 && isSameFile(markAt(parent.string()), markOf(status))) {
        refuse(file + ": is inside the log's own directory; write it elsewhere");
    }
}

int ship(const ExportOptions &options, ExportForm form) {
    ShippingOptions shipping = options.shipping;
    shipping.file = options.hasFile() ? options.file : "";
    shipping.isJson = options.form == "json";
    shipping.isUtc = options.filter.isUtc;
    shipping.isQuiet = options.isQuiet;
    ShipperTerms terms;
    terms.logs = shippedLogs(options);
    for (const std::string &directory : options.filter.directories) {
        refuseFileIn(directory, shipping.cursorFile);
        if (options.hasFile()) {
            refuseFileIn(directory, options.file);
        }
    }
    terms.open = [&options](const std::string &directory) {
        return openQuestion(options.filter, directory, time(nullptr));
    };
    terms.report = [](const std::string &text) { printMessage("note: " + text); };
    FormTerms formTerms = formTermsOf(options, form);
    // Every item of a log with a cursor bears a number.
    const std::string device = terms.logs.empty() ? "" : terms.logs.front().device;
    formTerms.columns = {device, "log", 1};
    return runShipping(shipping, std::move(terms), formTerms);
}

int run(const ExportOptions &options) {
    const ExportForm form = chosenForm(options);
    checkTogether(options, form);
    syslogStyle(options);
    if (options.hasCursors()) {
        return ship(options, form);
    }
    const std::vector<Source> sources = openSources(options);
    std::unique_ptr<StopSignals> signals;
    std::unique_ptr<ReplacedFile> file;
    if (options.hasFile()) {
        refuseFileInLog(options.file, sources);
        signals = std::make_unique<StopSignals>();
        // A database is opened by its path.
        const auto naming =
            form == ExportForm::Sqlite ? TemporaryFile::Naming::AtOnce : TemporaryFile::Naming::WhenNeeded;
        const auto existing =
            options.mayReplace ? ReplacedFile::Existing::Replaced : ReplacedFile::Existing::Kept;
        file = std::make_unique<ReplacedFile>(options.file, existing, naming);
    }
    FormTerms terms = formTermsOf(options, form);
    terms.columns = sources.front().origin;
    const std::unique_ptr<ExportSink> sink = makeSink(terms, file.get());
    Exporter exporter(options, file.get(), signals.get(), sink.get());
    for (auto source = sources.begin(); source != sources.end() && exporter.isWanted(); ++source) {
        exporter.exportLog(*source);
    }
    const Exported &exported = exporter.finish();
    if (file != nullptr) {
        // The content is on the medium, and the items are still in the log: the name may be lost.
        [[maybe_unused]] const bool isNameSynced = file->commit();
    }
    return endExport(options, sources, exported);
}

}  // namespace

void addExportCommand(CLI::App *app, int *exitCode) {
    CLI::App *const command = addCommand(app, "export", kHelp);
    const auto options = std::make_shared<ExportOptions>();
    addOptions(command, options.get());
    command->callback([options, exitCode] { *exitCode = run(*options); });
}

}  // namespace tool
