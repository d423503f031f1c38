// SPDX-License-Identifier: Apache-2.0
// Which word was meant by one that was mistyped.
#ifndef JORN_TOOLS_LIKENESS_H
#define JORN_TOOLS_LIKENESS_H

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace tool {

/// How many letters have to be left out, put in, replaced, or exchanged with their neighbours to make one
/// word of the other.
size_t editDistance(std::string_view from, std::string_view to);

/// The first of the words that are most alike; empty when none is alike enough to have been meant.
std::string likeliest(std::string_view word, const std::vector<std::string> &words);

}  // namespace tool

#endif
