#include "cli/plot_command.h"

#include <filesystem>

#include "cli/posterior_output.h"
#include "lib/output/output_file.h"
#include "lib/plot/graphviz_render.h"
#include "lib/plot/posterior_picture.h"

namespace samplenet_cli {

namespace {

std::string checkPictureFile(const std::string& path) {
    return samplenet::pictureFormatOfPath(path) ? "" : "\"" + path + "\" should end in .svg, .png or .pdf";
}

}  // namespace

CLI::App* addPlotCommand(CLI::App& app, PlotArguments& arguments) {
    CLI::App* command = app.add_subcommand("plot", "Picture of the network with each node's posterior");
    addInferenceOptions(*command, arguments.inference);
    command
        ->add_option("-q,--query", arguments.inference.queries,
                     "Draw this node, with its parents and children by name; repeatable")
        ->allow_extra_args(false);
    command->add_option("-o,--output", arguments.outputPath, "Picture file: .svg, .png or .pdf")
        ->required()
        ->check(checkPictureFile);
    return command;
}

void runPlot(PlotArguments arguments) {
    InferenceRun run = prepareInference(arguments.inference);
    const samplenet::PictureSelection nodes =
        samplenet::selectPictureNodes(run.network, queriedVariables(run.network, arguments.inference.queries));
    runInference(run);
    // The file name alone: a long path would widen the picture.
    std::string caption = std::filesystem::path(run.source).filename().string() + ": " + runDescription(run.options, run.result) +
                          "; evidence: " + evidenceDescription(run.network, run.evidence);
    if (!run.interventions.empty())
        caption += "; interventions: " + samplenet::interventionDescription(run.network, run.interventions);
    const samplenet::PosteriorPicture picture{run.network, run.evidence, run.result, nodes, caption};
    const std::string bytes =
        samplenet::renderDot(samplenet::posteriorDot(picture), *samplenet::pictureFormatOfPath(arguments.outputPath));
    samplenet::writeOutputFile(arguments.outputPath, bytes);
}

}  // namespace samplenet_cli
