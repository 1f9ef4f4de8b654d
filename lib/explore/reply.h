#pragma once

#include <string>

namespace samplenet {

// What the explore server answers to one request.
struct Reply {
    int status = 200;
    std::string contentType = "application/json";
    std::string body;
    // The methods a path takes, for a 405 answer.
    std::string allow;
};

}  // namespace samplenet
