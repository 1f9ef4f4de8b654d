#include "tests/plot/svg_picture.h"

#include <gtest/gtest.h>
#include <pugixml.hpp>

#include <algorithm>
#include <limits>
#include <sstream>

namespace plot_testing {

namespace {

double polygonWidth(const std::string& points) {
    std::istringstream in(points);
    std::string point;
    double low = std::numeric_limits<double>::infinity();
    double high = -low;
    while (in >> point) {
        const double x = std::stod(point.substr(0, point.find(',')));
        low = std::min(low, x);
        high = std::max(high, x);
    }
    return high - low;
}

std::vector<std::string> splitClasses(const std::string& text) {
    std::istringstream in(text);
    std::vector<std::string> classes;
    for (std::string word; in >> word;) classes.push_back(word);
    return classes;
}

bool among(const std::vector<std::string>& colours, const std::string& colour) {
    return std::find(colours.begin(), colours.end(), colour) != colours.end();
}

// A state row is drawn as its name, the bar's polygons, the number, and
// for sampled results the interval's text.
DrawnNode readNode(const pugi::xml_node& group, const BarColours& colours) {
    DrawnNode node;
    node.classes = splitClasses(group.attribute("class").value());
    std::string pendingState;
    std::string lastState;  // the row whose number was the last text
    DrawnState row;
    bool inBar = false;
    for (const pugi::xml_node& element : group.children()) {
        const std::string name = element.name();
        if (name == "text") {
            const std::string text = element.text().get();
            node.texts.push_back(text);
            if (!inBar && text.rfind("\u00b1", 0) == 0 && !lastState.empty()) {
                node.states[lastState].intervalText = text;
                continue;
            }
            lastState.clear();
            if (inBar) {
                row.number = text;
                node.states[pendingState] = row;
                lastState = pendingState;
                inBar = false;
            }
            pendingState = text;
        } else if (name == "polygon" && !pendingState.empty()) {
            const std::string fill = element.attribute("fill").value();
            const bool bar = among(colours.filled, fill);
            const bool belowEstimate = among(colours.intervalBelow, fill);
            const bool aboveEstimate = fill == "#c4c4c4";
            if (!bar && !belowEstimate && !aboveEstimate && fill != "#e6e6e6") continue;
            if (!inBar) row = DrawnState{};
            inBar = true;
            const double width = polygonWidth(element.attribute("points").value());
            row.length += width;
            if (bar || belowEstimate) row.filled += width;
            if (belowEstimate || aboveEstimate) row.interval += width;
        }
    }
    return node;
}

}  // namespace

std::map<std::string, DrawnNode> readSvgPicture(const std::string& svg, const BarColours& colours) {
    pugi::xml_document document;
    const pugi::xml_parse_result parsed = document.load_string(svg.c_str());
    EXPECT_TRUE(parsed) << parsed.description();
    std::map<std::string, DrawnNode> nodes;
    for (const pugi::xpath_node& found : document.select_nodes("//*[local-name()='g']")) {
        const pugi::xml_node group = found.node();
        const auto classes = splitClasses(group.attribute("class").value());
        if (std::find(classes.begin(), classes.end(), "node") == classes.end()) continue;
        nodes[group.child("title").text().get()] = readNode(group, colours);
    }
    return nodes;
}

bool hasClass(const DrawnNode& node, const std::string& cssClass) {
    return std::find(node.classes.begin(), node.classes.end(), cssClass) != node.classes.end();
}

}  // namespace plot_testing
