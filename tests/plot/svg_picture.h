#pragma once

#include <map>
#include <string>
#include <vector>

namespace plot_testing {

// One state row of a drawn node: its bar's filled and whole length and
// its shaded interval, in points, and the numbers printed beside it.
struct DrawnState {
    double filled = 0.0;
    double length = 0.0;
    double interval = 0.0;
    std::string number;
    std::string intervalText;  // empty where no interval is printed
};

// The colours a bar is drawn in: the filled part's, and the interval's
// shade below the estimate, one per node style.
struct BarColours {
    std::vector<std::string> filled;
    std::vector<std::string> intervalBelow;
};

struct DrawnNode {
    std::vector<std::string> classes;
    std::vector<std::string> texts;              // every text, in drawing order
    std::map<std::string, DrawnState> states;    // by state name
};

// The nodes of a Graphviz SVG picture, by title (the node's name). Fails the
// calling test when the SVG does not parse.
std::map<std::string, DrawnNode> readSvgPicture(const std::string& svg, const BarColours& colours);

bool hasClass(const DrawnNode& node, const std::string& cssClass);

}  // namespace plot_testing
