#include <nanobind/stl/string.h>

#include <algorithm>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "lib/explore/explore_server.h"
#include "python/src/bindings.h"

namespace nb = nanobind;

namespace samplenet_python {

namespace {

// A service with its server.
struct RunningExplore {
    RunningExplore(std::string title, const samplenet::Network& network, const samplenet::InferenceOptions& options,
                   int port)
        : service(std::move(title), network, options), server(service, port) {}
    samplenet::ExploreService service;
    samplenet::ExploreServer server;
};

// Servers not closed yet. A handle dropped without close() leaves its
// server running until the interpreter exits, as a page a user opened
// from a notebook cell expects.
std::mutex runningMutex;
std::vector<std::shared_ptr<RunningExplore>> running;

class ExploreHandle {
public:
    ExploreHandle(const samplenet::Network& network, const samplenet::InferenceOptions& options, int port,
                  std::string title)
        : server_(std::make_shared<RunningExplore>(std::move(title), network, options, port)),
          url_(server_->server.url()),
          port_(server_->server.port()) {
        std::lock_guard lock(runningMutex);
        running.push_back(server_);
    }

    const std::string& url() const { return url_; }
    int port() const { return port_; }
    bool closed() const { return !server_; }

    // Stops serving and frees the port; the page's open requests finish
    // first. Closing again does nothing.
    void close() {
        if (!server_) return;
        {
            std::lock_guard lock(runningMutex);
            std::erase(running, server_);
        }
        nb::gil_scoped_release released;
        server_.reset();
    }

private:
    std::shared_ptr<RunningExplore> server_;
    std::string url_;
    int port_;
};

}  // namespace

void bindExplore(nb::module_& module) {
    nb::class_<ExploreHandle>(module, "ExploreServer",
                              "The explore page of a copy of a network, served on 127.0.0.1 from a background thread.")
        .def_prop_ro("url", &ExploreHandle::url, "Its address, \"http://127.0.0.1:PORT/\".")
        .def_prop_ro("port", &ExploreHandle::port)
        .def_prop_ro("closed", &ExploreHandle::closed)
        .def("close", &ExploreHandle::close, "Stops serving and frees the port; closing again does nothing.");
    module.def(
        "explore",
        [](const samplenet::Network& network, const samplenet::InferenceOptions& options, int port,
           std::string title) { return new ExploreHandle(network, options, port, std::move(title)); },
        nb::arg("network"), nb::arg("options"), nb::arg("port"), nb::arg("title"), nb::rv_policy::take_ownership,
        "Serves the explore page for a copy of the network on 127.0.0.1 from a background thread.");
}

}  // namespace samplenet_python
