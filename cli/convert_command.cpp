#include "cli/convert_command.h"

#include <unistd.h>

#include <filesystem>
#include <stdexcept>

#include "cli/read_limit_options.h"
#include "lib/formats/formats.h"

namespace samplenet_cli {

CLI::App* addConvertCommand(CLI::App& app, ConvertArguments& arguments) {
    CLI::App* command = app.add_subcommand(
        "convert", "Convert a network between BIF, XMLBIF, NET and UAI, chosen by the files' extensions");
    command->add_option("input", arguments.input, "Network file to read")->required();
    command->add_option("output", arguments.output, "File to write (.bif, .xmlbif/.xml, .net, .uai, optionally .gz)")
        ->required();
    addReadLimitOptions(command, arguments.readLimits);
    return command;
}

void runConvert(const ConvertArguments& arguments) {
    if (!samplenet::formatOfPath(arguments.output))
        throw std::invalid_argument("cannot tell the format of \"" + arguments.output +
                                    "\" from its extension; use .bif, .xmlbif, .xml, .net or .uai, optionally "
                                    "followed by .gz");
    const std::filesystem::path target(arguments.output);
    const std::filesystem::path directory = target.parent_path().empty() ? "." : target.parent_path();
    if (!std::filesystem::is_directory(directory))
        throw std::invalid_argument("cannot write \"" + arguments.output + "\": no directory " + directory.string());
    const samplenet::Network network = samplenet::readNetwork(arguments.input, arguments.readLimits);

    // Written beside the target under a name with the same extension, then
    // renamed, so that a failed write leaves no partial file behind.
    std::filesystem::path partial = target;
    partial.replace_filename(".partial-" + std::to_string(getpid()) + "-" + target.filename().string());
    try {
        samplenet::writeNetwork(network, partial.string());
        std::filesystem::rename(partial, target);
    } catch (...) {
        std::error_code ignored;
        std::filesystem::remove(partial, ignored);
        throw;
    }
}

}  // namespace samplenet_cli
