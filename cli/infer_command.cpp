#include "cli/infer_command.h"

#include <iostream>

#include <stdexcept>

#include "cli/example_network.h"
#include "cli/posterior_output.h"
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

}  // namespace

CLI::App* addInferCommand(CLI::App& app, InferArguments& arguments) {
    CLI::App* command = app.add_subcommand("infer", "Posterior probabilities of the nodes given evidence");
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
    addRunOptions(*command, arguments.run);
    command->add_option("-q,--query", arguments.queries, "Show only this node; repeatable")->allow_extra_args(false);
    command->add_option("--format", arguments.format, "table, json or csv")
        ->check(checkFormat)
        ->capture_default_str();
    return command;
}

void runInfer(InferArguments arguments, const CLI::App& command) {
    samplenet::InferenceOptions options = inferenceOptions(arguments.run, command);
    options.progress = samplenet::terminalProgressBar();

    const bool builtIn = arguments.networkPath.empty();
    const samplenet::Network network =
        builtIn ? readExampleNetwork() : samplenet::readNetwork(arguments.networkPath);
    const samplenet::Evidence evidence = readEvidence(network, arguments);
    const std::vector<int> shown = queriedVariables(network, arguments.queries);
    const samplenet::InferenceResult result = samplenet::infer(network, evidence, options);

    const PosteriorReport report{builtIn ? kExampleNetworkDescription : arguments.networkPath,
                                 network, evidence, options, result, shown};
    std::cout << formatReport(report, *outputFormatNamed(arguments.format));
}

}  // namespace samplenet_cli
