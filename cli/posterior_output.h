#pragma once

#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "lib/formats/text_util.h"
#include "lib/impact/intervention.h"
#include "lib/inference/inference.h"
#include "lib/model/evidence.h"
#include "lib/model/network.h"

namespace samplenet_cli {

enum class OutputFormat { Table, Json, Csv, Html };

std::optional<OutputFormat> outputFormatNamed(std::string_view name);

// What was asked and what came out, for the writers below.
struct PosteriorReport {
    std::string source;  // file name, or a description of the built-in network
    const samplenet::Network& network;
    const samplenet::Evidence& evidence;
    const samplenet::Interventions& interventions;
    const samplenet::InferenceOptions& options;
    const samplenet::InferenceResult& result;
    std::vector<int> variables;  // the ones to show, in order
};

// "epis, 1000 samples, seed 3" and the like: how the posteriors were made.
std::string runDescription(const samplenet::InferenceOptions& options, const samplenet::InferenceResult& result);
// The sampling run's error in one line: the largest standard error, the
// effective sample size and P(evidence) with its relative error; empty for
// the other algorithms.
std::string errorDescription(const samplenet::InferenceResult& result);
// The observation of observed variable v as -e takes it: "A=yes" or "B=[0.9,0.2]".
std::string evidenceAssignment(const samplenet::Network& network, const samplenet::Evidence& evidence, int v);
// "A=yes, B=[0.9,0.2]", or "none", in the order the evidence was given.
std::string evidenceDescription(const samplenet::Network& network, const samplenet::Evidence& evidence);
// {"A": "yes", "B": [0.9, 0.2]}: the evidence as JSON reports give it, in
// the order it was given.
nlohmann::ordered_json evidenceJson(const samplenet::Network& network, const samplenet::Evidence& evidence);
using samplenet::csvField;

// The whole report as text, so that nothing is printed when it fails; in
// pieces, to be written one after the other, because the JSON of a large
// network is hundreds of megabytes.
using ReportText = std::vector<std::string>;
ReportText formatReport(const PosteriorReport& report, OutputFormat format);

}  // namespace samplenet_cli
