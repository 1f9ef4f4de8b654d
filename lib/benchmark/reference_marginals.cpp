#include "lib/benchmark/reference_marginals.h"

#include <charconv>

#include "lib/formats/lexer.h"
#include "lib/formats/text_file.h"
#include "lib/model/errors.h"

namespace samplenet {
namespace {

constexpr Lexer::Syntax kMarSyntax{"", false, false};

// A whole number of at least 0; `what` names it in the error.
long long readCount(Lexer& lexer, std::string_view what) {
    const Token token = lexer.peek();
    long long value = -1;
    const char* end = token.text.data() + token.text.size();
    const auto result = std::from_chars(token.text.data(), end, value);
    if (token.kind != Token::Kind::Word || result.ec != std::errc() || result.ptr != end || value < 0)
        lexer.fail(what);
    lexer.next();
    return value;
}

}  // namespace

std::vector<std::vector<double>> readReferenceMarginals(std::string_view text, const std::string& path) {
    const ParseErrors errors(path);
    Lexer lexer(text, errors, kMarSyntax);
    if (!lexer.peek().isWord("MAR")) lexer.fail("'MAR'");
    lexer.next();
    const long long count = readCount(lexer, "variable count");
    std::vector<std::vector<double>> marginals;
    // Entries are appended as they are read, so that a count larger than
    // the file allocates nothing before the file runs out.
    for (long long v = 0; v < count; ++v) {
        const long long states = readCount(lexer, "state count of variable " + std::to_string(v));
        std::vector<double>& marginal = marginals.emplace_back();
        for (long long s = 0; s < states; ++s) marginal.push_back(lexer.expectProbability());
    }
    if (lexer.peek().kind != Token::Kind::End)
        lexer.fail("end of file after the marginals of " + std::to_string(count) + " variables");
    return marginals;
}

std::vector<std::vector<double>> readReferenceMarginals(const std::string& path) {
    return readReferenceMarginals(readTextFile(path), path);
}

std::vector<std::vector<double>> marginalsOfNetwork(const Network& network,
                                                    const std::vector<std::vector<double>>& marginals,
                                                    const std::string& path) {
    if (marginals.size() != static_cast<std::size_t>(network.size()))
        throw ParseError(path + ": holds the marginals of " + std::to_string(marginals.size()) +
                             " variables, the network has " + std::to_string(network.size()),
                         path, 0);
    std::vector<std::vector<double>> ordered(marginals.size());
    for (std::size_t i = 0; i < marginals.size(); ++i) {
        const std::string name = "v" + std::to_string(i);
        const auto v = network.indexOf(name);
        if (!v) throw ParseError(path + ": the network has no variable " + name + " for marginal " + std::to_string(i), path, 0);
        const int states = network.variables[*v].stateCount();
        if (marginals[i].size() != static_cast<std::size_t>(states))
            throw ParseError(path + ": variable " + std::to_string(i) + " has " + std::to_string(marginals[i].size()) +
                                 " states in the marginals, " + std::to_string(states) + " in the network",
                             path, 0);
        ordered[*v] = marginals[i];
    }
    return ordered;
}

}  // namespace samplenet
