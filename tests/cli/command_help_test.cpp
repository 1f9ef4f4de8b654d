#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <regex>
#include <set>

#include "tests/cli/run_samplenet.h"
#include "tests/support/scratch_folder.h"

namespace {

using cli_testing::runSamplenetOut;

// The lines of a --help section ("Options:", "Subcommands:") up to the blank line ending it.
std::vector<std::string> helpSection(const std::string& help, const std::string& title) {
    std::vector<std::string> section;
    bool inside = false;
    for (const std::string& line : cli_testing::split(help)) {
        if (line == title) {
            inside = true;
        } else if (inside) {
            if (line.empty()) break;
            section.push_back(line);
        }
    }
    return section;
}

std::vector<std::string> commandsInHelp() {
    std::vector<std::string> names;
    for (const std::string& line : helpSection(runSamplenetOut({"--help"}), "Subcommands:"))
        names.push_back(line.substr(2, line.find(' ', 2) - 2));
    return names;
}

// The option names a command's --help shows: "-e", "--evidence", ...
std::set<std::string> optionsInHelp(const std::vector<std::string>& command) {
    const std::string help = runSamplenetOut(cli_testing::with(command, {"--help"}));
    std::set<std::string> names;
    static const std::regex name(R"(-{1,2}[A-Za-z0-9][A-Za-z0-9-]*)");
    // Every section that lists options: "Options:" and the headings that
    // group the tuning options ("Sampling:", ...).
    for (const std::string& line : cli_testing::split(help)) {
        if (line.rfind("  -", 0) != 0) continue;  // a heading, a command, or a wrapped description
        // "-a, --algorithm TEXT", up to the gap before the description.
        const std::string first = line.substr(2, line.find("  ", 2) - 2);
        for (auto it = std::sregex_iterator(first.begin(), first.end(), name); it != std::sregex_iterator(); ++it)
            names.insert(it->str());
    }
    return names;
}

std::string script(const std::string& shell) { return runSamplenetOut({"completion", shell}); }

// What the bash completion offers for the command line `words`, the last
// one being completed.
std::set<std::string> bashCompletions(const std::vector<std::string>& words) {
    const testing_support::ScratchFolder scratch;
    const std::filesystem::path& directory = scratch.path();
    std::ofstream(directory / "samplenet.bash") << script("bash");
    std::string array;
    for (const std::string& word : words) array += " '" + word + "'";
    std::ofstream(directory / "complete.bash")
        << "source " << (directory / "samplenet.bash") << "\n"
        << "COMP_WORDS=(samplenet" << array << ")\nCOMP_CWORD=" << words.size() << "\n"
        << "_samplenet\nprintf '%s\\n' \"${COMPREPLY[@]}\"\n";
    const std::string out = scratch.file("offered");
    const std::string command = "bash --norc --noprofile " + scratch.file("complete.bash") + " >" + out;
    EXPECT_EQ(std::system(command.c_str()), 0) << cli_testing::fileContents(out);
    std::set<std::string> offered;
    for (const std::string& line : cli_testing::split(cli_testing::fileContents(out)))
        if (!line.empty()) offered.insert(line);
    return offered;
}

TEST(Help, ListsEveryCommandOnOneLineOfItsOwn) {
    const std::string help = runSamplenetOut({"--help"});
    const std::vector<std::string> section = helpSection(help, "Subcommands:");
    ASSERT_GE(section.size(), 11u) << help;
    for (const std::string& line : section) {
        EXPECT_LE(line.size(), 80u) << line;
        EXPECT_TRUE(std::regex_match(line, std::regex(R"(  [a-z]+ {2,}\S.*)"))) << line;
    }
    // The completion command is for packagers, not a user's list.
    EXPECT_EQ(help.find("completion"), std::string::npos);
}

TEST(Completion, BashCompletesCommandsAndOptions) {
    EXPECT_EQ(bashCompletions({"inf"}), (std::set<std::string>{"infer", "info"}));
    EXPECT_EQ(bashCompletions({"infer", "--al"}), std::set<std::string>{"--algorithm"});
    EXPECT_EQ(bashCompletions({"infer", "-e", "A=b", "--form"}), std::set<std::string>{"--format"});
    EXPECT_EQ(bashCompletions({"--ver"}), std::set<std::string>{"--version"});
    // A network or other argument: left to the shell's file name completion.
    EXPECT_TRUE(bashCompletions({"infer", "net"}).empty());
}

TEST(Completion, EveryOptionOfEveryCommandIsOffered) {
    const std::string zsh = script("zsh");
    const std::vector<std::string> commands = commandsInHelp();
    ASSERT_FALSE(commands.empty());
    EXPECT_EQ(bashCompletions({""}), [&] {
        std::set<std::string> words(commands.begin(), commands.end());
        words.merge(optionsInHelp({}));
        return words;
    }());
    for (const std::string& command : commands) {
        const std::set<std::string> options = optionsInHelp({command});
        EXPECT_GE(options.size(), 3u) << command;
        EXPECT_EQ(bashCompletions({command, "-"}), options) << command;
        EXPECT_NE(zsh.find("'" + command + ":"), std::string::npos) << command;
        for (const std::string& option : options)
            EXPECT_NE(zsh.find("'" + option + "["), std::string::npos) << command << " " << option;
    }
}

TEST(Completion, ZshScriptLoadsAndRegisters) {
    if (std::system("command -v zsh >/dev/null 2>&1") != 0) GTEST_SKIP() << "zsh is not installed";
    const testing_support::ScratchFolder scratch;
    const std::filesystem::path& directory = scratch.path();
    std::ofstream(directory / "_samplenet") << script("zsh");
    const auto file = (directory / "_samplenet").string();
    EXPECT_EQ(std::system(("zsh -n " + file).c_str()), 0);
    const std::string out = (directory / "out").string();
    const std::string command = "HOME=" + directory.string() +
                                " zsh -f -c 'autoload -U compinit; compinit -u -D; source " + file +
                                "; print -r -- $_comps[samplenet]' >" + out + " 2>&1";
    EXPECT_EQ(std::system(command.c_str()), 0);
    EXPECT_EQ(cli_testing::fileContents(out), "_samplenet\n");
}

// A man page's text with roff's escapes for dashes and fonts taken out.
std::string manPageText(const std::string& page) {
    const std::string plain = std::regex_replace(page, std::regex(R"(\\f[BIRP]|\\[,/])"), "");
    return std::regex_replace(plain, std::regex(R"(\\-)"), "-");
}

TEST(ManPages, EveryCommandHasAPageWithItsOptions) {
    if (std::string(SAMPLENET_MAN_DIR).empty()) GTEST_SKIP() << "built without help2man";
    const std::filesystem::path directory = SAMPLENET_MAN_DIR;
    EXPECT_NE(cli_testing::fileContents(directory / "samplenet.1").find("samplenet-infer(1)"), std::string::npos);
    for (const std::string& command : commandsInHelp()) {
        const std::string page = manPageText(cli_testing::fileContents(directory / ("samplenet-" + command + ".1")));
        EXPECT_NE(page.find(".SH NAME\nsamplenet-" + command + " - "), std::string::npos) << page;
        for (const std::string& option : optionsInHelp({command}))
            EXPECT_TRUE(std::regex_search(page, std::regex("(^|[ ,\n])" + option + "([^A-Za-z0-9-]|$)")))
                << command << " " << option;
    }
    const std::string source = cli_testing::fileContents(directory / "samplenet-infer.1");
    // Each option's names in bold, its value and default kept apart from them.
    EXPECT_NE(source.find("\\fB\\-a\\fR, \\fB\\-\\-algorithm\\fR"), std::string::npos) << source;
    EXPECT_NE(source.find("\n\\fB\\-\\-max\\-states\\fR UINT\n"), std::string::npos) << source;
    EXPECT_EQ(manPageText(source).find(":>="), std::string::npos) << "validator notation after a type";
}

}  // namespace
