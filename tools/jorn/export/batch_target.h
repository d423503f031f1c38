// SPDX-License-Identifier: Apache-2.0
// Where items go that are sent once: in batches, each of which is done as a whole or not at all.
#ifndef JORN_TOOLS_BATCH_TARGET_H
#define JORN_TOOLS_BATCH_TARGET_H

#include <stdint.h>

#include <functional>
#include <memory>
#include <string>

#include "export/export_sink.h"
#include "export/form_sink.h"
#include "export/shell_command.h"
#include "system/stop_signals.h"

namespace tool {

class BatchTarget {
public:
    virtual ~BatchTarget() = default;

    /// What takes the items of the next batch, perhaps while one is under way. Throws Failure.
    virtual std::unique_ptr<ExportSink> begin() = 0;

    /// Sends the batch, whose sink has finished; none is under way. Throws Failure.
    virtual void send() = 0;

    /// Waits until the batch that is under way has arrived. Throws Failure when it has not, or nobody knows.
    /// Then, too, none is under way any more.
    virtual void settle() = 0;
};

/// A file of its own, which does not exist yet and gets its name when all is in it. There is one batch.
std::unique_ptr<BatchTarget> makeFileTarget(const FormTerms &terms, const std::string &path);

struct CommandTerms {
    std::string command;                            ///< For the shell.
    int retries = 0;                                ///< After a first failure,
    std::function<void(const std::string &)> tell;  ///< which is told.
    CommandLimits limits{};
};

/// A command that is run for each batch, with the items as its standard input. The batch is done when it ends
/// with 0; else it is run again, after growing pauses, with the same input. A signal ends the pauses, and
/// after a while the command.
std::unique_ptr<BatchTarget> makeCommandTarget(const FormTerms &terms, CommandTerms command,
                                               const StopSignals &signals);

}  // namespace tool

#endif
