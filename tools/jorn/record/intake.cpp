// SPDX-License-Identifier: Apache-2.0
#include "record/intake.h"

#include <unistd.h>

#include <chrono>
#include <utility>

#include "import/item_splitter.h"
#include "import/stamp_forms.h"
#include "terminal/counted.h"

namespace tool {
namespace {

constexpr int kNone = -1;

LongText longTextOf(const RecordOptions &options) {
    return options.maySplit ? LongText::Split : LongText::Cut;
}

std::unique_ptr<LineHeadReader> makeHeadReader(const RecordOptions &options) {
    std::unique_ptr<LineHeadReader> reader;
    if (!options.times.empty()) {
        StampOptions stamps;
        stamps.form = options.times;
        stamps.now = [] { return std::chrono::system_clock::to_time_t(std::chrono::system_clock::now()); };
        constexpr int64_t kMicroseconds = 1000000;
        stamps.bootMicroseconds = options.bootTime ? *options.bootTime * kMicroseconds : bootMicroseconds();
        reader = makeStampReader(stamps);
    }
    return options.hasPrefixes ? makePrefixReader(std::move(reader)) : std::move(reader);
}

}  // namespace

JsonItems::Settings jsonSettingsOf(const RecordOptions &options) {
    return {longTextOf(options), options.slots, &options.names};
}

Intake::Intake(const RecordOptions &options, int output)
    : output_(makeLane(options, options.level, options.tees ? output : kNone, "standard output")),
      error_(makeLane(options, options.errorLevel, options.tees ? STDERR_FILENO : kNone, "standard error")) {}

Intake::Lane Intake::makeLane(const RecordOptions &options, int level, int teeOutput, const char *name) {
    Lane lane{makeHeadReader(options), nullptr, Tee(teeOutput, name)};
    const ItemSink sink = [this, level](const InputItem &item) { recording_->take(item, level); };
    if (options.isJson()) {
        auto json = std::make_unique<JsonItems>(jsonSettingsOf(options), sink);
        // The first one made is for the output.
        json_ = json_ == nullptr ? json.get() : json_;
        lane.source = std::move(json);
    } else {
        lane.source = std::make_unique<ItemSplitter>(longTextOf(options), lane.heads.get(), sink);
    }
    return lane;
}

void Intake::take(InputStream::Channel channel, std::string_view block) {
    passOn(channel, block);
    bytes_ += block.size();
    (channel == InputStream::Channel::Output ? output_ : error_).source->feed(block);
}

void Intake::passOn(InputStream::Channel channel, std::string_view block) {
    (channel == InputStream::Channel::Output ? output_ : error_).tee.pass(block);
}

void Intake::finish() {
    output_.source->finish();
    error_.source->finish();
}

std::string Intake::badLines() const {
    if (json_ == nullptr || json_->badLines() == 0) {
        return "";
    }
    return "standard input: " + json_->firstBadLine() + "; " + counted(json_->badLines(), "line", "lines") +
           " left out";
}

std::string Intake::teeProblem() const {
    return output_.tee.problem().empty() ? error_.tee.problem() : output_.tee.problem();
}

}  // namespace tool
