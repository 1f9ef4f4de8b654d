#pragma once

#include <vector>

#include "tests/support/tiny_net.h"

namespace testing_support {

struct ExactAnswer {
    std::vector<std::vector<double>> posteriors;
    double probabilityOfEvidence = 0.0;
};

// Posteriors by enumerating every joint state: the ground truth that the
// algorithms are checked against. evidence[v] is a state or -1; likelihood[v],
// when not empty, multiplies the joint by likelihood[v][state of v].
ExactAnswer enumerate(const TinyNet& net, const std::vector<int>& evidence,
                      const std::vector<std::vector<double>>& likelihood = {});

}  // namespace testing_support
