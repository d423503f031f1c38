// SPDX-License-Identifier: Apache-2.0
// A NAND chip in memory: pages that can be programmed once between two erases, in order within their block,
// and what a power cut leaves of the operation that it hits.
#ifndef JORN_TESTS_FAULTS_FLASH_NAND_H
#define JORN_TESTS_FAULTS_FLASH_NAND_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace flash {

constexpr size_t kPageBytes = 2048;
constexpr size_t kSpareBytes = 64;
constexpr size_t kPagesPerBlock = 64;

/// What the chip's controller can report about a page. Its error correction is not computed: a page that was
/// programmed completely is good, one that a cut left half-programmed cannot be corrected.
enum class PageState : uint8_t { Erased, Good, Unreadable };

struct Page {
    Page() { clear(); }
    void clear();

    std::array<uint8_t, kPageBytes> data;
    std::array<uint8_t, kSpareBytes> spare;
};

/// What a cut leaves of the operation under way. The first four are for programs, `Nothing` and the last one
/// for erases.
enum class Torn { Nothing, HalfDataNoTags, FullDataHalfTags, HalfDataFullTags, BlockGarbled };

const char *nameOf(Torn torn);

/// One program or erase.
struct Operation {
    bool isErase = false;
    size_t place = 0;  ///< page of a program, block of an erase
    Page page;         ///< what was programmed
};

/// The ways in which a cut can tear an operation.
std::vector<Torn> waysToTear(const Operation &operation);

/// The chip. Copies are images of it.
class Nand {
public:
    explicit Nand(size_t blocks)
        : pages_(blocks * kPagesPerBlock), states_(pages_.size(), PageState::Erased) {}

    size_t blocks() const { return pages_.size() / kPagesPerBlock; }
    size_t pages() const { return pages_.size(); }
    const Page &page(size_t number) const { return pages_[number]; }
    PageState state(size_t number) const { return states_[number]; }

    /// Carries out an operation. One that breaks the rules of NAND is also carried out, and noted.
    void perform(const Operation &operation);

    /// Carries out what is left of an operation after a cut.
    void tear(const Operation &operation, Torn torn);

    /// From here on, operations are appended to `journal`; null for none.
    void record(std::vector<Operation> *journal) { journal_ = journal; }

    /// Programs and erases so far.
    size_t operations() const { return operations_; }
    size_t erases() const { return erases_; }

    /// What broke the rules so far; empty when nothing did.
    const std::string &brokenRules() const { return brokenRules_; }

    /// Undoes everything since the last call or since this chip was copied from `image`.
    void restore(const Nand &image);

private:
    void checkProgram(size_t number);
    void set(size_t number, const Page &page, PageState state);
    void eraseBlock(size_t block);

    std::vector<Page> pages_;
    std::vector<PageState> states_;
    std::vector<size_t> touched_;
    std::vector<Operation> *journal_ = nullptr;
    size_t operations_ = 0;
    size_t erases_ = 0;
    std::string brokenRules_;
};

}  // namespace flash

#endif
