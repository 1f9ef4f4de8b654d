#include "lib/inference/named_run.h"

#include <chrono>
#include <stdexcept>
#include <functional>
#include <string>

#include "lib/exact/exact_query.h"
#include "lib/exact/saturating_arithmetic.h"
#include "lib/inference/engine_run.h"
#include "lib/inference/mini_bucket_run.h"
#include "lib/inference/pilot_run.h"
#include "lib/inference/propagated_sampling_run.h"
#include "lib/inference/sampling_tallies.h"
#include "lib/model/errors.h"
#include "lib/model/evidence_check.h"
#include "lib/util/byte_size.h"

namespace samplenet {

namespace {

std::string quotedName(const Network& network, int v) { return "\"" + network.variables[v].name + "\""; }

// Copies of the network's tables a run makes, about four: the engine's
// importance table and what the samplers add up, and the sampling plan's
// two doubles per entry (or, for LBP, the copy of a network that validation
// renormalises). Exact inference measures its clique tables once the
// network is known to be valid.
void checkTableCopies(const Network& network, const InferenceOptions& options) {
    std::size_t entries = 0;
    for (const Variable& variable : network.variables) entries = saturatingAdd(entries, variable.table.size());
    const std::size_t copies = options.algorithm == Algorithm::Exact ? 1 : 4;
    const std::size_t bytes = saturatingMultiply(copies * sizeof(double), entries);
    if (bytes > options.memoryLimitBytes)
        throw NetworkTooLargeError(std::string(algorithmName(options.algorithm)) + " needs about " + describeBytes(bytes) +
                                   " for its copies of the network's tables, above the memory limit of " +
                                   describeBytes(options.memoryLimitBytes) + "; raise it with --memory-limit");
}

InferenceResult exactRun(const Network& network, const Evidence& evidence, const InferenceOptions& options) {
    const auto start = std::chrono::steady_clock::now();
    CancellationPoller poller(options.cancellation);
    const std::function<void()> checkpoint = [&poller] { poller.step(); };
    ExactResult exact;
    try {
        exact = inferExactly(network, evidence, options.queried, ExactOptions{options.memoryLimitBytes, checkpoint});
    } catch (const EvidenceError& error) {
        // The evidence's shape was checked before: what is left is evidence
        // of probability zero.
        throw InferenceError(error.what(), InferenceResult{});
    }
    InferenceResult result;
    result.posteriors = std::move(exact.posteriors);
    for (const auto& posterior : result.posteriors) result.valid.push_back(!posterior.empty());
    result.logProbabilityOfEvidence = exact.logProbabilityOfEvidence;
    result.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    return result;
}

InferenceResult dispatch(const Network& network, const Evidence& evidence, const InferenceOptions& options,
                         ShareDrawer* elsewhere) {
    const AlgorithmEntry& entry = algorithmEntry(options.algorithm);
    const std::string name(entry.name);
    if (options.watch && !entry.showsSamples)
        throw std::invalid_argument(name + " shows no samples to watch; use " +
                                    algorithmNamesWhere(&AlgorithmEntry::showsSamples));
    // Exact inference and propagation have no samples to add up or keep.
    if (entry.samples && !entry.engineSampler) {
        const std::string instead = "; use " + algorithmNamesWhere(&AlgorithmEntry::engineSampler);
        if (!options.joint.empty()) throw std::invalid_argument(name + " does not add up joint posteriors" + instead);
        if (options.keepBestSamples > 0) throw std::invalid_argument(name + " does not keep best samples" + instead);
    }
    switch (options.algorithm) {
        case Algorithm::Epis:
        case Algorithm::Ais:
        case Algorithm::Lbp: return engineRun(network, evidence, options, elsewhere);
        case Algorithm::Exact: return exactRun(network, evidence, options);
        case Algorithm::MiniBucket: return inferByMiniBuckets(network, evidence, options);
        case Algorithm::Propagated: return inferByPropagatedImportance(network, evidence, options);
        case Algorithm::Pilot: return inferByPilotedProposal(network, evidence, options);
        case Algorithm::Auto: break;
    }
    throw std::invalid_argument("auto is not an algorithm that runs by itself");
}

}  // namespace

InferenceResult runNamedAlgorithm(const Network& given, const Evidence& evidence, const InferenceOptions& options,
                                  ShareDrawer* elsewhere) {
    checkTableCopies(given, options);
    // The engine trusts what it is given, so a network built in code is
    // checked here like one read from a file; it is copied only when the
    // check changes it (columns to renormalise): on a large network the copy
    // would be the size of the whole network again.
    Network renormalised;
    const Network* checked = &given;
    if (!isValidAsIs(given)) {
        renormalised = given;
        validate(renormalised);
        checked = &renormalised;
    }
    const Network& network = *checked;
    checkEvidenceShape(network, evidence);
    checkTallies(network, options);
    if (const auto v = findImpossibleVariable(network, evidence))
        throw InferenceError("the evidence is impossible under the model: no state of " + quotedName(network, *v) +
                                 " is compatible with it",
                             InferenceResult{});
    InferenceResult result = dispatch(network, evidence, options, elsewhere);
    result.settings = options;
    return result;
}

}  // namespace samplenet
