#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <vector>

#include "lib/bucket/mini_bucket_plan.h"
#include "lib/exact/factor_model.h"

namespace samplenet {

// The tables of a mini-bucket elimination plan, filled, and laid out for
// drawing the variables in reverse elimination order.
//
// Split buckets are eliminated by weighted (power-sum) elimination: the R
// mini-buckets of a bucket each get weight 1/R, and mini-bucket r with
// product F_r sends (sum over x of F_r^R)^(1/R), which by Hoelder's
// inequality bounds the exact sum from above (Liu and Ihler, "Bounding the
// partition function using Hoelder's inequality", ICML 2011). A bucket of
// one mini-bucket sends the exact sum. Every table is kept divided by its
// largest entry: the samples' proposals are normalised locally, so the
// messages' scales do not matter, and the model tables' scales are gathered
// in logScale.
class MiniBucketSchedule {
public:
    // A function as a draw reads it: its table holds, for each state of the
    // variables other than the bucket's, a row over the bucket variable's
    // states.
    struct Term {
        std::size_t tableOffset;
        std::uint32_t firstScope;  // into scopeVariables and scopeStrides
        std::uint32_t scopeCount;  // its variables other than the bucket's
        bool modelTable;           // false for a message
    };
    struct MiniBucket {
        std::uint32_t firstTerm;
        std::uint32_t termCount;
    };
    struct Variable {
        std::uint32_t stateCount;
        std::uint32_t firstMiniBucket;
        std::uint32_t miniBucketCount;  // also the power of each mini-bucket's product
        std::size_t firstState;         // into per-state arrays over all variables
    };

    // `tables[f]` holds the values of the plan's function f < plan.tables,
    // over `tables[f].variables` (positions in the elimination order, in
    // any order). Throws EvidenceError (impossible evidence) when a table
    // or a message is 0 everywhere, which no assignment survives. Calls
    // `checkpoint` between products (it may throw).
    MiniBucketSchedule(const MiniBucketPlan& plan, const std::vector<int>& stateCounts,
                       const std::vector<Factor>& tables, const std::function<void()>& checkpoint = {});

    std::vector<Variable> variables;  // by position in the elimination order
    std::vector<MiniBucket> miniBuckets;
    std::vector<Term> terms;
    std::vector<std::uint32_t> scopeVariables;
    std::vector<std::size_t> scopeStrides;
    // Per variable, the variables its bucket's functions read besides it:
    // those a dead end at it can be blamed on.
    std::vector<std::uint32_t> firstRead;  // into reads; one more entry than variables
    std::vector<std::uint32_t> reads;
    std::vector<double> values;  // every table
    std::size_t stateTotal = 0;  // states of all variables
    double logScale = 0.0;       // natural log of the model tables' largest entries, taken out
};

}  // namespace samplenet
