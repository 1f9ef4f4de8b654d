#include "lib/queries/query_choice.h"

#include <chrono>
#include <stdexcept>

#include "lib/inference/algorithm.h"
#include "lib/inference/automatic_choice.h"
#include "lib/inference/cancellation.h"
#include "lib/inference/inference_errors.h"
#include "lib/queries/approximate_explanation.h"
#include "lib/model/errors.h"
#include "lib/queries/sampled_map.h"

namespace samplenet {

namespace {

// The exact tables within the options' memory limit, stopping when their
// cancellation says so.
class ExactSettings {
public:
    explicit ExactSettings(const InferenceOptions& options)
        : poller(options.cancellation), settings{options.memoryLimitBytes, [this] { poller.step(); }} {}
    ExactSettings(const ExactSettings&) = delete;
    ExactSettings& operator=(const ExactSettings&) = delete;
    const ExactOptions& get() const { return settings; }

private:
    CancellationPoller poller;
    ExactOptions settings;
};

// The run of `query`, with its time and, when it sampled, its seed. Evidence
// of probability zero fails the run as it fails a posterior's.
template <class Query>
auto timed(const InferenceOptions& options, Query query) {
    const auto start = std::chrono::steady_clock::now();
    auto run = [&] {
        try {
            return query();
        } catch (const ImpossibleEvidenceError& error) {
            throw InferenceError(error.what(), InferenceResult{});
        }
    }();
    run.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    if (run.algorithm != Algorithm::Exact) run.seed = options.seed;
    return run;
}

QueryRun<Explanation> explainEvidenceUntimed(const Network& network, const Evidence& evidence,
                                      const InferenceOptions& options, bool localSearch) {
    switch (options.algorithm) {
        case Algorithm::Exact:
            return {mostProbableExplanation(network, evidence, ExactSettings(options).get()), Algorithm::Exact, ""};
        case Algorithm::Epis:
        case Algorithm::Ais:
            return {approximateExplanation(network, evidence, options, localSearch), options.algorithm, ""};
        case Algorithm::Auto: {
            const ExactVerdict exact = judgeExactInference(network, evidence, options);
            if (exact.quick)
                return {mostProbableExplanation(network, evidence, ExactSettings(options).get()), Algorithm::Exact,
                        "exact: " + exact.why};
            InferenceOptions sampling = options;
            sampling.algorithm = Algorithm::Epis;
            return {approximateExplanation(network, evidence, sampling, localSearch), Algorithm::Epis,
                    "epis: " + exact.why};
        }
        case Algorithm::Lbp:
        case Algorithm::MiniBucket:
        case Algorithm::Propagated:
        case Algorithm::Pilot: break;
    }
    throw std::invalid_argument(whyNoAnswer(options.algorithm, Query::Explanation));
}

// The sampled answer, its method in the choice line (after `why`, for auto).
QueryRun<Explanation> sampledStates(const Network& network, const Evidence& evidence, const std::vector<int>& variables,
                                    const InferenceOptions& options, const std::string& why) {
    SampledMap sampled = sampledMaximumAPosteriori(network, evidence, variables, options);
    return {std::move(sampled.explanation), options.algorithm, why + sampled.report.how,
            std::move(sampled.report.sampling)};
}

QueryRun<Explanation> mostProbableStatesUntimed(const Network& network, const Evidence& evidence,
                                         const std::vector<int>& variables, const InferenceOptions& options) {
    switch (options.algorithm) {
        case Algorithm::Exact:
            return {maximumAPosteriori(network, evidence, variables, ExactSettings(options).get()), Algorithm::Exact,
                    ""};
        case Algorithm::Epis:
        case Algorithm::Ais:
        case Algorithm::Propagated:
        case Algorithm::MiniBucket: return sampledStates(network, evidence, variables, options, "");
        case Algorithm::Auto: {
            std::string why;
            try {
                return {maximumAPosteriori(network, evidence, variables, ExactSettings(options).get()),
                        Algorithm::Exact, "exact: the elimination over the chosen nodes fits the memory limit"};
            } catch (const ExactMemoryError& error) {
                why = error.what();
            }
            InferenceOptions sampling = options;
            sampling.algorithm = Algorithm::Epis;
            return sampledStates(network, evidence, variables, sampling, "epis: exact elimination does not fit (" + why + "); ");
        }
        case Algorithm::Lbp:
        case Algorithm::Pilot: break;
    }
    throw std::invalid_argument(whyNoAnswer(options.algorithm, Query::MostProbableStates));
}

QueryRun<JointPosterior> jointPosteriorUntimed(const Network& network, const Evidence& evidence,
                                        const std::vector<int>& variables, const InferenceOptions& options) {
    // The samplers add up the joint and its variables' marginals alone.
    InferenceOptions sampling = options;
    sampling.joint = variables;
    sampling.queried = variables;
    switch (options.algorithm) {
        case Algorithm::Exact:
            return {exactJointPosterior(network, evidence, variables, ExactSettings(options).get()), Algorithm::Exact,
                    ""};
        case Algorithm::Epis:
        case Algorithm::Ais: {
            InferenceResult result = infer(network, evidence, sampling);
            return {std::move(*result.joint), options.algorithm, "", std::move(result.sampling)};
        }
        case Algorithm::Auto: {
            const ExactVerdict exact = judgeExactInference(network, evidence, options);
            if (exact.quick)
                return {exactJointPosterior(network, evidence, variables, ExactSettings(options).get()),
                        Algorithm::Exact, "exact: " + exact.why};
            InferenceResult run = sampleAutomatically(network, evidence, sampling, exact.why);
            if (!run.joint)
                throw InferenceError("no sample was compatible with the evidence, so there is no joint posterior: " +
                                         run.choice,
                                     std::move(run));
            return {std::move(*run.joint), run.settings.algorithm, run.choice, std::move(run.sampling)};
        }
        case Algorithm::Lbp:
        case Algorithm::MiniBucket:
        case Algorithm::Propagated:
        case Algorithm::Pilot: break;
    }
    throw std::invalid_argument(whyNoAnswer(options.algorithm, Query::JointPosterior));
}

}  // namespace

QueryRun<Explanation> explainEvidence(const Network& network, const Evidence& evidence,
                                      const InferenceOptions& options, bool localSearch) {
    return timed(options, [&] { return explainEvidenceUntimed(network, evidence, options, localSearch); });
}

QueryRun<Explanation> mostProbableStates(const Network& network, const Evidence& evidence,
                                         const std::vector<int>& variables, const InferenceOptions& options) {
    return timed(options, [&] { return mostProbableStatesUntimed(network, evidence, variables, options); });
}

QueryRun<JointPosterior> jointPosterior(const Network& network, const Evidence& evidence,
                                        const std::vector<int>& variables, const InferenceOptions& options) {
    return timed(options, [&] { return jointPosteriorUntimed(network, evidence, variables, options); });
}

}  // namespace samplenet
