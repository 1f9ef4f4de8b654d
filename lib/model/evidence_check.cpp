#include "lib/model/evidence_check.h"

#include <cmath>
#include <deque>
#include <functional>
#include <string>
#include <vector>

#include "lib/model/errors.h"

namespace samplenet {

namespace {

std::string quoted(const std::string& name) { return "\"" + name + "\""; }

void checkLikelihood(const std::string& name, int stateCount, const std::vector<double>& likelihood) {
    if (static_cast<int>(likelihood.size()) != stateCount)
        throw EvidenceError("likelihood of " + quoted(name) + " has " + std::to_string(likelihood.size()) +
                            " values; expected one per state (" + std::to_string(stateCount) + ")");
    bool anyPositive = false;
    for (double l : likelihood) {
        if (!std::isfinite(l) || l < 0.0)
            throw EvidenceError("likelihood of " + quoted(name) + " has an entry that is not a finite non-negative number");
        anyPositive = anyPositive || l > 0.0;
    }
    if (!anyPositive) throw EvidenceError("likelihood of " + quoted(name) + " is zero for every state");
}

// Domain pruning over the families (a variable with its parents). A family
// supports a state of one of its members when some table entry with positive
// probability uses that state and only states still in the other members'
// domains.
class ZeroPropagation {
public:
    ZeroPropagation(const Network& network, const Evidence& evidence)
        : network(network), children(network.children()), allowed(network.size()) {
        for (int v = 0; v < network.size(); ++v) allowed[v].assign(network.variables[v].stateCount(), 1);
        for (const auto& [v, state] : evidence.hard) {
            allowed[v].assign(allowed[v].size(), 0);
            allowed[v][state] = 1;
        }
        for (const auto& [v, likelihood] : evidence.likelihood)
            for (std::size_t s = 0; s < likelihood.size(); ++s)
                if (likelihood[s] <= 0.0) allowed[v][s] = 0;
    }

    std::optional<int> run() {
        std::deque<int> pending;
        std::vector<char> queued(network.size(), 1);
        for (int v = 0; v < network.size(); ++v) pending.push_back(v);
        while (!pending.empty()) {
            const int family = pending.front();
            pending.pop_front();
            queued[family] = 0;
            for (int member : prune(family)) {
                if (!hasState(member)) return member;
                auto enqueue = [&](int f) {
                    if (queued[f]) return;
                    pending.push_back(f);
                    queued[f] = 1;
                };
                enqueue(member);
                for (int child : children[member]) enqueue(child);
            }
        }
        return std::nullopt;
    }

private:
    bool hasState(int v) const {
        for (char a : allowed[v])
            if (a) return true;
        return false;
    }

    // Removes the unsupported states of the members of v's family; returns
    // the members that lost a state.
    std::vector<int> prune(int v) {
        const Variable& variable = network.variables[v];
        const std::vector<int>& parents = variable.parents;
        const int states = variable.stateCount();
        std::vector<std::vector<char>> supported(parents.size() + 1);
        for (std::size_t k = 0; k < parents.size(); ++k)
            supported[k].assign(network.variables[parents[k]].stateCount(), 0);
        supported.back().assign(states, 0);

        std::vector<int> parentStates(parents.size(), 0);
        const std::size_t columns = network.configurationCount(v);
        for (std::size_t column = 0; column < columns; ++column) {
            if (columnAllowed(parents, parentStates)) {
                const double* distribution = &variable.table[column * states];
                bool used = false;
                for (int s = 0; s < states; ++s) {
                    if (!allowed[v][s] || distribution[s] <= 0.0) continue;
                    supported.back()[s] = 1;
                    used = true;
                }
                if (used)
                    for (std::size_t k = 0; k < parents.size(); ++k) supported[k][parentStates[k]] = 1;
            }
            advance(parents, parentStates);
        }

        std::vector<int> changed;
        for (std::size_t k = 0; k <= parents.size(); ++k) {
            const int member = k < parents.size() ? parents[k] : v;
            bool lost = false;
            for (std::size_t s = 0; s < supported[k].size(); ++s) {
                if (!allowed[member][s] || supported[k][s]) continue;
                allowed[member][s] = 0;
                lost = true;
            }
            if (lost) changed.push_back(member);
        }
        return changed;
    }

    bool columnAllowed(const std::vector<int>& parents, const std::vector<int>& parentStates) const {
        for (std::size_t k = 0; k < parents.size(); ++k)
            if (!allowed[parents[k]][parentStates[k]]) return false;
        return true;
    }

    // Next parent configuration in table order (last parent fastest).
    void advance(const std::vector<int>& parents, std::vector<int>& parentStates) const {
        for (int k = static_cast<int>(parents.size()) - 1; k >= 0; --k) {
            if (++parentStates[k] < network.variables[parents[k]].stateCount()) return;
            parentStates[k] = 0;
        }
    }

    const Network& network;
    std::vector<std::vector<int>> children;
    std::vector<std::vector<char>> allowed;  // allowed[v][s]: s still possible
};

}  // namespace

void checkLikelihood(const Variable& variable, const std::vector<double>& likelihood) {
    checkLikelihood(variable.name, variable.stateCount(), likelihood);
}

void checkEvidenceShape(const Evidence& evidence, int variableCount, const std::function<int(int)>& stateCount,
                        const std::function<std::string(int)>& name) {
    const auto checkIndex = [&](int v) {
        if (v < 0 || v >= variableCount)
            throw EvidenceError("evidence on variable index " + std::to_string(v) + ", but the network has " +
                                std::to_string(variableCount) + " variables");
    };
    for (const auto& [v, state] : evidence.hard) {
        checkIndex(v);
        if (state < 0 || state >= stateCount(v))
            throw EvidenceError("state index " + std::to_string(state) + " of " + quoted(name(v)) +
                                " is out of range; it has " + std::to_string(stateCount(v)) + " states");
    }
    for (const auto& [v, likelihood] : evidence.likelihood) {
        checkIndex(v);
        checkLikelihood(name(v), stateCount(v), likelihood);
    }
}

void checkEvidenceShape(const Network& network, const Evidence& evidence) {
    checkEvidenceShape(
        evidence, network.size(), [&](int v) { return network.variables[v].stateCount(); },
        [&](int v) { return network.variables[v].name; });
}

std::optional<int> findImpossibleVariable(const Network& network, const Evidence& evidence) {
    if (evidence.empty()) return std::nullopt;
    return ZeroPropagation(network, evidence).run();
}

}  // namespace samplenet
