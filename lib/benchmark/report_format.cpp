#include "lib/benchmark/report_format.h"

#include <fmt/format.h>
#include <fmt/ostream.h>

#include <nlohmann/json.hpp>

namespace samplenet {
namespace {

std::string samplesText(const BenchmarkRow& row) { return row.samples > 0 ? std::to_string(row.samples) : "-"; }

// Distances exist only where some run produced posteriors.
bool hasDistances(const BenchmarkRow& row) { return row.failures < row.cases; }

std::string shareText(const std::optional<double>& share, int width) {
    return share ? fmt::format("{:>{}.1f}%", 100.0 * *share, width - 1) : fmt::format("{:>{}}", "-", width);
}

std::string distanceText(const BenchmarkRow& row, double distance, int width) {
    return hasDistances(row) ? fmt::format("{:>{}.5f}", distance, width) : fmt::format("{:>{}}", "-", width);
}

}  // namespace

void writeReportTable(const BenchmarkReport& report, std::ostream& out) {
    fmt::print(out, "network {} ({} variables), {} evidence cases\n", report.network, report.variables,
               report.cases.size());
    for (std::size_t i = 0; i < report.cases.size(); ++i) {
        const EvidenceCase& c = report.cases[i];
        fmt::print(out, "  case {}: {:8} {:3} observed, log10 P(e) = {:.2f}\n", i + 1, caseKindName(c.kind),
                   c.evidence.hard.size(), c.log10Probability);
    }
    fmt::print(out, "\n{:9} {:10} {:>8} {:>6} {:>12} {:>14} {:>14} {:>13} {:>10} {:>10}\n", "evidence", "algorithm",
               "samples", "failed", "median ms", "samples/s", "mean Hellinger", "max Hellinger", "95% cover",
               "target met");
    for (const BenchmarkRow& row : report.rows) {
        if (row.cases == 0) continue;  // e.g. no unlikely case exists in a tiny network
        fmt::print(out, "{:9} {:10} {:>8} {:>6} {:>12.3f} {:>14} {} {} {} {}\n", caseKindName(row.kind),
                   row.algorithm, samplesText(row), row.failures, row.medianSeconds * 1000.0,
                   row.samplesPerSecond > 0 ? fmt::format("{:.0f}", row.samplesPerSecond) : "-",
                   distanceText(row, row.meanHellinger, 14), distanceText(row, row.maxHellinger, 13),
                   shareText(row.coverage, 10), shareText(row.targetMetShare, 10));
    }
    if (!report.stages.empty()) fmt::print(out, "\nfixed cost per run (median over cases):\n");
    for (const StageCost& stage : report.stages)
        fmt::print(out, "  {:30} {:.3f} ms\n", stage.stage, stage.medianSeconds * 1000.0);
}

void writeReportCsv(const BenchmarkReport& report, std::ostream& out) {
    out << "network,evidence,algorithm,samples,cases,failures,median_seconds,samples_per_second,mean_hellinger,"
           "max_hellinger,coverage,target_met_share\n";
    auto share = [](const std::optional<double>& value) { return value ? fmt::format("{:.6g}", *value) : ""; };
    for (const BenchmarkRow& row : report.rows) {
        const std::string distances =
            hasDistances(row) ? fmt::format("{:.6g},{:.6g}", row.meanHellinger, row.maxHellinger) : ",";
        fmt::print(out, "{},{},{},{},{},{},{:.6g},{:.6g},{},{},{}\n", report.network, caseKindName(row.kind),
                   row.algorithm, row.samples, row.cases, row.failures, row.medianSeconds, row.samplesPerSecond,
                   distances, share(row.coverage), share(row.targetMetShare));
    }
}

void writeReportJson(const BenchmarkReport& report, std::ostream& out) {
    nlohmann::json json;
    json["network"] = report.network;
    json["variables"] = report.variables;
    for (const EvidenceCase& c : report.cases)
        json["cases"].push_back({{"evidence", caseKindName(c.kind)},
                                 {"observed", c.evidence.hard.size()},
                                 {"log10_probability", c.log10Probability},
                                 {"assignments", c.named}});
    for (const BenchmarkRow& row : report.rows)
        json["rows"].push_back({{"evidence", caseKindName(row.kind)},
                                {"algorithm", row.algorithm},
                                {"samples", row.samples},
                                {"cases", row.cases},
                                {"failures", row.failures},
                                {"median_seconds", row.medianSeconds},
                                {"samples_per_second", row.samplesPerSecond},
                                {"mean_hellinger", hasDistances(row) ? nlohmann::json(row.meanHellinger) : nullptr},
                                {"max_hellinger", hasDistances(row) ? nlohmann::json(row.maxHellinger) : nullptr},
                                {"coverage", row.coverage ? nlohmann::json(*row.coverage) : nullptr},
                                {"unreliable_runs", row.unreliableRuns},
                                {"target_met_share",
                                 row.targetMetShare ? nlohmann::json(*row.targetMetShare) : nullptr}});
    for (const StageCost& stage : report.stages)
        json["stages"].push_back({{"stage", stage.stage}, {"median_seconds", stage.medianSeconds}});
    out << json.dump(2) << '\n';
}

}  // namespace samplenet
