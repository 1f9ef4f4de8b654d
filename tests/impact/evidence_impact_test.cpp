#include "lib/impact/evidence_impact.h"

#include <gtest/gtest.h>

#include <string>

#include "lib/model/errors.h"
#include "tests/impact/network_enumeration.h"
#include "tests/support/error_message.h"
#include "tests/support/sampling_options.h"

namespace {

using samplenet::Algorithm;
using samplenet::Evidence;
using samplenet::EvidenceImpact;
using samplenet::Network;

using impact_testing::asia;
using impact_testing::node;

samplenet::InferenceOptions optionsFor(Algorithm algorithm) { return testing_support::samplingOptions(algorithm, 20000, 3); }

EvidenceImpact impactOn(const Evidence& evidence, int target, Algorithm algorithm) {
    return samplenet::evidenceImpact(asia(), evidence, target, samplenet::unobservedCandidates(asia(), evidence, target, {}),
                                     optionsFor(algorithm));
}

// Every candidate's mutual information and P(target | e, candidate = c)
// against enumeration, within `errors` standard errors where sampled.
void expectEnumeratedFigures(const EvidenceImpact& impact, const Evidence& evidence, double errors) {
    const int target = impact.target;
    for (const auto& candidate : impact.candidates) {
        const auto joint =
            impact_testing::pairPosterior(asia(), candidate.variable, target, evidence.hard, evidence.likelihood);
        const std::string name = asia().variables[candidate.variable].name;
        const double tolerance = candidate.standardError ? errors * *candidate.standardError : 1e-12;
        EXPECT_NEAR(candidate.mutualInformationBits, impact_testing::mutualInformation(joint), tolerance) << name;
        for (std::size_t c = 0; c < joint.size(); ++c) {
            const double pc = joint[c][0] + joint[c][1];
            const auto& given = candidate.targetGiven[c];
            if (pc == 0.0) {
                EXPECT_TRUE(given.probabilities.empty()) << name;
                continue;
            }
            const double spread = given.standardErrors.empty() ? 1e-12 : errors * given.standardErrors[0];
            EXPECT_NEAR(given.probabilities[0], joint[c][0] / pc, spread) << name << " state " << c;
        }
    }
}

TEST(EvidenceImpact, ExactFiguresMatchEnumerationMostInformativeFirst) {
    Evidence evidence;
    evidence.hard[node("dysp")] = 0;
    const EvidenceImpact impact = impactOn(evidence, node("either"), Algorithm::Exact);
    EXPECT_EQ(impact.runs, 3);
    ASSERT_EQ(impact.candidates.size(), 6u);
    expectEnumeratedFigures(impact, evidence, 0);
    EXPECT_EQ(asia().variables[impact.candidates[0].variable].name, "lung");
    for (std::size_t i = 1; i < impact.candidates.size(); ++i)
        EXPECT_GE(impact.candidates[i - 1].mutualInformationBits, impact.candidates[i].mutualInformationBits);
    EXPECT_NEAR(impact.targetEntropyBits, samplenet::entropyBits(impact.targetPosterior.probabilities), 1e-15);
}

TEST(EvidenceImpact, LikelihoodOnTheTargetAndImpossibleTargetStates) {
    Evidence soft;
    soft.likelihood[node("either")] = {0.9, 0.2};
    soft.hard[node("xray")] = 0;
    expectEnumeratedFigures(impactOn(soft, node("either"), Algorithm::Exact), soft, 0);

    // Given lung cancer, "either" is certain: one run for it, none for its
    // impossible state, and nothing to learn.
    Evidence lung;
    lung.hard[node("lung")] = 0;
    const EvidenceImpact certain = impactOn(lung, node("either"), Algorithm::Exact);
    EXPECT_EQ(certain.runs, 2);
    EXPECT_EQ(certain.targetEntropyBits, 0.0);
    for (const auto& candidate : certain.candidates) EXPECT_EQ(candidate.mutualInformationBits, 0.0);
}

TEST(EvidenceImpact, SampledFiguresLieWithinTheirErrorsOfEnumeration) {
    Evidence evidence;
    evidence.hard[node("dysp")] = 0;
    for (Algorithm algorithm : {Algorithm::Epis, Algorithm::Ais}) {
        const EvidenceImpact impact = impactOn(evidence, node("either"), algorithm);
        ASSERT_FALSE(impact.targetPosterior.standardErrors.empty());
        for (const auto& candidate : impact.candidates) ASSERT_GT(candidate.standardError.value_or(0.0), 0.0);
        expectEnumeratedFigures(impact, evidence, 4);
        EXPECT_EQ(*impact.used.seed, 3);
    }
}

void expectRefused(const Evidence& evidence, int target, const std::vector<int>& candidates, const std::string& message) {
    EXPECT_EQ(testing_support::messageOf<samplenet::EvidenceError>(
                  [&] { samplenet::evidenceImpact(asia(), evidence, target, candidates, optionsFor(Algorithm::Exact)); }),
              message);
}

TEST(EvidenceImpact, RefusesAnObservedTargetAndCandidatesObservedOrTheTarget) {
    Evidence evidence;
    evidence.hard[node("xray")] = 0;
    expectRefused(evidence, node("xray"), {node("lung")},
                  "the target \"xray\" is observed: there is nothing left to learn about it");
    expectRefused(evidence, node("lung"), {node("xray")}, "the candidate \"xray\" is observed already");
    expectRefused(evidence, node("lung"), {node("lung")}, "the target \"lung\" cannot be its own candidate");
}

}  // namespace
