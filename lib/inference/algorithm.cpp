#include "lib/inference/algorithm.h"

#include <array>
#include <stdexcept>
#include <vector>

namespace samplenet {

namespace {

constexpr std::array<AlgorithmEntry, 8> kAlgorithms{{
    {.algorithm = Algorithm::Auto, .name = "auto",
     .summary = "exact where it is quick, else samplers to a target error", .samples = true, .explains = true,
     .findsStates = true, .givesJoints = true},
    {.algorithm = Algorithm::Epis, .name = "epis", .summary = "importance sampling from loopy propagation",
     .samples = true, .showsSamples = true, .engineSampler = true, .explains = true, .findsStates = true,
     .givesJoints = true},
    {.algorithm = Algorithm::Ais, .name = "ais", .summary = "adaptive importance sampling", .samples = true,
     .showsSamples = true, .engineSampler = true, .explains = true, .findsStates = true, .givesJoints = true},
    {.algorithm = Algorithm::Lbp, .name = "lbp", .summary = "loopy belief propagation"},
    {.algorithm = Algorithm::Exact, .name = "exact", .summary = "junction tree", .explains = true, .findsStates = true,
     .givesJoints = true},
    {.algorithm = Algorithm::MiniBucket, .name = "wmb", .summary = "mini-bucket sampling", .samples = true,
     .findsStates = true},
    {.algorithm = Algorithm::Propagated, .name = "bpis", .summary = "sampling from converged propagation",
     .samples = true, .showsSamples = true, .findsStates = true},
    {.algorithm = Algorithm::Pilot, .name = "pilot",
     .summary = "bpis's or wmb's proposal, whichever does best on short pilot runs", .samples = true},
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
