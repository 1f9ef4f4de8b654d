#pragma once

#include <map>
#include <string>
#include <vector>

namespace plot_testing {

// One state row of a drawn node: its bar's filled and whole length, in
// points, and the number printed beside it.
struct DrawnState {
    double filled = 0.0;
    double length = 0.0;
    std::string number;
};

struct DrawnNode {
    std::vector<std::string> classes;
    std::vector<std::string> texts;              // every text, in drawing order
    std::map<std::string, DrawnState> states;    // by state name
};

// The nodes of a Graphviz SVG picture, by title (the node's name). Fails the
// calling test when the SVG does not parse.
std::map<std::string, DrawnNode> readSvgPicture(const std::string& svg, const std::vector<std::string>& barColours);

bool hasClass(const DrawnNode& node, const std::string& cssClass);

}  // namespace plot_testing
