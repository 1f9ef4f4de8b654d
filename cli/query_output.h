#pragma once

#include <string>

#include "cli/posterior_output.h"
#include "lib/impact/intervention.h"
#include "lib/model/evidence.h"
#include "lib/model/network.h"
#include "lib/queries/query_choice.h"

namespace samplenet_cli {

// What a query's report names besides its answer.
struct QueryReportContext {
    std::string source;
    const samplenet::Network& network;
    const samplenet::Evidence& evidence;
    const samplenet::Interventions& interventions;
};

// Every node's state in the explanation, observed ones marked, with
// P(x, e) and P(x | e); as a table, JSON or CSV.
std::string formatExplanation(const QueryReportContext& context, const samplenet::QueryRun<samplenet::Explanation>& run,
                              OutputFormat format);

// One row per combination of the nodes' states, the last node's varying
// fastest, with its probability; as a table, JSON or CSV.
std::string formatJointPosterior(const QueryReportContext& context,
                                 const samplenet::QueryRun<samplenet::JointPosterior>& run, OutputFormat format);

}  // namespace samplenet_cli
