#include <nanobind/stl/string.h>

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "lib/explore/explore_server.h"
#include "python/src/bindings.h"

namespace nb = nanobind;

namespace samplenet_python {

namespace {

// A service with its server; both live until the interpreter exits.
struct RunningExplore {
    RunningExplore(std::string title, const samplenet::Network& network, const samplenet::InferenceOptions& options,
                   int port)
        : service(std::move(title), network, options), server(service, port) {}
    samplenet::ExploreService service;
    samplenet::ExploreServer server;
};

std::string explore(const samplenet::Network& network, const samplenet::InferenceOptions& options, int port,
                    std::string title) {
    static std::mutex mutex;
    static std::vector<std::unique_ptr<RunningExplore>> running;
    auto started = std::make_unique<RunningExplore>(std::move(title), network, options, port);
    std::string url = started->server.url();
    std::lock_guard lock(mutex);
    running.push_back(std::move(started));
    return url;
}

}  // namespace

void bindExplore(nb::module_& module) {
    module.def("explore", &explore, nb::arg("network"), nb::arg("options"), nb::arg("port"), nb::arg("title"),
               "Serves the explore page for a copy of the network on 127.0.0.1 from a background thread; returns "
               "its address.");
}

}  // namespace samplenet_python
