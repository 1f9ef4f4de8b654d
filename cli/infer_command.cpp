#include "cli/infer_command.h"

#include <iostream>

#include "cli/option_checks.h"
#include <stdexcept>

#include "cli/example_network.h"
#include "cli/posterior_output.h"
#include "cli/read_limit_options.h"
#include "lib/formats/formats.h"
#include "lib/inference/evidence_parser.h"
#include "lib/inference/progress_bar.h"

namespace samplenet_cli {

namespace {

std::string checkFormat(const std::string& name) {
    return outputFormatNamed(name) ? "" : "unknown format \"" + name + "\"; use table, json or csv";
}

samplenet::Evidence readEvidence(const samplenet::Network& network, const InferArguments& arguments) {
    samplenet::Evidence evidence;
    if (!arguments.evidenceFile.empty()) evidence = samplenet::readEvidenceFile(network, arguments.evidenceFile);
    for (const std::string& assignment : arguments.evidence)
        samplenet::addEvidenceAssignment(network, assignment, evidence);
    return evidence;
}

std::vector<int> shownVariables(const samplenet::Network& network, const std::vector<std::string>& queries) {
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

}  // namespace

CLI::App* addInferCommand(CLI::App& app, InferArguments& arguments) {
    CLI::App* command = app.add_subcommand("infer", "Posterior probabilities of the nodes given evidence");
    auto& options = arguments.options;
    command->add_option("network", arguments.networkPath,
                        "Network file (.bif, .xmlbif/.xml, .net, .uai, optionally .gz); "
                        "without one, a built-in example network");
    command
        ->add_option("-e,--evidence", arguments.evidence,
                     "Evidence NODE=STATE, or NODE=[l1,l2,...] with one likelihood per state; repeatable")
        ->allow_extra_args(false);
    command->add_option("--evidence-file", arguments.evidenceFile,
                        "File of evidence, one NODE=STATE or NODE=[...] per line, # comments; "
                        "or a UAI .evid file");
    command->add_option("-a,--algorithm", arguments.algorithm, "epis, ais, lbp or exact")
        ->check(checkAlgorithmName)
        ->capture_default_str();
    command->add_option("-n,--samples", options.samples, "Samples drawn by epis and ais")
        ->check(wholeNumberAtLeast(1))
        ->capture_default_str();
    command->add_option("--propagation-length", options.epis.propagationLength,
                        "Rounds of evidence propagation that shape epis's importance tables "
                        "(capped by the network's depth)")
        ->check(wholeNumberAtLeast(0))
        ->capture_default_str();
    command->add_option("--memory-limit", arguments.memoryLimitGiB,
                        "GiB of tables above which inference refuses a network: exact's clique tables, "
                        "the other algorithms' copies of the network's tables")
        ->check(numberAbove(0.0))
        ->capture_default_str();
    command->add_option("--max-seconds", arguments.maxSeconds,
                        "Time budget of epis and ais: sampling stops when it is spent, and the report says "
                        "how many samples were drawn")
        ->check(numberAbove(0.0));
    command->add_option("--iterations", options.lbpIterations, "Rounds of message passing of lbp")
        ->check(wholeNumberAtLeast(1))
        ->capture_default_str();
    command->add_option("--seed", arguments.seed,
                        "Fixed seed for repeatable sampling; only its low 15 bits are used");
    command->add_option("-q,--query", arguments.queries, "Show only this node; repeatable")->allow_extra_args(false);
    command->add_option("--format", arguments.format, "table, json or csv")
        ->check(checkFormat)
        ->capture_default_str();
    addReadLimitOptions(command, arguments.readLimits);
    return command;
}

void runInfer(InferArguments arguments, const CLI::App& command) {
    auto& options = arguments.options;
    if (command.count("--seed") > 0) options.seed = arguments.seed;
    if (command.count("--max-seconds") > 0) options.maxSeconds = arguments.maxSeconds;
    // Limits beyond what a size can count mean no limit.
    const double limitBytes = arguments.memoryLimitGiB * (1 << 30);
    options.memoryLimitBytes = limitBytes < 0x1p64 ? static_cast<std::size_t>(limitBytes) : SIZE_MAX;
    options.algorithm = *samplenet::algorithmNamed(arguments.algorithm);
    options.progress = samplenet::terminalProgressBar();

    const bool builtIn = arguments.networkPath.empty();
    const samplenet::Network network =
        builtIn ? readExampleNetwork() : samplenet::readNetwork(arguments.networkPath, arguments.readLimits);
    const samplenet::Evidence evidence = readEvidence(network, arguments);
    const std::vector<int> shown = shownVariables(network, arguments.queries);
    const samplenet::InferenceResult result = samplenet::infer(network, evidence, options);

    const PosteriorReport report{builtIn ? kExampleNetworkDescription : arguments.networkPath,
                                 network, evidence, options, result, shown};
    std::cout << formatReport(report, *outputFormatNamed(arguments.format));
    // Said on stderr too, where it reaches the user whatever the format.
    if (result.samplesDrawn && *result.samplesDrawn < options.samples)
        std::cerr << "samplenet: note: the time limit of " << *options.maxSeconds << " s stopped sampling after "
                  << *result.samplesDrawn << " of " << options.samples << " samples\n";
}

}  // namespace samplenet_cli
