#include "lib/formats/evidence_parser.h"

#include <charconv>
#include <vector>

#include "lib/formats/formats.h"
#include "lib/formats/text_file.h"
#include "lib/formats/uai.h"
#include "lib/model/evidence_check.h"
#include "lib/model/errors.h"

namespace samplenet {

namespace {

std::string_view trimmed(std::string_view text) {
    const auto first = text.find_first_not_of(" \t\r\n");
    if (first == std::string_view::npos) return {};
    const auto last = text.find_last_not_of(" \t\r\n");
    return text.substr(first, last - first + 1);
}

std::string quoted(std::string_view text) { return "\"" + std::string(text) + "\""; }

std::string listOfStates(const Variable& variable) {
    std::string list;
    for (const std::string& state : variable.states) list += (list.empty() ? "" : ", ") + state;
    return list;
}

double parseLikelihoodValue(const Variable& variable, std::string_view text) {
    const std::string_view number = trimmed(text);
    double value = 0.0;
    const auto [end, error] = std::from_chars(number.data(), number.data() + number.size(), value);
    if (number.empty() || error != std::errc() || end != number.data() + number.size())
        throw EvidenceError("likelihood of " + quoted(variable.name) + ": " + quoted(number) + " is not a number");
    return value;
}

// "[l1, l2, ...]" with the brackets already found at both ends.
std::vector<double> parseLikelihood(const Variable& variable, std::string_view list) {
    std::vector<double> likelihood;
    std::string_view rest = list.substr(1, list.size() - 2);
    while (true) {
        const auto comma = rest.find(',');
        likelihood.push_back(parseLikelihoodValue(variable, rest.substr(0, comma)));
        if (comma == std::string_view::npos) break;
        rest.remove_prefix(comma + 1);
    }
    return likelihood;
}

int variableForEvidence(const Network& network, std::string_view name, const Evidence& evidence) {
    const auto v = network.indexOf(std::string(name));
    if (!v) throw EvidenceError("unknown node " + quoted(name));
    if (evidence.hard.count(*v) || evidence.likelihood.count(*v))
        throw EvidenceError("evidence on " + quoted(name) + " is given twice");
    return *v;
}

}  // namespace

void addHardEvidence(const Network& network, std::string_view name, std::string_view state, Evidence& evidence) {
    const int v = variableForEvidence(network, name, evidence);
    const Variable& variable = network.variables[v];
    const auto index = variable.stateIndex(std::string(state));
    if (!index)
        throw EvidenceError("unknown state " + quoted(state) + " of " + quoted(name) +
                            "; valid states: " + listOfStates(variable));
    evidence.hard.emplace(v, *index);
    evidence.givenOrder.push_back(v);
}

void addLikelihoodEvidence(const Network& network, std::string_view name, std::vector<double> likelihood,
                           Evidence& evidence) {
    const int v = variableForEvidence(network, name, evidence);
    checkLikelihood(network.variables[v], likelihood);
    evidence.likelihood.emplace(v, std::move(likelihood));
    evidence.givenOrder.push_back(v);
}

void addEvidenceAssignment(const Network& network, std::string_view text, Evidence& evidence) {
    const auto equals = text.find('=');
    if (equals == std::string_view::npos)
        throw EvidenceError("evidence " + quoted(trimmed(text)) + " is not of the form NODE=STATE or NODE=[l1,l2,...]");
    const std::string_view name = trimmed(text.substr(0, equals));
    const std::string_view value = trimmed(text.substr(equals + 1));
    if (value.empty() || value.front() != '[') return addHardEvidence(network, name, value, evidence);

    const int v = variableForEvidence(network, name, evidence);
    if (value.back() != ']') throw EvidenceError("likelihood of " + quoted(name) + " lacks its closing ']'");
    addLikelihoodEvidence(network, name, parseLikelihood(network.variables[v], value), evidence);
}

Evidence readEvidenceFile(const Network& network, const std::string& path) {
    std::string text;
    try {
        text = readTextFile(path);
    } catch (const ParseError& error) {
        throw EvidenceError(error.what());
    }
    return readEvidenceText(network, text, path);
}

Evidence readEvidenceText(const Network& network, std::string_view text, const std::string& path) {
    if (path.ends_with(".evid")) return readUaiEvidence(network, text, path);
    Evidence evidence;
    for (int number = 1; !text.empty(); ++number) {
        const auto newline = text.find('\n');
        const std::string_view line = text.substr(0, newline);
        text.remove_prefix(newline == std::string_view::npos ? text.size() : newline + 1);
        const std::string_view content = trimmed(line.substr(0, line.find('#')));
        if (content.empty()) continue;
        try {
            addEvidenceAssignment(network, content, evidence);
        } catch (const EvidenceError& error) {
            throw EvidenceError(path + ":" + std::to_string(number) + ": " + error.what());
        }
    }
    return evidence;
}

}  // namespace samplenet
