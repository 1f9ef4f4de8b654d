#include "lib/impact/evidence_impact.h"
#include "lib/impact/intervention.h"

#include <gtest/gtest.h>

#include <string>

#include "lib/model/errors.h"
#include "tests/impact/network_enumeration.h"
#include "tests/support/brute_force.h"
#include "tests/support/error_message.h"
#include "tests/support/sampling_options.h"

namespace {

using samplenet::Algorithm;
using samplenet::Evidence;
using samplenet::EvidenceImpact;
using samplenet::Interventions;
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

void expectImpactRefused(const Evidence& evidence, int target, const std::vector<int>& candidates, const std::string& message) {
    EXPECT_EQ(testing_support::messageOf<samplenet::EvidenceError>(
                  [&] { samplenet::evidenceImpact(asia(), evidence, target, candidates, optionsFor(Algorithm::Exact)); }),
              message);
}

TEST(EvidenceImpact, RefusesAnObservedTargetAndCandidatesObservedOrTheTarget) {
    Evidence evidence;
    evidence.hard[node("xray")] = 0;
    expectImpactRefused(evidence, node("xray"), {node("lung")},
                  "the target \"xray\" is observed: there is nothing left to learn about it");
    expectImpactRefused(evidence, node("lung"), {node("xray")}, "the candidate \"xray\" is observed already");
    expectImpactRefused(evidence, node("lung"), {node("lung")}, "the target \"lung\" cannot be its own candidate");
}

// P(v | evidence, do(interventions)) for every v by the truncated product:
// the joint without the set variables' tables, restricted to their states.
std::vector<std::vector<double>> truncatedProductPosteriors(const Evidence& evidence, const Interventions& set) {
    std::vector<int> skipped;
    for (const auto& [v, state] : set) skipped.push_back(v);
    std::vector<std::vector<double>> posteriors;
    for (const auto& variable : asia().variables) posteriors.emplace_back(variable.stateCount(), 0.0);
    double total = 0.0;
    testing_support::enumerateJointStates(asia(), skipped, [&](const std::vector<int>& states, double p) {
        for (const auto* fixed : {&evidence.hard, &set})
            for (const auto& [v, state] : *fixed)
                if (states[v] != state) return;
        for (int v = 0; v < asia().size(); ++v) posteriors[v][states[v]] += p;
        total += p;
    });
    for (auto& posterior : posteriors)
        for (double& p : posterior) p /= total;
    return posteriors;
}

samplenet::InferenceResult inferWith(Algorithm algorithm, const Network& network, const Evidence& evidence) {
    return samplenet::infer(network, evidence, testing_support::samplingOptions(algorithm, 200000, 11));
}

TEST(Intervention, EveryAlgorithmOnTheCutNetworkAgreesWithTheTruncatedProduct) {
    const Interventions set{{node("lung"), 0}, {node("bronc"), 1}};
    Evidence evidence;
    evidence.hard[node("dysp")] = 0;
    const Network cut = samplenet::intervene(asia(), set);
    const auto expected = truncatedProductPosteriors(evidence, set);
    for (Algorithm algorithm : {Algorithm::Exact, Algorithm::Epis, Algorithm::Ais, Algorithm::Lbp}) {
        const auto result = inferWith(algorithm, cut, evidence);
        // Asia's loop through either makes lbp approximate; the samplers draw 200,000 samples.
        const double tolerance = algorithm == Algorithm::Exact ? 1e-12 : 0.02;
        for (int v = 0; v < asia().size(); ++v)
            for (std::size_t s = 0; s < expected[v].size(); ++s)
                EXPECT_NEAR(result.posteriors[v][s], expected[v][s], tolerance)
                    << samplenet::algorithmName(algorithm) << " " << asia().variables[v].name;
    }
}

TEST(Intervention, SettingACauseMovesItsEffectsButNotItsCausesAsObservingItDoes) {
    const int smoke = node("smoke");
    const int lung = node("lung");
    const int xray = node("xray");
    const Network cut = samplenet::intervene(asia(), {{lung, 0}});
    EXPECT_TRUE(cut.variables[lung].parents.empty());
    EXPECT_EQ(cut.variables[lung].table, (std::vector<double>{1.0, 0.0}));
    for (int v = 0; v < asia().size(); ++v)
        if (v != lung) {
            EXPECT_EQ(cut.variables[v].table, asia().variables[v].table);
        }

    const auto intervened = inferWith(Algorithm::Exact, cut, {});
    Evidence observed;
    observed.hard[lung] = 0;
    const auto conditioned = inferWith(Algorithm::Exact, asia(), observed);
    EXPECT_NEAR(intervened.posteriors[smoke][0], asia().variables[smoke].table[0], 1e-12);
    EXPECT_GT(conditioned.posteriors[smoke][0], asia().variables[smoke].table[0] + 0.1);
    // Downstream, setting and observing agree.
    EXPECT_NEAR(intervened.posteriors[xray][0], conditioned.posteriors[xray][0], 1e-12);
}

void expectInterventionRefused(const std::vector<std::string>& texts, const Evidence& evidence, const std::string& message) {
    EXPECT_EQ(testing_support::messageOf<samplenet::EvidenceError>([&] {
                  Interventions set;
                  for (const std::string& text : texts) samplenet::addIntervention(asia(), text, set);
                  samplenet::checkInterventions(asia(), evidence, set);
              }),
              message);
}

TEST(Intervention, RefusesUnknownNodesAndStatesMalformedTextRepeatsAndObservedNodes) {
    expectInterventionRefused({"lungs=yes"}, {}, "unknown node \"lungs\" in an intervention");
    expectInterventionRefused({"lung=maybe"}, {}, "unknown state \"maybe\" of \"lung\" in an intervention; valid states: yes, no");
    expectInterventionRefused({"lung"}, {}, "intervention \"lung\" is not of the form NODE=STATE");
    expectInterventionRefused({"lung=yes", "lung = no"}, {}, "the intervention on \"lung\" is given twice");
    Evidence soft;
    soft.likelihood[node("lung")] = {0.2, 0.8};
    expectInterventionRefused({"lung=yes"}, soft,
                  "\"lung\" is both observed and set by an intervention; give it one or the other");
    Interventions set;
    samplenet::addIntervention(asia(), " lung = no ", set);
    EXPECT_EQ(samplenet::interventionDescription(asia(), set), "lung=no");
}

}  // namespace
