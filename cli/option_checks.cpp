#include "cli/option_checks.h"

#include <charconv>

#include "lib/inference/algorithm.h"

namespace samplenet_cli {

std::string checkAlgorithmName(const std::string& name) {
    return samplenet::unknownAlgorithmMessage(name);
}

CLI::Validator wholeNumberAtLeast(long minimum) {
    return CLI::Validator(
        [minimum](std::string& text) -> std::string {
            long value = 0;
            const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
            if (error != std::errc() || end != text.data() + text.size() || value < minimum)
                return "expected a whole number of at least " + std::to_string(minimum) + ", found \"" + text + "\"";
            return "";
        },
        ">=" + std::to_string(minimum));
}

CLI::Validator numberAbove(double bound) {
    return CLI::Validator(
        [bound](std::string& text) -> std::string {
            double value = 0.0;
            const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
            if (error != std::errc() || end != text.data() + text.size() || !(value > bound))
                return "expected a number above " + CLI::detail::to_string(bound) + ", found \"" + text + "\"";
            return "";
        },
        ">" + CLI::detail::to_string(bound));
}

}  // namespace samplenet_cli
