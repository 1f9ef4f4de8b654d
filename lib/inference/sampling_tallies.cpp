#include "lib/inference/sampling_tallies.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <stdexcept>

#include "lib/exact/junction_tree.h"
#include "lib/exact/saturating_arithmetic.h"
#include "lib/util/byte_size.h"

namespace samplenet {

void checkTallies(const Network& network, const InferenceOptions& options) {
    for (int v : options.queried)
        if (v < 0 || v >= network.size())
            throw std::invalid_argument("queried variable index " + std::to_string(v) + " is out of range");
    std::vector<int> sorted = options.joint;
    std::sort(sorted.begin(), sorted.end());
    if (std::adjacent_find(sorted.begin(), sorted.end()) != sorted.end())
        throw std::invalid_argument("a joint posterior names a variable twice");
    std::size_t entries = 1;
    for (int v : options.joint) {
        if (v < 0 || v >= network.size())
            throw std::invalid_argument("joint variable index " + std::to_string(v) + " is out of range");
        entries = saturatingMultiply(entries, static_cast<std::size_t>(network.variables[v].stateCount()));
    }
    // Each job keeps a sum and a sum of squares per entry; the sampler
    // indexes the table with 32 bits.
    const std::size_t bytes =
        saturatingMultiply(entries, 2 * sizeof(double) * static_cast<std::size_t>(std::max(1, options.jobs)));
    if (bytes > options.memoryLimitBytes || entries > std::numeric_limits<std::uint32_t>::max())
        throw NetworkTooLargeError("the joint posterior's table of " + std::to_string(entries) +
                                   " entries needs about " + describeBytes(bytes) +
                                   " for the samplers, above the memory limit of " +
                                   describeBytes(options.memoryLimitBytes));
}

SamplingPlan::Tallies talliesFor(const QuerySelection& query, const NetworkAdapter& adapter) {
    SamplingPlan::Tallies tallies;
    for (int v : query.queried) tallies.nodes.push_back(adapter.nodeOf(v));
    for (int v : query.joint) tallies.joint.push_back(adapter.nodeOf(v));
    return tallies;
}

void keepTallied(const QuerySelection& query, const SamplingReport& report, InferenceResult& result) {
    if (!query.joint.empty())
        result.joint = JointPosterior{query.joint, report.joint, report.errors.jointStandardErrors};
    if (query.queried.empty()) return;
    std::vector<bool> queried(result.posteriors.size(), false);
    for (int v : query.queried) queried[v] = true;
    for (std::size_t v = 0; v < result.posteriors.size(); ++v)
        if (!queried[v]) {
            result.posteriors[v].clear();
            result.standardErrors[v].clear();
            result.valid[v] = false;
        }
}

}  // namespace samplenet
