// SPDX-License-Identifier: Apache-2.0
// Turns the bytes of an input into the items of a recording, and passes the bytes on to the tool's outputs.
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
    /// `output` is the user's standard output. Throws Failure, as a usage error, for an invalid form of
    /// times.
    Intake(const RecordOptions &options, int output);

    /// Sets where the items go; must be called first.
    void setRecording(Recording *recording) { recording_ = recording; }

    /// Passes bytes on, and records them, as Recording::take() does.
    void take(InputStream::Channel channel, std::string_view block);

    /// Only passes bytes on.
    void passOn(InputStream::Channel channel, std::string_view block);

    /// Ends the last lines; no bytes may follow.
    void finish();

    uint64_t bytes() const { return bytes_; }
    uint64_t lines() const { return output_.source->lines() + error_.source->lines(); }
    uint64_t cutLines() const { return output_.source->cutLines() + error_.source->cutLines(); }

    /// Which lines of the input were not items, as a sentence; empty if all were.
    std::string badLines() const;

    /// Which output could not be written, with the reason; empty if none, or if its reader just closed it.
    std::string teeProblem() const;

private:
    struct Lane {
        std::unique_ptr<LineHeadReader> heads;
        std::unique_ptr<ItemSource> source;
        Tee tee;
    };

    Lane makeLane(const RecordOptions &options, int level, int teeOutput, const char *name);

    Recording *recording_ = nullptr;
    const JsonItems *json_ = nullptr;  ///< The source of `output_`, if it reads JSON.
    Lane output_;
    Lane error_;
    uint64_t bytes_ = 0;
};

}  // namespace tool

#endif
