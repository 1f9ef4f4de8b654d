#include "lib/inference/option_registry.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <climits>
#include <cmath>
#include <stdexcept>

namespace samplenet {

namespace {

constexpr double kYearOfSeconds = 365.0 * 24 * 3600;
constexpr double kBytesPerGiB = double(1 << 30);

using A = Algorithm;
const std::vector<Algorithm> kSamplers{A::Epis, A::Ais, A::MiniBucket, A::Propagated, A::Pilot};

long long wholeNumber(const OptionValue& value) {
    if (const auto* whole = std::get_if<long long>(&value)) return *whole;
    return static_cast<long long>(std::get<double>(value));
}
double number(const OptionValue& value) {
    if (const auto* whole = std::get_if<long long>(&value)) return static_cast<double>(*whole);
    return std::get<double>(value);
}
std::optional<OptionValue> whole(long long value) { return OptionValue{value}; }
std::optional<OptionValue> real(double value) { return OptionValue{value}; }

const std::vector<OptionSpec> kOptions{
    {.name = "samples",
     .shortFlag = "-n",
     .keyword = "samples",
     .concern = "Sampling",
     .help = "Samples drawn by the samplers. With --target-error, the most to draw, and no cap when not given: the "
             "run goes on until the target is met or --max-seconds (default 10 with a target) is spent",
     .kind = OptionKind::WholeNumber,
     .least = 1,
     .most = INT_MAX,
     .defaultText = "100000",
     .readBy = kSamplers,
     .set = [](InferenceOptions& o, const OptionValue& v) { o.samples = static_cast<int>(wholeNumber(v)); },
     .get = [](const InferenceOptions& o) { return o.samples ? whole(*o.samples) : std::nullopt; }},
    {.name = "seed",
     .keyword = "seed",
     .concern = "Sampling",
     .help = "Fixed seed for repeatable sampling, from 0; only its low 15 bits are used",
     .kind = OptionKind::WholeNumber,
     .least = 0,
     .most = double(LLONG_MAX),
     .readBy = kSamplers,
     .set = [](InferenceOptions& o, const OptionValue& v) { o.seed = static_cast<long>(wholeNumber(v)); },
     .get = [](const InferenceOptions& o) { return o.seed ? whole(*o.seed) : std::nullopt; }},
    {.name = "generator",
     .keyword = "generator",
     .concern = "Sampling",
     .help = "Random numbers of epis and ais: standard (its 2^31 numbers repeat after 2^31 / unobserved nodes "
             "samples) or wide (period 2^64, for longer runs)",
     .kind = OptionKind::Choice,
     .choices = {"standard", "wide"},
     .defaultText = "standard",
     .readBy = {A::Epis, A::Ais},
     .set = [](InferenceOptions& o, const OptionValue& v) {
         o.generator = std::get<std::string>(v) == "wide" ? Generator::Wide : Generator::Standard;
     },
     .get = [](const InferenceOptions& o) {
         return std::optional<OptionValue>(std::string(o.generator == Generator::Wide ? "wide" : "standard"));
     }},
    {.name = "propagation-length",
     .keyword = "propagation_length",
     .concern = "Propagation",
     .help = "Rounds of evidence propagation that shape epis's importance tables (capped by the network's depth)",
     .kind = OptionKind::WholeNumber,
     .least = 0,
     .most = INT_MAX,
     .defaultText = "4",
     .readBy = {A::Epis},
     .set = [](InferenceOptions& o, const OptionValue& v) { o.epis.propagationLength = static_cast<int>(wholeNumber(v)); },
     .get = [](const InferenceOptions& o) { return whole(o.epis.propagationLength); }},
    // Only the floor of small variables: a floor of E over n states needs
    // n * E below 1, so larger variables keep their own, smaller floors.
    {.name = "epsilon",
     .keyword = "epsilon",
     .concern = "Propagation",
     .help = "Least probability that epis's and bpis's importance tables give a possible state of a variable of up "
             "to 4 states (larger variables keep 0.001, 0.0005 and 0.0001 by size); raise it when the evidence "
             "makes states likely that the propagation underrates; lower it, to 0, on a network of many thousands of "
             "nodes without zeros, where the floor's small departures from the tables add up over the nodes and "
             "leave few effective samples",
     .kind = OptionKind::Number,
     .least = 0,
     .most = 0.2,
     .defaultText = "0.006",
     .readBy = {A::Epis, A::Propagated},
     .set = [](InferenceOptions& o, const OptionValue& v) { o.epis.epsilon1 = number(v); },
     .get = [](const InferenceOptions& o) { return real(o.epis.epsilon1); }},
    {.name = "iterations",
     .keyword = "iterations",
     .concern = "Propagation",
     .help = "Rounds of message passing of lbp",
     .kind = OptionKind::WholeNumber,
     .least = 1,
     .most = INT_MAX,
     .defaultText = "50",
     .readBy = {A::Lbp},
     .set = [](InferenceOptions& o, const OptionValue& v) { o.lbpIterations = static_cast<int>(wholeNumber(v)); },
     .get = [](const InferenceOptions& o) { return whole(o.lbpIterations); }},
    {.name = "tolerance",
     .keyword = "tolerance",
     .concern = "Propagation",
     .help = "Lbp stops once no belief changes by more than this in an iteration (at most --iterations), and says "
             "whether it converged",
     .kind = OptionKind::Number,
     .least = 0,
     .leastExcluded = true,
     .most = HUGE_VAL,
     .readBy = {A::Lbp},
     .set = [](InferenceOptions& o, const OptionValue& v) { o.lbpTolerance = number(v); },
     .get = [](const InferenceOptions& o) { return o.lbpTolerance ? real(*o.lbpTolerance) : std::nullopt; }},
    {.name = "damping",
     .keyword = "damping",
     .concern = "Propagation",
     .help = "bpis: each propagated message becomes this share of the old one plus the rest of the new",
     .kind = OptionKind::Number,
     .least = 0,
     .most = 1,
     .mostExcluded = true,
     .defaultText = "0",
     .readBy = {A::Propagated, A::Pilot},
     .set = [](InferenceOptions& o, const OptionValue& v) { o.damping = number(v); },
     .get = [](const InferenceOptions& o) { return real(o.damping); }},
    {.name = "target-error",
     .keyword = "target_error",
     .concern = "Stopping rules",
     .help = "The samplers draw in rounds until every posterior is within this of the truth with 95% confidence, or "
             "--max-seconds is spent (10 by default when -n is not given); -n, when given, is the most samples to "
             "draw",
     .kind = OptionKind::Number,
     .least = 0,
     .leastExcluded = true,
     .most = 1,
     .mostExcluded = true,
     .readBy = kSamplers,
     .set = [](InferenceOptions& o, const OptionValue& v) { o.targetError = number(v); },
     .get = [](const InferenceOptions& o) { return o.targetError ? real(*o.targetError) : std::nullopt; }},
    {.name = "max-seconds",
     .keyword = "max_seconds",
     .concern = "Stopping rules",
     .help = "Time budget of the samplers (by default none, but 10 with --target-error and no -n): sampling stops "
             "when it is spent, and the report says how many samples were drawn. A budgeted run is repeatable only "
             "in the samples it reports: runs with one --seed may stop at different counts",
     .kind = OptionKind::Number,
     .least = 0,
     .leastExcluded = true,
     .most = kYearOfSeconds,
     .readBy = kSamplers,
     .set = [](InferenceOptions& o, const OptionValue& v) { o.maxSeconds = number(v); },
     .get = [](const InferenceOptions& o) { return o.maxSeconds ? real(*o.maxSeconds) : std::nullopt; }},
    {.name = "memory-limit",
     .keyword = "memory_limit_gib",
     .concern = "Resources",
     .help = "GiB of tables above which inference refuses a network: exact's clique tables, the other algorithms' "
             "copies of the network's tables; mini-bucket sampling also bounds its buckets by it",
     .kind = OptionKind::Number,
     .least = 0,
     .leastExcluded = true,
     .most = HUGE_VAL,
     .defaultText = "4",
     .readBy = {A::Epis, A::Ais, A::Lbp, A::Exact, A::MiniBucket, A::Propagated, A::Pilot},
     .set = [](InferenceOptions& o, const OptionValue& v) { o.memoryLimitBytes = bytesOfGiB(number(v)); },
     .get = [](const InferenceOptions& o) { return real(double(o.memoryLimitBytes) / kBytesPerGiB); }},
    {.name = "jobs",
     .keyword = "jobs",
     .concern = "Resources",
     .help = "Threads of one run. They share the samples of a sampler (results depend on the seed and the job "
             "count, and 1 gives the single-threaded results) and, on networks of more than 256 nodes, epis's and "
             "lbp's propagation rounds and the building of the sampling tables (results as with one thread)",
     .kind = OptionKind::WholeNumber,
     .least = 1,
     .most = INT_MAX,
     .defaultText = "1",
     .readBy = {A::Epis, A::Ais, A::Lbp, A::MiniBucket, A::Propagated, A::Pilot},
     .set = [](InferenceOptions& o, const OptionValue& v) { o.jobs = static_cast<int>(wholeNumber(v)); },
     .get = [](const InferenceOptions& o) { return whole(o.jobs); }},
};

std::string describeValue(const OptionValue& value) {
    if (const auto* text = std::get_if<std::string>(&value)) return "\"" + *text + "\"";
    if (const auto* whole = std::get_if<long long>(&value)) return std::to_string(*whole);
    return fmt::format("{:g}", std::get<double>(value));
}

std::string describeBound(double bound) {
    return bound == double(LLONG_MAX) ? std::to_string(LLONG_MAX) : fmt::format("{:.15g}", bound);
}

// "a whole number of at least 1", "a number above 0 and below 1"
std::string describeRange(const OptionSpec& spec) {
    std::string text = spec.kind == OptionKind::WholeNumber ? "a whole number" : "a number";
    text += spec.leastExcluded ? " above " : (spec.kind == OptionKind::WholeNumber ? " of at least " : " from ");
    text += describeBound(spec.least);
    if (std::isfinite(spec.most)) text += (spec.mostExcluded ? " and below " : " and at most ") + describeBound(spec.most);
    return text;
}

bool within(const OptionSpec& spec, double value) {
    if (!std::isfinite(value)) return false;
    if (spec.leastExcluded ? !(value > spec.least) : !(value >= spec.least)) return false;
    return spec.mostExcluded ? value < spec.most : value <= spec.most;
}

std::string choiceList(const OptionSpec& spec) {
    std::string list;
    for (std::size_t k = 0; k < spec.choices.size(); ++k) {
        if (k > 0) list += k + 1 == spec.choices.size() ? " or " : ", ";
        list += spec.choices[k];
    }
    return list;
}

}  // namespace

std::size_t bytesOfGiB(double gib) {
    const double bytes = gib * kBytesPerGiB;
    return bytes < 0x1p64 ? static_cast<std::size_t>(bytes) : SIZE_MAX;
}

std::span<const OptionSpec> optionSpecs() { return kOptions; }

const OptionSpec* optionNamed(std::string_view name) {
    for (const OptionSpec& spec : kOptions)
        if (spec.name == name || spec.keyword == name) return &spec;
    return nullptr;
}

std::string checkOptionValue(const OptionSpec& spec, const OptionValue& value) {
    if (spec.kind == OptionKind::Choice) {
        const auto* text = std::get_if<std::string>(&value);
        if (text && std::find(spec.choices.begin(), spec.choices.end(), *text) != spec.choices.end()) return "";
        return "expected " + choiceList(spec) + ", found " + describeValue(value);
    }
    const bool fits = !std::holds_alternative<std::string>(value) &&
                      (spec.kind == OptionKind::Number || std::holds_alternative<long long>(value) ||
                       std::trunc(std::get<double>(value)) == std::get<double>(value)) &&
                      within(spec, number(value));
    return fits ? "" : "expected " + describeRange(spec) + ", found " + describeValue(value);
}

std::variant<OptionValue, std::string> parseOptionText(const OptionSpec& spec, const std::string& text) {
    OptionValue value = text;
    const char* end = text.data() + text.size();
    if (spec.kind == OptionKind::WholeNumber) {
        long long whole = 0;
        const auto [stop, error] = std::from_chars(text.data(), end, whole);
        if (error == std::errc() && stop == end) value = whole;
    } else if (spec.kind == OptionKind::Number) {
        double real = 0.0;
        const auto [stop, error] = std::from_chars(text.data(), end, real);
        if (error == std::errc() && stop == end) value = real;
    }
    if (std::string refusal = checkOptionValue(spec, value); !refusal.empty()) {
        // Texts are quoted as given, numbers or not.
        if (!std::holds_alternative<std::string>(value))
            refusal = refusal.substr(0, refusal.rfind(", found ")) + ", found \"" + text + "\"";
        return refusal;
    }
    return value;
}

void setOption(InferenceOptions& options, const OptionSpec& spec, const OptionValue& value) {
    if (const std::string refusal = checkOptionValue(spec, value); !refusal.empty())
        throw std::invalid_argument(std::string(spec.keyword) + ": " + refusal);
    spec.set(options, value);
}

bool readsOption(Algorithm algorithm, const OptionSpec& spec) {
    return algorithm == Algorithm::Auto || std::find(spec.readBy.begin(), spec.readBy.end(), algorithm) != spec.readBy.end();
}

std::string whyIgnored(Algorithm algorithm, const OptionSpec& spec) {
    if (readsOption(algorithm, spec)) return "";
    std::string readers;
    for (std::size_t k = 0; k < spec.readBy.size(); ++k)
        readers += (k == 0 ? "" : k + 1 == spec.readBy.size() ? " and " : ", ") +
                   std::string(algorithmName(spec.readBy[k]));
    return fmt::format("read by {} alone; {} ignores it", readers, algorithmName(algorithm));
}

void checkOptions(const InferenceOptions& options) {
    for (const OptionSpec& spec : kOptions)
        if (const auto value = spec.get(options))
            if (const std::string refusal = checkOptionValue(spec, *value); !refusal.empty())
                throw std::invalid_argument(std::string(spec.keyword) + ": " + refusal);
    if (options.jobs > sampleLimit(options))
        throw std::invalid_argument("jobs: " + std::to_string(options.jobs) + " must not exceed the number of samples (" +
                                    std::to_string(sampleLimit(options)) + ")");
    const EpisOptions& epis = options.epis;
    if (epis.stateCountLimit1 < 1 || epis.stateCountLimit2 < epis.stateCountLimit1 ||
        epis.stateCountLimit3 < epis.stateCountLimit2)
        throw std::invalid_argument("the state-count limits must be positive and non-decreasing");
    for (double epsilon : {epis.epsilon1, epis.epsilon2, epis.epsilon3, epis.epsilon4})
        if (!(epsilon >= 0.0 && epsilon < 1.0)) throw std::invalid_argument("epsilons must lie in [0, 1)");
}

}  // namespace samplenet
