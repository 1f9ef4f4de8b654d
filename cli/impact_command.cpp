#include "cli/impact_command.h"

#include <algorithm>
#include <iostream>

#include "cli/impact_output.h"
#include "cli/interrupt_signal.h"
#include "cli/option_checks.h"
#include "lib/model/errors.h"

namespace samplenet_cli {

namespace {

std::vector<int> interventionNodes(const samplenet::Interventions& interventions) {
    std::vector<int> nodes;
    for (const auto& [v, state] : interventions) nodes.push_back(v);
    return nodes;
}

void refuseIntervened(const InferenceRun& run, const std::vector<int>& nodes, const std::string& role) {
    for (int v : nodes)
        if (run.interventions.count(v))
            throw samplenet::EvidenceError("the " + role + " \"" + run.network.variables[v].name +
                                           "\" is set by an intervention: its state is known");
}

}  // namespace

CLI::App* addImpactCommand(CLI::App& app, ImpactArguments& arguments) {
    CLI::App* command = app.add_subcommand("impact", "Which observations would tell most about a node");
    command->footer(
        "Ranks the unobserved nodes by how much observing each would tell about the target (mutual information), "
        "and shows how each of their states would move it.");
    addInferenceOptions(*command, arguments.inference);
    command->add_option("-t,--target", arguments.target, "The node to learn about")->required();
    command
        ->add_option("-c,--candidate", arguments.candidates,
                     "Consider only this node for observation; repeatable (default: every unobserved node)")
        ->allow_extra_args(false);
    command->add_option("--top", arguments.top, "Show only this many of the most informative candidates")
        ->check(wholeNumberAtLeast(1));
    command
        ->add_option("--format", arguments.format, "table, json or csv")
        ->check([](const std::string& name) {
            return impactFormatNamed(name) ? "" : "unknown format \"" + name + "\"; use table, json or csv";
        })
        ->capture_default_str();
    return command;
}

void runImpact(ImpactArguments arguments) {
    InferenceRun run = prepareInference(arguments.inference);
    const int target = variablesNamed(run.network, {arguments.target}, "--target").front();
    refuseIntervened(run, {target}, "target");
    std::vector<int> candidates =
        arguments.candidates.empty()
            ? samplenet::unobservedCandidates(run.network, run.evidence, target, interventionNodes(run.interventions))
            : variablesNamed(run.network, arguments.candidates, "--candidate");
    refuseIntervened(run, candidates, "candidate");

    const InterruptibleRun interruptible;
    run.options.cancellation = interruptible.cancellation();
    const samplenet::EvidenceImpact impact =
        samplenet::evidenceImpact(run.network, run.evidence, target, candidates, run.options);
    for (const std::string& warning : impact.warnings) std::cerr << "samplenet: warning: " << warning << "\n";
    const ImpactReport report{run.source, run.network, run.evidence, run.interventions, impact,
                              arguments.top > 0 ? static_cast<std::size_t>(arguments.top) : impact.candidates.size()};
    std::cout << formatImpact(report, *impactFormatNamed(arguments.format));
}

}  // namespace samplenet_cli
