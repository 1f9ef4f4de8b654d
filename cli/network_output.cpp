#include "cli/network_output.h"

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

}  // namespace samplenet_cli
