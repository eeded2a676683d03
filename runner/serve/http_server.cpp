// What comes in is not trusted: of each request so many bytes are read, in so much time, and of its headers only those
// that are needed are handed on. Where all threads are busy, connections that have not shown the token yet make way.
#include "runner/serve/http_server.h"

#include "base/part.h"

#if defined(ZAM_WITH_HTTPLIB)
#include <httplib.h>
#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <atomic>
#include <cctype>
#include <chrono>
#include <cstring>
#include <deque>
#include <list>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>
#endif

namespace zam::runner {

#if defined(ZAM_WITH_HTTPLIB)

namespace {

using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

constexpr std::size_t kMaxHead = 16'384;  // bytes of request line and headers
constexpr std::size_t kMaxThreads = 48;
constexpr std::size_t kMaxWaiting = 64;  // connections without a thread
constexpr auto kHeadTime = 5s;
constexpr auto kBodyTime = 10s;
constexpr auto kIdleTime = 20s;     // between requests of a connection
constexpr auto kWriteTime = 10s;    // without any progress
constexpr int kMaxRequests = 1000;  // of a connection

/// A socket whose request is read as a whole head first.
class Connection final : public httplib::Stream {
public:
    explicit Connection(socket_t socket) : socket_(socket) {}
    ~Connection() override {
        ::shutdown(socket_, SHUT_RDWR);
        ::close(socket_);
    }

    /// Waits for the head of the next request, and keeps what of it counts. False if the connection is over.
    bool read_head(bool first) {
        trusted = false;
        auto until = Clock::now() + (first ? kHeadTime : kIdleTime);
        std::size_t searched = 0;
        std::size_t end = std::string::npos;
        while ((end = received_.find("\r\n\r\n", searched)) == std::string::npos) {
            if (received_.size() > kMaxHead) return false;
            searched = received_.size() < 3 ? 0 : received_.size() - 3;
            const bool was_empty = received_.empty();
            if (!receive(until)) return false;
            if (was_empty) until = std::min(until, Clock::now() + kHeadTime);
        }
        if (end > kMaxHead || !filter(std::string_view(received_).substr(0, end))) return false;
        received_.erase(0, end + 4);
        body_until_ = Clock::now() + kBodyTime;
        at_ = 0;
        return true;
    }

    bool is_readable() const override { return true; }
    bool is_writable() const override { return wait(POLLOUT, Clock::now() + kWriteTime); }
    ssize_t read(char* to, std::size_t size) override {
        std::string_view from = std::string_view(head_).substr(at_);
        if (from.empty() && received_.empty() && !receive(body_until_)) return -1;
        const bool of_head = !from.empty();
        if (!of_head) from = received_;
        const std::size_t count = std::min(size, from.size());
        std::memcpy(to, from.data(), count);
        if (of_head)
            at_ += count;
        else
            received_.erase(0, count);
        return static_cast<ssize_t>(count);
    }
    ssize_t write(const char* data, std::size_t size) override {
        while (true) {
            const ssize_t count = ::send(socket_, data, size, MSG_NOSIGNAL | MSG_DONTWAIT);
            if (count >= 0) return count;
            if (errno != EAGAIN && errno != EINTR) return -1;
            if (!wait(POLLOUT, Clock::now() + kWriteTime)) return -1;
        }
    }
    void get_remote_ip_and_port(std::string& /*ip*/, int& /*port*/) const override {}
    void get_local_ip_and_port(std::string& /*ip*/, int& /*port*/) const override {}
    socket_t socket() const override { return socket_; }

    std::atomic<bool> trusted = false;  // the request that is read or answered has the token
    bool over = false;                  // no further request is read

private:
    bool wait(short event, Clock::time_point until) const {
        while (true) {
            const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(until - Clock::now()).count();
            pollfd place{socket_, event, 0};
            const int ready = left > 0 ? ::poll(&place, 1, static_cast<int>(left)) : 0;
            if (ready >= 0 || errno != EINTR) return ready > 0;
        }
    }
    bool receive(Clock::time_point until) {
        char bytes[16'384];
        if (!wait(POLLIN, until)) return false;
        const ssize_t count = ::recv(socket_, bytes, sizeof bytes, MSG_DONTWAIT);
        if (count > 0) received_.append(bytes, static_cast<std::size_t>(count));
        return count > 0;
    }

    /// Keeps the request line and the headers that are needed: the library would act on others. False if one of them is
    /// there twice.
    bool filter(std::string_view head) {
        constexpr std::string_view kNeeded[] = {"host", "origin", "connection", "content-length"};
        bool seen[std::size(kNeeded)] = {};
        head_.clear();
        for (bool request_line = true; !head.empty(); request_line = false) {
            const auto end = std::min(head.find("\r\n"), head.size());
            const std::string_view line = head.substr(0, end);
            head.remove_prefix(std::min(end + 2, head.size()));
            std::string name(line.substr(0, line.find(':')));
            std::transform(name.begin(), name.end(), name.begin(), [](unsigned char c) { return std::tolower(c); });
            const auto needed = std::find(std::begin(kNeeded), std::end(kNeeded), name);
            if (!request_line && needed == std::end(kNeeded)) continue;
            if (!request_line && std::exchange(seen[needed - kNeeded], true)) return false;
            head_.append(line).append("\r\n");
        }
        head_ += "\r\n";
        return true;
    }

    socket_t socket_;
    std::string received_;  // not taken yet
    std::string head_;
    std::size_t at_ = 0;  // of the head
    Clock::time_point body_until_;
};

/// A thread per connection, up to a number; further ones wait, as many as may, and then the door is shut for a while.
class Threads final : public httplib::TaskQueue {
public:
    /// @param make_way  called when all threads are busy
    explicit Threads(std::function<void()> make_way) : make_way_(std::move(make_way)) {}
    ~Threads() override = default;

    void enqueue(std::function<void()> task) override {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [&] { return waiting_.size() < kMaxWaiting || ending_; });
        waiting_.push_back(std::move(task));
        const bool crowded = waiting_.size() > idle_ && threads_.size() >= kMaxThreads;
        if (waiting_.size() > idle_ && !crowded) threads_.emplace_back([this] { work(); });
        lock.unlock();
        changed_.notify_all();
        if (crowded) make_way_();
    }
    void shutdown() override {
        {
            const std::scoped_lock lock(mutex_);
            ending_ = true;
        }
        changed_.notify_all();
        for (auto& thread : threads_) thread.join();
    }

private:
    void work() {
        std::unique_lock lock(mutex_);
        while (true) {
            ++idle_;
            changed_.wait(lock, [&] { return !waiting_.empty() || ending_; });
            --idle_;
            if (waiting_.empty()) return;
            const auto task = std::move(waiting_.front());
            waiting_.pop_front();
            lock.unlock();
            changed_.notify_all();
            task();
            lock.lock();
        }
    }

    std::function<void()> make_way_;
    std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<std::function<void()>> waiting_;
    std::vector<std::thread> threads_;
    std::size_t idle_ = 0;
    bool ending_ = false;
};

class Server final : public HttpServer, private httplib::Server {
public:
    Server() {
        new_task_queue = [this] { return new Threads([this] { make_way(); }); };
        set_payload_max_length(kMaxBody);
        set_tcp_nodelay(true);
        set_pre_routing_handler([this](const httplib::Request& request, httplib::Response& response) {
            return refuse_early(request, response) ? HandlerResponse::Handled : HandlerResponse::Unhandled;
        });
        Post("/.*", [this](const httplib::Request& request, httplib::Response& response) {
            send(handlers_.answer(translate(request)), response);
        });
        set_exception_handler([](const httplib::Request&, httplib::Response& response, const std::exception_ptr&) {
            response.status = 500;
        });
        // what is left of a request that was refused is no further request
        set_logger([](const httplib::Request&, const httplib::Response& response) {
            if (response.status >= 400) current->over = true;
        });
    }

    int bind(const std::string& address, int port) override {
        if (port == 0) return bind_to_any_port(address);
        return bind_to_port(address, port) ? port : -1;
    }
    void run() override { listen_after_bind(); }
    void stop() override {
        httplib::Server::stop();
        const std::scoped_lock lock(mutex_);
        stopped_ = true;
        for (auto* connection : connections_) ::shutdown(connection->socket(), SHUT_RDWR);
    }
    void set_handlers(HttpHandlers handlers) override {
        handlers_ = std::move(handlers);
        set_default_headers({handlers_.headers.begin(), handlers_.headers.end()});
    }

private:
    /// Answers what comes over a connection, until it ends.
    bool process_and_close_socket(socket_t socket) override {
        Connection connection(socket);
        {
            const std::scoped_lock lock(mutex_);
            if (stopped_) return true;
            connections_.push_back(&connection);
        }
        bool closed = false;
        for (int count = 0; count < kMaxRequests && !closed && connection.read_head(count == 0); ++count) {
            current = &connection;
            const bool answered = process_request(connection, count + 1 == kMaxRequests, closed, nullptr);
            if (!answered || connection.over) break;
        }
        const std::scoped_lock lock(mutex_);
        connections_.remove(&connection);
        return true;
    }

    /// Ends the oldest connection that has not shown the token.
    void make_way() {
        const std::scoped_lock lock(mutex_);
        const auto found =
            std::find_if(connections_.begin(), connections_.end(), [](const auto* one) { return !one->trusted; });
        if (found == connections_.end()) return;
        ::shutdown((*found)->socket(), SHUT_RDWR);
        connections_.splice(connections_.end(), connections_, found);  // so that the next one is another
    }

    static Request translate(const httplib::Request& from) {
        Request request{.method = from.method,
                        .path = from.path,
                        .query = {},
                        .host = from.get_header_value("Host"),
                        .origin = {},
                        .body = from.body};
        if (from.has_header("Origin")) request.origin = from.get_header_value("Origin");
        for (const auto& [name, value] : from.params) request.query.emplace(name, value);
        return request;
    }

    /// Answers all that has no body that is wanted.
    bool refuse_early(const httplib::Request& request, httplib::Response& response) {
        if (request.target.size() > kMaxTarget) {
            response.status = 414;
            return true;
        }
        const Request translated = translate(request);
        auto early = handlers_.early(translated);
        current->trusted = !early || early->status != 403;
        const bool wants_body = !early && request.method == "POST";
        if (early) response.set_header("Connection", "close");
        if (!wants_body) send(early ? std::move(*early) : handlers_.answer(translated), response);
        return !wants_body;
    }

    static void send(Reply reply, httplib::Response& response) {
        response.status = reply.status;
        if (reply.stream) {
            const auto provide = [stream = std::move(reply.stream)](std::size_t /*offset*/, httplib::DataSink& sink) {
                const std::string text = stream->next();
                if (text.empty()) {
                    sink.done();
                    return true;
                }
                return sink.write(text.data(), text.size());
            };
            return response.set_chunked_content_provider(reply.type, provide);
        }
        if (!reply.body) return;
        const auto provide = [body = reply.body](std::size_t offset, std::size_t length, httplib::DataSink& sink) {
            return sink.write(body->data() + offset, length);
        };
        if (reply.body->empty()) return response.set_content("", reply.type);
        response.set_content_provider(reply.body->size(), reply.type, provide);
    }

    static thread_local Connection* current;
    HttpHandlers handlers_;
    std::mutex mutex_;
    std::list<Connection*> connections_;  // that have a thread
    bool stopped_ = false;
};

thread_local Connection* Server::current = nullptr;

}  // namespace

std::unique_ptr<HttpServer> make_http_server() { return std::make_unique<Server>(); }
ZAM_PART_EXPORT(make_http_server)

#else

std::unique_ptr<HttpServer> make_http_server() {
    static const auto make = part_function<decltype(make_http_server)>("zam_httplib", "make_http_server");
    return make ? make() : nullptr;
}

#endif

}  // namespace zam::runner
