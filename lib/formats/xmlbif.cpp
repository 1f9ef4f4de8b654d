#include "lib/formats/xmlbif.h"

#include <pugixml.hpp>

#include <algorithm>
#include <iterator>
#include <sstream>

#include "lib/formats/network_builder.h"
#include "lib/formats/network_text.h"
#include "lib/formats/number_text.h"
#include "lib/formats/text_util.h"

namespace samplenet {
namespace {

class XmlBifReader {
public:
    XmlBifReader(std::string_view text, const std::string& path, const ReadLimits& limits)
        : text_(text), builder_(path, limits) {
        for (std::size_t i = 0; i < text.size(); ++i)
            if (text[i] == '\n') lineEnds_.push_back(static_cast<std::ptrdiff_t>(i));
    }

    Network read() {
        pugi::xml_document document;
        const auto result = document.load_buffer(text_.data(), text_.size());
        if (!result) builder_.fail(lineAt(result.offset), "well-formed XML", result.description());
        const pugi::xml_node network = document.child("BIF").child("NETWORK");
        if (!network) {
            const pugi::xml_node root = document.document_element();
            builder_.fail(lineOf(root), "<BIF> with a <NETWORK>", root ? concat({"<", root.name(), ">"}) : "no element");
        }
        builder_.network().name = network.child_value("NAME");
        readProperties(network, builder_.network().properties);
        for (const pugi::xml_node variable : network.children("VARIABLE")) readVariable(variable);
        for (const pugi::xml_node definition : network.children("DEFINITION")) readDefinition(definition);
        return builder_.finish(lineAt(static_cast<std::ptrdiff_t>(text_.size())));
    }

private:
    int lineAt(std::ptrdiff_t offset) const {
        return 1 + static_cast<int>(std::lower_bound(lineEnds_.begin(), lineEnds_.end(), offset) - lineEnds_.begin());
    }
    int lineOf(const pugi::xml_node node) const { return lineAt(node ? node.offset_debug() : 0); }

    // The text of a required child element.
    std::string childText(const pugi::xml_node parent, const char* name) const {
        const pugi::xml_node child = parent.child(name);
        if (!child) builder_.fail(lineOf(parent), "<" + std::string(name) + "> in <" + parent.name() + ">", "none");
        return std::string(trimmed(child.text().get()));
    }

    static void readProperties(const pugi::xml_node parent, std::vector<std::string>& properties) {
        for (const pugi::xml_node property : parent.children("PROPERTY")) properties.emplace_back(trimmed(property.text().get()));
    }

    void readVariable(const pugi::xml_node element) {
        const std::string type = element.attribute("TYPE").as_string("nature");
        if (type != "nature") builder_.fail(lineOf(element), "TYPE=\"nature\"", quoted(type));
        Variable& variable = builder_.addVariable(childText(element, "NAME"), lineOf(element));
        const auto outcomes = element.children("OUTCOME");
        builder_.checkStateCount(variable.name, static_cast<std::size_t>(std::distance(outcomes.begin(), outcomes.end())),
                                 lineOf(element));
        for (const pugi::xml_node outcome : outcomes) variable.states.emplace_back(trimmed(outcome.text().get()));
        readProperties(element, variable.properties);
    }

    void readDefinition(const pugi::xml_node element) {
        const int line = lineOf(element);
        const int child = builder_.variableIndex(childText(element, "FOR"), line);
        std::vector<int> parents;
        for (const pugi::xml_node given : element.children("GIVEN"))
            parents.push_back(builder_.variableIndex(trimmed(given.text().get()), lineOf(given)));
        const std::size_t size = builder_.checkParents(child, parents, line);
        const std::string text = childText(element, "TABLE");
        const int tableLine = lineOf(element.child("TABLE"));
        std::vector<double> table;
        table.reserve(size);
        for (std::size_t end = 0, start = text.find_first_not_of(kBlank); start != std::string::npos;
             start = text.find_first_not_of(kBlank, end)) {
            end = std::min(text.find_first_of(kBlank, start), text.size());
            const std::string_view word(text.data() + start, end - start);
            double value = 0.0;
            if (const auto problem = parseProbability(word, value)) builder_.fail(tableLine, *problem, quoted(word));
            table.push_back(value);
        }
        if (table.size() != size)
            builder_.fail(tableLine, std::to_string(size) + " table entries", std::to_string(table.size()));
        builder_.define(child, std::move(parents), std::move(table), line);
    }

    static constexpr const char* kBlank = " \t\r\n";

    std::string_view text_;
    std::vector<std::ptrdiff_t> lineEnds_;  // offsets of the '\n's, for error lines
    NetworkBuilder builder_;
};

void addProperties(pugi::xml_node parent, const std::vector<std::string>& properties) {
    for (const std::string& property : properties) parent.append_child("PROPERTY").text() = property.c_str();
}

}  // namespace

Network readXmlBif(std::string_view text, const std::string& path, const ReadLimits& limits) {
    return XmlBifReader(networkText(text, path), path, limits).read();
}

std::string writeXmlBif(const Network& network) {
    pugi::xml_document document;
    auto declaration = document.append_child(pugi::node_declaration);
    declaration.append_attribute("version") = "1.0";
    auto bif = document.append_child("BIF");
    bif.append_attribute("VERSION") = "0.3";
    auto root = bif.append_child("NETWORK");
    root.append_child("NAME").text() = network.name.c_str();
    addProperties(root, network.properties);
    for (const Variable& variable : network.variables) {
        auto element = root.append_child("VARIABLE");
        element.append_attribute("TYPE") = "nature";
        element.append_child("NAME").text() = variable.name.c_str();
        for (const std::string& state : variable.states) element.append_child("OUTCOME").text() = state.c_str();
        addProperties(element, variable.properties);
    }
    for (const Variable& variable : network.variables) {
        auto element = root.append_child("DEFINITION");
        element.append_child("FOR").text() = variable.name.c_str();
        for (int parent : variable.parents) element.append_child("GIVEN").text() = network.variables[parent].name.c_str();
        std::string table;
        for (double value : variable.table) {
            if (!table.empty()) table += ' ';
            appendNumber(table, value);
        }
        element.append_child("TABLE").text() = table.c_str();
    }
    std::ostringstream out;
    document.save(out, "  ");
    return out.str();
}

}  // namespace samplenet
