// SPDX-License-Identifier: Apache-2.0
#include "options/filter_options.h"

#include <time.h>

#include <CLI/Option.hpp>

#include "options/log_options.h"
#include "query/near_logs.h"
#include "system/failure.h"
#include "terminal/time_text.h"
#include "usage/help.h"

namespace tool {

namespace {

void addPatternOptions(CLI::App *command, FilterOptions *options) {
    CLI::Option *const pattern = command
                                     ->add_option("-g,--grep", options->patterns,
                                                  "Text matches; with several, any of them (repeatable)")
                                     ->type_name("REGEX")
                                     ->allow_extra_args(false);
    command->add_flag("-i,--ignore-case", options->isCaseIgnored, "With -g: ignore case")->needs(pattern);
    command->add_flag("-v,--invert-match", options->isInverted, "With -g: text does not match")
        ->needs(pattern);
}

void addSelection(CLI::App *command, FilterOptions *options) {
    command->add_option("-S,--since", options->since, "From this time on")->type_name("TIME");
    command->add_option("-U,--until", options->until, "Up to this time; for a day, up to its end")
        ->type_name("TIME");
    CLI::Option *const priority =
        command->add_option("-p", options->priority, "This level and more severe ones, or a range A..B")
            ->type_name("LEVEL");
    command->add_option("--level", options->levels, "Only this level, or several: A,B (repeatable)")
        ->type_name("LEVEL")
        ->allow_extra_args(false)
        ->excludes(priority);
    command->add_option("-s,--slot", options->slots, "Only this slot, or several: A,B (repeatable)")
        ->type_name("SLOT")
        ->allow_extra_args(false);
    addPatternOptions(command, options);
}

/// The values, which were given one by one or several separated by commas. None is empty.
std::vector<std::string> partsOf(const std::vector<std::string> &lists) {
    std::vector<std::string> parts;
    for (const std::string &list : lists) {
        for (size_t begin = 0; begin <= list.size();) {
            const size_t end = std::min(list.find(',', begin), list.size());
            parts.push_back(list.substr(begin, end - begin));
            begin = end + 1;
        }
    }
    return parts;
}

/// Reads the levels and slots that the options choose, by number or by the names of a log.
class Selection {
public:
    Selection(const Names &names, UnknownNames *unknown) : names_(names), unknown_(unknown) {}

    LevelSet levels(const FilterOptions &options) const {
        if (!options.priority.empty()) {
            return priority(options.priority);
        }
        if (options.levels.empty()) {
            return LevelSet::all();
        }
        LevelSet set = LevelSet::none();
        for (const std::string &text : partsOf(options.levels)) {
            if (const auto number = level(text)) {
                set.add(*number);
            }
        }
        return set;
    }

    SlotSet slots(const FilterOptions &options) const {
        SlotSet set = options.slots.empty() ? SlotSet() : SlotSet::none();
        for (const std::string &text : partsOf(options.slots)) {
            if (const auto number = numberOf(text, names_.slots, jorn::kSlotMax, "slot")) {
                set.add(*number);
            }
        }
        return set;
    }

private:
    LevelSet priority(const std::string &text) const {
        const size_t dots = text.find("..");
        if (dots == std::string::npos) {
            const auto highest = level(text);
            return highest ? LevelSet::upTo(*highest) : LevelSet::none();
        }
        const auto first = level(text.substr(0, dots));
        const auto last = level(text.substr(dots + 2));
        return first && last ? LevelSet::range(std::min(*first, *last), std::max(*first, *last))
                             : LevelSet::none();
    }

    std::optional<int32_t> level(const std::string &text) const {
        return numberOf(text, names_.levels, jorn::kLevelMax, "level");
    }

    std::optional<int32_t> numberOf(const std::string &text, const NameTable &names, int32_t limit,
                                    const char *what) const {
        try {
            return namedNumber(text, names, limit, what);
        } catch (const Failure &failure) {
            if (unknown_ == nullptr) {
                throw;
            }
            unknown_->insert(failure.what());
            return std::nullopt;
        }
    }

    const Names &names_;
    UnknownNames *unknown_;
};

std::shared_ptr<const RE2> parsePattern(const FilterOptions &options) {
    RE2::Options settings(RE2::Quiet);
    settings.set_case_sensitive(!options.isCaseIgnored);
    for (const std::string &each : options.patterns) {
        const RE2 pattern(each, settings);
        if (!pattern.ok()) {
            refuse("--grep: '" + each + "' is not a regular expression: " + pattern.error());
        }
    }
    return options.patterns.empty() ? nullptr
                                    : std::make_shared<const RE2>(anyOf(options.patterns), settings);
}

uint32_t parseLimit(const std::string &name, const std::string &text, time_t now, Bound bound) {
    const std::optional<uint32_t> time = parseTime(text, now, bound);
    if (!time) {
        refuse(name + ": '" + text + "' is not a time from 1970 to 2106: " + kTimeForms);
    }
    return *time;
}

ItemFilter parseFilter(const FilterOptions &options, const Names &names, time_t now, UnknownNames *unknown) {
    ItemFilter filter;
    if (!options.since.empty()) {
        filter.since = parseLimit("--since", options.since, now, Bound::Since);
    }
    if (!options.until.empty()) {
        filter.until = parseLimit("--until", options.until, now, Bound::Until);
    }
    if (filter.since > filter.until) {
        TimeFormatter formatter(TimeForm::Plain, options.isUtc);
        const std::string since = formatter.format(filter.since);
        refuse("--since is later than --until: " + since + " and " + formatter.format(filter.until));
    }
    const Selection selection(names, unknown);
    filter.levels = selection.levels(options);
    filter.slots = selection.slots(options);
    filter.pattern = parsePattern(options);
    filter.isInverted = options.isInverted;
    return filter;
}

/// A bad file that the user named is an error; one found in the directory must not keep anyone from reading
/// the log, and only causes a note.
Names findNames(const FilterOptions &options, const StoreDirectory &directory,
                std::vector<std::string> *notes) {
    if (!options.namesFile.empty()) {
        return readNames(options.namesFile);
    }
    try {
        return namesBeside(directory).value_or(Names{});
    } catch (const Failure &failure) {
        notes->push_back(std::string(failure.what()) + "; no names are used");
        return {};
    }
}

}  // namespace

void addFilterOptions(CLI::App *command, FilterOptions *options) {
    addDirectoriesOption(command, &options->directories);
    addQuestionOptions(command, options);
    command->add_flag("-q,--quiet", options->isQuiet,
                      "Print nothing; exit with 0 if an item matches, else 1");
}

void addQuestionOptions(CLI::App *command, FilterOptions *options) {
    beginGroup(command, kItemsGroup);
    addSelection(command, options);
    beginGroup(command, kOtherGroup);
    command->add_option("--names", options->namesFile, "Names of levels and slots (default: DIR/jorn.names)")
        ->type_name("FILE");
    addFilesOption(command, &options->files, "Files in the ring, 2 to 90, if DIR does not show it");
}

void addNotationOptions(CLI::App *command, FilterOptions *options) {
    beginGroup(command, kFormGroup);
    command->add_flag("--utc", options->isUtc, "Read and print times in UTC");
    command->add_flag("--numbers", options->isNumbers, "Print levels and slots as numbers, not names");
}

Question openQuestion(const FilterOptions &options, const std::string &directory, time_t now,
                      UnknownNames *unknown) {
    if (options.isUtc) {
        useUtc();
    }
    Question question{StoreDirectory::openForReading(directory), options.files, {}, {}, {}, false};
    question.names = findNames(options, question.directory, &question.notes);
    question.filter = parseFilter(options, question.names, now, unknown);
    question.isNumbers = options.isNumbers;
    return question;
}

Question openLogQuestion(const FilterOptions &options, const std::string &directory, time_t now,
                         UnknownNames *unknown) {
    Question question = openQuestion(options, directory, now, unknown);
    requireLog(question.directory);
    return question;
}

uint32_t checkFilter(const FilterOptions &options, time_t now, UnknownNames *unknown) {
    if (options.isUtc) {
        useUtc();
    }
    const Names names = options.namesFile.empty() ? Names{} : readNames(options.namesFile);
    return parseFilter(options, names, now, unknown).until;
}

}  // namespace tool
