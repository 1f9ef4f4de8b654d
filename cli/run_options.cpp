#include "cli/run_options.h"

#include <stdexcept>

#include "cli/option_checks.h"

namespace samplenet_cli {

void addRunOptions(CLI::App& command, RunOptions& run) {
    auto& options = run.options;
    command.add_option("-a,--algorithm", run.algorithm, "epis, ais, lbp or exact")
        ->check(checkAlgorithmName)
        ->capture_default_str();
    command.add_option("-n,--samples", options.samples, "Samples drawn by epis and ais")
        ->check(wholeNumberAtLeast(1))
        ->capture_default_str();
    command.add_option("--propagation-length", options.epis.propagationLength,
                       "Rounds of evidence propagation that shape epis's importance tables "
                       "(capped by the network's depth)")
        ->check(wholeNumberAtLeast(0))
        ->capture_default_str();
    command
        .add_option("--memory-limit", run.exactMemoryLimitGiB,
                    "GiB of clique tables above which exact refuses a network")
        ->check(numberAbove(0.0))
        ->capture_default_str();
    command.add_option("--iterations", options.lbpIterations, "Rounds of message passing of lbp")
        ->check(wholeNumberAtLeast(1))
        ->capture_default_str();
    command.add_option("--seed", run.seed, "Fixed seed for repeatable sampling; only its low 15 bits are used");
}

samplenet::InferenceOptions inferenceOptions(const RunOptions& run, const CLI::App& command) {
    samplenet::InferenceOptions options = run.options;
    if (command.count("--seed") > 0) options.seed = run.seed;
    options.exactMemoryLimitBytes = static_cast<std::size_t>(run.exactMemoryLimitGiB * (1 << 30));
    options.algorithm = *samplenet::algorithmNamed(run.algorithm);
    return options;
}

std::vector<int> queriedVariables(const samplenet::Network& network, const std::vector<std::string>& queries) {
    std::vector<int> variables;
    for (const std::string& name : queries) {
        const auto v = network.indexOf(name);
        if (!v) throw std::invalid_argument("unknown node \"" + name + "\" in --query");
        variables.push_back(*v);
    }
    if (queries.empty())
        for (int v = 0; v < network.size(); ++v) variables.push_back(v);
    return variables;
}

}  // namespace samplenet_cli
