#pragma once

#include <CLI/CLI.hpp>

#include "lib/formats/read_limits.h"

namespace samplenet_cli {

// --max-states, --max-table-entries and --max-total-entries, which raise
// (or lower) what a network file may declare before it is refused, and
// --sum-tolerance, how far from 1 a table column may sum.
void addReadLimitOptions(CLI::App* command, samplenet::ReadLimits& limits);

}  // namespace samplenet_cli
