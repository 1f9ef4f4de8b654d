#include "lib/formats/net.h"

#include "lib/formats/lexer.h"
#include "lib/formats/writable_names.h"
#include "lib/formats/network_builder.h"
#include "lib/formats/network_text.h"
#include "lib/formats/number_text.h"
#include "lib/formats/text_util.h"

namespace samplenet {
namespace {

constexpr Lexer::Syntax kNetSyntax{"{}()=;|", false, true};

class NetReader {
public:
    NetReader(TextPull pull, const std::string& path, const ReadLimits& limits)
        : builder_(path, limits), lexer_(std::move(pull), builder_.errors(), kNetSyntax, limits.maxTextBytes) {}

    bool empty() const { return lexer_.peek().kind == Token::Kind::End; }

    Network read() {
        if (!lexer_.peek().isWord("net")) lexer_.fail("'net'");
        lexer_.next();
        lexer_.expect('{');
        while (!lexer_.accept('}')) {
            if (lexer_.peek().isWord("name")) {
                lexer_.next();
                lexer_.expect('=');
                builder_.network().name = lexer_.expectName("network name").text;
                lexer_.expect(';');
            } else {
                builder_.network().properties.emplace_back(readAttribute());
            }
        }
        while (lexer_.peek().kind != Token::Kind::End) {
            const Token keyword = lexer_.next();
            if (keyword.isWord("discrete") && lexer_.peek().isWord("node")) {
                lexer_.next();
                readNode();
            } else if (keyword.isWord("node")) {
                readNode();
            } else if (keyword.isWord("potential")) {
                readPotential();
            } else {
                lexer_.failAt(keyword, "'node', 'discrete node' or 'potential'");
            }
        }
        return builder_.finish(lexer_.peek().line);
    }

private:
    // "key = value" up to the ';', which is consumed.
    std::string readAttribute() {
        if (lexer_.peek().kind != Token::Kind::Word) lexer_.fail("attribute name or '}'");
        return lexer_.rawUntilSemicolon();
    }

    void readNode() {
        const Token name = lexer_.expectName("node name");
        Variable& variable = builder_.addVariable(std::string(name.text), name.line);
        lexer_.expect('{');
        bool hasStates = false;
        while (!lexer_.peek().is('}')) {
            if (lexer_.peek().isWord("states")) {
                lexer_.next();
                lexer_.expect('=');
                lexer_.expect('(');
                while (!lexer_.accept(')')) {
                    if (lexer_.peek().kind != Token::Kind::String) lexer_.fail("quoted state name or ')'");
                    variable.states.emplace_back(lexer_.next().text);
                }
                builder_.checkStateCount(variable.name, variable.states.size(), name.line);
                lexer_.expect(';');
                hasStates = true;
            } else {
                variable.properties.emplace_back(readAttribute());
            }
        }
        if (!hasStates) lexer_.fail("'states' of node " + quoted(variable.name));
        lexer_.next();
    }

    void readPotential() {
        const Token start = lexer_.peek();
        lexer_.expect('(');
        const Token childName = lexer_.expectName("node name");
        const int child = builder_.variableIndex(childName.text, childName.line);
        std::vector<int> parents;
        if (lexer_.accept('|')) {
            while (lexer_.peek().isName()) {
                const Token parent = lexer_.next();
                parents.push_back(builder_.variableIndex(parent.text, parent.line));
            }
        }
        lexer_.expect(')');
        lexer_.expect('{');
        const std::size_t size = builder_.checkParents(child, parents, start.line);
        std::vector<double> table;
        bool hasData = false;
        while (!lexer_.peek().is('}')) {
            if (lexer_.peek().isWord("data")) {
                lexer_.next();
                lexer_.expect('=');
                table = readData(size);
                hasData = true;
            } else {
                readAttribute();  // experience tables and the like play no part in inference
            }
        }
        if (!hasData) lexer_.fail("'data' for node " + quoted(builder_.network().variables[child].name));
        lexer_.next();
        builder_.define(child, std::move(parents), std::move(table), start.line);
    }

    // The numbers of a nested data list up to its ';'; the nesting follows
    // the table layout, so only its balance is checked.
    std::vector<double> readData(std::size_t expected) {
        std::vector<double> values;
        values.reserve(expected);
        int depth = 0;
        while (!lexer_.peek().is(';') || depth > 0) {
            if (lexer_.accept('(')) {
                ++depth;
            } else if (depth > 0 && lexer_.accept(')')) {
                --depth;
            } else {
                values.push_back(lexer_.expectProbability());
            }
        }
        const Token end = lexer_.next();
        if (values.size() != expected)
            builder_.fail(end.line, std::to_string(expected) + " numbers in 'data'", std::to_string(values.size()));
        return values;
    }

    NetworkBuilder builder_;
    Lexer lexer_;
};

// "key = value" properties only; the key must be a plain word.
void appendAttributes(std::string& out, const std::vector<std::string>& properties) {
    for (const std::string& property : properties) {
        const auto equals = property.find('=');
        const std::string_view key = trimmed(std::string_view(property).substr(0, equals));
        if (equals == std::string::npos || key.empty() || key.find_first_of(" \t\r\n{}()=;|%\"") != std::string::npos)
            continue;
        out += "    " + property + ";\n";
    }
}

void appendData(std::string& out, const Network& network, const Variable& variable, std::size_t level,
                std::size_t& offset) {
    out += '(';
    if (level == variable.parents.size()) {
        for (int s = 0; s < variable.stateCount(); ++s) {
            out += ' ';
            appendNumber(out, variable.table[offset++]);
        }
        out += ' ';
    } else {
        for (int s = 0; s < network.variables[variable.parents[level]].stateCount(); ++s)
            appendData(out, network, variable, level + 1, offset);
    }
    out += ')';
}

}  // namespace

Network readNet(std::string_view text, const std::string& path, const ReadLimits& limits) {
    return readNet(pullOf(text), path, limits);
}

Network readNet(TextPull pull, const std::string& path, const ReadLimits& limits) {
    return readNetworkFrom<NetReader>(std::move(pull), path, limits);
}

std::string writeNet(const Network& network) {
    refuseUnwritableNames(network, "NET", "XMLBIF (.xml)", doubleQuoteProblem);
    std::string out = "net\n{\n";
    if (!network.name.empty()) out += "    name = \"" + network.name + "\";\n";
    appendAttributes(out, network.properties);
    out += "}\n";
    for (const Variable& variable : network.variables) {
        out += "\nnode ";
        appendName(out, variable.name, kNetSyntax);
        out += "\n{\n    states = (";
        for (const std::string& state : variable.states) out += " \"" + state + "\"";
        out += " );\n";
        appendAttributes(out, variable.properties);
        out += "}\n";
    }
    for (const Variable& variable : network.variables) {
        out += "\npotential (";
        appendName(out, variable.name, kNetSyntax);
        if (!variable.parents.empty()) out += " |";
        for (int parent : variable.parents) {
            out += ' ';
            appendName(out, network.variables[parent].name, kNetSyntax);
        }
        out += ")\n{\n    data = ";
        std::size_t offset = 0;
        appendData(out, network, variable, 0, offset);
        out += ";\n}\n";
    }
    return out;
}

}  // namespace samplenet
