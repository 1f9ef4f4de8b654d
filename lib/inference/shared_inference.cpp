#include "lib/inference/shared_inference.h"

#include <stdexcept>
#include <string>

#include "lib/inference/algorithm.h"
#include "lib/inference/named_run.h"
#include "lib/inference/option_registry.h"

namespace samplenet {

InferenceResult inferOnShares(const Network& network, const Evidence& evidence, const InferenceOptions& options,
                              ShareDrawer& drawer) {
    checkOptions(options);
    if (!algorithmEntry(options.algorithm).engineSampler)
        throw std::invalid_argument("samples in shares are drawn by " +
                                    algorithmNamesWhere(&AlgorithmEntry::engineSampler) + " alone, not " +
                                    std::string(algorithmName(options.algorithm)));
    if (options.keepBestSamples > 0)
        throw std::invalid_argument("samples drawn in shares are not kept: best samples need a local run");
    if (options.watch) throw std::invalid_argument("samples drawn in shares cannot be watched: that needs a local run");
    return runNamedAlgorithm(network, evidence, options, &drawer);
}

}  // namespace samplenet
