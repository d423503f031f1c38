// SPDX-License-Identifier: Apache-2.0
// Names no two of which are the same, ignoring case, as in a database.
#ifndef JORN_TOOLS_UNIQUE_NAMES_H
#define JORN_TOOLS_UNIQUE_NAMES_H

#include <set>
#include <string>

namespace tool {

class UniqueNames {
public:
    /// The name or, where it is taken, the name with "_2", "_3" ... after it.
    std::string add(const std::string &name);

private:
    std::set<std::string> taken_;  ///< In lower case.
};

}  // namespace tool

#endif
