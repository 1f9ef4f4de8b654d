#include "tests/support/brute_force.h"

namespace testing_support {

ExactAnswer enumerate(const TinyNet& net, const std::vector<int>& evidence,
                      const std::vector<std::vector<double>>& likelihood) {
    const int n = net.size();
    ExactAnswer answer;
    answer.posteriors.resize(n);
    for (int v = 0; v < n; ++v) answer.posteriors[v].assign(net.states[v], 0.0);

    std::vector<int> joint(n, 0);
    while (true) {
        bool consistent = true;
        for (int v = 0; v < n && consistent; ++v)
            consistent = evidence.empty() || evidence[v] < 0 || evidence[v] == joint[v];
        if (consistent) {
            double p = 1.0;
            for (int v = 0; v < n; ++v) {
                int column = 0;
                for (int parent : net.parents[v]) column = column * net.states[parent] + joint[parent];
                p *= net.tables[v][column * net.states[v] + joint[v]];
                if (v < static_cast<int>(likelihood.size()) && !likelihood[v].empty())
                    p *= likelihood[v][joint[v]];
            }
            answer.probabilityOfEvidence += p;
            for (int v = 0; v < n; ++v) answer.posteriors[v][joint[v]] += p;
        }
        int v = n - 1;
        while (v >= 0 && ++joint[v] == net.states[v]) joint[v--] = 0;
        if (v < 0) break;
    }
    if (answer.probabilityOfEvidence > 0.0)
        for (auto& posterior : answer.posteriors)
            for (double& p : posterior) p /= answer.probabilityOfEvidence;
    return answer;
}

}  // namespace testing_support
