#include "lib/formats/bif.h"

#include <cmath>

#include "lib/formats/lexer.h"
#include "lib/formats/writable_names.h"
#include "lib/formats/network_builder.h"
#include "lib/formats/network_text.h"
#include "lib/formats/number_text.h"

namespace samplenet {
namespace {

constexpr Lexer::Syntax kBifSyntax{"{}()[],;|", true, false};

class BifReader {
public:
    BifReader(TextPull pull, const std::string& path, const ReadLimits& limits)
        : builder_(path, limits), lexer_(std::move(pull), builder_.errors(), kBifSyntax, limits.maxTextBytes) {}

    bool empty() const { return lexer_.peek().kind == Token::Kind::End; }

    Network read() {
        while (lexer_.peek().kind != Token::Kind::End) {
            const Token keyword = lexer_.next();
            if (keyword.isWord("network")) {
                readNetworkBlock();
            } else if (keyword.isWord("variable")) {
                readVariableBlock();
            } else if (keyword.isWord("probability")) {
                readProbabilityBlock();
            } else {
                lexer_.failAt(keyword, "'network', 'variable' or 'probability'");
            }
        }
        return builder_.finish(lexer_.peek().line);
    }

private:
    bool readProperty(std::vector<std::string>& properties) {
        if (!lexer_.peek().isWord("property")) return false;
        lexer_.next();
        properties.emplace_back(lexer_.rawUntilSemicolon());
        return true;
    }

    void readNetworkBlock() {
        Network& network = builder_.network();
        if (lexer_.peek().isName()) network.name = lexer_.next().text;
        lexer_.expect('{');
        while (!lexer_.accept('}'))
            if (!readProperty(network.properties)) lexer_.fail("'property' or '}'");
    }

    void readVariableBlock() {
        const Token name = lexer_.expectName("variable name");
        Variable& variable = builder_.addVariable(std::string(name.text), name.line);
        lexer_.expect('{');
        while (!lexer_.accept('}')) {
            if (readProperty(variable.properties)) continue;
            if (!lexer_.peek().isWord("type")) lexer_.fail("'type', 'property' or '}'");
            lexer_.next();
            if (!lexer_.peek().isWord("discrete")) lexer_.fail("'discrete'");
            lexer_.next();
            lexer_.expect('[');
            const Token count = lexer_.next();
            // Kept for the message below, when the lexer has moved on.
            const std::string countText(count.text);
            const auto declared = parseNumber(count.text);
            // Whole numbers up to 2^53, which a double holds exactly; the
            // state limit then decides.
            if (count.kind != Token::Kind::Word || !declared || !(*declared >= 1 && *declared <= 0x1p53) ||
                *declared != std::floor(*declared))
                lexer_.failAt(count, "state count");
            builder_.checkStateCount(variable.name, static_cast<std::size_t>(*declared), count.line);
            lexer_.expect(']');
            lexer_.expect('{');
            variable.states.clear();
            while (!lexer_.peek().is('}')) {
                if (!variable.states.empty()) lexer_.accept(',');
                variable.states.emplace_back(lexer_.expectName("state name").text);
            }
            if (variable.states.size() != static_cast<std::size_t>(*declared))
                builder_.fail(lexer_.peek().line, countText + " states", std::to_string(variable.states.size()));
            lexer_.next();
            lexer_.expect(';');
        }
    }

    std::vector<double> readProbabilities(std::size_t expected) {
        std::vector<double> values;
        while (!lexer_.peek().is(';')) {
            if (!values.empty()) lexer_.accept(',');
            values.push_back(lexer_.expectProbability());
        }
        const Token end = lexer_.next();
        if (values.size() != expected)
            builder_.fail(end.line, std::to_string(expected) + " probabilities", std::to_string(values.size()));
        return values;
    }

    void readProbabilityBlock() {
        const Token start = lexer_.peek();
        lexer_.expect('(');
        const int child = builder_.variableIndex(lexer_.expectName("variable name").text, start.line);
        lexer_.accept('|');
        std::vector<int> parents;
        while (!lexer_.accept(')')) {
            if (!parents.empty()) lexer_.accept(',');
            const Token parent = lexer_.expectName("parent name or ')'");
            parents.push_back(builder_.variableIndex(parent.text, parent.line));
        }
        Variable& variable = builder_.network().variables[child];
        const std::size_t states = variable.states.size();
        const std::size_t size = builder_.checkParents(child, parents, start.line);
        const std::size_t configurations = size / states;

        enum class Source : char { None, Table, Row };
        std::vector<double> table(size);
        std::vector<Source> sources(configurations, Source::None);
        std::vector<double> defaults;
        lexer_.expect('{');
        while (!lexer_.peek().is('}')) {
            if (readProperty(variable.properties)) continue;
            const Token head = lexer_.next();
            if (head.isWord("table")) {
                // Own state slowest here, fastest in the model.
                const auto values = readProbabilities(size);
                for (std::size_t s = 0; s < states; ++s)
                    for (std::size_t q = 0; q < configurations; ++q) table[q * states + s] = values[s * configurations + q];
                for (Source& source : sources)
                    if (source == Source::None) source = Source::Table;
            } else if (head.isWord("default")) {
                defaults = readProbabilities(states);
            } else if (head.is('(')) {
                const std::size_t q = readConfiguration(parents);
                if (sources[q] == Source::Row) builder_.fail(head.line, "each parent configuration once", "a repeated row");
                sources[q] = Source::Row;
                const auto values = readProbabilities(states);
                std::copy(values.begin(), values.end(), table.begin() + q * states);
            } else {
                lexer_.failAt(head, "'table', 'default', '(', 'property' or '}'");
            }
        }
        for (std::size_t q = 0; q < configurations; ++q) {
            if (sources[q] != Source::None) continue;
            if (defaults.empty()) lexer_.fail("probabilities for " + describeConfiguration(builder_.network(), parents, q));
            std::copy(defaults.begin(), defaults.end(), table.begin() + q * states);
        }
        lexer_.next();
        builder_.define(child, std::move(parents), std::move(table), start.line);
    }

    // Reads "a, b)" after a row's '(' and returns the configuration index.
    std::size_t readConfiguration(const std::vector<int>& parents) {
        std::size_t q = 0;
        for (std::size_t k = 0; k < parents.size(); ++k) {
            if (k > 0) lexer_.accept(',');
            const Variable& parent = builder_.network().variables[parents[k]];
            if (!lexer_.peek().isName()) lexer_.fail("a state of " + quoted(parent.name));
            const Token state = lexer_.next();
            q = q * parent.states.size() + builder_.stateIndex(parents[k], state.text, state.line);
        }
        if (!lexer_.peek().is(')')) lexer_.fail("')' after " + std::to_string(parents.size()) + " parent states");
        lexer_.next();
        return q;
    }

    NetworkBuilder builder_;
    Lexer lexer_;
};

void appendProperties(std::string& out, const std::vector<std::string>& properties) {
    for (const std::string& property : properties) out += "  property " + property + ";\n";
}

void appendNames(std::string& out, const std::vector<std::string>& names) {
    for (std::size_t i = 0; i < names.size(); ++i) {
        if (i) out += ", ";
        appendName(out, names[i], kBifSyntax);
    }
}

void appendValues(std::string& out, const double* values, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
        if (i) out += ", ";
        appendNumber(out, values[i]);
    }
    out += ";\n";
}

}  // namespace

Network readBif(std::string_view text, const std::string& path, const ReadLimits& limits) {
    return readBif(pullOf(text), path, limits);
}

Network readBif(TextPull pull, const std::string& path, const ReadLimits& limits) {
    return readNetworkFrom<BifReader>(std::move(pull), path, limits);
}

std::string writeBif(const Network& network) {
    refuseUnwritableNames(network, "BIF", "XMLBIF (.xml)", doubleQuoteProblem);
    std::string out = "network ";
    appendName(out, network.name.empty() ? "unknown" : network.name, kBifSyntax);
    out += " {\n";
    appendProperties(out, network.properties);
    out += "}\n";
    for (const Variable& variable : network.variables) {
        out += "variable ";
        appendName(out, variable.name, kBifSyntax);
        out += " {\n  type discrete [ " + std::to_string(variable.states.size()) + " ] { ";
        appendNames(out, variable.states);
        out += " };\n";
        appendProperties(out, variable.properties);
        out += "}\n";
    }
    for (const Variable& variable : network.variables) {
        out += "probability ( ";
        appendName(out, variable.name, kBifSyntax);
        if (!variable.parents.empty()) {
            std::vector<std::string> parents;
            for (int parent : variable.parents) parents.push_back(network.variables[parent].name);
            out += " | ";
            appendNames(out, parents);
        }
        out += " ) {\n";
        const std::size_t states = variable.states.size();
        if (variable.parents.empty()) {
            out += "  table ";
            appendValues(out, variable.table.data(), states);
        }
        // Parent states of the current row, first parent slowest as in the table.
        std::vector<std::size_t> row(variable.parents.size(), 0);
        for (std::size_t q = 0; !variable.parents.empty() && q * states < variable.table.size(); ++q) {
            out += "  (";
            for (std::size_t k = 0; k < row.size(); ++k) {
                if (k) out += ", ";
                appendName(out, network.variables[variable.parents[k]].states[row[k]], kBifSyntax);
            }
            out += ") ";
            appendValues(out, variable.table.data() + q * states, states);
            for (std::size_t k = row.size(); k-- > 0;) {
                if (++row[k] < network.variables[variable.parents[k]].states.size()) break;
                row[k] = 0;
            }
        }
        out += "}\n";
    }
    return out;
}

}  // namespace samplenet
