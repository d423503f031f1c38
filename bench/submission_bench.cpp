// SPDX-License-Identifier: Apache-2.0
// What a submission costs its caller, call by call, compared with an asynchronous logger and a bare message
// queue. Bursts fit every queue, so that none refuses or overwrites anything; what a burst leaves is drained
// before the next one, outside the measured times.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <jorn.h>
#include <mqueue.h>
#include <pthread.h>
#include <spdlog/async.h>
#include <spdlog/sinks/rotating_file_sink.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <fstream>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "arguments.h"
#include "created_ring.h"
#include "cycle_clock.h"
#include "load/plain_store.h"

namespace {

constexpr size_t kRotationBytes = size_t{512} * 1024;
constexpr size_t kRotationFiles = 3;
constexpr int kShortBurst = 10;

/// Something that takes items.
class Sender {
public:
    Sender() = default;
    virtual ~Sender() = default;
    Sender(const Sender &) = delete;
    Sender &operator=(const Sender &) = delete;
    /// Submits one item; false when it is refused. Any thread.
    virtual bool send() = 0;
    /// Removes everything from the queue.
    virtual void drain() = 0;
};

class StoreSender : public Sender {
public:
    StoreSender(const std::string &folder, std::string text)
        : ring_(folder + "/submit", kRotationFiles), text_(std::move(text)) {
        load::settle();
    }
    bool send() override { return JORN_AddOneLog(ring_.handle(), 1, 5, text_.c_str()) == 0; }
    void drain() override { load::settle(); }

private:
    bench::Ring ring_;
    std::string text_;
};

class LoggerSender : public Sender {
public:
    LoggerSender(const std::string &folder, std::string text)
        : pool_(std::make_shared<spdlog::details::thread_pool>(JORN_QUEUE_MAX, 1)), text_(std::move(text)) {
        auto sink = std::make_shared<spdlog::sinks::rotating_file_sink_mt>(folder + "/submit.spdlog",
                                                                           kRotationBytes, kRotationFiles);
        logger_ = std::make_shared<spdlog::async_logger>("submit", sink, pool_,
                                                         spdlog::async_overflow_policy::overrun_oldest);
        logger_->set_pattern("%E,1,5,%v");
    }
    bool send() override {
        logger_->info(text_);
        return true;
    }
    void drain() override {
        while (pool_->queue_size() > 0) {
            std::this_thread::yield();
        }
    }

private:
    std::shared_ptr<spdlog::details::thread_pool> pool_;
    std::shared_ptr<spdlog::async_logger> logger_;
    std::string text_;
};

class QueueSender : public Sender {
public:
    /// The bytes are those that the store's own queue would carry.
    QueueSender(int depth, const std::string &text)
        : queue_(open(depth)), message_("1,1700000000,1,5," + text + "\n"), depth_(depth) {}
    ~QueueSender() override { mq_close(queue_); }
    QueueSender(const QueueSender &) = delete;
    QueueSender &operator=(const QueueSender &) = delete;

    bool send() override { return mq_send(queue_, message_.c_str(), message_.size() + 1, 0) == 0; }
    void drain() override {
        std::array<char, kMessageBytes> message;
        while (mq_receive(queue_, message.data(), message.size(), nullptr) >= 0) {
        }
    }

    /// A queue that refuses instead of waiting; its name is unlinked at once. -1 when it cannot be so deep.
    static mqd_t open(int depth) {
        mq_attr attributes = {};
        attributes.mq_maxmsg = depth;
        attributes.mq_msgsize = kMessageBytes;
        const std::string name = "/jorn-bench-" + std::to_string(getpid());
        const mqd_t queue = mq_open(name.c_str(), O_RDWR | O_CREAT | O_EXCL | O_NONBLOCK, 0600, &attributes);
        mq_unlink(name.c_str());
        return queue;
    }

private:
    static constexpr size_t kMessageBytes = 272;

    mqd_t queue_;
    std::string message_;
    int depth_;
};

/// The deepest message queue that this user may have, up to the store's own depth.
int queueDepth() {
    rlimit unlimited = {RLIM_INFINITY, RLIM_INFINITY};
    setrlimit(RLIMIT_MSGQUEUE, &unlimited);  // only where it is allowed
    const mqd_t deep = QueueSender::open(JORN_QUEUE_MAX);
    if (deep >= 0) {
        mq_close(deep);
        return JORN_QUEUE_MAX;
    }
    int limit = 10;
    std::ifstream("/proc/sys/fs/mqueue/msg_max") >> limit;
    return std::min(limit, JORN_QUEUE_MAX);
}

/// Readings of one producer: before and after each call.
struct Producer {
    std::vector<uint64_t> differences;
    int refused = 0;

    void send(Sender *sender, int items) {
        for (int i = 0; i < items; ++i) {
            const uint64_t start = bench::CycleClock::now();
            const bool isTaken = sender->send();
            differences.push_back(bench::CycleClock::now() - start);
            refused += isTaken ? 0 : 1;
        }
    }
};

/// One burst, in equal parts by producers that begin together.
void sendBurst(Sender *sender, int burst, std::vector<Producer> *producers) {
    const int items = burst / static_cast<int>(producers->size());
    if (producers->size() == 1) {
        producers->front().send(sender, items);
        return;
    }
    pthread_barrier_t start;
    pthread_barrier_init(&start, nullptr, static_cast<unsigned>(producers->size()));
    std::vector<std::thread> threads;
    for (Producer &producer : *producers) {
        threads.emplace_back([&] {
            pthread_barrier_wait(&start);
            producer.send(sender, items);
        });
    }
    for (std::thread &thread : threads) {
        thread.join();
    }
    pthread_barrier_destroy(&start);
}

void report(benchmark::State &state, const bench::CycleClock &clock, const std::vector<Producer> &producers) {
    std::vector<double> calls;
    for (const Producer &producer : producers) {
        for (const uint64_t difference : producer.differences) {
            calls.push_back(clock.nanoseconds(difference));
        }
        if (producer.refused > 0) {
            state.SkipWithError("items were refused: the burst does not fit the queue");
            return;
        }
    }
    state.counters["p50"] = bench::percentile(&calls, 0.5);
    state.counters["p99"] = bench::percentile(&calls, 0.99);
    state.counters["p999"] = bench::percentile(&calls, 0.999);
    state.counters["clock_overhead"] = clock.overhead();
}

void runBursts(benchmark::State &state, Sender *sender, int burst, size_t count) {
    const bench::CycleClock clock;
    std::vector<Producer> producers(count);
    std::vector<Producer> warming(count);
    for (int i = 0; i < 3; ++i) {
        sendBurst(sender, burst, &warming);
        sender->drain();
    }
    for ([[maybe_unused]] auto iteration : state) {
        sendBurst(sender, burst, &producers);
        sender->drain();
    }
    state.counters["burst"] = burst;
    report(state, clock, producers);
}

struct Case {
    std::string folder;
    std::string name;
    int burst;
    int bursts;
    size_t producers;
    std::string text;
};

template <class Make>
void add(const std::string &peer, const Case &one, const Make &make) {
    const std::string name = "submission/" + one.name + "/" + std::to_string(one.producers) + "/" +
                             std::to_string(one.text.size()) + "/" + peer;
    const auto run = [one, make](benchmark::State &state) {
        const std::unique_ptr<Sender> sender = make(one);
        runBursts(state, sender.get(), one.burst, one.producers);
    };
    benchmark::RegisterBenchmark(name.c_str(), run)->Iterations(one.bursts);
}

void addCase(const Case &one) {
    add("jorn", one, [](const Case &c) { return std::make_unique<StoreSender>(c.folder, c.text); });
    add("spdlog", one, [](const Case &c) { return std::make_unique<LoggerSender>(c.folder, c.text); });
    add("mq_send", one, [](const Case &c) { return std::make_unique<QueueSender>(c.burst, c.text); });
}

}  // namespace

int main(int argc, char **argv) {
    const bench::Arguments arguments = bench::parseArguments(argc, argv);
    const int burst = queueDepth();
    for (const size_t producers : {1U, 4U}) {
        for (const size_t length : {20U, 100U, 198U}) {
            addCase({arguments.folder, "full", burst, arguments.bursts, producers, std::string(length, 'x')});
        }
    }
    // Items that come nearly one by one, as many as in the long bursts of one case.
    const int shortBursts = arguments.bursts * burst / kShortBurst;
    addCase({arguments.folder, "short", kShortBurst, shortBursts, 1, std::string(100, 'x')});
    return bench::runBenchmarks();
}
