#pragma once

#include <ostream>

#include "lib/benchmark/uai_benchmark.h"

namespace samplenet {

// A row per run, then the summary per algorithm: as aligned text or as
// Markdown tables.
void writeUaiReportTable(const UaiBenchmarkReport& report, std::ostream& out);
void writeUaiReportMarkdown(const UaiBenchmarkReport& report, std::ostream& out);
// A row per run; the summary follows from them.
void writeUaiReportCsv(const UaiBenchmarkReport& report, std::ostream& out);
// The runs and the summary.
void writeUaiReportJson(const UaiBenchmarkReport& report, std::ostream& out);

}  // namespace samplenet
