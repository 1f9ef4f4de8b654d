#include "lib/formats/network_text.h"

namespace samplenet {

std::string_view networkText(std::string_view text, const std::string& path) {
    if (text.starts_with(kByteOrderMark)) text.remove_prefix(kByteOrderMark.size());
    if (text.find_first_not_of(" \t\r\n\f\v") == std::string_view::npos) throw noNetwork(path);
    return text;
}

ParseError noNetwork(const std::string& path) { return ParseError(path + ": no network in the file"); }

}  // namespace samplenet
