#include <CLI/CLI.hpp>
#include <iostream>
#include <new>

#include "cli/batch_command.h"
#include "cli/bench_command.h"
#include "cli/completion_command.h"
#include "cli/convert_command.h"
#include "cli/dsep_command.h"
#include "cli/explore_command.h"
#include "cli/generate_command.h"
#include "cli/help_formatter.h"
#include "cli/impact_command.h"
#include "cli/info_command.h"
#include "cli/infer_command.h"
#include "cli/plot_command.h"
#include "cli/sample_command.h"
#include "cli/standard_output.h"
#include "lib/inference/inference.h"

namespace {

constexpr int kInputError = 1;
constexpr int kInferenceFailed = 2;
constexpr int kInterrupted = 130;  // as a shell reports a process ended by SIGINT

constexpr const char* kExitCodes =
    "Exit codes: 0 success; 1 bad usage or input (options, files, networks, evidence); "
    "2 inference failed (impossible evidence, or no sample compatible with it); 130 interrupted (Ctrl-C).";

// Always one line, whatever the message holds.
int fail(std::string message, int code) {
    for (char& c : message)
        if (c == '\n' || c == '\r') c = ' ';
    std::cerr << "samplenet: error: " << message << "\n";
    return code;
}

// Runs the command the arguments name; its exit code.
int runCommand(int argc, char** argv) {
    CLI::App app("Approximate inference in discrete Bayesian networks.", "samplenet");
    app.formatter(std::make_shared<samplenet_cli::HelpFormatter>());
    app.set_version_flag("--version", "samplenet " SAMPLENET_VERSION);
    app.require_subcommand(1);
    samplenet_cli::InferArguments inferArguments;
    samplenet_cli::InfoArguments infoArguments;
    samplenet_cli::ConvertArguments convertArguments;
    CLI::App* infer = samplenet_cli::addInferCommand(app, inferArguments);
    CLI::App* info = samplenet_cli::addInfoCommand(app, infoArguments);
    CLI::App* convert = samplenet_cli::addConvertCommand(app, convertArguments);
    samplenet_cli::BenchArguments benchArguments;
    CLI::App* bench = samplenet_cli::addBenchCommand(app, benchArguments);
    samplenet_cli::PlotArguments plotArguments;
    CLI::App* plot = samplenet_cli::addPlotCommand(app, plotArguments);
    samplenet_cli::BatchArguments batchArguments;
    CLI::App* batch = samplenet_cli::addBatchCommand(app, batchArguments);
    samplenet_cli::GenerateArguments generateArguments;
    CLI::App* generate = samplenet_cli::addGenerateCommand(app, generateArguments);
    samplenet_cli::ExploreArguments exploreArguments;
    CLI::App* explore = samplenet_cli::addExploreCommand(app, exploreArguments);
    samplenet_cli::DsepArguments dsepArguments;
    CLI::App* dsep = samplenet_cli::addDsepCommand(app, dsepArguments);
    samplenet_cli::SampleArguments sampleArguments;
    CLI::App* sample = samplenet_cli::addSampleCommand(app, sampleArguments);
    samplenet_cli::ImpactArguments impactArguments;
    CLI::App* impact = samplenet_cli::addImpactCommand(app, impactArguments);
    // A command's own footer carries what its one-line description leaves out.
    for (CLI::App* command : {infer, info, convert, bench, plot, batch, generate, explore, dsep, sample, impact}) {
        const std::string details = command->get_footer();
        command->footer(details.empty() ? std::string(kExitCodes) : details + "\n\n" + kExitCodes);
    }
    samplenet_cli::CompletionArguments completionArguments;
    CLI::App* completion = samplenet_cli::addCompletionCommand(app, completionArguments);
    // Set last, so that no command inherits it on top of its own.
    app.footer(kExitCodes);

    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        if (error.get_exit_code() == static_cast<int>(CLI::ExitCodes::Success)) return app.exit(error);
        return fail(std::string(error.what()) + " (see --help)", kInputError);
    }

    try {
        if (infer->parsed() && inferArguments.query.asked()) samplenet_cli::runQuery(inferArguments, *infer);
        if (infer->parsed() && !inferArguments.query.asked()) samplenet_cli::runInfer(inferArguments, *infer);
        if (info->parsed()) samplenet_cli::runInfo(infoArguments);
        if (convert->parsed()) samplenet_cli::runConvert(convertArguments);
        if (bench->parsed()) samplenet_cli::runBench(benchArguments);
        if (plot->parsed()) samplenet_cli::runPlot(plotArguments);
        if (batch->parsed()) samplenet_cli::runBatch(batchArguments);
        if (generate->parsed()) samplenet_cli::runGenerate(generateArguments);
        if (explore->parsed()) samplenet_cli::runExplore(exploreArguments);
        if (dsep->parsed()) samplenet_cli::runDsep(dsepArguments);
        if (sample->parsed()) samplenet_cli::runSample(sampleArguments, *sample);
        if (impact->parsed()) samplenet_cli::runImpact(impactArguments);
        if (completion->parsed()) samplenet_cli::runCompletion(completionArguments, app);
    } catch (const samplenet::RunCancelled&) {
        std::cerr << "samplenet: interrupted\n";
        return kInterrupted;
    } catch (const samplenet::InferenceError& error) {
        return fail(error.what(), kInferenceFailed);
    } catch (const std::bad_alloc&) {
        return fail("out of memory; keep --max-table-entries, --max-total-entries and --memory-limit within what "
                    "this machine holds",
                    kInputError);
    } catch (const std::exception& error) {
        return fail(error.what(), kInputError);
    }
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    samplenet_cli::CheckedStandardOutput standardOutput;
    const int code = runCommand(argc, argv);
    // Output that never arrived makes the command fail; a command that
    // failed already said why.
    const auto failure = standardOutput.failure();
    if (failure && code == 0) return fail("cannot write standard output: " + *failure, kInputError);
    return code;
}
