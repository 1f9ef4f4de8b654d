#include "lib/impact/information_measures.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "tests/impact/network_enumeration.h"

namespace {

using samplenet::EstimatedDistribution;

using Joint = std::vector<std::vector<double>>;  // P(c, t): [candidate state][target state]

// P(T) and P(C | T = t) for each t, as the runs give them.
struct Split {
    EstimatedDistribution target;
    std::vector<EstimatedDistribution> given;
};

Split split(const Joint& joint) {
    Split s;
    const std::size_t targetStates = joint[0].size();
    s.target.probabilities.assign(targetStates, 0.0);
    for (const auto& row : joint)
        for (std::size_t t = 0; t < targetStates; ++t) s.target.probabilities[t] += row[t];
    s.given.resize(targetStates);
    for (std::size_t t = 0; t < targetStates; ++t) {
        if (s.target.probabilities[t] == 0.0) continue;
        for (const auto& row : joint) s.given[t].probabilities.push_back(row[t] / s.target.probabilities[t]);
    }
    return s;
}

TEST(InformationMeasures, MutualInformationAndTargetGivenStateFollowTheJoint) {
    // The candidate's third state never occurs, nor the target's last.
    const Joint joint{{0.30, 0.05, 0.0}, {0.10, 0.55, 0.0}, {0.0, 0.0, 0.0}};
    const Split s = split(joint);
    const auto information = samplenet::candidateInformation(s.target, s.given);
    EXPECT_NEAR(information.mutualInformationBits, impact_testing::mutualInformation(joint), 1e-12);
    EXPECT_NEAR(information.candidate.probabilities[0], 0.35, 1e-12);
    EXPECT_NEAR(information.targetGiven[1].probabilities[1], 0.55 / 0.65, 1e-12);
    EXPECT_EQ(information.targetGiven[1].probabilities[2], 0.0);
    EXPECT_TRUE(information.targetGiven[2].probabilities.empty());
    EXPECT_TRUE(information.candidate.standardErrors.empty());

    const Split independent = split({{0.12, 0.28}, {0.18, 0.42}});
    EXPECT_NEAR(samplenet::candidateInformation(independent.target, independent.given).mutualInformationBits, 0.0,
                1e-12);
    const Split same = split({{0.3, 0.0}, {0.0, 0.7}});
    EXPECT_NEAR(samplenet::candidateInformation(same.target, same.given).mutualInformationBits,
                samplenet::entropyBits({0.3, 0.7}), 1e-12);
}

TEST(InformationMeasures, LinearisedErrorIgnoresShiftsAndIsExactForTwoStates) {
    const EstimatedDistribution binary{{0.4, 0.6}, {0.01, 0.01}};
    // The entries of a two-state estimate move in opposition: the error of
    // g0 p0 + g1 p1 is |g0 - g1| times either entry's.
    EXPECT_NEAR(samplenet::linearisedError({{3.0, 1.0}}, {&binary}), 0.02, 1e-15);
    EXPECT_NEAR(samplenet::linearisedError({{5.0, 5.0}}, {&binary}), 0.0, 1e-15);
    const EstimatedDistribution exact{{0.5, 0.5}, {}};
    EXPECT_NEAR(samplenet::linearisedError({{3.0, 1.0}, {9.0, 0.0}}, {&binary, &exact}), 0.02, 1e-15);
    EXPECT_NEAR(samplenet::linearisedError({{3.0, 1.0}, {1.0, 0.0}}, {&binary, &binary}), std::hypot(0.02, 0.01),
                1e-15);
}

// Frequencies of `draws` draws from `distribution`, with their binomial
// standard errors: what a sampler reports, with independent draws.
EstimatedDistribution drawn(const std::vector<double>& distribution, int draws, std::mt19937& generator) {
    std::discrete_distribution<int> pick(distribution.begin(), distribution.end());
    EstimatedDistribution estimate{std::vector<double>(distribution.size(), 0.0), {}};
    for (int i = 0; i < draws; ++i) estimate.probabilities[pick(generator)] += 1.0 / draws;
    for (double p : estimate.probabilities) estimate.standardErrors.push_back(std::sqrt(p * (1 - p) / draws));
    return estimate;
}

// Over repeated estimates, the reported error of the mutual information
// against its actual root mean square error.
std::pair<double, double> reportedAndActualError(const Joint& joint, int draws) {
    const Split truth = split(joint);
    const double exact = impact_testing::mutualInformation(joint);
    std::mt19937 generator(5);
    double reported = 0.0;
    double squares = 0.0;
    const int repeats = 200;
    for (int r = 0; r < repeats; ++r) {
        const EstimatedDistribution target = drawn(truth.target.probabilities, draws, generator);
        std::vector<EstimatedDistribution> given;
        for (const auto& g : truth.given) given.push_back(drawn(g.probabilities, draws, generator));
        const auto information = samplenet::candidateInformation(target, given);
        reported += information.mutualInformationError / repeats;
        squares += std::pow(information.mutualInformationBits - exact, 2) / repeats;
    }
    return {reported, std::sqrt(squares)};
}

TEST(InformationMeasures, ReportedErrorCoversTheActualErrorWithAndWithoutDependence) {
    for (const Joint& joint : {Joint{{0.30, 0.05}, {0.10, 0.55}},               // informative
                               Joint{{0.12, 0.28}, {0.18, 0.42}},               // independent: bias only
                               Joint{{0.05, 0.02, 0.01}, {0.2, 0.3, 0.1}, {0.1, 0.02, 0.2}}}) {
        const auto [reported, actual] = reportedAndActualError(joint, 1000);
        EXPECT_GT(reported, 0.9 * actual);
        EXPECT_LT(reported, 4.0 * actual);
    }
}

}  // namespace
