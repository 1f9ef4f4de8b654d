#pragma once

#include <CLI/CLI.hpp>
#include <string>

namespace samplenet_cli {

// --help in the layout of most command-line tools, which man-page
// generators read too: "-a, --algorithm TEXT" on the left, the default at
// the end of the description, and no validator notation (":>=1") after the
// value's type.
class HelpFormatter : public CLI::Formatter {
public:
    std::string make_option_name(const CLI::Option* option, bool isPositional) const override;
    std::string make_option_opts(const CLI::Option* option) const override;
    std::string make_option_desc(const CLI::Option* option) const override;
};

}  // namespace samplenet_cli
