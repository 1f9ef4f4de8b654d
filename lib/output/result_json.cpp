#include "lib/output/result_json.h"

#include "lib/inference/answer_reliability.h"

namespace samplenet {

const char* const kConvergedMeans =
    "a fixed point was reached (no belief changed by more than the tolerance), not that the beliefs are accurate: "
    "loopy belief propagation gives no error bound";

namespace {

void addSamplingJson(nlohmann::ordered_json& json, const InferenceResult& result) {
    const InferenceOptions& options = result.settings;
    // An uncapped target-error run has no sample count: null.
    json["samples"] = drawsToTargetUncapped(options) ? nlohmann::json(nullptr) : nlohmann::json(sampleLimit(options));
    json["samples_drawn"] = result.samplesDrawn.value_or(sampleLimit(options));
    json["jobs"] = options.jobs;
    json["generator"] = options.generator == Generator::Standard ? "standard" : "wide";
    if (const auto& sampling = result.sampling) {
        json["effective_sample_size"] = sampling->errors.effectiveSampleSize;
        if (result.logProbabilityOfEvidence) {
            json["ln_probability_of_evidence"] = *result.logProbabilityOfEvidence;
            json["probability_of_evidence_relative_error"] = *result.probabilityOfEvidenceRelativeError;
        }
        json["distinct_samples"] = sampling->distinct;
        json["largest_standard_error"] = sampling->errors.largestStandardError;
        json["error_bound"] = sampling->errors.errorBound;
        const Reliability reliability = judgeReliability(*sampling);
        json["reliable"] = reliability.reliable;
        if (!reliability.reliable) json["warning"] = reliability.warning;
        if (options.targetError) {
            json["target_error"] = *options.targetError;
            json["target_met"] = sampling->targetMet.value_or(false);
        }
        json["zero_weight_samples"] = sampling->impossible + sampling->lostToRange;
        json["samples_lost_to_range"] = sampling->lostToRange;
        json["samples_outside_double_range"] = sampling->outsideDouble;
    }
    if (const auto& buckets = result.miniBuckets) {
        json["mini_bucket_bound"] = buckets->entriesPerMiniBucket;
        json["message_entries"] = buckets->messageEntries;
        json["split_buckets"] = buckets->splitBuckets;
        json["backtracks"] = result.sampling ? result.sampling->backtracks : 0;
    }
    json["seed"] = options.seed ? nlohmann::ordered_json(*options.seed) : nlohmann::ordered_json(nullptr);
}

}  // namespace

void addRunJson(nlohmann::ordered_json& json, const InferenceResult& result) {
    const InferenceOptions& options = result.settings;
    json["algorithm"] = algorithmName(options.algorithm);
    if (!result.choice.empty()) json["chosen_because"] = result.choice;
    if (options.algorithm == Algorithm::Lbp) {
        json["iterations"] = options.lbpIterations;
        if (options.lbpTolerance && result.propagation) {
            json["tolerance"] = *options.lbpTolerance;
            json["iterations_run"] = result.propagation->iterations;
            json["last_change"] = result.propagation->lastChange;
            json["converged"] = result.propagation->converged;
            json["converged_means"] = kConvergedMeans;
        }
    } else if (options.algorithm == Algorithm::Exact) {
        json["ln_probability_of_evidence"] = *result.logProbabilityOfEvidence;
    } else {
        addSamplingJson(json, result);
    }
    json["seconds"] = result.seconds;
}

}  // namespace samplenet
