// Who may ask for what, and what is answered: a function without sockets.
#pragma once

#include <cstddef>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "runner/serve/streams.h"
#include "runner/serve/workbench.h"

namespace zam::runner {

constexpr std::size_t kMaxBody = 1'000'000;  // bytes
constexpr std::size_t kMaxTarget = 4096;     // bytes of path and query

struct Request {
    std::string method;
    std::string path;                          // as sent, without query
    std::map<std::string, std::string> query;  // decoded
    std::string host;                          // empty: not sent
    std::optional<std::string> origin;
    std::string body = {};
};

struct Reply {
    int status = 200;
    std::string type = "application/json";
    std::shared_ptr<const std::string> body = {};
    std::shared_ptr<Streams::Subscription> stream = {};  // in place of a body
};

/// Headers that every reply has.
const std::vector<std::pair<std::string, std::string>>& reply_headers();

/// Who may come in.
class Gate {
public:
    /// @param token  the first part of every path
    /// @param hosts  "127.0.0.1:8080": what the page may call this server
    /// @param port   where any address of this machine will do; 0: only those of `hosts`. No name of a stranger's leads
    ///               there, which an address could be put behind
    Gate(std::string token, std::vector<std::string> hosts, int port = 0)
        : token_(std::move(token)), hosts_(std::move(hosts)), port_(port) {}

    /// Whether the request has the token, names this server, and does not come from another one's page.
    bool lets_in(const Request& request) const;
    /// What a path asks for: "state" for "/TOKEN/state".
    std::string_view asked_for(std::string_view path) const;

private:
    std::string token_;
    std::vector<std::string> hosts_;
    int port_;
};

/// 128 random bits as 32 hexadecimal digits. @throws Error  if the system has none
std::string random_token();

/// Refuses what can be refused before the body is there; `nullopt`: the body is wanted.
std::optional<Reply> answer_early(const Gate& gate, const Request& request);
/// Answers. May wait for the workbench, a few seconds at most. Throws nothing but std::bad_alloc.
Reply answer(const Gate& gate, const Request& request, Workbench& workbench);

}  // namespace zam::runner
