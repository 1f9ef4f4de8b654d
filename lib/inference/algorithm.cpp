#include "lib/inference/algorithm.h"

#include <array>
#include <stdexcept>
#include <vector>

namespace samplenet {

namespace {

// Columns: name, summary, then whether it draws samples, shows them, draws
// them on the engine, and answers explanations, most probable states and
// joint posteriors.
constexpr std::array<AlgorithmEntry, 8> kAlgorithms{{
    {Algorithm::Auto, "auto", "exact where it is quick, else samplers to a target error", true, false, false, true,
     true, true},
    {Algorithm::Epis, "epis", "importance sampling from loopy propagation", true, true, true, true, true, true},
    {Algorithm::Ais, "ais", "adaptive importance sampling", true, true, true, true, true, true},
    {Algorithm::Lbp, "lbp", "loopy belief propagation", false, false, false, false, false, false},
    {Algorithm::Exact, "exact", "junction tree", false, false, false, true, true, true},
    {Algorithm::MiniBucket, "wmb", "mini-bucket sampling", true, false, false, false, true, false},
    {Algorithm::Propagated, "bpis", "sampling from converged propagation", true, true, false, false, true, false},
    {Algorithm::Pilot, "pilot", "bpis's or wmb's proposal, whichever does best on short pilot runs", true, false,
     false, false, false, false},
}};

struct QueryEntry {
    Query query;
    bool AlgorithmEntry::*answered;
    std::string_view what;  // "gives no <what>"
};

constexpr std::array<QueryEntry, 3> kQueries{{
    {Query::Explanation, &AlgorithmEntry::explains, "explanation"},
    {Query::MostProbableStates, &AlgorithmEntry::findsStates, "most probable states"},
    {Query::JointPosterior, &AlgorithmEntry::givesJoints, "joint posterior"},
}};

// "a, b or c"
template <typename Entries, typename Describe>
std::string joined(const Entries& entries, Describe describe) {
    std::string text;
    for (std::size_t k = 0; k < entries.size(); ++k) {
        if (k > 0) text += k + 1 == entries.size() ? " or " : ", ";
        text += describe(entries[k]);
    }
    return text;
}

}  // namespace

std::span<const AlgorithmEntry> algorithms() { return kAlgorithms; }

const AlgorithmEntry& algorithmEntry(Algorithm algorithm) {
    for (const AlgorithmEntry& entry : kAlgorithms)
        if (entry.algorithm == algorithm) return entry;
    throw std::invalid_argument("unknown algorithm");
}

std::string_view algorithmName(Algorithm algorithm) { return algorithmEntry(algorithm).name; }

std::optional<Algorithm> algorithmNamed(std::string_view name) {
    for (const AlgorithmEntry& entry : kAlgorithms)
        if (entry.name == name) return entry.algorithm;
    return std::nullopt;
}

std::string algorithmNameList() {
    return joined(kAlgorithms, [](const AlgorithmEntry& entry) { return std::string(entry.name); });
}

std::string algorithmNamesWhere(bool AlgorithmEntry::*property) {
    std::vector<AlgorithmEntry> having;
    for (const AlgorithmEntry& entry : kAlgorithms)
        if (entry.*property) having.push_back(entry);
    return joined(having, [](const AlgorithmEntry& entry) { return std::string(entry.name); });
}

std::string whyNoAnswer(Algorithm algorithm, Query query) {
    for (const QueryEntry& entry : kQueries)
        if (entry.query == query)
            return algorithmEntry(algorithm).*entry.answered
                       ? ""
                       : std::string(algorithmName(algorithm)) + " gives no " + std::string(entry.what) + ": use " +
                             algorithmNamesWhere(entry.answered);
    throw std::invalid_argument("unknown query");
}

std::string algorithmHelp() {
    return joined(kAlgorithms, [](const AlgorithmEntry& entry) {
        return std::string(entry.name) + " (" + std::string(entry.summary) + ")";
    });
}

std::string unknownAlgorithmMessage(std::string_view name) {
    if (algorithmNamed(name)) return "";
    return "unknown algorithm \"" + std::string(name) + "\"; use " + algorithmNameList();
}

}  // namespace samplenet
