#pragma once

#include <ostream>

#include "lib/benchmark/accuracy_benchmark.h"

namespace samplenet {

void writeReportTable(const BenchmarkReport& report, std::ostream& out);
void writeReportCsv(const BenchmarkReport& report, std::ostream& out);
void writeReportJson(const BenchmarkReport& report, std::ostream& out);

}  // namespace samplenet
