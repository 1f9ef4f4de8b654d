#include "cli/network_output.h"

#include <unistd.h>

#include <filesystem>
#include <stdexcept>

#include "lib/formats/formats.h"

namespace samplenet_cli {

void checkOutputPath(const std::string& path) {
    if (!samplenet::formatOfPath(path))
        throw std::invalid_argument("cannot tell the format of \"" + path +
                                    "\" from its extension; use .bif, .xmlbif, .xml, .net or .uai, optionally "
                                    "followed by .gz");
    const std::filesystem::path target(path);
    const std::filesystem::path directory = target.parent_path().empty() ? "." : target.parent_path();
    if (!std::filesystem::is_directory(directory))
        throw std::invalid_argument("cannot write \"" + path + "\": no directory " + directory.string());
}

void writeNetworkFile(const samplenet::Network& network, const std::string& path) {
    // Written beside the target under a name with the same extension, then
    // renamed, so that a failed write leaves no partial file behind.
    const std::filesystem::path target(path);
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
