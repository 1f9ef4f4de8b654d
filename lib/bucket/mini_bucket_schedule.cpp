#include "lib/bucket/mini_bucket_schedule.h"

#include <algorithm>
#include <cmath>

#include "lib/exact/clique_potentials.h"
#include "lib/model/errors.h"

namespace samplenet {

namespace {

// Divides the table by its largest entry and returns that entry; a table of
// zeros has no assignment left.
double normalise(double* table, std::size_t size) {
    const double largest = *std::max_element(table, table + size);
    if (!(largest > 0.0)) throw ImpossibleEvidenceError();
    for (std::size_t i = 0; i < size; ++i) table[i] /= largest;
    return largest;
}

// (sum over the row of row^power)^(1/power), kept in range by the row's
// largest entry.
double powerSum(const double* row, std::size_t count, int power) {
    const double largest = *std::max_element(row, row + count);
    if (!(largest > 0.0)) return 0.0;
    if (power == 1) {
        double sum = 0.0;
        for (std::size_t x = 0; x < count; ++x) sum += row[x];
        return sum;
    }
    double sum = 0.0;
    for (std::size_t x = 0; x < count; ++x) sum += std::pow(row[x] / largest, power);
    return largest * std::pow(sum, 1.0 / power);
}

}  // namespace

MiniBucketSchedule::MiniBucketSchedule(const MiniBucketPlan& plan, const std::vector<int>& stateCounts,
                                       const std::vector<Factor>& tables, const std::function<void()>& checkpoint) {
    const auto step = [&checkpoint] {
        if (checkpoint) checkpoint();
    };
    // The model's tables, then the messages in the order they are made.
    std::vector<TableShape> shapes;
    std::vector<std::size_t> offsets;
    for (const auto& scope : plan.scopes) {
        shapes.emplace_back(scope, stateCounts);
        offsets.push_back(values.size());
        values.resize(values.size() + shapes.back().size);
    }
    for (int f = 0; f < plan.tables; ++f) {
        double* table = values.data() + offsets[f];
        std::fill_n(table, shapes[f].size, 1.0);
        Projection(shapes[f], TableShape(tables[f].variables, stateCounts)).multiply(table, tables[f].values);
        logScale += std::log(normalise(table, shapes[f].size));
    }

    std::vector<double> product(plan.largestMiniBucket);
    for (std::size_t v = 0; v < plan.buckets.size(); ++v) {
        const auto& bucket = plan.buckets[v];
        firstRead.push_back(static_cast<std::uint32_t>(reads.size()));
        std::vector<int> read;
        for (const MiniBucketPlan::MiniBucket& mini : bucket) read.insert(read.end(), mini.scope.begin(), mini.scope.end() - 1);
        std::sort(read.begin(), read.end());
        read.erase(std::unique(read.begin(), read.end()), read.end());
        reads.insert(reads.end(), read.begin(), read.end());
        const int power = static_cast<int>(bucket.size());
        variables.push_back({static_cast<std::uint32_t>(stateCounts[v]), static_cast<std::uint32_t>(miniBuckets.size()),
                             static_cast<std::uint32_t>(bucket.size()), stateTotal});
        stateTotal += static_cast<std::size_t>(stateCounts[v]);
        for (const MiniBucketPlan::MiniBucket& mini : bucket) {
            miniBuckets.push_back({static_cast<std::uint32_t>(terms.size()), static_cast<std::uint32_t>(mini.functions.size())});
            const TableShape shape(mini.scope, stateCounts);
            std::fill_n(product.begin(), shape.size, 1.0);
            for (int f : mini.functions) {
                step();
                Projection(shape, shapes[f]).multiply(product.data(), values.data() + offsets[f]);
                const TableShape& own = shapes[f];
                terms.push_back({offsets[f], static_cast<std::uint32_t>(scopeVariables.size()),
                                 static_cast<std::uint32_t>(own.variables.size() - 1), f < plan.tables});
                for (std::size_t d = 0; d + 1 < own.variables.size(); ++d) {
                    scopeVariables.push_back(static_cast<std::uint32_t>(own.variables[d]));
                    scopeStrides.push_back(own.strides[d]);
                }
            }
            const std::size_t rowLength = static_cast<std::size_t>(stateCounts[v]);
            if (mini.message < 0) {
                // Nothing left to send, but a mini-bucket of zeros still
                // proves the evidence impossible.
                normalise(product.data(), shape.size);
                continue;
            }
            double* message = values.data() + offsets[mini.message];
            for (std::size_t row = 0; row < shapes[mini.message].size; ++row)
                message[row] = powerSum(product.data() + row * rowLength, rowLength, power);
            normalise(message, shapes[mini.message].size);
        }
    }
    firstRead.push_back(static_cast<std::uint32_t>(reads.size()));
}

}  // namespace samplenet
