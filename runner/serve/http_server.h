// Carries requests and replies by HTTP. The only place that knows the library that does; a build may go without.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "runner/serve/requests.h"

namespace zam::runner {

struct HttpHandlers {
    /// Refuses what can be refused before the body is there. Any thread calls it.
    std::function<std::optional<Reply>(const Request&)> early;
    std::function<Reply(const Request&)> answer;
    std::vector<std::pair<std::string, std::string>> headers;  // of all replies
};

class HttpServer {
public:
    virtual ~HttpServer() = default;
    /// @param port  0: a free one
    /// @return the port; negative if the address cannot be had
    virtual int bind(const std::string& address, int port) = 0;
    /// Answers requests until stop() is called.
    virtual void run() = 0;
    /// On any thread.
    virtual void stop() = 0;
    virtual void set_handlers(HttpHandlers handlers) = 0;
};

/// Null if this build has no such server.
std::unique_ptr<HttpServer> make_http_server();

}  // namespace zam::runner
