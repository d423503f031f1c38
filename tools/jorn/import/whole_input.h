// SPDX-License-Identifier: Apache-2.0
// An input that is read in full before any of it is recorded.
#ifndef JORN_TOOLS_WHOLE_INPUT_H
#define JORN_TOOLS_WHOLE_INPUT_H

#include <stdint.h>

#include <optional>

#include "import/input_stream.h"
#include "import/json_items.h"
#include "system/temporary.h"

namespace tool {

/// All of an input up to its end, in an unnamed file in TMPDIR or /tmp.
class CopiedInput {
public:
    /// Throws Failure.
    explicit CopiedInput(InputStream *input);

    /// Positioned at its beginning.
    int descriptor() const { return file_.descriptor(); }

private:
    Descriptor directory_;
    TemporaryFile file_;
};

/// Number of lines from the descriptor's position to the end of a regular file; nothing for another kind of
/// file. Throws Failure.
std::optional<uint64_t> linesLeft(int fd);

/// The same for the items in these lines.
uint64_t jsonItemsLeft(int fd, const JsonItems::Settings &settings);

}  // namespace tool

#endif
