#pragma once

#include <memory>
#include <string>

#include "lib/explore/explore_service.h"

namespace samplenet {

// The explore service over HTTP on 127.0.0.1 only, served from a thread of
// its own. Requests that web pages elsewhere could send are refused (see
// request_guard.h); slow or idle connections cannot starve the page.
class ExploreServer {
public:
    // Binds to `port`, or to a free port when it is 0, and starts serving.
    // Throws std::runtime_error when the port cannot be had.
    ExploreServer(ExploreService& service, int port);
    ExploreServer(const ExploreServer&) = delete;
    ExploreServer& operator=(const ExploreServer&) = delete;
    ~ExploreServer();

    int port() const;
    // "http://127.0.0.1:PORT/"
    std::string url() const;
    // Blocks until stop() is called (from another thread or a signal handler's thread).
    void wait();
    void stop();

private:
    struct Transport;
    std::unique_ptr<Transport> transport;
};

}  // namespace samplenet
