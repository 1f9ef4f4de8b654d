#pragma once

#include <stdexcept>
#include <string>
#include <utility>

#include "lib/inference/inference_result.h"

namespace samplenet {

// The network is too large for the chosen algorithm within the memory limit.
class NetworkTooLargeError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// Inference that could not produce posteriors: the evidence is impossible,
// or no sample was compatible with it. `partial` holds what was computed.
class InferenceError : public std::runtime_error {
public:
    InferenceError(const std::string& message, InferenceResult partial)
        : std::runtime_error(message), partial(std::move(partial)) {}
    InferenceResult partial;
};

}  // namespace samplenet
