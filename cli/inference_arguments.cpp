#include "cli/inference_arguments.h"

#include <iostream>

#include "cli/example_network.h"
#include "cli/interrupt_signal.h"
#include "cli/intervention_options.h"
#include "cli/option_checks.h"
#include "cli/read_limit_options.h"
#include "lib/formats/formats.h"
#include "lib/inference/answer_reliability.h"
#include "lib/inference/automatic_choice.h"
#include "lib/formats/evidence_parser.h"
#include "cli/progress_bar.h"

namespace samplenet_cli {

samplenet::Evidence readEvidence(const samplenet::Network& network, const EvidenceArguments& arguments) {
    samplenet::Evidence evidence;
    if (!arguments.evidenceFile.empty()) evidence = samplenet::readEvidenceFile(network, arguments.evidenceFile);
    for (const std::string& assignment : arguments.evidence)
        samplenet::addEvidenceAssignment(network, assignment, evidence);
    return evidence;
}

void addEvidenceOptions(CLI::App& command, EvidenceArguments& arguments) {
    command
        .add_option("-e,--evidence", arguments.evidence,
                    "Evidence NODE=STATE, or NODE=[l1,l2,...] with one likelihood per state; repeatable")
        ->allow_extra_args(false);
    command.add_option("--evidence-file", arguments.evidenceFile,
                       "File of evidence, one NODE=STATE or NODE=[...] per line, # comments; "
                       "or a UAI .evid file");
}

void addInferenceOptions(CLI::App& command, InferenceArguments& arguments) {
    command.add_option("network", arguments.networkPath,
                       "Network file (.bif, .xmlbif/.xml, .net, .uai, optionally .gz); "
                       "without one, a built-in example network");
    addEvidenceOptions(command, arguments.evidence);
    addInterventionOption(command, arguments.interventions);
    // A user who does not choose gets the automatic choice.
    arguments.run.algorithm = "auto";
    addRunOptions(command, arguments.run);
    command
        .add_option("--jobs", arguments.run.options.jobs,
                    "Threads of one epis, ais or lbp run. They share the samples (results depend on the seed "
                    "and the job count, and 1 gives the single-threaded results) and, on networks of more than "
                    "256 nodes, the propagation rounds and the building of the sampling tables (results as "
                    "with one thread)")
        ->check(wholeNumberAtLeast(1))
        ->capture_default_str();
    command
        .add_option("--generator", arguments.generator,
                    "Random numbers of epis and ais: standard (its 2^31 numbers repeat after 2^31 / unobserved "
                    "nodes samples) or wide (period 2^64, for longer runs)")
        ->check([](const std::string& name) {
            return name == "standard" || name == "wide" ? "" : "unknown generator \"" + name + "\"; use standard or wide";
        })
        ->capture_default_str();
    command
        .add_option("--target-error", arguments.targetError,
                    "Epis, ais and wmb draw in rounds until every posterior is within this of the truth with 95% "
                    "confidence, or --max-seconds is spent (10 by default when -n is not given); -n, when given, is the "
                    "most samples to draw")
        ->check(numberAbove(0.0));
    command
        .add_option("--tolerance", arguments.tolerance,
                    "Lbp stops once no belief changes by more than this in an iteration (at most --iterations), "
                    "and says whether it converged")
        ->check(numberAbove(0.0));
    addReadLimitOptions(&command, arguments.readLimits);
}

InferenceRun prepareInference(InferenceArguments arguments, const CLI::App& command) {
    samplenet::InferenceOptions options = inferenceOptions(arguments.run, command);
    options.progress = samplenet::terminalProgressBar();
    options.generator = arguments.generator == "wide" ? samplenet::Generator::Wide : samplenet::Generator::Standard;
    if (command.count("--target-error") > 0) options.targetError = arguments.targetError;
    if (command.count("--tolerance") > 0) options.lbpTolerance = arguments.tolerance;

    const bool builtIn = arguments.networkPath.empty();
    InferenceRun run{builtIn ? kExampleNetworkDescription : arguments.networkPath,
                     builtIn ? readExampleNetwork() : samplenet::readNetwork(arguments.networkPath, arguments.readLimits),
                     {}, options, {}};
    run.evidence = readEvidence(run.network, arguments.evidence);
    run.interventions = readInterventions(run.network, run.evidence, arguments.interventions);
    if (!run.interventions.empty()) run.network = samplenet::intervene(run.network, run.interventions);
    return run;
}

void runInference(InferenceRun& run) {
    const InterruptibleRun interruptible;
    run.options.cancellation = interruptible.cancellation();
    if (run.options.algorithm == samplenet::Algorithm::Auto) {
        // Reports describe the run that produced the numbers.
        samplenet::AutomaticRun chosen = samplenet::inferAutomatically(run.network, run.evidence, run.options);
        run.result = std::move(chosen.result);
        run.options = chosen.used;
    } else {
        run.result = samplenet::infer(run.network, run.evidence, run.options);
    }
    const auto budget = samplenet::timeBudget(run.options);
    if (budget && run.result.samplesDrawn && *run.result.samplesDrawn < samplenet::sampleLimit(run.options) &&
        !(run.result.sampling && run.result.sampling->targetMet == true))
        std::cerr << "samplenet: note: the time limit of " << *budget << " s stopped sampling after "
                  << *run.result.samplesDrawn
                  << (run.options.samples ? " of " + std::to_string(*run.options.samples) : std::string())
                  << " samples\n";
    if (run.result.propagation && run.options.lbpTolerance && !run.result.propagation->converged)
        std::cerr << "samplenet: note: lbp did not converge within " << run.result.propagation->iterations
                  << " iterations: the last changed a belief by " << run.result.propagation->lastChange << "\n";
    if (!run.result.sampling) return;
    const samplenet::SamplingReport& sampling = *run.result.sampling;
    if (const auto reliability = samplenet::judgeReliability(sampling); !reliability.reliable)
        std::cerr << "samplenet: warning: " << reliability.warning << "\n";
    if (sampling.distinct < sampling.drawn)
        std::cerr << "samplenet: warning: only " << sampling.distinct << " of " << sampling.drawn
                  << " samples are distinct draws: the generator's stream of 2^31 numbers repeats after that, so "
                     "more samples add no information\n";
    if (sampling.targetMet == false)
        std::cerr << "samplenet: note: the target error of " << *run.options.targetError << " was not met after "
                  << sampling.drawn << " samples ("
                  << (run.options.samples ? "raise -n or --max-seconds" : "raise --max-seconds") << ")\n";
    if (sampling.lostToRange > 0)
        std::cerr << "samplenet: note: " << sampling.lostToRange << " of " << sampling.drawn
                  << " samples were lost because their weight left the range of double\n";
}

}  // namespace samplenet_cli
