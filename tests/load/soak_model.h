// SPDX-License-Identifier: Apache-2.0
// What the soak stores and what must be left of it in the end, told by numbers alone: item n is made anew
// wherever it is needed, and an object's model knows only which numbers it was given.
#ifndef JORN_TESTS_LOAD_SOAK_MODEL_H
#define JORN_TESTS_LOAD_SOAK_MODEL_H

#include <jorn.h>

#include <cstdint>
#include <string>
#include <vector>

namespace load {

/// One item, as submitted.
struct SoakItem {
    uint32_t time;
    int32_t level;
    int32_t slot;
    std::string text;
};

/// Items by number, the same in every run with the same seed. Times never run back.
class ItemSource {
public:
    explicit ItemSource(uint64_t seed) : seed_(seed) {}

    SoakItem item(uint32_t number) const;
    uint32_t timeOf(uint32_t number) const;
    /// Which of `objects` objects gets the item. Runs of items go to the same one.
    size_t objectOf(uint32_t number, size_t objects) const;

private:
    uint64_t hash(uint64_t number) const;

    uint64_t seed_;
};

/// The ring of one object: what was stored, oldest first, and what is left of it.
class RingModel {
public:
    /// Stands for the item that a creation submits, at the time of the item after it.
    static constexpr uint32_t kInitBit = 0x80000000U;

    RingModel(const ItemSource &source, int32_t files) : source_(&source), files_(files) {}

    void add(uint32_t number) { numbers_.push_back(number); }
    void addInit(uint32_t nextNumber) { numbers_.push_back(nextNumber | kInitBit); }

    /// Items that the ring still holds, newest first, that match a requirement.
    std::vector<SoakItem> matching(const JORN_REQUIRE &require) const;

    size_t stored() const { return numbers_.size(); }
    size_t kept() const;
    /// Item `index` of those kept, 0 = oldest.
    SoakItem keptItem(size_t index) const { return itemAt(numbers_.size() - kept() + index); }

private:
    SoakItem itemAt(size_t index) const;

    const ItemSource *source_;
    int32_t files_;
    std::vector<uint32_t> numbers_;
};

}  // namespace load

#endif
