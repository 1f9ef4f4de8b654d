#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

#include "cli/run_options.h"
#include "lib/impact/intervention.h"
#include "lib/formats/read_limits.h"
#include "lib/inference/inference.h"
#include "lib/model/evidence.h"
#include "lib/model/network.h"

namespace samplenet_cli {

// -e and --evidence-file, as the commands that take evidence read them.
struct EvidenceArguments {
    std::vector<std::string> evidence;
    std::string evidenceFile;
};

void addEvidenceOptions(CLI::App& command, EvidenceArguments& arguments);
samplenet::Evidence readEvidence(const samplenet::Network& network, const EvidenceArguments& arguments);

// What the commands that run inference (infer, plot) take alike.
struct InferenceArguments {
    std::string networkPath;  // empty: the built-in example
    EvidenceArguments evidence;
    std::vector<std::string> interventions;  // --do NODE=STATE
    RunOptions run;
    std::vector<std::string> queries;
    samplenet::ReadLimits readLimits;
};

// The network, the evidence and interventions, the run options and the
// reading limits; each
// command adds its -q.
void addInferenceOptions(CLI::App& command, InferenceArguments& arguments);

// A finished run and what it was asked.
struct InferenceRun {
    std::string source;  // file name, or a description of the built-in network
    // The network as read, after the interventions' surgery.
    samplenet::Network network;
    samplenet::Evidence evidence;
    samplenet::InferenceOptions options;
    samplenet::InferenceResult result;  // filled by runInference
    samplenet::Interventions interventions = {};
};

// Reads the network, the evidence and the interventions, cuts the network
// for the interventions and settles the options; throws on any failure.
// The command checks the rest of its arguments, then calls runInference.
InferenceRun prepareInference(InferenceArguments arguments);
// Runs it, and says on stderr, where it reaches the user whatever the
// output, when the time budget cut sampling short.
void runInference(InferenceRun& run);

}  // namespace samplenet_cli
