#include "lib/queries/region_optimisation.h"

#include <algorithm>
#include <deque>

#include "lib/exact/clique_potentials.h"
#include "lib/exact/saturating_arithmetic.h"
#include "lib/exact/triangulation.h"
#include "lib/queries/most_probable_explanation.h"

namespace samplenet {

namespace {

// A table over some region members (their indices among the members),
// holding logs of probabilities.
struct LogTable {
    TableShape shape;
    std::vector<double> values;
};

}  // namespace

struct RegionOptimisation::Plan {
    std::vector<int> members;                 // unobserved region variables, ascending
    std::vector<int> cards;                   // per member
    std::vector<int> families;                // variables whose table holds a member
    std::vector<std::vector<int>> scopes;     // per family: the members in it, ascending
    std::vector<int> order;                   // members in elimination order
    std::size_t largest = 1;                  // entries of the largest table made

    int local(int v) const {
        const auto it = std::lower_bound(members.begin(), members.end(), v);
        return it != members.end() && *it == v ? static_cast<int>(it - members.begin()) : -1;
    }
};

RegionOptimisation::RegionOptimisation(const Network& network, const Evidence& evidence)
    : network(network), evidence(evidence), children(network.children()), neighbours(network.size()) {
    for (int v = 0; v < network.size(); ++v) {
        auto& around = neighbours[v];
        around = network.variables[v].parents;
        for (int child : children[v]) {
            around.push_back(child);
            for (int coParent : network.variables[child].parents)
                if (coParent != v) around.push_back(coParent);
        }
        std::sort(around.begin(), around.end());
        around.erase(std::unique(around.begin(), around.end()), around.end());
    }
}

RegionOptimisation::Plan RegionOptimisation::plan(const std::vector<int>& region) const {
    Plan plan;
    for (int v : region)
        if (!evidence.hard.count(v)) plan.members.push_back(v);
    std::sort(plan.members.begin(), plan.members.end());
    plan.members.erase(std::unique(plan.members.begin(), plan.members.end()), plan.members.end());
    for (int v : plan.members) {
        plan.cards.push_back(network.variables[v].stateCount());
        plan.families.push_back(v);
        plan.families.insert(plan.families.end(), children[v].begin(), children[v].end());
    }
    std::sort(plan.families.begin(), plan.families.end());
    plan.families.erase(std::unique(plan.families.begin(), plan.families.end()), plan.families.end());

    for (int f : plan.families) {
        std::vector<int> scope;
        for (int parent : network.variables[f].parents)
            if (const int k = plan.local(parent); k >= 0) scope.push_back(k);
        if (const int k = plan.local(f); k >= 0) scope.push_back(k);
        std::sort(scope.begin(), scope.end());
        scope.erase(std::unique(scope.begin(), scope.end()), scope.end());
        plan.scopes.push_back(std::move(scope));
    }
    const Triangulation triangulation =
        triangulate(EliminationProblem{plan.scopes, plan.cards}, EliminationCriterion::MinTable);
    plan.order = triangulation.eliminated;
    for (const auto& clique : triangulation.cliques) {
        std::size_t entries = 1;
        for (int k : clique) entries = saturatingMultiply(entries, static_cast<std::size_t>(plan.cards[k]));
        plan.largest = std::max(plan.largest, entries);
    }
    return plan;
}

std::size_t RegionOptimisation::largestTable(const std::vector<int>& region) const { return plan(region).largest; }

std::vector<int> RegionOptimisation::regionAround(int centre, int maxVariables, std::size_t maxEntries) const {
    if (evidence.hard.count(centre) || maxVariables <= 0) return {};
    // Breadth first; observed variables are left out, their neighbours stay
    // reachable through the moral graph's edges between co-parents.
    std::vector<int> reached = {centre};
    std::deque<int> frontier = {centre};
    while (!frontier.empty() && static_cast<int>(reached.size()) < maxVariables) {
        const int v = frontier.front();
        frontier.pop_front();
        for (int next : neighbours[v]) {
            if (static_cast<int>(reached.size()) >= maxVariables) break;
            if (evidence.hard.count(next) || std::find(reached.begin(), reached.end(), next) != reached.end()) continue;
            reached.push_back(next);
            frontier.push_back(next);
        }
    }
    // Drop the outermost quarter until the elimination fits; a prefix of a
    // breadth-first order stays connected.
    while (reached.size() > 1 && plan(reached).largest > maxEntries)
        reached.resize(std::max<std::size_t>(1, reached.size() - std::max<std::size_t>(1, reached.size() / 4)));
    return reached;
}

std::vector<int> RegionOptimisation::optimise(std::vector<int>& states, const std::vector<int>& region) const {
    const Plan plan = this->plan(region);
    const int n = static_cast<int>(plan.members.size());
    if (n == 0) return {};

    // Each family's table over its members, the other variables fixed.
    std::vector<LogTable> live;
    std::vector<int> scratch = states;
    for (std::size_t i = 0; i < plan.families.size(); ++i) {
        LogTable table{TableShape(plan.scopes[i], plan.cards), {}};
        table.values.resize(table.shape.size);
        std::vector<int> digits(table.shape.variables.size(), 0);
        for (double& value : table.values) {
            for (std::size_t d = 0; d < digits.size(); ++d) scratch[plan.members[table.shape.variables[d]]] = digits[d];
            value = logFamilyProbability(network, evidence, scratch, plan.families[i]);
            for (std::size_t d = digits.size(); d-- > 0;) {
                if (++digits[d] < static_cast<int>(table.shape.cards[d])) break;
                digits[d] = 0;
            }
        }
        live.push_back(std::move(table));
    }

    // Max-product elimination; each step keeps its product for decoding.
    std::vector<LogTable> products;
    for (int v : plan.order) {
        std::vector<LogTable> touching;
        std::vector<int> scope;
        for (auto it = live.begin(); it != live.end();) {
            if (it->shape.position(v) < 0) {
                ++it;
                continue;
            }
            scope.insert(scope.end(), it->shape.variables.begin(), it->shape.variables.end());
            touching.push_back(std::move(*it));
            it = live.erase(it);
        }
        std::sort(scope.begin(), scope.end());
        scope.erase(std::unique(scope.begin(), scope.end()), scope.end());
        LogTable product{TableShape(scope, plan.cards), {}};
        product.values.assign(product.shape.size, 0.0);
        for (const LogTable& table : touching)
            Projection(product.shape, table.shape).add(product.values.data(), table.values.data());

        std::erase(scope, v);
        LogTable maximum{TableShape(scope, plan.cards), {}};
        maximum.values.resize(maximum.shape.size);
        Projection(product.shape, maximum.shape).maximise(product.values.data(), maximum.values.data());
        if (!scope.empty()) live.push_back(std::move(maximum));
        products.push_back(std::move(product));
    }

    // Decode in reverse: each member's product is over itself and members
    // decoded before it. The lowest of equal states wins.
    std::vector<int> best(n, 0);
    for (std::size_t step = plan.order.size(); step-- > 0;) {
        const LogTable& product = products[step];
        const int v = plan.order[step];
        best[v] = maximisingState(product.values.data(), product.shape, product.shape.position(v), best);
    }

    // Accept only a real gain, judged on the network's own tables.
    auto score = [&](const std::vector<int>& x) {
        double logProbability = 0.0;
        for (int f : plan.families) logProbability += logFamilyProbability(network, evidence, x, f);
        return logProbability;
    };
    for (int k = 0; k < n; ++k) scratch[plan.members[k]] = best[k];
    const double before = score(states);
    const double after = score(scratch);
    if (!(after > before + kLeastExplanationGain)) return {};
    std::vector<int> changed;
    for (int k = 0; k < n; ++k)
        if (states[plan.members[k]] != best[k]) {
            changed.push_back(plan.members[k]);
            states[plan.members[k]] = best[k];
        }
    return changed;
}

}  // namespace samplenet
