#pragma once

#include <cstddef>
#include <optional>

#include "lib/inference/inference.h"

namespace samplenet {

// Mini-bucket sampling: importance sampling whose proposal comes from a
// weighted mini-bucket elimination over the part of the network the
// evidence needs (its ancestors), with backtracking out of zeros; the other
// variables are drawn forward from their own tables. The bound on a
// mini-bucket's table is the largest whose messages fit the memory limit
// and a cap on set-up work, unless `entriesPerMiniBucket` fixes it.
//
// Takes a network and evidence that infer() has checked. Throws
// NetworkTooLargeError when not even the smallest bound fits the memory
// limit, InferenceError for evidence it finds impossible,
// std::invalid_argument for a joint posterior or best samples (not
// supported), RunCancelled when stopped.
InferenceResult inferByMiniBuckets(const Network& network, const Evidence& evidence, const InferenceOptions& options,
                                   std::optional<std::size_t> entriesPerMiniBucket = std::nullopt);

}  // namespace samplenet
