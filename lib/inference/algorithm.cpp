#include "lib/inference/algorithm.h"

#include <array>
#include <stdexcept>

namespace samplenet {

namespace {

constexpr std::array<AlgorithmEntry, 8> kAlgorithms{{
    {Algorithm::Auto, "auto", "exact where it is quick, else samplers to a target error", true},
    {Algorithm::Epis, "epis", "importance sampling from loopy propagation", true},
    {Algorithm::Ais, "ais", "adaptive importance sampling", true},
    {Algorithm::Lbp, "lbp", "loopy belief propagation", false},
    {Algorithm::Exact, "exact", "junction tree", false},
    {Algorithm::MiniBucket, "wmb", "mini-bucket sampling", true},
    {Algorithm::Propagated, "bpis", "sampling from converged propagation", true},
    {Algorithm::Pilot, "pilot", "bpis's or wmb's proposal, whichever does best on short pilot runs", true},
}};

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
    std::string list;
    for (std::size_t k = 0; k < kAlgorithms.size(); ++k) {
        if (k > 0) list += k + 1 == kAlgorithms.size() ? " or " : ", ";
        list += kAlgorithms[k].name;
    }
    return list;
}

std::string algorithmHelp() {
    std::string help;
    for (std::size_t k = 0; k < kAlgorithms.size(); ++k) {
        if (k > 0) help += k + 1 == kAlgorithms.size() ? " or " : ", ";
        help += std::string(kAlgorithms[k].name) + " (" + std::string(kAlgorithms[k].summary) + ")";
    }
    return help;
}

std::string unknownAlgorithmMessage(std::string_view name) {
    if (algorithmNamed(name)) return "";
    return "unknown algorithm \"" + std::string(name) + "\"; use " + algorithmNameList();
}

}  // namespace samplenet
