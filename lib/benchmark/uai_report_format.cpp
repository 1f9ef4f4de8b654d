#include "lib/benchmark/uai_report_format.h"

#include <fmt/format.h>
#include <fmt/ostream.h>

#include <algorithm>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "lib/formats/text_util.h"

namespace samplenet {
namespace {

// Cells of one table; `align` holds 'l' or 'r' per column: text left,
// numbers right.
struct Table {
    std::vector<std::string> header;
    std::string align;
    std::vector<std::vector<std::string>> rows;
};

void writeAligned(const Table& table, std::ostream& out) {
    std::vector<std::size_t> widths(table.header.size());
    for (std::size_t c = 0; c < widths.size(); ++c) {
        widths[c] = table.header[c].size();
        for (const auto& row : table.rows) widths[c] = std::max(widths[c], row[c].size());
    }
    auto line = [&](const std::vector<std::string>& cells) {
        std::string text;
        for (std::size_t c = 0; c < cells.size(); ++c) {
            if (c > 0) text += "  ";
            text += table.align[c] == 'l' ? fmt::format("{:<{}}", cells[c], widths[c])
                                          : fmt::format("{:>{}}", cells[c], widths[c]);
        }
        // A long last note must not pad every other line.
        text.erase(text.find_last_not_of(' ') + 1);
        out << text << '\n';
    };
    line(table.header);
    for (const auto& row : table.rows) line(row);
}

void writeMarkdown(const Table& table, std::ostream& out) {
    auto line = [&](const std::vector<std::string>& cells) {
        for (const std::string& cell : cells) out << "| " << cell << ' ';
        out << "|\n";
    };
    line(table.header);
    for (char align : table.align) out << (align == 'l' ? "|---" : "|---:");
    out << "|\n";
    for (const auto& row : table.rows) line(row);
}

std::string number(double value, const char* pattern) { return fmt::format(fmt::runtime(pattern), value); }

template <typename T>
std::string optionalText(const std::optional<T>& value, const char* pattern, const char* missing = "-") {
    return value ? fmt::format(fmt::runtime(pattern), *value) : missing;
}

std::string heldText(const UaiRun& run) {
    const auto held = run.boundHeld();
    return held ? (*held ? "yes" : "no") : "-";
}

std::string withinHeader(double within) { return fmt::format("within {}", within); }

bool separateWithin(const UaiBenchmarkReport& report) { return report.within != kBenchmarkTolerance; }

Table runTable(const UaiBenchmarkReport& report) {
    // The note comes last: it is as long as its message.
    Table table{{"instance", "algorithm", "largest error", "mean Hellinger", "CPU s", "samples", "ESS", "95% bound",
                 "held", "note"},
                "llrrrrrrrl",
                {}};
    for (const UaiRun& run : report.runs) {
        if (!run.answered()) {
            table.rows.push_back({run.instance, run.algorithm, "-", "-", number(run.cpuSeconds, "{:.3f}"), "-", "-",
                                  "-", "-", "failed: " + run.failure});
            continue;
        }
        table.rows.push_back({run.instance, run.algorithm, number(run.accuracy.largestError, "{:.3g}"),
                              number(run.accuracy.meanHellinger, "{:.3g}"), number(run.cpuSeconds, "{:.3f}"),
                              optionalText(run.samples, "{}"), optionalText(run.effectiveSampleSize, "{:.0f}"),
                              optionalText(run.errorBound, "{:.3g}"), heldText(run), run.choice});
    }
    return table;
}

Table summaryTable(const UaiBenchmarkReport& report) {
    Table table{{"algorithm", "runs", withinHeader(kBenchmarkTolerance)}, "lrr", {}};
    if (separateWithin(report)) table.header.push_back(withinHeader(report.within));
    for (const char* column : {"failed", "median CPU s", "largest CPU s", "bounds held"})
        table.header.push_back(column);
    table.align.resize(table.header.size(), 'r');
    for (const UaiAlgorithmSummary& summary : report.summary) {
        std::vector<std::string> row{summary.algorithm, std::to_string(summary.runs),
                                     std::to_string(summary.withinHundredth)};
        if (separateWithin(report)) row.push_back(std::to_string(summary.withinGiven));
        row.push_back(std::to_string(summary.failures));
        const bool answered = summary.failures < summary.runs;
        row.push_back(answered ? number(summary.medianCpuSeconds, "{:.3f}") : "-");
        row.push_back(answered ? number(summary.largestCpuSeconds, "{:.3f}") : "-");
        row.push_back(summary.bounds > 0 ? fmt::format("{} of {}", summary.boundsHeld, summary.bounds) : "-");
        table.rows.push_back(std::move(row));
    }
    return table;
}

}  // namespace

void writeUaiReportTable(const UaiBenchmarkReport& report, std::ostream& out) {
    writeAligned(runTable(report), out);
    out << '\n';
    writeAligned(summaryTable(report), out);
}

void writeUaiReportMarkdown(const UaiBenchmarkReport& report, std::ostream& out) {
    writeMarkdown(runTable(report), out);
    out << '\n';
    writeMarkdown(summaryTable(report), out);
}

void writeUaiReportCsv(const UaiBenchmarkReport& report, std::ostream& out) {
    out << "instance,algorithm,cpu_seconds,largest_error,mean_hellinger,samples,effective_sample_size,error_bound,"
           "bound_held,choice,failure\n";
    for (const UaiRun& run : report.runs) {
        const auto held = run.boundHeld();
        const std::string accuracy =
            run.answered() ? fmt::format("{:.6g},{:.6g}", run.accuracy.largestError, run.accuracy.meanHellinger)
                           : ",";
        fmt::print(out, "{},{},{:.6g},{},{},{},{},{},{},{}\n", csvField(run.instance), csvField(run.algorithm),
                   run.cpuSeconds, accuracy, optionalText(run.samples, "{}", ""),
                   optionalText(run.effectiveSampleSize, "{:.6g}", ""), optionalText(run.errorBound, "{:.6g}", ""), held ? (*held ? "true" : "false") : "", csvField(run.choice),
                   csvField(run.failure));
    }
}

void writeUaiReportJson(const UaiBenchmarkReport& report, std::ostream& out) {
    auto optional = [](const auto& value) { return value ? nlohmann::json(*value) : nlohmann::json(nullptr); };
    nlohmann::json json;
    json["within"] = report.within;
    json["runs"] = nlohmann::json::array();
    for (const UaiRun& run : report.runs) {
        const bool answered = run.answered();
        json["runs"].push_back({{"instance", run.instance},
                                {"algorithm", run.algorithm},
                                {"cpu_seconds", run.cpuSeconds},
                                {"largest_error", answered ? nlohmann::json(run.accuracy.largestError) : nullptr},
                                {"mean_hellinger", answered ? nlohmann::json(run.accuracy.meanHellinger) : nullptr},
                                {"samples", optional(run.samples)},
                                {"effective_sample_size", optional(run.effectiveSampleSize)},
                                {"error_bound", optional(run.errorBound)},
                                {"bound_held", optional(run.boundHeld())},
                                {"choice", run.choice},
                                {"failure", answered ? nullptr : nlohmann::json(run.failure)}});
    }
    for (const UaiAlgorithmSummary& summary : report.summary)
        json["summary"].push_back({{"algorithm", summary.algorithm},
                                   {"runs", summary.runs},
                                   {"within_0.01", summary.withinHundredth},
                                   {"within", summary.withinGiven},
                                   {"failures", summary.failures},
                                   {"median_cpu_seconds", summary.medianCpuSeconds},
                                   {"largest_cpu_seconds", summary.largestCpuSeconds},
                                   {"bounds", summary.bounds},
                                   {"bounds_held", summary.boundsHeld}});
    out << json.dump(2) << '\n';
}

}  // namespace samplenet
