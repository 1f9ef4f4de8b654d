#include "lib/queries/region_optimisation.h"

#include <algorithm>
#include <deque>
#include <limits>

#include "lib/exact/saturating_arithmetic.h"
#include "lib/queries/most_probable_explanation.h"

namespace samplenet {

namespace {

// A table over some region variables (their indices among the members),
// the last varying fastest, holding logs of probabilities.
struct LogTable {
    std::vector<int> scope;
    std::vector<double> values;
};

// Strides of a table's variables, the last varying fastest.
std::vector<std::size_t> stridesOf(const std::vector<int>& scope, const std::vector<int>& cards) {
    std::vector<std::size_t> strides(scope.size());
    std::size_t stride = 1;
    for (std::size_t d = scope.size(); d-- > 0;) {
        strides[d] = stride;
        stride *= static_cast<std::size_t>(cards[scope[d]]);
    }
    return strides;
}

}  // namespace

struct RegionOptimisation::Plan {
    std::vector<int> members;                 // unobserved region variables, ascending
    std::vector<int> cards;                   // per member
    std::vector<int> families;                // variables whose table holds a member
    std::vector<std::vector<int>> scopes;     // per family: the members in it
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
    const int n = static_cast<int>(plan.members.size());
    for (int v : plan.members) {
        plan.cards.push_back(network.variables[v].stateCount());
        plan.families.push_back(v);
        plan.families.insert(plan.families.end(), children[v].begin(), children[v].end());
    }
    std::sort(plan.families.begin(), plan.families.end());
    plan.families.erase(std::unique(plan.families.begin(), plan.families.end()), plan.families.end());

    // Members that share a family interact; eliminating a member joins its
    // remaining neighbours (min-weight greedy order).
    std::vector<std::vector<char>> linked(n, std::vector<char>(n, 0));
    for (int f : plan.families) {
        std::vector<int> scope;
        for (int parent : network.variables[f].parents)
            if (const int k = plan.local(parent); k >= 0) scope.push_back(k);
        if (const int k = plan.local(f); k >= 0) scope.push_back(k);
        std::sort(scope.begin(), scope.end());
        scope.erase(std::unique(scope.begin(), scope.end()), scope.end());
        for (int a : scope)
            for (int b : scope) linked[a][b] = 1;
        plan.scopes.push_back(std::move(scope));
    }
    std::vector<char> done(n, 0);
    for (int step = 0; step < n; ++step) {
        int chosen = -1;
        std::size_t chosenWeight = 0;
        for (int k = 0; k < n; ++k) {
            if (done[k]) continue;
            std::size_t weight = static_cast<std::size_t>(plan.cards[k]);
            for (int j = 0; j < n; ++j)
                if (j != k && !done[j] && linked[k][j]) weight = saturatingMultiply(weight, static_cast<std::size_t>(plan.cards[j]));
            if (chosen < 0 || weight < chosenWeight) chosen = k, chosenWeight = weight;
        }
        done[chosen] = 1;
        plan.order.push_back(chosen);
        plan.largest = std::max(plan.largest, chosenWeight);
        for (int a = 0; a < n; ++a)
            if (!done[a] && linked[chosen][a])
                for (int b = 0; b < n; ++b)
                    if (!done[b] && linked[chosen][b]) linked[a][b] = 1;
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
        LogTable table{plan.scopes[i], {}};
        std::size_t size = 1;
        for (int k : table.scope) size *= static_cast<std::size_t>(plan.cards[k]);
        table.values.resize(size);
        std::vector<int> digits(table.scope.size(), 0);
        for (std::size_t entry = 0; entry < size; ++entry) {
            for (std::size_t d = 0; d < digits.size(); ++d) scratch[plan.members[table.scope[d]]] = digits[d];
            table.values[entry] = logFamilyProbability(network, evidence, scratch, plan.families[i]);
            for (std::size_t d = digits.size(); d-- > 0;) {
                if (++digits[d] < plan.cards[table.scope[d]]) break;
                digits[d] = 0;
            }
        }
        live.push_back(std::move(table));
    }

    // Max-product elimination; each step keeps its product, the eliminated
    // member last, for decoding.
    std::vector<LogTable> products;
    for (int v : plan.order) {
        std::vector<LogTable> touching;
        std::vector<int> scope;
        for (auto it = live.begin(); it != live.end();) {
            if (std::find(it->scope.begin(), it->scope.end(), v) == it->scope.end()) {
                ++it;
                continue;
            }
            for (int k : it->scope)
                if (k != v) scope.push_back(k);
            touching.push_back(std::move(*it));
            it = live.erase(it);
        }
        std::sort(scope.begin(), scope.end());
        scope.erase(std::unique(scope.begin(), scope.end()), scope.end());
        scope.push_back(v);

        LogTable product{scope, {}};
        std::size_t size = 1;
        for (int k : scope) size *= static_cast<std::size_t>(plan.cards[k]);
        product.values.assign(size, 0.0);
        std::vector<std::vector<std::size_t>> strides;  // per touching table, per position of scope
        for (const LogTable& table : touching) {
            const std::vector<std::size_t> own = stridesOf(table.scope, plan.cards);
            std::vector<std::size_t> along(scope.size(), 0);
            for (std::size_t d = 0; d < scope.size(); ++d)
                if (const auto at = std::find(table.scope.begin(), table.scope.end(), scope[d]); at != table.scope.end())
                    along[d] = own[at - table.scope.begin()];
            strides.push_back(std::move(along));
        }
        std::vector<int> digits(scope.size(), 0);
        std::vector<std::size_t> index(touching.size(), 0);
        for (std::size_t entry = 0; entry < size; ++entry) {
            double sum = 0.0;
            for (std::size_t t = 0; t < touching.size(); ++t) sum += touching[t].values[index[t]];
            product.values[entry] = sum;
            for (std::size_t d = scope.size(); d-- > 0;) {
                if (++digits[d] < plan.cards[scope[d]]) {
                    for (std::size_t t = 0; t < touching.size(); ++t) index[t] += strides[t][d];
                    break;
                }
                for (std::size_t t = 0; t < touching.size(); ++t)
                    index[t] -= strides[t][d] * static_cast<std::size_t>(plan.cards[scope[d]] - 1);
                digits[d] = 0;
            }
        }

        const std::size_t count = static_cast<std::size_t>(plan.cards[v]);
        LogTable maximum{std::vector<int>(scope.begin(), scope.end() - 1), std::vector<double>(size / count)};
        for (std::size_t rest = 0; rest < maximum.values.size(); ++rest)
            maximum.values[rest] = *std::max_element(product.values.begin() + rest * count,
                                                     product.values.begin() + (rest + 1) * count);
        if (!maximum.scope.empty()) live.push_back(std::move(maximum));
        products.push_back(std::move(product));
    }

    // Decode in reverse: each member's product is over members decoded
    // before it, and itself. The lowest of equal states wins.
    std::vector<int> best(n, 0);
    for (std::size_t step = plan.order.size(); step-- > 0;) {
        const LogTable& product = products[step];
        const std::vector<std::size_t> strides = stridesOf(product.scope, plan.cards);
        std::size_t base = 0;
        for (std::size_t d = 0; d + 1 < product.scope.size(); ++d)
            base += static_cast<std::size_t>(best[product.scope[d]]) * strides[d];
        const int v = product.scope.back();
        const auto first = product.values.begin() + static_cast<std::ptrdiff_t>(base);
        best[v] = static_cast<int>(std::max_element(first, first + plan.cards[v]) - first);
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
