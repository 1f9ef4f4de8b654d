#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "lib/inference/inference_options.h"

namespace samplenet {

// What an inference option holds: whole numbers, numbers, or one of a few
// names.
enum class OptionKind { WholeNumber, Number, Choice };
using OptionValue = std::variant<long long, double, std::string>;

// One tuning option of inference as every surface takes it: the command
// line as --NAME, Python as KEYWORD=, the library through `set` and `get`.
// Its checks and help are declared here alone.
struct OptionSpec {
    std::string_view name = {};       // the long flag without its dashes
    std::string_view shortFlag = {};  // "-n", or empty
    std::string_view keyword = {};    // Python's keyword
    // The record of InferenceOptions it sets, as help headings group it:
    // "Sampling", "Propagation", "Stopping rules" or "Resources".
    std::string_view concern = {};
    std::string_view help = {};
    OptionKind kind = {};
    // Accepted values: numbers within [least, most], an end excluded where
    // said; choices among `choices`.
    double least = 0.0;
    bool leastExcluded = false;
    double most = 0.0;
    bool mostExcluded = false;
    std::vector<std::string_view> choices = {};
    // The value a run takes when the option is not given, as help shows it;
    // empty where the option is unset by default.
    std::string_view defaultText = {};
    // The algorithms that read it (auto reads every option, as it may run
    // any of them).
    std::vector<Algorithm> readBy = {};
    void (*set)(InferenceOptions&, const OptionValue&) = nullptr;
    std::optional<OptionValue> (*get)(const InferenceOptions&) = nullptr;
};

std::span<const OptionSpec> optionSpecs();

// The bytes of a memory limit given in GiB; limits beyond what a size can
// count mean no limit.
std::size_t bytesOfGiB(double gib);
// nullptr for an unknown name (flag name or keyword).
const OptionSpec* optionNamed(std::string_view name);

// Empty when `value` is acceptable, else "expected ..., found ...".
std::string checkOptionValue(const OptionSpec& spec, const OptionValue& value);
// The value of a command-line text, or the message that refuses it.
std::variant<OptionValue, std::string> parseOptionText(const OptionSpec& spec, const std::string& text);
// Checks and sets; std::invalid_argument "KEYWORD: expected ..." when refused.
void setOption(InferenceOptions& options, const OptionSpec& spec, const OptionValue& value);

// Whether `algorithm` reads the option.
bool readsOption(Algorithm algorithm, const OptionSpec& spec);
// Why `algorithm` ignores the option ("read by lbp alone; epis ignores
// it"); empty when it reads it.
std::string whyIgnored(Algorithm algorithm, const OptionSpec& spec);

// Every option's value and the record's other fields checked; throws
// std::invalid_argument naming the first that is out of range.
void checkOptions(const InferenceOptions& options);

}  // namespace samplenet
