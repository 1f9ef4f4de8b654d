#include "cli/read_limit_options.h"

#include "cli/option_checks.h"

namespace samplenet_cli {

void addReadLimitOptions(CLI::App* command, samplenet::ReadLimits& limits) {
    command->add_option("--max-states", limits.maxStates, "Most states a variable of the network file may have")
        ->check(wholeNumberAtLeast(1))
        ->capture_default_str();
    command->add_option("--max-table-entries", limits.maxTableEntries, "Most entries of one variable's table")
        ->check(wholeNumberAtLeast(1))
        ->capture_default_str();
    command->add_option("--max-total-entries", limits.maxTotalEntries, "Most entries of all tables together")
        ->check(wholeNumberAtLeast(1))
        ->capture_default_str();
    command
        ->add_option("--sum-tolerance", limits.sumTolerance,
                     "A table column summing to within this of 1 is rescaled to sum to 1, with a note; "
                     "further off, the file is refused")
        ->check(CLI::Range(0.0, 1.0))
        ->capture_default_str();
}

}  // namespace samplenet_cli
