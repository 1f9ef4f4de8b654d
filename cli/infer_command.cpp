#include "cli/infer_command.h"

#include <iostream>

#include "cli/posterior_output.h"

namespace samplenet_cli {

namespace {

std::string checkFormat(const std::string& name) {
    return outputFormatNamed(name) ? "" : "unknown format \"" + name + "\"; use table, json, csv or html";
}

}  // namespace

CLI::App* addInferCommand(CLI::App& app, InferArguments& arguments) {
    CLI::App* command = app.add_subcommand("infer", "Posteriors of the nodes given evidence");
    addInferenceOptions(*command, arguments.inference);
    addQueryOptions(*command, arguments.query);
    command->add_option("-q,--query", arguments.inference.queries, "Show only this node; repeatable")
        ->allow_extra_args(false);
    command
        ->add_option("--format", arguments.format,
                     "table, json, csv, or html (a page with the picture of the network and a sortable table)")
        ->check(checkFormat)
        ->capture_default_str();
    return command;
}

void runInfer(InferArguments arguments, const CLI::App& command) {
    InferenceRun run = prepareInference(arguments.inference, command);
    if (arguments.query.asked()) {
        std::cout << answerQuery(arguments.query, run, *outputFormatNamed(arguments.format), arguments.inference.queries);
        return;
    }
    const std::vector<int> shown = queriedVariables(run.network, arguments.inference.queries);
    const OutputFormat format = *outputFormatNamed(arguments.format);
    // Exact inference computes only what is shown; a page's picture also
    // shows the neighbours.
    if (!arguments.inference.queries.empty() && format != OutputFormat::Html) run.options.queried = shown;
    runInference(run);
    const PosteriorReport report{run.source, run.network, run.evidence, run.interventions, run.options, run.result, shown};
    std::cout << formatReport(report, format);
}

}  // namespace samplenet_cli
