#pragma once

#include <optional>
#include <string>
#include <vector>

#include "lib/inference/inference.h"
#include "lib/queries/joint_posterior.h"
#include "lib/queries/maximum_a_posteriori.h"
#include "lib/queries/most_probable_explanation.h"

namespace samplenet {

// An answer and what produced it: "exact", "epis" or "ais", and, for the
// automatic choice, why.
template <class Answer>
struct QueryRun {
    Answer answer;
    Algorithm algorithm;
    std::string choice;
    // An answer added up from samples: what the sampling did.
    std::optional<SamplingReport> sampling = std::nullopt;
    // The seed of a sampled answer (none when exact or seeded by the clock)
    // and the time the query took.
    std::optional<long> seed = std::nullopt;
    double seconds = 0.0;
};

// The most probable explanation by the options' algorithm: exact, or the
// samplers' best sample improved by the local search. Auto takes exact
// inference where it is quick (as for posteriors) and EPIS-BN otherwise.
// LBP has no explanation to give: std::invalid_argument.
QueryRun<Explanation> explainEvidence(const Network& network, const Evidence& evidence,
                                      const InferenceOptions& options, bool localSearch = true);

// The jointly most probable states of a few variables given the evidence,
// every other variable summed out (an Explanation whose other states are
// -1). Exact, or approximate with a sampler (sampledMaximumAPosteriori; the
// choice says how it was found). Auto is exact where the elimination fits
// the memory limit and EPIS-BN's approximation otherwise. LBP is refused
// with std::invalid_argument.
QueryRun<Explanation> mostProbableStates(const Network& network, const Evidence& evidence,
                                         const std::vector<int>& variables, const InferenceOptions& options);

// The joint posterior of a few variables: exact by elimination, or added up
// from the samples of EPIS-BN or AIS-BN, with a standard error per entry.
// Auto takes exact inference where it is quick, and otherwise EPIS-BN to a
// target error, as for posteriors. LBP is refused with
// std::invalid_argument.
QueryRun<JointPosterior> jointPosterior(const Network& network, const Evidence& evidence,
                                        const std::vector<int>& variables, const InferenceOptions& options);

}  // namespace samplenet
