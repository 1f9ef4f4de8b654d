#pragma once

#include <functional>
#include <vector>

#include "lib/model/network.h"
#include "tests/support/tiny_net.h"

namespace testing_support {

struct ExactAnswer {
    std::vector<std::vector<double>> posteriors;
    double probabilityOfEvidence = 0.0;
};

// Calls `visit` with every joint state of a small network (a state per
// variable) and the product of the tables' entries for it, leaving out the
// tables of the variables in `skipped`: the probabilities the tests check
// against, computed without any inference code.
void enumerateJointStates(const samplenet::Network& network, const std::vector<int>& skipped,
                          const std::function<void(const std::vector<int>&, double)>& visit);

// Posteriors by enumerating every joint state: the ground truth that the
// algorithms are checked against. evidence[v] is a state or -1; likelihood[v],
// when not empty, multiplies the joint by likelihood[v][state of v].
ExactAnswer enumerate(const TinyNet& net, const std::vector<int>& evidence,
                      const std::vector<std::vector<double>>& likelihood = {});

// The largest absolute difference between two sets of posteriors: NaN when
// any entry is NaN, infinity when their shapes differ, so that a check
// `largestDifference(...) < tolerance` fails on either.
double largestDifference(const std::vector<std::vector<double>>& actual,
                         const std::vector<std::vector<double>>& expected);

}  // namespace testing_support
