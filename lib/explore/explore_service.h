#pragma once

#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "lib/explore/explore_request.h"
#include "lib/explore/latest_wins_worker.h"
#include "lib/explore/reply.h"
#include "lib/inference/cancellation.h"
#include "lib/inference/inference.h"
#include "lib/model/network.h"

namespace samplenet {

// Everything the explore page asks of its server, without the sockets: one
// network read once, the inference options it runs with, and the answers.
//   GET  /                 the page
//   GET  /api/network      nodes, states, parents, the picture limit
//   POST /api/picture      {"nodes": [...]}: SVG of those nodes and their
//                          neighbours (all nodes when empty), cells linked
//   POST /api/posteriors   {"evidence": [...], "do": [...]}: posteriors as
//                          JSON, given the evidence with the nodes set
//   GET  /api/progress     the running inference's progress
// Errors are JSON {"error": message}: 400 for requests the command line
// would refuse (with its message), 404, 405, 409 for a request overtaken
// by a newer one, 422 for impossible evidence.
class ExploreService {
public:
    ExploreService(std::string title, Network network, InferenceOptions options);
    // Stops a run in progress rather than wait for it.
    ~ExploreService();
    ExploreService(const ExploreService&) = delete;
    ExploreService& operator=(const ExploreService&) = delete;

    // Safe to call from many threads at once; inference runs one at a time
    // on the service's own thread.
    Reply handle(std::string_view method, std::string_view path, std::string_view body);

private:
    struct RunProgress {
        bool running = false;
        Progress progress;
    };

    Reply networkReply() const;
    Reply pictureReply(std::string_view body);
    Reply posteriorsReply(std::string_view body);
    Reply progressReply() const;
    Reply infer(const PosteriorsRequest& request);

    const std::string title;
    const Network network;
    const InferenceOptions options;
    LatestWinsWorker worker;
    mutable std::mutex mutex;  // guards the three below
    std::optional<std::string> wholePicture;
    RunProgress progress;
    // Stops the run in progress, which a newer request makes stale.
    std::shared_ptr<StopToken> stopRunning;
};

// {"error": message}, with the status.
Reply errorReply(int status, const std::string& message);

}  // namespace samplenet
