#include "lib/formats/network_text.h"

#include <algorithm>
#include <cstring>

namespace samplenet {
namespace {

constexpr std::string_view kBlank = " \t\r\n\f\v";

}  // namespace

std::string_view networkText(std::string_view text, const std::string& path) {
    if (text.starts_with(kByteOrderMark)) text.remove_prefix(kByteOrderMark.size());
    if (text.find_first_not_of(kBlank) == std::string_view::npos) throw noNetwork(path);
    return text;
}

TextPull withoutByteOrderMark(TextPull pull) {
    return [pull = std::move(pull), first = true](char* into, std::size_t room) mutable {
        std::size_t count = pull(into, room);
        if (!first) return count;
        first = false;
        if (!std::string_view(into, count).starts_with(kByteOrderMark)) return count;
        count -= kByteOrderMark.size();
        std::memmove(into, into + kByteOrderMark.size(), count);
        return count;
    };
}

TextPull networkPull(TextPull pull, std::shared_ptr<bool> sawText) {
    return [pull = withoutByteOrderMark(std::move(pull)), sawText = std::move(sawText)](char* into, std::size_t room) {
        const std::size_t count = pull(into, room);
        if (!*sawText) *sawText = std::string_view(into, count).find_first_not_of(kBlank) != std::string_view::npos;
        return count;
    };
}

TextPull pullOf(std::string_view text) {
    return [text](char* into, std::size_t room) mutable {
        const std::size_t count = std::min(room, text.size());
        std::memcpy(into, text.data(), count);
        text.remove_prefix(count);
        return count;
    };
}

ParseError noNetwork(const std::string& path) { return ParseError(path + ": no network in the file"); }

}  // namespace samplenet
