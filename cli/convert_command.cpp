#include "cli/convert_command.h"

#include "cli/network_output.h"
#include "cli/read_limit_options.h"
#include "lib/formats/formats.h"

namespace samplenet_cli {

CLI::App* addConvertCommand(CLI::App& app, ConvertArguments& arguments) {
    CLI::App* command = app.add_subcommand("convert", "Convert a network between BIF, XMLBIF, NET and UAI");
    command->footer("The formats are chosen by the files' extensions.");
    command->add_option("input", arguments.input, "Network file to read")->required();
    command->add_option("output", arguments.output, "File to write (.bif, .xmlbif/.xml, .net, .uai, optionally .gz)")
        ->required();
    addReadLimitOptions(command, arguments.readLimits);
    return command;
}

void runConvert(const ConvertArguments& arguments) {
    checkOutputPath(arguments.output);
    const samplenet::Network network = samplenet::readNetwork(arguments.input, arguments.readLimits);
    samplenet::writeNetwork(network, arguments.output);
}

}  // namespace samplenet_cli
