#include "lib/inference/algorithm.h"

#include <array>
#include <stdexcept>
#include <vector>

namespace samplenet {

namespace {

constexpr std::array<AlgorithmEntry, 8> kAlgorithms{{
    {Algorithm::Auto, "auto", "exact where it is quick, else samplers to a target error", true, false},
    {Algorithm::Epis, "epis", "importance sampling from loopy propagation", true, true},
    {Algorithm::Ais, "ais", "adaptive importance sampling", true, true},
    {Algorithm::Lbp, "lbp", "loopy belief propagation", false, false},
    {Algorithm::Exact, "exact", "junction tree", false, false},
    {Algorithm::MiniBucket, "wmb", "mini-bucket sampling", true, false},
    {Algorithm::Propagated, "bpis", "sampling from converged propagation", true, true},
    {Algorithm::Pilot, "pilot", "bpis's or wmb's proposal, whichever does best on short pilot runs", true, false},
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
