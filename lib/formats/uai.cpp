#include "lib/formats/uai.h"

#include <charconv>
#include <limits>

#include "lib/formats/lexer.h"
#include "lib/formats/network_builder.h"
#include "lib/formats/network_text.h"
#include "lib/formats/number_text.h"
#include "lib/formats/text_util.h"
#include "lib/model/errors.h"

namespace samplenet {
namespace {

constexpr Lexer::Syntax kUaiSyntax{"", false, false};

// A non-negative integer below `limit`; `what` names it in the error.
int readIndex(Lexer& lexer, std::string_view what, long long limit) {
    const Token token = lexer.next();
    long long value = -1;
    const auto* end = token.text.data() + token.text.size();
    const auto result = std::from_chars(token.text.data(), end, value);
    if (token.kind != Token::Kind::Word || result.ec != std::errc() || result.ptr != end || value < 0 || value >= limit)
        lexer.failAt(token, what);
    return static_cast<int>(value);
}

constexpr long long kMaxCount = std::numeric_limits<int>::max();

// The network the lexer's tokens describe.
Network parseUai(Lexer& lexer, NetworkBuilder& builder) {
    if (!lexer.peek().isWord("BAYES")) lexer.fail("'BAYES'");
    lexer.next();
    const int count = readIndex(lexer, "variable count", kMaxCount);
    for (int v = 0; v < count; ++v) {
        const Token at = lexer.peek();
        Variable& variable = builder.addVariable(concat({"v", std::to_string(v)}), at.line);
        // Names are made for every state before the tables are read, so an
        // absurd state count must not get that far.
        const Token statesAt = lexer.peek();
        const int states = readIndex(lexer, "state count", kMaxCount);
        builder.checkStateCount(variable.name, static_cast<std::size_t>(states), statesAt.line);
        for (int s = 0; s < states; ++s) variable.states.push_back(concat({"s", std::to_string(s)}));
    }
    const Token functionsAt = lexer.peek();
    if (readIndex(lexer, "function count", kMaxCount) != count)
        lexer.failAt(functionsAt, std::to_string(count) + " functions, one per variable");

    struct Scope {
        int child;
        std::vector<int> parents;
        int line;
    };
    std::vector<Scope> scopes;
    for (int f = 0; f < count; ++f) {
        const Token sizeAt = lexer.peek();
        const int size = readIndex(lexer, "scope size", count + 1);
        if (size == 0) lexer.failAt(sizeAt, "scope size of at least 1");
        Scope scope{0, {}, lexer.peek().line};
        for (int k = 0; k < size; ++k)
            scope.parents.push_back(readIndex(lexer, "variable index below " + std::to_string(count), count));
        scope.child = scope.parents.back();
        scope.parents.pop_back();
        scopes.push_back(std::move(scope));
    }
    for (Scope& scope : scopes) {
        const std::size_t size = builder.checkParents(scope.child, scope.parents, scope.line);
        const Token sizeAt = lexer.peek();
        if (static_cast<std::size_t>(readIndex(lexer, "table size", kMaxCount)) != size)
            lexer.failAt(sizeAt, std::to_string(size) + " as table size");
        std::vector<double> table(size);
        for (double& value : table) value = lexer.expectProbability();
        builder.define(scope.child, std::move(scope.parents), std::move(table), scope.line);
    }
    if (lexer.peek().kind != Token::Kind::End) lexer.fail("end of file");
    return builder.finish(lexer.peek().line);
}

}  // namespace

Network readUai(std::string_view text, const std::string& path, const ReadLimits& limits) {
    NetworkBuilder builder(path, limits);
    Lexer lexer(networkText(text, path), builder.errors(), kUaiSyntax);
    return parseUai(lexer, builder);
}

Network readUai(TextPull pull, const std::string& path, const ReadLimits& limits) {
    NetworkBuilder builder(path, limits);
    Lexer lexer(withoutByteOrderMark(std::move(pull)), builder.errors(), kUaiSyntax, limits.maxTextBytes);
    if (lexer.peek().kind == Token::Kind::End) throw noNetwork(path);
    return parseUai(lexer, builder);
}

void writeUaiPieces(const Network& network, const std::function<void(std::string_view)>& put) {
    constexpr std::size_t kPiece = 1 << 20;
    const std::string count = std::to_string(network.size());
    std::string out = concat({"BAYES\n", count, "\n"});
    const auto putIfFull = [&] {
        if (out.size() < kPiece) return;
        put(out);
        out.clear();
    };
    for (int v = 0; v < network.size(); ++v) {
        out += concat({v ? " " : "", std::to_string(network.variables[v].stateCount())});
        putIfFull();
    }
    out += concat({"\n", count, "\n"});
    for (int v = 0; v < network.size(); ++v) {
        const auto& parents = network.variables[v].parents;
        out += std::to_string(parents.size() + 1);
        for (int parent : parents) out += concat({" ", std::to_string(parent)});
        out += concat({" ", std::to_string(v), "\n"});
        putIfFull();
    }
    for (const Variable& variable : network.variables) {
        out += concat({"\n", std::to_string(variable.table.size()), "\n"});
        for (std::size_t i = 0; i < variable.table.size(); ++i) {
            out += ' ';
            appendNumber(out, variable.table[i]);
            if ((i + 1) % variable.states.size() == 0) out += '\n';
        }
        putIfFull();
    }
    put(out);
}

std::string writeUai(const Network& network) {
    std::string text;
    writeUaiPieces(network, [&text](std::string_view piece) { text += piece; });
    return text;
}

Evidence readUaiEvidence(const Network& network, std::string_view text, const std::string& path) {
    const ParseErrors errors(path);
    std::size_t entries = 0;
    for (Lexer counter(text, errors, kUaiSyntax); counter.peek().kind != Token::Kind::End; counter.next()) ++entries;

    Lexer lexer(text, errors, kUaiSyntax);
    // The old form "N (var state)*" has an odd number of entries, the newer
    // "1 N (var state)*" an even one.
    if (entries % 2 == 0) {
        const Token at = lexer.peek();
        if (readIndex(lexer, "sample count", kMaxCount) != 1) lexer.failAt(at, "1 as sample count");
    }
    const int count = readIndex(lexer, "evidence count", kMaxCount);
    Evidence evidence;
    for (int i = 0; i < count; ++i) {
        const Token variableAt = lexer.peek();
        const int v = readIndex(lexer, "variable index", kMaxCount);
        if (v >= network.size())
            throw EvidenceError(errors.message(variableAt.line, "a variable index below " + std::to_string(network.size()),
                                               variableAt.describe()));
        const Token stateAt = lexer.peek();
        const int state = readIndex(lexer, "state index", kMaxCount);
        if (state >= network.variables[v].stateCount())
            throw EvidenceError(errors.message(
                stateAt.line, "a state index of " + network.variables[v].name + " below " +
                                  std::to_string(network.variables[v].stateCount()), stateAt.describe()));
        if (!evidence.hard.emplace(v, state).second)
            throw EvidenceError(errors.message(variableAt.line, "each variable once", "variable " + std::to_string(v) + " again"));
        evidence.givenOrder.push_back(v);
    }
    if (lexer.peek().kind != Token::Kind::End)
        lexer.fail("end of file after " + std::to_string(count) + " variable/state pairs");
    return evidence;
}

}  // namespace samplenet
