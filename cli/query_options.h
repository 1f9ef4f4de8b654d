#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

#include "cli/inference_arguments.h"
#include "cli/posterior_output.h"

namespace samplenet_cli {

// Queries that `infer` answers instead of the posterior of every node.
struct QueryArguments {
    bool mostProbableExplanation = false;
    bool localSearch = true;
    std::vector<std::string> joint;  // node names

    bool asked() const { return mostProbableExplanation || !joint.empty(); }
};

void addQueryOptions(CLI::App& command, QueryArguments& arguments);

// Answers the query on a prepared run and returns the report; throws on any
// failure before anything is printed. With --mpe, nodes named by -q get
// their jointly most probable states, the others summed out.
std::string answerQuery(const QueryArguments& arguments, const InferenceRun& run, OutputFormat format,
                        const std::vector<std::string>& queried);

}  // namespace samplenet_cli
