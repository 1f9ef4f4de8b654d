#include "lib/queries/factor_elimination.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "lib/exact/clique_tree.h"
#include "lib/exact/factor_model.h"
#include "lib/model/evidence_check.h"
#include "lib/model/errors.h"
#include "lib/util/byte_size.h"

namespace samplenet {

namespace {

bool holds(const TableShape& shape, int variable) { return shape.position(variable) >= 0; }

}  // namespace

FactorElimination::FactorElimination(const Network& network, const Evidence& evidence, const ExactOptions& options)
    : observed(network.size(), -1), limitEntries(options.memoryLimitBytes / sizeof(double)),
      checkpoint(options.checkpoint) {
    checkEvidenceShape(network, evidence);
    for (const Variable& variable : network.variables) stateCounts.push_back(variable.stateCount());
    for (const auto& [v, state] : evidence.hard) observed[v] = state;

    const Triangulation triangulation = triangulate(network, limitEntries);
    if (triangulation.variablesEliminated < network.size())
        throw ExactMemoryError(fmt::format("the elimination's tables would need more than the memory limit of {}",
                                           describeBytes(options.memoryLimitBytes)));
    // Leaf cliques first: a clique's variables outside its separator have no
    // neighbours left outside the clique when they are eliminated.
    const CliqueTree tree = joinCliques(triangulation.cliques, network.size());
    std::vector<bool> ordered(network.size(), false);
    for (auto c = tree.order.rbegin(); c != tree.order.rend(); ++c) {
        const auto& separator = tree.separators[*c];
        for (int v : tree.cliques[*c]) {
            if (ordered[v] || observed[v] >= 0) continue;
            if (std::find(separator.begin(), separator.end(), v) != separator.end()) continue;
            ordered[v] = true;
            order.push_back(v);
        }
    }
    enterEvidence(network, evidence);
}

void FactorElimination::enterEvidence(const Network& network, const Evidence& evidence) {
    for (int v = 0; v < network.size(); ++v) {
        if (checkpoint) checkpoint();
        const Variable& variable = network.variables[v];
        std::vector<int> family = variable.parents;
        family.push_back(v);
        Factor factor{TableShape(family, stateCounts), variable.table};
        if (const auto soft = evidence.likelihood.find(v); soft != evidence.likelihood.end())
            weighAlong(factor.values.data(), factor.shape, factor.shape.position(v), soft->second.data());
        // Slice each observed variable out: zero its other states, then sum
        // over it.
        for (int member : family) {
            if (observed[member] < 0) continue;
            std::vector<double> indicator(stateCounts[member], 0.0);
            indicator[observed[member]] = 1.0;
            weighAlong(factor.values.data(), factor.shape, factor.shape.position(member), indicator.data());
            std::vector<int> rest;
            for (int other : factor.shape.variables)
                if (other != member) rest.push_back(other);
            Factor sliced{TableShape(rest, stateCounts), {}};
            sliced.values.resize(sliced.shape.size);
            Projection(factor.shape, sliced.shape).marginalise(factor.values.data(), sliced.values.data());
            factor = std::move(sliced);
        }
        rescale(factor);
        factors.push_back(std::move(factor));
    }
}

void FactorElimination::rescale(Factor& factor) {
    const double largest = *std::max_element(factor.values.begin(), factor.values.end());
    if (!(largest > 0.0)) throw ImpossibleEvidenceError();
    for (double& value : factor.values) value /= largest;
    logScale_ += std::log(largest);
}

void FactorElimination::reserve(std::size_t entries) {
    heldEntries += entries;
    if (heldEntries > limitEntries)
        throw ExactMemoryError(fmt::format("the elimination's tables would need more than the memory limit of {}",
                                           describeBytes(limitEntries * sizeof(double))));
}

FactorElimination::Factor FactorElimination::multiplyAll(const std::vector<const Factor*>& parts,
                                                         std::vector<int> variables) const {
    Factor product{TableShape(std::move(variables), stateCounts), {}};
    product.values.assign(product.shape.size, 1.0);
    for (const Factor* part : parts) Projection(product.shape, part->shape).multiply(product.values.data(), part->values.data());
    return product;
}

void FactorElimination::eliminate(Mode mode, const std::vector<int>& kept) {
    for (int v : order) {
        if (std::find(kept.begin(), kept.end(), v) != kept.end()) continue;
        if (checkpoint) checkpoint();
        std::vector<const Factor*> touching;
        std::vector<int> scope;
        for (const Factor& factor : factors)
            if (holds(factor.shape, v)) {
                touching.push_back(&factor);
                scope.insert(scope.end(), factor.shape.variables.begin(), factor.shape.variables.end());
            }
        if (touching.empty()) continue;  // eliminated by an earlier call
        std::sort(scope.begin(), scope.end());
        scope.erase(std::unique(scope.begin(), scope.end()), scope.end());
        std::size_t entries = 1;
        for (int member : scope) entries *= static_cast<std::size_t>(stateCounts[member]);
        reserve(entries);
        Factor product = multiplyAll(touching, scope);

        scope.erase(std::find(scope.begin(), scope.end(), v));
        Factor summary{TableShape(scope, stateCounts), {}};
        summary.values.resize(summary.shape.size);
        const Projection projection(product.shape, summary.shape);
        if (mode == Mode::Max) {
            projection.maximise(product.values.data(), summary.values.data());
            eliminated.push_back({v, std::move(product)});
        } else {
            projection.marginalise(product.values.data(), summary.values.data());
            heldEntries -= entries;
        }
        rescale(summary);
        std::erase_if(factors, [v](const Factor& factor) { return holds(factor.shape, v); });
        factors.push_back(std::move(summary));
    }
}

std::vector<double> FactorElimination::remainder(const std::vector<int>& kept) const {
    std::vector<const Factor*> parts;
    for (const Factor& factor : factors) parts.push_back(&factor);
    return multiplyAll(parts, kept).values;
}

std::vector<int> FactorElimination::decode() const {
    std::vector<int> states = observed;
    for (auto step = eliminated.rbegin(); step != eliminated.rend(); ++step) {
        const TableShape& shape = step->product.shape;
        states[step->variable] =
            maximisingState(step->product.values.data(), shape, shape.position(step->variable), states);
    }
    return states;
}

}  // namespace samplenet
