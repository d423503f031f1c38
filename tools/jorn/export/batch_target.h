// SPDX-License-Identifier: Apache-2.0
// Where items that are sent once go: in batches, each of which is done as a whole or not at all.
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

    /// Waits until the batch that is under way has arrived. Throws Failure when it has not, or when that is
    /// not known. In that case too, none is under way any more.
    virtual void awaitArrival() = 0;
};

/// A separate file, which does not exist yet and gets its name when everything is in it. There is one batch.
std::unique_ptr<BatchTarget> makeFileTarget(const FormTerms &terms, const std::string &path);

struct CommandTerms {
    std::string command;                              ///< For the shell.
    int retries = 0;                                  ///< After the first failure,
    std::function<void(const std::string &)> report;  ///< which is reported by this.
    CommandLimits limits{};
};

/// A command that is run for each batch, with the items as its standard input. The batch is done when it
/// exits with 0; otherwise it is run again with the same input, after increasing pauses. A signal ends the
/// pauses and, after a while, the command.
std::unique_ptr<BatchTarget> makeCommandTarget(const FormTerms &terms, CommandTerms command,
                                               const StopSignals &signals);

}  // namespace tool

#endif
