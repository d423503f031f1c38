// SPDX-License-Identifier: Apache-2.0
#include "http/http_server.h"

#include <errno.h>
#include <fcntl.h>
#include <httplib.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <condition_variable>
#include <deque>
#include <list>
#include <mutex>
#include <system_error>
#include <thread>

#include "http/access.h"
#include "http/request_head.h"
#include "system/descriptor.h"

namespace tool {
namespace {

using std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;

constexpr std::string_view kHeadEnd = "\r\n\r\n";

constexpr char kPolicy[] =
    "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self' data:; connect-src 'self'; "
    "base-uri 'none'; form-action 'none'; frame-ancestors 'none'";

/// What every answer has.
const std::array<std::pair<const char *, const char *>, 6> kHeaders = {
    {{"Content-Security-Policy", kPolicy},
     {"X-Content-Type-Options", "nosniff"},
     {"Referrer-Policy", "no-referrer"},
     {"Cross-Origin-Resource-Policy", "same-origin"},
     {"Cross-Origin-Opener-Policy", "same-origin"},
     {"X-Frame-Options", "DENY"}}};

/// A whole answer for a request that is refused before it is read.
std::string refusal(int status, const char *reason, const std::string &message) {
    const std::string body = answerOf(RequestError(status, message)).body;
    std::string text = "HTTP/1.1 " + std::to_string(status) + " " + reason + "\r\nConnection: close\r\n";
    for (const auto &[name, value] : kHeaders) {
        text += std::string(name) + ": " + value + "\r\n";
    }
    return text +
           "Cache-Control: no-store\r\nRetry-After: 1\r\nContent-Type: application/json\r\nContent-Length: " +
           std::to_string(body.size()) + "\r\n\r\n" + body;
}

/// One side of a connection: a socket, or bytes in memory.
class Connection {
public:
    enum class Reading { Some, End, TimedOut };

    Connection() = default;
    Connection(const Connection &) = delete;
    Connection &operator=(const Connection &) = delete;
    virtual ~Connection() = default;

    /// Appends what comes to `bytes`, at most `most`.
    virtual Reading read(std::string *bytes, size_t most, Clock::time_point until) = 0;

    /// Sends all of it. False when it cannot be sent in time, or is not wanted any more.
    virtual bool write(const char *bytes, size_t size) = 0;

    /// Whether the other side is still there.
    virtual bool isOpen() const = 0;
    virtual int descriptor() const = 0;
};

class SocketConnection : public Connection {
public:
    /// `stop` becomes readable when the server stops.
    SocketConnection(int socket, int stop, milliseconds writing)
        : socket_(socket), stop_(stop), writing_(writing) {
        // What a stream sends now and then always finds room in the system's buffer, also while nobody is
        // left to take it.
        const auto longest = static_cast<unsigned>(writing.count());
        setsockopt(socket, IPPROTO_TCP, TCP_USER_TIMEOUT, &longest, sizeof longest);
    }

    Reading read(std::string *bytes, size_t most, Clock::time_point until) override {
        if (!wait(POLLIN, until)) {
            return Reading::TimedOut;
        }
        const size_t before = bytes->size();
        bytes->resize(before + most);
        const ssize_t length = recv(socket_.get(), bytes->data() + before, most, MSG_DONTWAIT);
        bytes->resize(before + static_cast<size_t>(std::max<ssize_t>(length, 0)));
        return length > 0 ? Reading::Some : Reading::End;
    }

    bool write(const char *bytes, size_t size) override {
        const Clock::time_point until = Clock::now() + writing_;
        while (size > 0) {
            const ssize_t length = send(socket_.get(), bytes, size, MSG_DONTWAIT | MSG_NOSIGNAL);
            if (length > 0) {
                bytes += length;
                size -= static_cast<size_t>(length);
            } else if ((errno != EAGAIN && errno != EINTR) || !wait(POLLOUT, until)) {
                return false;
            }
        }
        return true;
    }

    bool isOpen() const override {
        char byte = 0;
        return recv(socket_.get(), &byte, 1, MSG_PEEK | MSG_DONTWAIT) != 0;
    }
    int descriptor() const override { return socket_.get(); }

private:
    /// False when the time is up or the server stops.
    bool wait(short event, Clock::time_point until) const {
        const auto left = std::chrono::duration_cast<milliseconds>(until - Clock::now()).count();
        std::array<pollfd, 2> events = {{{socket_.get(), event, 0}, {stop_, POLLIN, 0}}};
        const int ready = poll(events.data(), events.size(), static_cast<int>(std::max<int64_t>(left, 0)));
        return ready > 0 && events[1].revents == 0;
    }

    Descriptor socket_;
    const int stop_;
    const milliseconds writing_;
};

/// The connections that are served, the oldest first.
class OpenConnections {
    struct Socket {
        int socket;
        bool mayGo;
    };

public:
    /// One of them, for as long as it lives.
    class Entry {
    public:
        Entry(OpenConnections *all, int socket) : all_(*all) {
            const std::lock_guard lock(all_.mutex_);
            place_ = all_.sockets_.insert(all_.sockets_.end(), {socket, true});
        }
        ~Entry() {
            const std::lock_guard lock(all_.mutex_);
            all_.sockets_.erase(place_);
        }
        Entry(const Entry &) = delete;
        Entry &operator=(const Entry &) = delete;

        /// It is not closed for others any more.
        void keep() {
            const std::lock_guard lock(all_.mutex_);
            place_->mayGo = false;
        }

    private:
        OpenConnections &all_;
        std::list<Socket>::iterator place_;
    };

    /// Closes the oldest one that is not to be kept; false when there is none.
    bool closeOldest() {
        const std::lock_guard lock(mutex_);
        const auto oldest =
            std::find_if(sockets_.begin(), sockets_.end(), [](const Socket &each) { return each.mayGo; });
        if (oldest == sockets_.end()) {
            return false;
        }
        oldest->mayGo = false;
        shutdown(oldest->socket, SHUT_RDWR);
        return true;
    }

private:
    std::mutex mutex_;
    std::list<Socket> sockets_;
};

/// That of the connection which this thread serves; null for one in memory.
thread_local OpenConnections::Entry *servedConnection = nullptr;

class MemoryConnection : public Connection {
public:
    explicit MemoryConnection(std::string_view input) : input_(input) {}

    Reading read(std::string *bytes, size_t most, Clock::time_point) override {
        const std::string_view next = input_.substr(0, most);
        input_.remove_prefix(next.size());
        *bytes += next;
        return next.empty() ? Reading::End : Reading::Some;
    }
    bool write(const char *bytes, size_t size) override {
        output_.append(bytes, size);
        return true;
    }
    bool isOpen() const override { return false; }
    int descriptor() const override { return -1; }
    const std::string &output() const { return output_; }

private:
    std::string_view input_;
    std::string output_;
};

/// A request that has been read, for the library to take apart, and the way for its answer.
class RequestStream : public httplib::Stream {
public:
    RequestStream(std::string_view head, Connection *connection) : head_(head), connection_(*connection) {}

    bool is_readable() const override { return !head_.empty(); }
    bool is_writable() const override { return connection_.isOpen(); }
    ssize_t read(char *bytes, size_t size) override {
        const size_t length = head_.copy(bytes, size);
        head_.remove_prefix(length);
        return static_cast<ssize_t>(length);
    }
    ssize_t write(const char *bytes, size_t size) override {
        return connection_.write(bytes, size) ? static_cast<ssize_t>(size) : -1;
    }
    void get_remote_ip_and_port(std::string &ip, int &port) const override {
        ip.clear();
        port = 0;
    }
    void get_local_ip_and_port(std::string &ip, int &port) const override {
        ip.clear();
        port = 0;
    }
    socket_t socket() const override { return connection_.descriptor(); }

private:
    std::string_view head_;
    Connection &connection_;
};

/// Threads for connections, made as they are needed and kept.
class ConnectionThreads {
public:
    using MakeThread = std::function<std::thread(std::function<void()>)>;

    /// `freeOne` makes one of the threads end what it does; false when none can be made to.
    ConnectionThreads(size_t most, MakeThread makeThread, std::function<bool()> freeOne)
        : most_(most), makeThread_(std::move(makeThread)), freeOne_(std::move(freeOne)) {}

    ~ConnectionThreads() {
        {
            const std::lock_guard lock(mutex_);
            isEnding_ = true;
            come_.notify_all();
        }
        for (std::thread &thread : threads_) {
            thread.join();
        }
    }
    ConnectionThreads(const ConnectionThreads &) = delete;
    ConnectionThreads &operator=(const ConnectionThreads &) = delete;

    /// False when there is no thread for it, and none can be had.
    bool run(std::function<void()> work) {
        const std::lock_guard lock(mutex_);
        if (idle_ <= waiting_.size() && !addThread() && !freeOne_()) {
            return false;
        }
        waiting_.push_back(std::move(work));
        come_.notify_one();
        return true;
    }

private:
    /// False when there are as many as there may be, or the system allows no more.
    bool addThread() {
        if (threads_.size() >= most_) {
            return false;
        }
        try {
            threads_.push_back(makeThread_([this] { work(); }));
        } catch (const std::system_error &) {
            return false;
        }
        return true;
    }

    void work() {
        std::unique_lock lock(mutex_);
        for (;;) {
            ++idle_;
            come_.wait(lock, [this] { return isEnding_ || !waiting_.empty(); });
            --idle_;
            if (waiting_.empty()) {
                return;
            }
            const std::function<void()> next = std::move(waiting_.front());
            waiting_.pop_front();
            lock.unlock();
            next();
            lock.lock();
        }
    }

    const size_t most_;
    const MakeThread makeThread_;
    const std::function<bool()> freeOne_;
    std::mutex mutex_;
    std::condition_variable come_;
    std::deque<std::function<void()>> waiting_;
    std::vector<std::thread> threads_;
    size_t idle_ = 0;
    bool isEnding_ = false;
};

/// A place among those that may be taken at the same time.
class Slot {
public:
    /// Throws RequestError, 503 with the message, when there is none.
    static std::shared_ptr<Slot> take(std::atomic<size_t> *taken, size_t most, const char *message) {
        if (taken->fetch_add(1) >= most) {
            taken->fetch_sub(1);
            throw RequestError(503, message);
        }
        return std::shared_ptr<Slot>(new Slot(taken));
    }
    ~Slot() { taken_.fetch_sub(1); }
    Slot(const Slot &) = delete;
    Slot &operator=(const Slot &) = delete;

private:
    explicit Slot(std::atomic<size_t> *taken) : taken_(*taken) {}
    std::atomic<size_t> &taken_;
};

WebRequest requestOf(const httplib::Request &request) {
    WebRequest own;
    own.method = request.method;
    own.path = request.path;
    const size_t mark = request.target.find('?');
    own.query = mark == std::string::npos ? "" : request.target.substr(mark + 1);
    for (QueryPart &part : partsOfQuery(own.query)) {
        own.parameters.emplace_back(std::move(part.name), std::move(part.value));
    }
    for (const auto &[name, value] : request.headers) {
        std::string lower = name;
        std::transform(lower.begin(), lower.end(), lower.begin(), [](unsigned char c) {
            return static_cast<char>(c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c);
        });
        own.headers.emplace(std::move(lower), value);
    }
    return own;
}

/// Sends a body; false when its client does not take it.
bool sendBody(const WebAnswer &answer, httplib::DataSink *sink) {
    if (!answer.send) {
        return sink->write(answer.body.data(), answer.body.size());
    }
    try {
        return answer.send([sink](std::string_view bytes) {
            return bytes.empty() ? sink->is_writable() : sink->write(bytes.data(), bytes.size());
        });
    } catch (const std::exception &) {
        return false;  // It has begun, so that all there is to do is to cut it off.
    }
}

/// Everything but the body's sending, and the sending. The slot is kept until that has ended: a client that
/// does not read costs no more than one that asks for a lot.
void passOn(WebAnswer answer, const std::shared_ptr<Slot> &slot, httplib::Response *response) {
    response->status = answer.status;
    for (const auto &[name, value] : answer.headers) {
        response->set_header(name, value);
    }
    const std::string type = answer.type;
    const size_t length = answer.body.size();
    if (!answer.send && (slot == nullptr || length == 0)) {
        response->set_content(answer.body, type);
        return;
    }
    const bool isChunked = answer.send != nullptr;
    const auto send = [answer = std::make_shared<const WebAnswer>(std::move(answer)),
                       slot](httplib::DataSink &sink) { return sendBody(*answer, &sink); };
    if (!isChunked) {
        response->set_content_provider(
            length, type, [send](size_t, size_t, httplib::DataSink &sink) { return send(sink); });
        return;
    }
    response->set_chunked_content_provider(type, [send](size_t, httplib::DataSink &sink) {
        const bool isWhole = send(sink);
        if (isWhole) {
            sink.done();
        }
        return isWhole;
    });
}

}  // namespace

class HttpServer::Impl : public httplib::Server {
public:
    explicit Impl(HttpTerms terms) : terms_(std::move(terms)), stop_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
        httplib::Headers headers;
        for (const auto &[name, value] : kHeaders) {
            headers.emplace(name, value);
        }
        set_default_headers(headers);
        set_tcp_nodelay(true);
        // Not the library's own, which let two servers share a port.
        set_socket_options([](int socket) {
            const int yes = 1;
            setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
        });
        set_pre_routing_handler([this](const httplib::Request &request, httplib::Response &response) {
            handle(requestOf(request), &response);
            return HandlerResponse::Handled;
        });
        set_error_handler(Handler([](const httplib::Request &, httplib::Response &response) {
            if (!response.has_header("Content-Type")) {
                response.set_content(answerOf(RequestError(response.status, "not a valid HTTP request")).body,
                                     "application/json");
                response.set_header("Cache-Control", "no-store");
            }
        }));
    }

    int open(const std::string &host, int port) {
        errno = 0;
        const int opened = port == 0 ? bind_to_any_port(host) : (bind_to_port(host, port) ? port : -1);
        if (opened > 0) {
            listenAgain();
        }
        return opened;
    }

    bool isReachedFromElsewhere() const {
        sockaddr_storage address = {};
        socklen_t size = sizeof address;
        return getsockname(svr_sock_, reinterpret_cast<sockaddr *>(&address), &size) == 0 &&
               !isLoopback(reinterpret_cast<const sockaddr &>(address));
    }

    void start() {
        listener_ = std::thread([this] { takeConnections(); });
    }

    void stopAll() {
        const uint64_t one = 1;
        [[maybe_unused]] const ssize_t written = write(stop_.get(), &one, sizeof one);
        if (listener_.joinable()) {
            listener_.join();
        }
    }

    void serve(Connection *connection) {
        constexpr size_t kMostRequests = 1000;
        std::string bytes;
        for (size_t count = 1; count <= kMostRequests; ++count) {
            const size_t head = readHead(connection, count == 1, &bytes);
            if (head == 0 || !answerOne(connection, bytes.substr(0, head), count == kMostRequests)) {
                return;
            }
            bytes.erase(0, head);
        }
    }

private:
    /// Many may come at the same moment, as when pages are reloaded after a restart.
    void listenAgain() { ::listen(svr_sock_, static_cast<int>(terms_.limits.connections)); }

    /// Until the server stops. Whatever goes wrong with taking a connection, the next one may be good again;
    /// the library's own loop would end, and nothing would show it.
    void takeConnections() {
        constexpr int kPauseMilliseconds = 20;
        const Descriptor listening(svr_sock_);
        fcntl(listening.get(), F_SETFL, O_NONBLOCK);  // One that has come may have gone before it is taken.
        ConnectionThreads threads(terms_.limits.connections, terms_.makeThread,
                                  [this] { return connections_.closeOldest(); });
        std::array<pollfd, 2> events = {{{stop_.get(), POLLIN, 0}, {listening.get(), POLLIN, 0}}};
        while (poll(events.data(), events.size(), -1) < 0 || events[0].revents == 0) {
            const int socket = accept4(listening.get(), nullptr, nullptr, SOCK_CLOEXEC);
            if (socket < 0) {
                poll(events.data(), 1, kPauseMilliseconds);
                listenAgain();
            } else if (!threads.run([this, socket] { serveSocket(socket); })) {
                refuseSocket(socket);
            }
        }
        svr_sock_ = INVALID_SOCKET;  // By which the library knows that it is to end.
    }

    static void refuseSocket(int socket) {
        const Descriptor refused(socket);
        const std::string text = refusal(503, "Service Unavailable", "too many connections");
        send(socket, text.data(), text.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
    }

    void serveSocket(int socket) {
        SocketConnection connection(socket, stop_.get(), terms_.limits.write);
        OpenConnections::Entry entry(&connections_, socket);
        servedConnection = &entry;
        serve(&connection);
        servedConnection = nullptr;
        shutdown(socket, SHUT_RDWR);
    }

    /// Reads until a request's head is whole; its length. 0 when none comes, or one that is refused.
    size_t readHead(Connection *connection, bool isFirst, std::string *bytes) const {
        const HttpLimits &limits = terms_.limits;
        const Clock::time_point now = Clock::now();
        for (;;) {
            const size_t end = bytes->find(kHeadEnd);
            if (end != std::string::npos && end + kHeadEnd.size() <= limits.head) {
                return end + kHeadEnd.size();
            }
            const bool isBegun = isFirst || !bytes->empty();
            if (bytes->size() >= limits.head) {
                refuseHead(connection, 431, "Request Header Fields Too Large",
                           "the request's headers are too long");
                return 0;
            }
            const auto reading = connection->read(bytes, limits.head - bytes->size(),
                                                  now + (isBegun ? limits.request : limits.idle));
            if (reading != Connection::Reading::Some) {
                if (reading == Connection::Reading::TimedOut && !bytes->empty()) {
                    refuseHead(connection, 408, "Request Timeout", "the request took too long to arrive");
                }
                return 0;
            }
        }
    }

    static void refuseHead(Connection *connection, int status, const char *reason, const char *message) {
        const std::string text = refusal(status, reason, message);
        connection->write(text.data(), text.size());
    }

    /// False when no more is to be read from the connection.
    bool answerOne(Connection *connection, const std::string &head, bool isLast) {
        if (head.find("\r\n") > terms_.limits.target + std::string_view("HEAD  HTTP/1.1").size()) {
            refuseHead(connection, 414, "URI Too Long", "the path and parameters are too long");
            return false;
        }
        const RequestHead parts(head);
        RequestStream stream(parts.plain(), connection);
        bool isClosed = false;
        bool hasMore = false;
        const bool isDone = process_request(stream, isLast, isClosed, [&](httplib::Request &request) {
            if (parts.hasLine()) {
                request.method = parts.method();
                request.target = parts.target();
                request.path = decodedPath(request.target.substr(0, request.target.find('?')));
            }
            request.headers.insert(parts.longHeaders().begin(), parts.longHeaders().end());
            // Ranges and compression would make little requests a lot of work.
            request.ranges.clear();
            request.headers.erase("Accept-Encoding");
            // A body is not read, so that what follows the head is no request.
            hasMore = request.has_header("Content-Length") || request.has_header("Transfer-Encoding");
        });
        return isDone && !isClosed && !hasMore;
    }

    void handle(const WebRequest &request, httplib::Response *response) {
        try {
            const std::shared_ptr<Slot> slot = slotFor(terms_.kindOf(request));
            WebAnswer answer = terms_.answer(request);
            if (servedConnection != nullptr && !answer.isForStranger) {
                servedConnection->keep();
            }
            passOn(std::move(answer), slot, response);
        } catch (const RequestError &error) {
            passOn(answerOf(error), nullptr, response);
        } catch (const std::exception &) {
            passOn(answerOf(RequestError(500, "the request could not be answered")), nullptr, response);
        }
        if (!response->has_header("Cache-Control")) {
            response->set_header("Cache-Control", "no-store");
        }
    }

    /// Throws RequestError, 503, when all places of the kind are taken.
    std::shared_ptr<Slot> slotFor(RequestKind kind) {
        const HttpLimits &limits = terms_.limits;
        switch (kind) {
            case RequestKind::Stream:
                return Slot::take(&streams_, limits.streams, "too many streams");
            case RequestKind::Download:
                return Slot::take(&downloads_, limits.downloads, "too many downloads");
            case RequestKind::Short:
                break;
        }
        return Slot::take(&others_, limits.others, "too many requests at the same time");
    }

    const HttpTerms terms_;
    OpenConnections connections_;
    Descriptor stop_;
    std::thread listener_;
    std::atomic<size_t> streams_{0};
    std::atomic<size_t> downloads_{0};
    std::atomic<size_t> others_{0};
};

HttpServer::HttpServer(HttpTerms terms) : impl_(std::make_unique<Impl>(std::move(terms))) {}
HttpServer::~HttpServer() { stop(); }

int HttpServer::open(const std::string &host, int port) { return impl_->open(host, port); }
bool HttpServer::isReachedFromElsewhere() const { return impl_->isReachedFromElsewhere(); }
void HttpServer::start() { impl_->start(); }
void HttpServer::stop() { impl_->stopAll(); }

std::string HttpServer::answerTo(std::string_view bytes) {
    MemoryConnection connection(bytes);
    impl_->serve(&connection);
    return connection.output();
}

}  // namespace tool
