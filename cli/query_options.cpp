#include "cli/query_options.h"

#include <stdexcept>

#include "cli/interrupt_signal.h"
#include "cli/query_output.h"
#include "cli/run_options.h"
#include "lib/queries/query_choice.h"

namespace samplenet_cli {

void addQueryOptions(CLI::App& command, QueryArguments& arguments) {
    command.add_flag("--mpe", arguments.mostProbableExplanation,
                     "Print the most probable explanation of the evidence instead of the posteriors: exact, or with "
                     "epis and ais their most probable sample improved by a local search; with -q, the jointly most "
                     "probable states of those nodes, the others summed out: exact, or approximate with a sampler (its "
                     "heaviest sampled states improved by a local search on estimated P(x, e)), or with auto exact "
                     "where the elimination fits the memory limit and approximate otherwise");
    command.add_flag("!--no-local-search", arguments.localSearch,
                     "With --mpe and a sampler: report the best sample as drawn");
    command.add_option("--joint", arguments.joint,
                       "Print the joint posterior of these nodes (comma-separated) instead of the posteriors")
        ->delimiter(',');
    command.get_option("--joint")->excludes(command.get_option("--mpe"));
}

std::string answerQuery(const QueryArguments& arguments, const InferenceRun& run, OutputFormat format,
                        const std::vector<std::string>& queried) {
    if (format == OutputFormat::Html) throw std::invalid_argument("--mpe and --joint print as table, json or csv");
    const QueryReportContext context{run.source, run.network, run.evidence, run.interventions};
    const InterruptibleRun interruptible;
    samplenet::InferenceOptions options = run.options;
    options.cancellation = interruptible.cancellation();
    if (arguments.mostProbableExplanation && !queried.empty())
        return formatExplanation(context, samplenet::mostProbableStates(run.network, run.evidence,
                                                                        variablesNamed(run.network, queried, "-q"),
                                                                        options),
                                 format);
    if (arguments.mostProbableExplanation)
        return formatExplanation(context, samplenet::explainEvidence(run.network, run.evidence, options,
                                                                     arguments.localSearch),
                                 format);
    const std::vector<int> variables = variablesNamed(run.network, arguments.joint, "--joint");
    return formatJointPosterior(context, samplenet::jointPosterior(run.network, run.evidence, variables, options),
                                format);
}

}  // namespace samplenet_cli
