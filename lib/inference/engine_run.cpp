#include "lib/inference/engine_run.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <map>
#include <string>

#include "engine/samplenet.h"
#include "lib/inference/likelihood_evidence.h"
#include "lib/inference/network_adapter.h"
#include "lib/inference/sampling_tallies.h"

namespace samplenet {

namespace {

constexpr int kNoWeight = -5;
constexpr int kZeroBelief = -26;

// Loopy belief propagation takes its round count from the propagation
// length of the record.
EpisParams engineParams(const InferenceOptions& options) {
    const EpisOptions& epis = options.epis;
    const int rounds = options.algorithm == Algorithm::Lbp ? options.lbpIterations : epis.propagationLength;
    return EpisParams{rounds,        epis.stateCountLimit1, epis.stateCountLimit2, epis.stateCountLimit3,
                      epis.epsilon1, epis.epsilon2,         epis.epsilon3,         epis.epsilon4};
}

using Driver = std::function<int(SampleNet&)>;

// The sampling run's standard errors, best samples and P(evidence), by
// variable: the engine's `nodes` are the network's `variables` and then any
// likelihood children.
void readSampling(const SamplingReport& sampling, int nodes, int variables, const NetworkAdapter& adapter,
                  const Evidence& evidence, InferenceResult& result) {
    result.samplesDrawn = sampling.drawn;
    result.standardErrors.resize(variables);
    result.bestSamples.assign(sampling.best.size(), std::vector<int>(variables));
    for (int node = 0; node < nodes; ++node)
        if (const int v = adapter.variableAt(node); v < variables) {
            result.standardErrors[v] = sampling.errors.standardErrors[node];
            for (std::size_t k = 0; k < sampling.best.size(); ++k) result.bestSamples[k][v] = sampling.best[k].states[node];
        }
    if (sampling.errors.effectiveSampleSize > 0.0) {
        result.logProbabilityOfEvidence = logProbabilityOfEvidence(sampling.errors.logMeanWeight, evidence);
        result.probabilityOfEvidenceRelativeError = sampling.errors.meanWeightRelativeError;
    }
}

// One observer per job of the options' watch, given the engine's order.
std::vector<BlockObserver*> watchersFor(const InferenceOptions& options, const NetworkAdapter& adapter, int variables) {
    if (!options.watch) return {};
    std::vector<std::size_t> rowOf(variables);
    for (int v = 0; v < variables; ++v) rowOf[v] = static_cast<std::size_t>(adapter.nodeOf(v));
    return options.watch->observers(rowOf, options.jobs);
}

// One engine run in the order the engine requires; the importance
// parameters are cleared on every way out. The drivers make the tables
// they fill (importance tables, learning sums) as they need them.
int runDriver(NetworkAdapter& adapter, const Driver& driver) {
    SampleNet net(adapter);
    struct ClearOnExit {
        SampleNet& net;
        ~ClearOnExit() { net.ClearImportanceParameter(); }
    } clear{net};
    net.CreatePropagationBuffers();
    return driver(net);
}

std::string quotedName(const Network& network, int v) { return "\"" + network.variables[v].name + "\""; }

// Names the variable a failure is about; a likelihood child stands for the
// variable that carries the likelihood.
std::string failedName(const Network& network, const Network& model, int v) {
    if (v >= network.size()) v = model.variables[v].parents.front();
    return quotedName(network, v);
}

std::string noWeightMessage(const std::string& variable, const InferenceOptions& options,
                            const std::optional<SamplingReport>& sampling) {
    if (sampling && sampling->lostToRange > 0)
        return "no sample kept a weight within the range of double: " + std::to_string(sampling->lostToRange) +
               " of " + std::to_string(sampling->drawn) + " samples were lost to underflow or overflow and " +
               std::to_string(sampling->impossible) + " were incompatible with the evidence";
    // A time budget can end a run before the requested count: say what was drawn.
    const long drawn = sampling ? sampling->drawn : sampleLimit(options);
    return "no sample was compatible with the evidence: " + variable + " got no weight from " +
           std::to_string(drawn) + " samples (the evidence may be too unlikely for this sample count)";
}

}  // namespace

InferenceResult engineRun(const Network& network, const Evidence& evidence, const InferenceOptions& options,
                          ShareDrawer* elsewhere) {
    const Network* model = &network;
    Network withLikelihoods;
    std::map<int, int> observed = evidence.hard;
    if (!evidence.likelihood.empty()) {
        withLikelihoods = network;
        observed = addLikelihoodChildren(withLikelihoods, evidence);
        model = &withLikelihoods;
    }

    RunClock clock(options.seed, sampleLimit(options), options.progress, timeBudget(options), options.cancellation);
    NetworkAdapter adapter(*model, observed, engineParams(options), sampleLimit(options), clock, options.jobs);
    std::optional<SamplingReport> sampling;
    std::optional<PropagationReport> propagation;
    Driver driver = [&](SampleNet& net) {
        return runLoopyPropagation(net, options.lbpTolerance, propagation.emplace());
    };
    if (options.algorithm != Algorithm::Lbp) {
        SamplingSettings settings{.jobs = options.jobs,
                                  .generator = options.generator,
                                  .targetError = options.targetError,
                                  .keepGoing = [&clock](long drawn) { return clock.poll(drawn); },
                                  .keepBestSamples = options.keepBestSamples,
                                  .tallies = {},
                                  .elsewhere = elsewhere,
                                  .watchers = {}};
        const ImportanceSampler sampler =
            options.algorithm == Algorithm::Ais ? ImportanceSampler::Ais : ImportanceSampler::Epis;
        // The engine orders the nodes as it starts: tallies use its order.
        driver = [&, settings, sampler](SampleNet& net) mutable {
            settings.tallies = talliesFor(options, adapter);
            settings.watchers = watchersFor(options, adapter, network.size());
            return runImportanceSampler(net, sampler, settings, sampling.emplace());
        };
    }
    const int code = runDriver(adapter, driver);
    clock.finish();
    const int failed = code == 0 ? -1 : adapter.recordFailure();

    InferenceResult result;
    result.seconds = clock.seconds();
    if (sampling) readSampling(*sampling, model->size(), network.size(), adapter, evidence, result);
    result.sampling = sampling;
    result.propagation = propagation;
    for (int v = 0; v < network.size(); ++v) {
        result.posteriors.push_back(adapter.beliefs(v));
        // Loopy belief propagation writes every belief at once without
        // validating any, so success alone vouches for them.
        result.valid.push_back(code == 0 || adapter.valid(v));
    }
    if (sampling) keepTallied(options, *sampling, result);
    if (code == 0) return result;
    if (code == kNoWeight)
        throw InferenceError(noWeightMessage(failedName(network, *model, failed), options, sampling), std::move(result));
    if (code == kZeroBelief)
        throw InferenceError(
            "belief propagation collapsed: its messages left a variable with no state compatible with the evidence, "
            "which loopy propagation can do even where the evidence is possible; exact inference or a sampler "
            "(-a wmb) can answer",
            std::move(result));
    throw InferenceError("inference failed with engine code " + std::to_string(code), std::move(result));
}


}  // namespace samplenet
