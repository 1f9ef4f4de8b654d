#include "cli/run_options.h"

#include <cstdint>
#include <stdexcept>

#include "cli/option_checks.h"

namespace samplenet_cli {

void addMemoryLimitOption(CLI::App& command, double& gib, const std::string& description) {
    command.add_option("--memory-limit", gib, description)->check(numberAbove(0.0))->capture_default_str();
}

std::size_t memoryLimitBytes(double gib) {
    // Limits beyond what a size can count mean no limit.
    const double bytes = gib * (1 << 30);
    return bytes < 0x1p64 ? static_cast<std::size_t>(bytes) : SIZE_MAX;
}

void addRunOptions(CLI::App& command, RunOptions& run) {
    auto& options = run.options;
    command.add_option("-a,--algorithm", run.algorithm, "auto (exact where it is quick, else epis to a target error), epis, ais, lbp, exact, wmb (mini-bucket sampling) or bpis (sampling from converged propagation)")
        ->check(checkAlgorithmName)
        ->capture_default_str();
    command
        .add_option("-n,--samples", run.samples,
                    "Samples drawn by epis, ais, wmb and bpis. With --target-error, the most to draw, and no cap "
                    "when not given: the run goes on until the target is met or --max-seconds (default 10 "
                    "with a target) is spent")
        ->check(wholeNumberAtLeast(1))
        ->capture_default_str();
    command.add_option("--propagation-length", options.epis.propagationLength,
                       "Rounds of evidence propagation that shape epis's importance tables "
                       "(capped by the network's depth)")
        ->check(wholeNumberAtLeast(0))
        ->capture_default_str();
    addMemoryLimitOption(command, run.memoryLimitGiB,
                         "GiB of tables above which inference refuses a network: exact's clique tables, "
                         "the other algorithms' copies of the network's tables");
    command
        .add_option("--max-seconds", run.maxSeconds,
                    "Time budget of epis, ais and wmb (by default none, but 10 with --target-error and no -n): "
                    "sampling stops when it is spent, and the report says "
                    "how many samples were drawn. A budgeted run is repeatable only in the samples it reports: "
                    "how many it draws depends on the clock, so runs with one --seed may stop at different "
                    "counts and print different results")
        ->check(numberAbove(0.0));
    command.add_option("--iterations", options.lbpIterations, "Rounds of message passing of lbp")
        ->check(wholeNumberAtLeast(1))
        ->capture_default_str();
    command.add_option("--damping", options.damping,
                       "bpis: each propagated message becomes this share of the old one plus the rest of the new, "
                       "in [0, 1)")
        ->check(CLI::Range(0.0, 0.999))
        ->capture_default_str();
    // Negative seeds would only alias positive ones (-1 runs as 32767), so they
    // are refused, here as in Python.
    command.add_option("--seed", run.seed, "Fixed seed for repeatable sampling, from 0; only its low 15 bits are used")
        ->check(wholeNumberAtLeast(0));
}

samplenet::InferenceOptions inferenceOptions(const RunOptions& run, const CLI::App& command) {
    samplenet::InferenceOptions options = run.options;
    if (command.count("--samples") > 0) options.samples = run.samples;
    if (command.count("--seed") > 0) options.seed = run.seed;
    if (command.count("--max-seconds") > 0) options.maxSeconds = run.maxSeconds;
    options.memoryLimitBytes = memoryLimitBytes(run.memoryLimitGiB);
    options.algorithm = *samplenet::algorithmNamed(run.algorithm);
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
