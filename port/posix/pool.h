// SPDX-License-Identifier: Apache-2.0
// Objects of one kind and their ids.
#ifndef JORN_PORT_POSIX_POOL_H
#define JORN_PORT_POSIX_POOL_H

#include <stddef.h>

#include <array>
#include <limits>

namespace port {

/// A fixed number of objects, designated by ids that stay safe when stale.
///
/// An id is made of a generation, the object's index and a tag of two bits; odd tags make ids of pointer type
/// differ from every address of a word. A released place is reused only after all others, with the next
/// generation, so an id comes back after hundreds of millions of creations on a 32-bit host and never on a
/// 64-bit one. Nothing here is allocated, and the initial state is all zero bytes.
///
/// `Id` is an unsigned type, or a signed one of which only positive values are used. The caller holds the
/// kernel lock.
template <typename Object, typename Id, Id kTag>
class Pool {
public:
    /// Takes a place for a new object, in its initial state. Null when all are taken.
    Object *take(Id *id) {
        Slot *const slot = nextSlot();
        if (slot == nullptr) {
            return nullptr;
        }
        slot->object = Object{};
        slot->live = true;
        *id = slot->id;
        return &slot->object;
    }

    /// The object that an id designates, or null.
    Object *find(Id id) {
        Slot &slot = slots_[indexOf(id)];
        return slot.live && slot.id == id ? &slot.object : nullptr;
    }

    /// Releases an object that exists.
    void release(Id id) {
        const size_t index = indexOf(id);
        slots_[index].live = false;
        slots_[index].nextFree = 0;
        size_t *const link = lastFree_ == 0 ? &firstFree_ : &slots_[lastFree_ - 1].nextFree;
        *link = lastFree_ = index + 1;
    }

    /// The first object for which `matches` is true, or null.
    template <typename Predicate>
    Object *findIf(Predicate matches) {
        for (size_t index = 0; index < used_; ++index) {
            if (slots_[index].live && matches(slots_[index].object)) {
                return &slots_[index].object;
            }
        }
        return nullptr;
    }

private:
    static constexpr unsigned kTagBits = 2;
    static constexpr unsigned kIndexBits = 10;
    static constexpr unsigned kGenerationShift = kTagBits + kIndexBits;
    static constexpr size_t kCapacity = size_t{1} << kIndexBits;
    static constexpr Id kGenerationMax = std::numeric_limits<Id>::max() >> kGenerationShift;

    struct Slot {
        Object object{};
        Id id{};
        bool live{};
        size_t nextFree{};  ///< place of the next free slot plus 1; 0 for none
    };

    static size_t indexOf(Id id) { return (static_cast<size_t>(id) >> kTagBits) & (kCapacity - 1); }

    static Id idOf(Id generation, size_t index) {
        return static_cast<Id>(generation << kGenerationShift) | static_cast<Id>(index << kTagBits) | kTag;
    }

    /// A free slot with its new id. Generation 0 is never used, so no id is small.
    Slot *nextSlot() {
        if (used_ < kCapacity) {
            slots_[used_].id = idOf(1, used_);
            return &slots_[used_++];
        }
        if (firstFree_ == 0) {
            return nullptr;
        }
        const size_t index = firstFree_ - 1;
        Slot &slot = slots_[index];
        firstFree_ = slot.nextFree;
        if (firstFree_ == 0) {
            lastFree_ = 0;
        }
        const Id generation = slot.id >> kGenerationShift;
        slot.id = idOf(generation == kGenerationMax ? Id{1} : static_cast<Id>(generation + 1), index);
        return &slot;
    }

    std::array<Slot, kCapacity> slots_{};
    size_t used_ = 0;       ///< slots that were ever taken; those after them are fresh
    size_t firstFree_ = 0;  ///< released slots in the order of their release, places plus 1; 0 for none
    size_t lastFree_ = 0;
};

}  // namespace port

#endif
