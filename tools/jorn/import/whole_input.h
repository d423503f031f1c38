// SPDX-License-Identifier: Apache-2.0
// An input that is looked at as a whole before any of it is recorded.
#ifndef JORN_TOOLS_WHOLE_INPUT_H
#define JORN_TOOLS_WHOLE_INPUT_H

#include <stdint.h>

#include <optional>

#include "import/input_stream.h"
#include "import/json_items.h"
#include "system/temporary.h"

namespace tool {

/// All that an input has until its end, in a file without a name below TMPDIR or /tmp.
class CopiedInput {
public:
    /// Throws Failure.
    explicit CopiedInput(InputStream *input);

    /// To be read from its beginning.
    int descriptor() const { return file_.descriptor(); }

private:
    Descriptor directory_;
    TemporaryFile file_;
};

/// Lines from where the descriptor of a regular file stands to the file's end; nothing of another kind of
/// file. Throws Failure.
std::optional<uint64_t> linesLeft(int fd);

/// The same for the items among them.
uint64_t jsonItemsLeft(int fd, const JsonItems::Settings &settings);

}  // namespace tool

#endif
