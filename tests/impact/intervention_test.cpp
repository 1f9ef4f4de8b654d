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
using samplenet::Interventions;
using samplenet::Network;

using impact_testing::asia;
using impact_testing::node;

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

void expectRefused(const std::vector<std::string>& texts, const Evidence& evidence, const std::string& message) {
    EXPECT_EQ(testing_support::messageOf<samplenet::EvidenceError>([&] {
                  Interventions set;
                  for (const std::string& text : texts) samplenet::addIntervention(asia(), text, set);
                  samplenet::checkInterventions(asia(), evidence, set);
              }),
              message);
}

TEST(Intervention, RefusesUnknownNodesAndStatesMalformedTextRepeatsAndObservedNodes) {
    expectRefused({"lungs=yes"}, {}, "unknown node \"lungs\" in an intervention");
    expectRefused({"lung=maybe"}, {}, "unknown state \"maybe\" of \"lung\" in an intervention; valid states: yes, no");
    expectRefused({"lung"}, {}, "intervention \"lung\" is not of the form NODE=STATE");
    expectRefused({"lung=yes", "lung = no"}, {}, "the intervention on \"lung\" is given twice");
    Evidence soft;
    soft.likelihood[node("lung")] = {0.2, 0.8};
    expectRefused({"lung=yes"}, soft,
                  "\"lung\" is both observed and set by an intervention; give it one or the other");
    Interventions set;
    samplenet::addIntervention(asia(), " lung = no ", set);
    EXPECT_EQ(samplenet::interventionDescription(asia(), set), "lung=no");
}

}  // namespace
