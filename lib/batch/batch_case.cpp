#include "lib/batch/batch_case.h"

#include <cmath>

#include <cstdint>
#include <set>

#include "lib/inference/answer_reliability.h"
#include "lib/formats/evidence_parser.h"
#include "lib/model/errors.h"

namespace samplenet {

std::vector<int> caseColumns(const Network& network, const std::vector<std::string>& columnNames) {
    std::vector<int> columns;
    std::set<int> seen;
    for (const std::string& name : columnNames) {
        const auto v = network.indexOf(name);
        if (!v) throw EvidenceError("unknown node \"" + name + "\" in the header");
        if (!seen.insert(*v).second) throw EvidenceError("column \"" + name + "\" appears twice in the header");
        columns.push_back(*v);
    }
    return columns;
}

Evidence caseEvidence(const Network& network, const std::vector<int>& columns,
                      const std::vector<std::string>& cells) {
    if (cells.size() != columns.size())
        throw EvidenceError(std::to_string(cells.size()) + " cells where the header has " +
                            std::to_string(columns.size()));
    Evidence evidence;
    for (std::size_t c = 0; c < cells.size(); ++c)
        if (!cells[c].empty())
            addEvidenceAssignment(network, network.variables[columns[c]].name + "=" + cells[c], evidence);
    return evidence;
}

long caseSeed(long runSeed, std::size_t caseIndex) {
    // splitmix64's finaliser mixes every input bit into the low ones.
    std::uint64_t z = static_cast<std::uint64_t>(runSeed) * 0x9e3779b97f4a7c15ULL + caseIndex + 1;
    z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9ULL;
    z = (z ^ (z >> 27)) * 0x94d049bb133111ebULL;
    z ^= z >> 31;
    return static_cast<long>(z & 0x7fff);
}

CaseOutcome runCase(const Network& network, const std::vector<int>& columns, const std::vector<std::string>& cells,
                    InferenceOptions options, long runSeed, std::size_t caseIndex) {
    options.seed = caseSeed(runSeed, caseIndex);
    try {
        return {infer(network, caseEvidence(network, columns, cells), options), "", false};
    } catch (const RunCancelled&) {
        throw;  // the whole batch stops, not this case
    } catch (const InferenceError& error) {
        return {std::nullopt, error.what(), true};
    } catch (const std::exception& error) {
        return {std::nullopt, error.what(), false};
    }
}

std::vector<std::string> caseSummaryColumns(Algorithm algorithm) {
    switch (algorithm) {
        case Algorithm::Exact: return {"ln_probability_of_evidence"};
        case Algorithm::Lbp: return {};
        default:
            return {"ln_probability_of_evidence", "probability_of_evidence_relative_error", "effective_sample_size",
                    "error_bound", "reliable"};
    }
}

std::vector<double> caseSummary(const InferenceResult& result, Algorithm algorithm) {
    const double missing = std::nan("");
    std::vector<double> values{result.logProbabilityOfEvidence.value_or(missing),
                               result.probabilityOfEvidenceRelativeError.value_or(missing),
                               result.sampling ? result.sampling->errors.effectiveSampleSize : missing,
                               result.sampling ? result.sampling->errors.errorBound : missing,
                               judgeReliability(result).reliable ? 1.0 : 0.0};
    values.resize(caseSummaryColumns(algorithm).size());
    return values;
}

std::string whyNoCaseStandardErrors(Algorithm algorithm) {
    if (algorithmEntry(algorithm).samples) return "";
    return std::string(algorithmName(algorithm)) +
           " gives no standard errors: they come from the samplers (epis, ais, wmb, bpis, or auto where it samples)";
}

std::vector<std::string> caseStandardErrorColumns(const Network& network, const std::vector<int>& queried) {
    std::vector<std::string> columns;
    for (int v : queried)
        for (const std::string& state : network.variables[v].states)
            columns.push_back("standard_error:" + network.variables[v].name + "=" + state);
    return columns;
}

std::vector<double> caseStandardErrors(const InferenceResult& result, const std::vector<int>& queried) {
    std::vector<double> values;
    for (int v : queried) {
        if (result.standardErrors.empty())
            values.insert(values.end(), result.posteriors[v].size(), std::nan(""));
        else
            values.insert(values.end(), result.standardErrors[v].begin(), result.standardErrors[v].end());
    }
    return values;
}

}  // namespace samplenet
