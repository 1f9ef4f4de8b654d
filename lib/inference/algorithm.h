#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace samplenet {

enum class Algorithm {
    Epis,  // importance sampling from a loopy-propagation importance function
    Ais,   // adaptive importance sampling: learns the importance function first
    Lbp,   // loopy belief propagation
    Exact, // junction tree; refuses networks whose cliques exceed the memory limit
    Auto,  // exact where it is quick, else samplers to a precision target, with fallbacks
    MiniBucket,  // importance sampling from a memory-bounded weighted mini-bucket elimination, backtracking on zeros
    Propagated,  // importance sampling from tables of belief propagation run to convergence, sequentially
    Pilot,       // the proposal of Propagated or MiniBucket that does best on short pilot runs
};

// One algorithm as every surface names and describes it.
struct AlgorithmEntry {
    Algorithm algorithm;
    std::string_view name;       // as -a/--algorithm and algorithm= take it
    std::string_view summary;    // a few words for help texts
    bool samples = false;        // draws samples (takes -n, --seed, --target-error, ...)
    bool showsSamples = false;   // its weighted samples can be watched and searched for configurations
    bool engineSampler = false;  // samples on the engine: in shares, adding up joints and keeping best samples
    bool explains = false;       // answers the most probable explanation of the evidence
    bool findsStates = false;    // answers the most probable states of chosen nodes
    bool givesJoints = false;    // answers the joint posterior of chosen nodes
};

// The questions beside the marginals that only some algorithms answer.
enum class Query { Explanation, MostProbableStates, JointPosterior };

// Every algorithm, in the order help texts list them.
std::span<const AlgorithmEntry> algorithms();
const AlgorithmEntry& algorithmEntry(Algorithm algorithm);

std::string_view algorithmName(Algorithm algorithm);
std::optional<Algorithm> algorithmNamed(std::string_view name);
// "auto, epis, ais, lbp, exact, wmb, bpis or pilot"
std::string algorithmNameList();
// The names of the algorithms that have a property: "epis, ais or bpis"
// for &AlgorithmEntry::showsSamples.
std::string algorithmNamesWhere(bool AlgorithmEntry::*property);
// Empty when `algorithm` answers `query`, else the message that says which
// do: "lbp gives no joint posterior: use auto, epis, ais or exact".
std::string whyNoAnswer(Algorithm algorithm, Query query);
// "auto (exact where it is quick, ...), epis (...), ..."
std::string algorithmHelp();
// Empty when `name` names an algorithm, else the message that says which do.
std::string unknownAlgorithmMessage(std::string_view name);

}  // namespace samplenet
