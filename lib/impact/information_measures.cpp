#include "lib/impact/information_measures.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <numeric>

namespace samplenet {

namespace {

// The least over k of sum_i |g_i - k| sigma_i, reached where k is a median
// of the g_i weighted by the sigma_i.
double absoluteErrorBound(const std::vector<double>& gradient, const std::vector<double>& errors) {
    std::vector<std::size_t> order(gradient.size());
    std::iota(order.begin(), order.end(), std::size_t{0});
    std::sort(order.begin(), order.end(), [&](std::size_t a, std::size_t b) { return gradient[a] < gradient[b]; });
    const double total = std::accumulate(errors.begin(), errors.end(), 0.0);
    double running = 0.0;
    double centre = 0.0;
    for (std::size_t i : order) {
        running += errors[i];
        if (running >= total / 2) {
            centre = gradient[i];
            break;
        }
    }
    double bound = 0.0;
    for (std::size_t i = 0; i < gradient.size(); ++i) bound += std::abs(gradient[i] - centre) * errors[i];
    return bound;
}

double log2Ratio(double numerator, double denominator) { return std::log2(numerator / denominator); }

// The inputs the gradients of the measures below refer to: P(T | e) first,
// then P(C | e, T = t) for every t that has entries.
struct Inputs {
    const EstimatedDistribution& target;
    std::vector<int> states;  // the target states t with P(t | e) > 0
    const std::vector<EstimatedDistribution>& given;

    double p(int t) const { return target.probabilities[t]; }
    double q(int t, int c) const { return given[t].probabilities[c]; }
    std::vector<const EstimatedDistribution*> distributions() const {
        std::vector<const EstimatedDistribution*> all{&target};
        for (int t : states) all.push_back(&given[t]);
        return all;
    }
};

// Standard error of P(C = c | e) = sum_t p_t q_tc.
double marginalError(const Inputs& in, int c, int candidateStates) {
    std::vector<std::vector<double>> gradients{std::vector<double>(in.target.probabilities.size(), 0.0)};
    for (int t : in.states) {
        gradients[0][t] = in.q(t, c);
        gradients.emplace_back(candidateStates, 0.0);
        gradients.back()[c] = in.p(t);
    }
    return linearisedError(gradients, in.distributions());
}

// P(T | e, C = c) = p_t q_tc / m_c, and the standard error of each entry.
EstimatedDistribution targetGivenState(const Inputs& in, int c, double m, int candidateStates, bool sampled) {
    const int targetStates = static_cast<int>(in.target.probabilities.size());
    EstimatedDistribution result{std::vector<double>(targetStates, 0.0), {}};
    for (int t : in.states) result.probabilities[t] = in.p(t) * in.q(t, c) / m;
    if (!sampled) return result;
    for (int t = 0; t < targetStates; ++t) {
        const double r = result.probabilities[t];
        std::vector<std::vector<double>> gradients{std::vector<double>(targetStates, 0.0)};
        for (int s : in.states) {
            const double indicator = s == t ? 1.0 : 0.0;
            gradients[0][s] = in.q(s, c) / m * (indicator - r);
            gradients.emplace_back(candidateStates, 0.0);
            gradients.back()[c] = in.p(s) / m * (indicator - r);
        }
        result.standardErrors.push_back(linearisedError(gradients, in.distributions()));
    }
    return result;
}

// The first-order error of the mutual information, and the expected size
// of its second-order term: sum_t p_t sum_c sigma_tc^2 / (2 ln 2 m_c).
double mutualInformationError(const Inputs& in, const std::vector<double>& m) {
    std::vector<std::vector<double>> gradients{std::vector<double>(in.target.probabilities.size(), 0.0)};
    double secondOrder = 0.0;
    for (int t : in.states) {
        std::vector<double> byCandidate(m.size(), 0.0);
        for (std::size_t c = 0; c < m.size(); ++c) {
            const double q = in.q(t, static_cast<int>(c));
            if (q <= 0.0) continue;
            const double ratio = log2Ratio(q, m[c]);
            gradients[0][t] += q * ratio;
            byCandidate[c] = in.p(t) * ratio;
            const std::vector<double>& errors = in.given[t].standardErrors;
            const double error = errors.empty() ? 0.0 : errors[c];
            secondOrder += in.p(t) * error * error / (2.0 * std::numbers::ln2 * m[c]);
        }
        gradients.push_back(std::move(byCandidate));
    }
    const double firstOrder = linearisedError(gradients, in.distributions());
    return std::hypot(firstOrder, secondOrder);
}

}  // namespace

double entropyBits(const std::vector<double>& distribution) {
    double entropy = 0.0;
    for (double p : distribution)
        if (p > 0.0) entropy -= p * std::log2(p);
    return entropy;
}

double linearisedError(const std::vector<std::vector<double>>& gradients,
                       const std::vector<const EstimatedDistribution*>& distributions) {
    double variance = 0.0;
    for (std::size_t k = 0; k < gradients.size(); ++k) {
        if (distributions[k]->standardErrors.empty()) continue;
        const double bound = absoluteErrorBound(gradients[k], distributions[k]->standardErrors);
        variance += bound * bound;
    }
    return std::sqrt(variance);
}

CandidateInformation candidateInformation(const EstimatedDistribution& target,
                                          const std::vector<EstimatedDistribution>& candidateGivenTarget) {
    Inputs in{target, {}, candidateGivenTarget};
    for (int t = 0; t < static_cast<int>(target.probabilities.size()); ++t)
        if (target.probabilities[t] > 0.0 && !candidateGivenTarget[t].probabilities.empty()) in.states.push_back(t);
    const int candidateStates =
        in.states.empty() ? 0 : static_cast<int>(candidateGivenTarget[in.states[0]].probabilities.size());
    bool sampled = !target.standardErrors.empty();
    for (int t : in.states) sampled = sampled || !candidateGivenTarget[t].standardErrors.empty();

    CandidateInformation result;
    std::vector<double>& m = result.candidate.probabilities;
    m.assign(candidateStates, 0.0);
    for (int t : in.states)
        for (int c = 0; c < candidateStates; ++c) m[c] += in.p(t) * in.q(t, c);
    for (int t : in.states)
        for (int c = 0; c < candidateStates; ++c)
            if (in.q(t, c) > 0.0) result.mutualInformationBits += in.p(t) * in.q(t, c) * log2Ratio(in.q(t, c), m[c]);
    // Rounding can leave an independent candidate a hair below zero.
    result.mutualInformationBits = std::max(result.mutualInformationBits, 0.0);
    for (int c = 0; c < candidateStates; ++c) {
        if (sampled) result.candidate.standardErrors.push_back(marginalError(in, c, candidateStates));
        result.targetGiven.push_back(m[c] > 0.0 ? targetGivenState(in, c, m[c], candidateStates, sampled)
                                                : EstimatedDistribution{});
    }
    if (sampled) result.mutualInformationError = mutualInformationError(in, m);
    return result;
}

}  // namespace samplenet
