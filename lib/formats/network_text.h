#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "lib/formats/read_limits.h"
#include "lib/formats/text_pull.h"
#include "lib/model/errors.h"

namespace samplenet {

// What some editors write at the start of a UTF-8 text file; readers skip it.
inline constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

// "PATH: no network in the file": for an empty file, or one that declares
// no variable.
ParseError noNetwork(const std::string& path);

// The part of a network file's text that readers parse: without a UTF-8
// byte-order mark. Throws noNetwork for a text of nothing but white space.
std::string_view networkText(std::string_view text, const std::string& path);

// `pull`'s text without the byte-order mark some editors put first.
TextPull withoutByteOrderMark(TextPull pull);
// The same, noting in `*sawText` whether a character other than white space
// came, so that a reader that found no token can tell an empty text from
// one of comments only, as networkText would.
TextPull networkPull(TextPull pull, std::shared_ptr<bool> sawText);

// The network a `Reader` (constructed from a pull, the path and the limits,
// with empty() true when it found no token, and read()) reads from `pull`.
template <typename Reader>
auto readNetworkFrom(TextPull pull, const std::string& path, const ReadLimits& limits) {
    const auto sawText = std::make_shared<bool>(false);
    Reader reader(networkPull(std::move(pull), sawText), path, limits);
    if (reader.empty() && !*sawText) throw noNetwork(path);
    return reader.read();
}

// The whole of `text`, a window at a time.
TextPull pullOf(std::string_view text);

}  // namespace samplenet
