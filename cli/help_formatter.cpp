#include "cli/help_formatter.h"

#include <vector>

namespace samplenet_cli {

std::string HelpFormatter::make_option_name(const CLI::Option* option, bool isPositional) const {
    if (isPositional) return CLI::Formatter::make_option_name(option, isPositional);
    std::vector<std::string> names;
    for (const std::string& name : option->get_snames()) names.push_back("-" + name);
    for (const std::string& name : option->get_lnames()) names.push_back("--" + name);
    std::string text;
    for (const std::string& name : names) text += (text.empty() ? "" : ", ") + name;
    return text;
}

std::string HelpFormatter::make_option_opts(const CLI::Option* option) const {
    std::string text;
    if (option->get_type_size() != 0) {
        // The validators' descriptions follow the type after a colon; the
        // description shows them.
        const std::string type = option->get_type_name().substr(0, option->get_type_name().find(':'));
        if (!type.empty()) text += " " + type;
        if (option->get_expected_max() == CLI::detail::expected_max_vector_size) text += " ...";
        if (option->get_required()) text += " " + get_label("REQUIRED");
    }
    if (!option->get_excludes().empty()) {
        text += " " + get_label("Excludes") + ":";
        for (const CLI::Option* other : option->get_excludes()) text += " " + other->get_name();
    }
    return text;
}

std::string HelpFormatter::make_option_desc(const CLI::Option* option) const {
    std::string text = option->get_description();
    // What the validators allow, which the left column no longer shows.
    const std::string type = option->get_type_name();
    if (const auto colon = type.find(':'); colon != std::string::npos) text += " (" + type.substr(colon + 1) + ")";
    if (const std::string shown = option->get_default_str(); !shown.empty()) text += " (default " + shown + ")";
    return text;
}

}  // namespace samplenet_cli
