#include "cli/infer_command.h"

#include <filesystem>
#include <iostream>
#include <optional>
#include <stdexcept>

#include "cli/posterior_output.h"
#include "lib/output/output_file.h"

namespace samplenet_cli {

namespace {

std::string checkFormat(const std::string& name) {
    return outputFormatNamed(name) ? "" : "unknown format \"" + name + "\"; use table, json, csv or html";
}

// The format an output file's extension names: .txt is the table.
std::optional<OutputFormat> outputFormatOfPath(const std::string& path) {
    const std::string extension = std::filesystem::path(path).extension().string();
    if (extension == ".txt") return OutputFormat::Table;
    if (extension.empty()) return std::nullopt;
    return outputFormatNamed(extension.substr(1));
}

std::string checkOutputFile(const std::string& path) {
    return outputFormatOfPath(path) ? "" : "\"" + path + "\" should end in .txt, .json, .csv or .html";
}

// The file's format, which an explicit --format may only repeat.
OutputFormat chosenFormat(const InferArguments& arguments, const CLI::App& command) {
    if (arguments.outputPath.empty()) return *outputFormatNamed(arguments.format);
    const OutputFormat format = *outputFormatOfPath(arguments.outputPath);
    if (command.count("--format") > 0 && *outputFormatNamed(arguments.format) != format)
        throw std::invalid_argument("--format " + arguments.format + " does not match the extension of -o " +
                                    arguments.outputPath + "; give one or the other");
    return format;
}

void writeReport(const std::string& outputPath, const ReportText& text) {
    if (outputPath.empty()) {
        for (const std::string& piece : text) std::cout << piece;
        return;
    }
    samplenet::OutputFile file(outputPath);
    for (const std::string& piece : text) file.write(piece);
    file.commit();
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
    command
        ->add_option("-o,--output", arguments.outputPath,
                     "Write to this file instead of standard output, in the format its extension names: .txt (the "
                     "table), .json, .csv or .html")
        ->check(checkOutputFile);
    return command;
}

void runInfer(InferArguments arguments, const CLI::App& command) {
    const OutputFormat format = chosenFormat(arguments, command);
    InferenceRun run = prepareInference(arguments.inference);
    const std::vector<int> shown = queriedVariables(run.network, arguments.inference.queries);
    // Exact inference computes only what is shown; a page's picture also
    // shows the neighbours.
    if (!arguments.inference.queries.empty() && format != OutputFormat::Html) run.options.queried = shown;
    runInference(run);
    const PosteriorReport report{run.source, run.network, run.evidence, run.interventions, run.options, run.result, shown};
    writeReport(arguments.outputPath, formatReport(report, format));
}

void runQuery(const InferArguments& arguments, const CLI::App& command) {
    const OutputFormat format = chosenFormat(arguments, command);
    const InferenceRun run = prepareInference(arguments.inference);
    writeReport(arguments.outputPath, {answerQuery(arguments.query, run, format, arguments.inference.queries)});
}

}  // namespace samplenet_cli
