#include "lib/explore/explore_server.h"

#include <httplib.h>
#include <sys/socket.h>

#include <atomic>
#include <chrono>
#include <thread>

#include "lib/explore/explore_request.h"
#include "lib/explore/request_guard.h"

namespace samplenet {

struct ExploreServer::Transport {
    httplib::Server http;
    int port = 0;
    socket_t listening = -1;
    std::atomic<bool> finished{false};  // the serving loop has returned
    std::thread thread;
};

namespace {

constexpr const char* kHost = "127.0.0.1";

// Connections served at once, each on a thread of its own; more wait for a
// free one. A page needs a handful, so clients that send slowly or not at
// all (holding their connection open) leave room for it.
constexpr std::size_t kConnectionThreads = 64;
// A connection that sends nothing for this long, within a request or
// between two, is closed.
constexpr int kIdleSeconds = 3;
// Connections the system holds until the server accepts them.
constexpr int kPendingConnections = 128;

void answer(const Reply& reply, httplib::Response& response) {
    response.status = reply.status;
    if (!reply.allow.empty()) response.set_header("Allow", reply.allow);
    response.set_header("Cache-Control", "no-store");
    response.set_content(reply.body, reply.contentType.c_str());
}

}  // namespace

ExploreServer::ExploreServer(ExploreService& service, int port) : transport(std::make_unique<Transport>()) {
    httplib::Server& http = transport->http;
    http.set_payload_max_length(kMaxExploreRequestBytes);
    // The library's default also sets SO_REUSEPORT, which would let a second
    // server (of anyone's) share the port and take some of the requests.
    http.set_socket_options([this](socket_t socket) {
        const int yes = 1;
        setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
        transport->listening = socket;
    });
    http.new_task_queue = [] { return new httplib::ThreadPool(kConnectionThreads); };
    http.set_read_timeout(kIdleSeconds, 0);
    http.set_keep_alive_timeout(kIdleSeconds);
    const auto serve = [this, &service](const httplib::Request& request, httplib::Response& response) {
        const RequestHeaders headers{request.method, request.get_header_value("Host"),
                                     request.get_header_value("Origin"), request.get_header_value("Content-Type")};
        if (const std::optional<Reply> refused = refusal(headers, transport->port)) return answer(*refused, response);
        answer(service.handle(request.method, request.path, request.body), response);
    };
    // Every method reaches the service, which answers 405 where it should.
    http.Get(".*", serve).Post(".*", serve).Put(".*", serve).Patch(".*", serve).Delete(".*", serve).Options(".*", serve);
    // What the library answers by itself (a body too large, a request it
    // cannot read) gets a message in the same form as ours.
    http.set_error_handler([](const httplib::Request&, httplib::Response& response) {
        if (!response.body.empty()) return;
        const std::string message =
            response.status == 413 ? "the request body is larger than the " +
                                         std::to_string(kMaxExploreRequestBytes) + " bytes allowed"
                                   : "the request could not be read (HTTP status " + std::to_string(response.status) + ")";
        const Reply reply = errorReply(response.status, message);
        response.set_content(reply.body, reply.contentType.c_str());
    });
    if (port == 0) {
        transport->port = http.bind_to_any_port(kHost);
        if (transport->port < 0) throw std::runtime_error("cannot find a free port on 127.0.0.1");
    } else {
        if (!http.bind_to_port(kHost, port))
            throw std::runtime_error("cannot listen on 127.0.0.1:" + std::to_string(port) + " (in use?)");
        transport->port = port;
    }
    // The library listens with a queue of 5 connections not yet accepted: a
    // burst of clients would overflow it and the page's own connection wait
    // a second for the system to try again. Listening again resizes it.
    listen(transport->listening, kPendingConnections);
    transport->thread = std::thread([this] {
        transport->http.listen_after_bind();
        transport->finished = true;
    });
}

ExploreServer::~ExploreServer() {
    stop();
    if (transport->thread.joinable()) transport->thread.join();
}

int ExploreServer::port() const { return transport->port; }

std::string ExploreServer::url() const { return std::string("http://") + kHost + ":" + std::to_string(port()) + "/"; }

void ExploreServer::wait() {
    if (transport->thread.joinable()) transport->thread.join();
}

void ExploreServer::stop() {
    // Stopping a server that has not entered its loop yet does nothing, and
    // the loop would then run for ever.
    while (!transport->http.is_running() && !transport->finished)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    transport->http.stop();
}

}  // namespace samplenet
