#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "lib/inference/inference.h"
#include "lib/model/evidence.h"
#include "lib/model/network.h"

namespace samplenet_cli {

enum class OutputFormat { Table, Json, Csv };

std::optional<OutputFormat> outputFormatNamed(std::string_view name);

// What was asked and what came out, for the writers below.
struct PosteriorReport {
    std::string source;  // file name, or a description of the built-in network
    const samplenet::Network& network;
    const samplenet::Evidence& evidence;
    const samplenet::InferenceOptions& options;
    const samplenet::InferenceResult& result;
    std::vector<int> variables;  // the ones to show, in order
};

// A CSV field (RFC 4180): quoted when it holds separators, quotes or line
// breaks.
std::string csvField(const std::string& field);

// The whole report as text, so that nothing is printed when it fails.
std::string formatReport(const PosteriorReport& report, OutputFormat format);

}  // namespace samplenet_cli
