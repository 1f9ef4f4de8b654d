#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "lib/inference/inference.h"
#include "lib/model/evidence.h"
#include "lib/model/network.h"

namespace samplenet {

// A table of evidence cases: one column per observed variable, one row per
// case. An empty cell leaves its variable unobserved; any other cell is a
// state name, or "[l1,l2,...]" for likelihood evidence.
//
// The variable of each column; throws EvidenceError naming an unknown or
// repeated column.
std::vector<int> caseColumns(const Network& network, const std::vector<std::string>& columnNames);

// The evidence of one row, whose cells follow `columns`. Throws
// EvidenceError naming the unknown state or malformed cell.
Evidence caseEvidence(const Network& network, const std::vector<int>& columns,
                      const std::vector<std::string>& cells);

// The seed of case `caseIndex` of a run seeded with `runSeed`: the same
// whichever process runs the case, and spread over the 15 bits the samplers
// use, so that neighbouring cases draw unrelated samples.
long caseSeed(long runSeed, std::size_t caseIndex);

// The columns a batch writes after a case's posteriors: for exact
// inference the natural log of P(evidence); for the samplers its estimate,
// the estimate's relative standard error, the effective sample size, the
// 95% error bound and whether the answer is reliable (1) or not (0, see
// judgeReliability); for LBP none.
std::vector<std::string> caseSummaryColumns(Algorithm algorithm);
// Their values for one result, NaN where the run gave none.
std::vector<double> caseSummary(const InferenceResult& result, Algorithm algorithm);

// Why a batch run with `algorithm` cannot give per-case standard errors
// (exact and LBP compute none), or "" when it can.
std::string whyNoCaseStandardErrors(Algorithm algorithm);
// The columns of the standard errors a batch may write after a case's
// posteriors: "standard_error:NODE=STATE" for each of the queried
// variables' states, in the posteriors' order.
std::vector<std::string> caseStandardErrorColumns(const Network& network, const std::vector<int>& queried);
// Their values for one result, NaN where the run gave none (an answer that
// auto computed exactly).
std::vector<double> caseStandardErrors(const InferenceResult& result, const std::vector<int>& queried);

// What one case gave: the posteriors, or why there are none.
struct CaseOutcome {
    std::optional<InferenceResult> result;
    std::string error;
    bool inferenceFailed = false;  // the evidence was fine, the run was not
};

// Runs case `caseIndex` with `options` and the case's own seed. Bad cells,
// impossible evidence and failed runs come back as an error, never thrown;
// a cancelled run throws RunCancelled.
CaseOutcome runCase(const Network& network, const std::vector<int>& columns, const std::vector<std::string>& cells,
                    InferenceOptions options, long runSeed, std::size_t caseIndex);

}  // namespace samplenet
