// SPDX-License-Identifier: Apache-2.0
// What the soak stores, defined by numbers alone: item n is made anew wherever it is needed.
#ifndef JORN_TESTS_LOAD_SOAK_ITEMS_H
#define JORN_TESTS_LOAD_SOAK_ITEMS_H

#include <cstddef>
#include <cstdint>

#include "model/query_model.h"

namespace load {

/// Items by number, the same in every run with the same seed. Times never run backwards.
class ItemSource {
public:
    explicit ItemSource(uint64_t seed) : seed_(seed) {}

    test::ModelItem item(uint32_t number) const;
    uint32_t timeOf(uint32_t number) const;
    /// Which of `objects` objects gets the item. Runs of items go to the same one.
    size_t objectOf(uint32_t number, size_t objects) const;

private:
    uint64_t hash(uint64_t number) const;

    uint64_t seed_;
};

}  // namespace load

#endif
