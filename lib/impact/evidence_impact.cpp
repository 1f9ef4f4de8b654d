#include "lib/impact/evidence_impact.h"

#include <algorithm>
#include <random>

#include "lib/batch/batch_case.h"
#include "lib/inference/answer_reliability.h"
#include "lib/model/errors.h"

namespace samplenet {

namespace {

std::string quotedName(const Network& network, int v) { return "\"" + network.variables[v].name + "\""; }

void checkQuestion(const Network& network, const Evidence& evidence, int target, const std::vector<int>& candidates) {
    if (evidence.hard.count(target))
        throw EvidenceError("the target " + quotedName(network, target) +
                            " is observed: there is nothing left to learn about it");
    for (int c : candidates) {
        if (c == target)
            throw EvidenceError("the target " + quotedName(network, target) + " cannot be its own candidate");
        if (evidence.hard.count(c))
            throw EvidenceError("the candidate " + quotedName(network, c) + " is observed already");
    }
}

EstimatedDistribution estimated(const InferenceResult& result, int v) {
    return {result.posteriors[v], result.standardErrors.empty() ? std::vector<double>{} : result.standardErrors[v]};
}

void noteReliability(const InferenceResult& result, const std::string& run, EvidenceImpact& impact) {
    if (const Reliability reliability = judgeReliability(result); !reliability.reliable)
        impact.warnings.push_back(run + ": " + reliability.warning);
    impact.seconds += result.seconds;
    ++impact.runs;
}

// The first run: P(target | evidence), and the options every later run
// takes (what Auto chose, and the seed they derive theirs from).
InferenceResult targetRun(const Network& network, const Evidence& evidence, int target,
                          const std::vector<int>& candidates, InferenceOptions options, EvidenceImpact& impact) {
    if (!options.seed) options.seed = static_cast<long>(std::random_device{}() & 0x7fff);
    // Auto judges the query the later runs make too.
    options.queried = candidates;
    options.queried.push_back(target);
    InferenceResult result = infer(network, evidence, options);
    impact.used = result.settings;
    impact.choice = result.choice;
    noteReliability(result, "the run for the target", impact);
    return result;
}

}  // namespace

std::vector<int> unobservedCandidates(const Network& network, const Evidence& evidence, int target,
                                      const std::vector<int>& excluded) {
    std::vector<int> candidates;
    for (int v = 0; v < network.size(); ++v)
        if (v != target && !evidence.hard.count(v) && std::find(excluded.begin(), excluded.end(), v) == excluded.end())
            candidates.push_back(v);
    return candidates;
}

EvidenceImpact evidenceImpact(const Network& network, const Evidence& evidence, int target,
                              const std::vector<int>& candidates, const InferenceOptions& options) {
    checkQuestion(network, evidence, target, candidates);
    EvidenceImpact impact;
    impact.target = target;
    const InferenceResult first = targetRun(network, evidence, target, candidates, options, impact);
    impact.targetPosterior = estimated(first, target);
    impact.targetEntropyBits = entropyBits(impact.targetPosterior.probabilities);

    const Variable& variable = network.variables[target];
    std::vector<InferenceResult> givenTarget(variable.stateCount());
    for (int t = 0; t < variable.stateCount() && !candidates.empty(); ++t) {
        if (impact.targetPosterior.probabilities[t] <= 0.0) continue;
        Evidence withTarget = evidence;
        // A likelihood on the target is a constant once its state is known.
        withTarget.likelihood.erase(target);
        withTarget.hard[target] = t;
        InferenceOptions run = impact.used;
        run.queried = candidates;
        run.seed = caseSeed(*impact.used.seed, static_cast<std::size_t>(t));
        givenTarget[t] = infer(network, withTarget, run);
        noteReliability(givenTarget[t], "the run with " + variable.name + "=" + variable.states[t], impact);
    }

    for (int c : candidates) {
        std::vector<EstimatedDistribution> candidateGivenTarget(variable.stateCount());
        for (int t = 0; t < variable.stateCount(); ++t)
            if (!givenTarget[t].posteriors.empty()) candidateGivenTarget[t] = estimated(givenTarget[t], c);
        CandidateInformation information = candidateInformation(impact.targetPosterior, candidateGivenTarget);
        CandidateImpact& entry = impact.candidates.emplace_back();
        entry.variable = c;
        entry.mutualInformationBits = information.mutualInformationBits;
        if (!information.candidate.standardErrors.empty()) entry.standardError = information.mutualInformationError;
        entry.probabilities = std::move(information.candidate);
        entry.targetGiven = std::move(information.targetGiven);
    }
    std::stable_sort(impact.candidates.begin(), impact.candidates.end(),
                     [](const CandidateImpact& a, const CandidateImpact& b) {
                         return a.mutualInformationBits > b.mutualInformationBits;
                     });
    return impact;
}

}  // namespace samplenet
