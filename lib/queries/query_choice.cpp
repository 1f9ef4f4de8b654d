#include "lib/queries/query_choice.h"

#include <stdexcept>

#include "lib/inference/automatic_choice.h"
#include "lib/queries/approximate_explanation.h"

namespace samplenet {

namespace {

// The exact tables within the options' memory limit.
ExactOptions exactOptions(const InferenceOptions& options) { return ExactOptions{options.memoryLimitBytes}; }

}  // namespace

QueryRun<Explanation> explainEvidence(const Network& network, const Evidence& evidence,
                                      const InferenceOptions& options, bool localSearch) {
    switch (options.algorithm) {
        case Algorithm::Exact:
            return {mostProbableExplanation(network, evidence, exactOptions(options)), Algorithm::Exact, ""};
        case Algorithm::Epis:
        case Algorithm::Ais:
            return {approximateExplanation(network, evidence, options, localSearch), options.algorithm, ""};
        case Algorithm::Auto: {
            const ExactVerdict exact = judgeExactInference(network, options);
            if (exact.quick)
                return {mostProbableExplanation(network, evidence, exactOptions(options)), Algorithm::Exact,
                        "exact: " + exact.why};
            InferenceOptions sampling = options;
            sampling.algorithm = Algorithm::Epis;
            return {approximateExplanation(network, evidence, sampling, localSearch), Algorithm::Epis,
                    "epis: " + exact.why};
        }
        case Algorithm::Lbp: break;
    }
    throw std::invalid_argument("lbp gives no explanation: use exact, epis, ais or auto");
}

QueryRun<JointPosterior> jointPosterior(const Network& network, const Evidence& evidence,
                                        const std::vector<int>& variables, const InferenceOptions& options) {
    if (options.algorithm != Algorithm::Exact && options.algorithm != Algorithm::Auto)
        throw std::invalid_argument("joint posteriors are computed exactly: use exact or auto");
    return {exactJointPosterior(network, evidence, variables, exactOptions(options)), Algorithm::Exact, ""};
}

}  // namespace samplenet
