// SPDX-License-Identifier: Apache-2.0
// The layer between the module under test and its platform. The tests link the module's objects with every
// platform and C library call that matters renamed to probe_<call>; those log the call, let a test act or
// make the call fail, and otherwise pass it on. GoogleTest's own calls are not touched. (Tests do not use the
// module's inline guards and readers themselves: the linker might take their copy for the module's.)
#ifndef JORN_TESTS_SUPPORT_PROBE_H
#define JORN_TESTS_SUPPORT_PROBE_H

#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace probe {

/// How a call fails, where there is more than one way.
enum class Way {
    kPlain,      ///< As the platform reports it: null, ERROR, -1, nothing written, nothing read.
    kNoSpace,    ///< fopen: errno ENOSPC.
    kNoEntry,    ///< fopen: errno ENOENT.
    kOneByte,    ///< fwrite: one byte gets through.
    kHalf,       ///< fwrite: half of the bytes get through.
    kAllButOne,  ///< fwrite: the last byte is missing.
    kDropped,    ///< fclose: what has not left the stream's buffer is lost.
    kNoMatch,    ///< fscanf: 0 in place of EOF.
    kShort,      ///< fscanf: all values but the last are converted.
    kEmpty,      ///< msgQReceive: takes a message and returns 0.
    kTooLong,    ///< msgQReceive: takes a message and returns the size of the buffer.
    kCut,        ///< msgQReceive: takes a message and returns its first six bytes.
    kDone,       ///< The call does its work but reports ERROR, as for an id that was just deleted.
    kBack,       ///< time: an hour ago.
};

/// Bytes of a message that Way::kCut returns.
inline constexpr int kCutLength = 6;

/// Marks, in messages(), a text that was printed by itself, without prefix and common line end.
inline constexpr char kBare[] = "(bare) ";

/// The one probe of a test program. Safe to call from any thread; a hook runs in the thread that made the
/// call, with no lock of the probe held.
class Probe {
public:
    /// Called before a call is passed on, with its log entry, such as "fopen 1.csv w".
    using Hook = std::function<void(const std::string &call)>;

    static Probe &get();

    /// Forgets log, prints, failures and hooks; time goes back to 1700000000.
    void reset();

    /// What time() returns from now on.
    void setTime(uint32_t seconds);

    /// Makes calls fail whose log entry begins with `call` (such as "fopen 1.csv", "calloc", "rm"): of those
    /// from now on, `skip` pass, then `count` fail. A call fails as it does on the platform: null, ERROR with
    /// errno 0x3d0002, -1, a short fwrite. fgets and fscanf read nothing; printf prints nothing, and prints
    /// are counted although they are not in the log.
    void fail(const std::string &call, int count = 1, int skip = 0, Way way = Way::kPlain);

    /// Makes no call fail any more.
    void heal();

    /// From now on the medium takes `bytes` more: deleting or truncating a file gives its bytes back, a file
    /// cannot be made when no byte is left, and fwrite writes what fits. reset() removes the limit.
    void limitRoom(int64_t bytes);
    void addRoom(int64_t bytes) { limitRoom(room_ + bytes); }

    static constexpr int kForever = 1 << 30;
    static constexpr int64_t kUnlimited = INT64_MAX;

    /// Runs `hook` before every call whose log entry begins with `call`. A hook may make calls itself.
    void onCall(const std::string &call, Hook hook);

    /// The calls since the last reset or clearLog: name and what identifies the call, file names without
    /// directory. Prints are not among them.
    std::vector<std::string> calls() const;

    /// Those that begin with one of the given words.
    std::vector<std::string> calls(const std::vector<std::string> &names) const;

    /// The messages printed: text without prefix and line end; bare prints marked with kBare.
    std::vector<std::string> messages() const;

    /// The output of each printf separately.
    std::vector<std::string> pieces() const;

    /// Forgets calls and prints, nothing else.
    void clearLog();

    /// Blocks from calloc that have not been freed.
    int liveBlocks() const;

    /// What was opened or created and not yet closed or deleted, by kind ("stream", "directory", "mutex",
    /// "queue", "task"), kinds in balance left out. Like the blocks, it outlives reset().
    std::map<std::string, int> held() const;

    /// Entry points of the probed calls.
    bool enter(const std::string &call);
    std::optional<Way> fault(const std::string &call);
    bool hasRoom() const;
    size_t takeRoom(size_t bytes);
    void giveRoom(const char *path);
    void addPiece(const std::string &piece);
    uint32_t now() const;
    void addBlock(const void *block, const std::string &name);
    std::string removeBlock(const void *block);
    bool isPrintFailing();
    void take(const std::string &kind) { hold(kind, 1); }
    void giveBack(const std::string &kind) { hold(kind, -1); }

private:
    struct Failure {
        std::string call;
        int skip;
        int count;
        Way way;
    };

    std::optional<Way> consumeFailure(const std::string &call);
    void hold(const std::string &kind, int change);

    mutable std::recursive_mutex lock_;
    std::vector<std::string> calls_;
    std::vector<std::string> pieces_;
    std::vector<Failure> failures_;
    std::vector<std::pair<std::string, Hook>> hooks_;
    std::map<const void *, std::string> blocks_;
    std::map<std::string, int> held_;
    uint32_t time_ = 1700000000;
    int64_t room_ = kUnlimited;
};

}  // namespace probe

#endif
