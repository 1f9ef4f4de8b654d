#include "cli/run_options.h"

#include <algorithm>
#include <cstdint>
#include <iostream>
#include <variant>
#include <stdexcept>

#include "cli/option_checks.h"
#include "lib/inference/option_registry.h"

namespace samplenet_cli {

void addMemoryLimitOption(CLI::App& command, double& gib, const std::string& description) {
    command.add_option("--memory-limit", gib, description)->check(numberAbove(0.0))->capture_default_str();
}

void addRunOptions(CLI::App& command, RunOptions& run, const std::vector<std::string_view>& without) {
    command.add_option("-a,--algorithm", run.algorithm, samplenet::algorithmHelp())
        ->check([](const std::string& name) { return samplenet::unknownAlgorithmMessage(name); })
        ->capture_default_str();
    addTuningOptions(command, run.given, without);
}

void addTuningOptions(CLI::App& command, GivenOptions& given, const std::vector<std::string_view>& without) {
    for (const samplenet::OptionSpec& spec : samplenet::optionSpecs()) {
        if (std::find(without.begin(), without.end(), spec.name) != without.end()) continue;
        const std::string flags =
            (spec.shortFlag.empty() ? "" : std::string(spec.shortFlag) + ",") + "--" + std::string(spec.name);
        CLI::Option* option =
            command.add_option(flags, given[std::string(spec.name)], std::string(spec.help))
                ->check(CLI::Validator(
                    [&spec](std::string& text) {
                        const auto parsed = samplenet::parseOptionText(spec, text);
                        const auto* refusal = std::get_if<std::string>(&parsed);
                        return refusal ? *refusal : std::string();
                    },
                    ""));
        option->type_name(spec.kind == samplenet::OptionKind::WholeNumber ? "INT"
                          : spec.kind == samplenet::OptionKind::Number    ? "NUMBER"
                                                                          : "CHOICE");
        if (!spec.defaultText.empty()) option->default_str(std::string(spec.defaultText));
        option->group(std::string(spec.concern));
    }
}

void setGivenOptions(samplenet::InferenceOptions& options, const GivenOptions& given,
                     std::optional<samplenet::Algorithm> algorithm) {
    for (const auto& [name, text] : given) {
        if (text.empty()) continue;  // not given (CLI11 leaves its target untouched)
        const samplenet::OptionSpec& spec = *samplenet::optionNamed(name);
        samplenet::setOption(options, spec, std::get<samplenet::OptionValue>(samplenet::parseOptionText(spec, text)));
        if (!algorithm) continue;
        if (const std::string why = samplenet::whyIgnored(*algorithm, spec); !why.empty())
            std::cerr << "samplenet: note: --" << name << " is " << why << "\n";
    }
}

samplenet::InferenceOptions inferenceOptions(const RunOptions& run) {
    samplenet::InferenceOptions options;
    options.algorithm = *samplenet::algorithmNamed(run.algorithm);
    setGivenOptions(options, run.given, options.algorithm);
    samplenet::checkOptions(options);
    return options;
}

std::vector<int> variablesNamed(const samplenet::Network& network, const std::vector<std::string>& names,
                                const std::string& option) {
    std::vector<int> variables;
    for (const std::string& name : names) {
        const auto v = network.indexOf(name);
        if (!v) throw std::invalid_argument("unknown node \"" + name + "\" in " + option);
        variables.push_back(*v);
    }
    return variables;
}

std::vector<int> queriedVariables(const samplenet::Network& network, const std::vector<std::string>& queries) {
    std::vector<int> variables = variablesNamed(network, queries, "--query");
    if (queries.empty())
        for (int v = 0; v < network.size(); ++v) variables.push_back(v);
    return variables;
}

}  // namespace samplenet_cli
