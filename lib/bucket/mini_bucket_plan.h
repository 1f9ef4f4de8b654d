#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <vector>

namespace samplenet {

// The scopes of a product of tables whose variables are numbered by their
// place in an elimination order (0 is eliminated first). Every scope lists
// its variables in descending order, so that the first one eliminated comes
// last.
struct EliminationScopes {
    std::vector<int> stateCounts;
    std::vector<std::vector<int>> scopes;
};

// Mini-bucket elimination worked out on scopes alone. The functions are the
// model's tables (ids 0..tables-1), then the messages in the order they are
// made. A variable's bucket holds the functions whose first-eliminated
// variable it is; it is split into mini-buckets whose joint scope holds at
// most `entriesPerMiniBucket` table entries (a function larger than that on
// its own gets a mini-bucket of its own), and each mini-bucket sends a
// message over its scope without the bucket's variable to the bucket of the
// first-eliminated variable left in it. A bucket that is not split is
// eliminated exactly.
struct MiniBucketPlan {
    struct MiniBucket {
        std::vector<int> functions;
        std::vector<int> scope;  // of their product, descending: the bucket's variable last
        int message;             // the function it sends, or -1 when nothing is left to send
    };

    std::size_t entriesPerMiniBucket = 0;
    int tables = 0;
    std::vector<std::vector<int>> scopes;          // per function, descending
    std::vector<std::vector<MiniBucket>> buckets;  // per variable
    std::size_t tableEntries = 0;                  // of the model's tables
    std::size_t messageEntries = 0;                // of all messages
    std::size_t largestMiniBucket = 0;             // entries of the largest product formed
    int splitBuckets = 0;                          // buckets of more than one mini-bucket
};

// Table entries over a scope, saturating.
std::size_t entriesOver(const std::vector<int>& scope, const std::vector<int>& stateCounts);

// Splits each bucket greedily, largest functions first, each into the first
// mini-bucket it fits.
MiniBucketPlan planMiniBuckets(const EliminationScopes& model, std::size_t entriesPerMiniBucket);

// The plan with the largest bound (exact elimination where that fits) whose
// messages and largest mini-bucket together hold at most `entryBudget`
// entries, found by bisection on the bound; nullopt when not even a bound of
// one entry fits. `checkpoint` is called between plans (it may throw).
std::optional<MiniBucketPlan> planWithinBudget(const EliminationScopes& model, std::size_t entryBudget,
                                               const std::function<void()>& checkpoint = {});

}  // namespace samplenet
