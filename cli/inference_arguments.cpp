#include "cli/inference_arguments.h"

#include <stdexcept>

#include "cli/example_network.h"
#include "cli/option_checks.h"
#include "lib/formats/formats.h"
#include "lib/inference/evidence_parser.h"
#include "lib/inference/progress_bar.h"

namespace samplenet_cli {

namespace {

samplenet::Evidence readEvidence(const samplenet::Network& network, const InferenceArguments& arguments) {
    samplenet::Evidence evidence;
    if (!arguments.evidenceFile.empty()) evidence = samplenet::readEvidenceFile(network, arguments.evidenceFile);
    for (const std::string& assignment : arguments.evidence)
        samplenet::addEvidenceAssignment(network, assignment, evidence);
    return evidence;
}

}  // namespace

void addInferenceOptions(CLI::App& command, InferenceArguments& arguments) {
    auto& options = arguments.options;
    command.add_option("network", arguments.networkPath,
                       "Network file (.bif, .xmlbif/.xml, .net, .uai, optionally .gz); "
                       "without one, a built-in example network");
    command
        .add_option("-e,--evidence", arguments.evidence,
                    "Evidence NODE=STATE, or NODE=[l1,l2,...] with one likelihood per state; repeatable")
        ->allow_extra_args(false);
    command.add_option("--evidence-file", arguments.evidenceFile,
                       "File of evidence, one NODE=STATE or NODE=[...] per line, # comments; "
                       "or a UAI .evid file");
    command.add_option("-a,--algorithm", arguments.algorithm, "epis, ais, lbp or exact")
        ->check(checkAlgorithmName)
        ->capture_default_str();
    command.add_option("-n,--samples", options.samples, "Samples drawn by epis and ais")
        ->check(wholeNumberAtLeast(1))
        ->capture_default_str();
    command
        .add_option("--propagation-length", options.epis.propagationLength,
                    "Rounds of evidence propagation that shape epis's importance tables "
                    "(capped by the network's depth)")
        ->check(wholeNumberAtLeast(0))
        ->capture_default_str();
    command
        .add_option("--memory-limit", arguments.exactMemoryLimitGiB,
                    "GiB of clique tables above which exact refuses a network")
        ->check(numberAbove(0.0))
        ->capture_default_str();
    command.add_option("--iterations", options.lbpIterations, "Rounds of message passing of lbp")
        ->check(wholeNumberAtLeast(1))
        ->capture_default_str();
    command.add_option("--seed", arguments.seed, "Fixed seed for repeatable sampling; only its low 15 bits are used");
}

std::vector<int> queriedVariables(const samplenet::Network& network, const std::vector<std::string>& queries) {
    std::vector<int> variables;
    for (const std::string& name : queries) {
        const auto v = network.indexOf(name);
        if (!v) throw std::invalid_argument("unknown node \"" + name + "\" in --query");
        variables.push_back(*v);
    }
    return variables;
}

InferenceRun prepareInference(InferenceArguments arguments, const CLI::App& command) {
    auto& options = arguments.options;
    if (command.count("--seed") > 0) options.seed = arguments.seed;
    options.exactMemoryLimitBytes = static_cast<std::size_t>(arguments.exactMemoryLimitGiB * (1 << 30));
    options.algorithm = *samplenet::algorithmNamed(arguments.algorithm);
    options.progress = samplenet::terminalProgressBar();

    const bool builtIn = arguments.networkPath.empty();
    InferenceRun run{builtIn ? kExampleNetworkDescription : arguments.networkPath,
                     builtIn ? readExampleNetwork() : samplenet::readNetwork(arguments.networkPath),
                     {}, options, {}};
    run.evidence = readEvidence(run.network, arguments);
    return run;
}

void runInference(InferenceRun& run) { run.result = samplenet::infer(run.network, run.evidence, run.options); }

}  // namespace samplenet_cli
