// SPDX-License-Identifier: Apache-2.0
// From the bytes of an input to the items of a recording, and on to the outputs that the input is passed on
// to.
#ifndef JORN_TOOLS_INTAKE_H
#define JORN_TOOLS_INTAKE_H

#include <stdint.h>

#include <memory>
#include <string>

#include "import/input_stream.h"
#include "import/item_source.h"
#include "import/json_items.h"
#include "import/line_head.h"
#include "import/tee.h"
#include "record/recorder.h"
#include "record/recording.h"

namespace tool {

/// How the items of an input are read.
JsonItems::Settings jsonSettingsOf(const RecordOptions &options);

class Intake {
public:
    /// `output` is the user's standard output. Throws Failure, as a usage error, for a form of times that is
    /// none.
    Intake(const RecordOptions &options, int output);

    /// Where the items go; has to be called first.
    void setRecording(Recording *recording) { recording_ = recording; }

    /// Passes bytes on, and records them, as Recording::take() does.
    void take(InputStream::Channel channel, std::string_view block);

    /// Passes bytes on alone.
    void passOn(InputStream::Channel channel, std::string_view block);

    /// There will be no more: ends the last lines.
    void finish();

    uint64_t bytes() const { return bytes_; }
    uint64_t lines() const { return output_.source->lines() + error_.source->lines(); }
    uint64_t cutLines() const { return output_.source->cutLines() + error_.source->cutLines(); }

    /// What of the input was no item, in a sentence; empty when all was.
    std::string badLines() const;

    /// What could not be passed on, with the reason; empty when all could, or nobody read it.
    std::string teeProblem() const;

private:
    struct Lane {
        std::unique_ptr<LineHeadReader> heads;
        std::unique_ptr<ItemSource> source;
        Tee tee;
    };

    Lane makeLane(const RecordOptions &options, int level, int teeOutput, const char *name);

    Recording *recording_ = nullptr;
    const JsonItems *json_ = nullptr;  ///< The source of the output, where it is that.
    Lane output_;
    Lane error_;
    uint64_t bytes_ = 0;
};

}  // namespace tool

#endif
