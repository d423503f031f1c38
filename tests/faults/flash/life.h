// SPDX-License-Identifier: Apache-2.0
// A life of the module, from creation to destruction, driven by hand: every item is noted in the ledger
// before it is submitted, and every pass of the store task happens when the rig wants it.
#ifndef JORN_TESTS_FAULTS_FLASH_LIFE_H
#define JORN_TESTS_FAULTS_FLASH_LIFE_H

#include <cstdint>
#include <string>
#include <vector>

#include "file_calls.h"
#include "history.h"
#include "ledger.h"
#include "ring_model.h"

namespace flash {

struct ObjectShape {
    std::string directory;
    int csvNum = 2;
};

/// Which pages are compared: all of them up to a number of pages, since the cost of a page grows with the
/// length of its file; of more pages, those where something can go wrong and one more.
struct PageSample {
    size_t fullUpTo = 0;
    size_t number = 0;  ///< chooses that one more
};

class Life {
public:
    /// `startTime`: seconds; every submission is one second after the one before.
    Life(Ledger *ledger, uint32_t startTime, PageSample sample) : ledger_(ledger), sample_(sample) {
        surroundings().time = startTime;
    }
    /// Destroys the objects that are left.
    ~Life();
    Life(const Life &) = delete;
    Life &operator=(const Life &) = delete;

    /// Creates an object, which has the same number in this life as in the ledger, and compares files and
    /// pages before its first item is stored.
    void create(size_t object, const ObjectShape &shape);
    void destroy(size_t object);

    /// Submits an item.
    void add(size_t object, int level, const std::string &text);
    void clear(size_t object, bool isLogged);

    /// One pass of the store task.
    static void pass();
    /// Passes until nothing is queued and no file is open.
    static void settle();

    /// What the object's directory should have held, and which items should have been visible, right after
    /// creation.
    const RingModel &created(size_t object) const { return members_[object].created; }
    /// Compares the object's files with its model, then pages of its items with those that should be visible.
    /// Notes the first difference.
    void compare(size_t object);

    /// The first thing that was not as it should be; empty when nothing.
    const std::string &fault() const { return fault_; }

private:
    struct Member {
        int32_t handle;
        std::string directory;
        RingModel model;  ///< as it should be once no file is open
        RingModel created;
    };

    std::string compareFiles(const Member &member) const;
    std::string comparePages(const Member &member) const;
    void report(const std::string &fault);

    /// Notes an item that is about to be submitted.
    void expect(size_t object, int level, const std::string &text);

    Ledger *ledger_;
    std::vector<Member> members_;
    PageSample sample_;
    std::string fault_;
};

}  // namespace flash

#endif
