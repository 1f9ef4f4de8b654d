#include "lib/plot/posterior_picture.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <set>

#include "lib/plot/html_text.h"

namespace samplenet {

namespace {

// Bars are this many points long at probability one, so that one point is
// one hundredth.
constexpr int kBarLength = 100;
constexpr int kBarHeight = 9;

// Sampled posteriors carry their 95% interval as a band around the bar's
// end: a paler bar colour below the estimate, a darker grey above it.
constexpr double kIntervalWidthInErrors = 1.96;

struct NodeStyle {
    const char* cssClass;
    const char* fill;
    const char* border;
    const char* bar;
    const char* barInterval;
};

constexpr NodeStyle kPlain{"", "white", "#555555", "#4f81bd", "#a7c0de"};
constexpr NodeStyle kObserved{"observed", "#fde2c4", "#c0504d", "#c0504d", "#e0a8a6"};
constexpr NodeStyle kLikelihood{"likelihood", "#fff5cc", "#b8860b", "#d4a017", "#e9d08b"};
constexpr const char* kBarBackground = "#e6e6e6";
constexpr const char* kBackgroundInterval = "#c4c4c4";
constexpr const char* kContextBorder = "#999999";

// A double-quoted DOT identifier or string.
std::string quoted(const std::string& text) {
    std::string result = "\"";
    for (char c : text) {
        if (c == '"' || c == '\\') result += '\\';
        result += c;
    }
    return result + "\"";
}

int barPoints(double probability) {
    return static_cast<int>(std::lround(std::clamp(probability, 0.0, 1.0) * kBarLength));
}

// The bar of one state: filled to the estimate, with its interval (when
// it has one) shaded around that end.
std::string barCell(double probability, double halfInterval, const NodeStyle& style) {
    const int low = barPoints(probability - halfInterval);
    const int filled = barPoints(probability);
    const int high = barPoints(probability + halfInterval);
    std::string cells;
    // Graphviz has no zero-width cell, so an empty part is left out.
    const auto part = [&cells](int width, const char* colour) {
        if (width > 0)
            cells += fmt::format(R"(<TD WIDTH="{}" HEIGHT="{}" FIXEDSIZE="TRUE" BGCOLOR="{}"></TD>)", width,
                                 kBarHeight, colour);
    };
    part(low, style.bar);
    part(filled - low, style.barInterval);
    part(high - filled, kBackgroundInterval);
    part(kBarLength - high, kBarBackground);
    return fmt::format(R"(<TD><TABLE BORDER="0" CELLSPACING="0" CELLPADDING="0"><TR>{}</TR></TABLE></TD>)", cells);
}

// Observed and impossible states are known exactly: their cell stays empty.
std::string intervalCell(double halfInterval) {
    if (halfInterval <= 0.0) return "<TD></TD>";
    return fmt::format(R"(<TD ALIGN="LEFT"><FONT COLOR="#777777">{}</FONT></TD>)",
                       htmlEscaped(pictureIntervalText(halfInterval)));
}

std::string likelihoodText(const std::vector<double>& likelihood) {
    return fmt::format("likelihood [{}]", fmt::join(likelihood, ", "));
}

// The page's variant: an empty bar for it to fill, and every cell a link it
// can find by id.
std::string linkedLabel(const PosteriorPicture& picture, int v) {
    const Variable& variable = picture.network.variables[v];
    const std::string name = htmlEscaped(variable.name);
    std::string rows = fmt::format(R"(<TR><TD COLSPAN="3" ID="h{}" HREF="#" TOOLTIP="{}: evidence menu"><B>{}</B></TD></TR>)",
                                   v, name, name);
    for (int s = 0; s < variable.stateCount(); ++s) {
        const std::string link =
            fmt::format(R"(HREF="#" TOOLTIP="{} = {}")", name, htmlEscaped(variable.states[s]));
        rows += fmt::format(
            R"(<TR><TD ID="s{0}_{1}n" {2} ALIGN="LEFT">{3}</TD><TD ID="s{0}_{1}b" {2}><TABLE BORDER="0" CELLSPACING="0" )"
            R"(CELLPADDING="0"><TR><TD WIDTH="{4}" HEIGHT="{5}" FIXEDSIZE="TRUE" BGCOLOR="{6}"></TD></TR></TABLE></TD>)"
            R"(<TD ID="s{0}_{1}p" {2} ALIGN="RIGHT">0.000</TD></TR>)",
            v, s, link, htmlEscaped(variable.states[s]), kBarLength, kBarHeight, kBarBackground);
    }
    return fmt::format(
        R"(<<TABLE BORDER="1" CELLBORDER="0" CELLSPACING="0" CELLPADDING="2" BGCOLOR="{}" COLOR="{}">{}</TABLE>>)",
        kPlain.fill, kPlain.border, rows);
}

std::string detailedLabel(const PosteriorPicture& picture, int v, const NodeStyle& style) {
    if (picture.linked) return linkedLabel(picture, v);
    const Variable& variable = picture.network.variables[v];
    std::string header = "<B>" + htmlEscaped(variable.name) + "</B>";
    if (const auto hard = picture.evidence.hard.find(v); hard != picture.evidence.hard.end())
        header += " = " + htmlEscaped(variable.states[hard->second]);
    const bool sampled = !picture.result.standardErrors.empty();
    const int columns = sampled ? 4 : 3;
    std::string rows = fmt::format(R"(<TR><TD COLSPAN="{}">{}</TD></TR>)", columns, header);
    if (const auto soft = picture.evidence.likelihood.find(v); soft != picture.evidence.likelihood.end())
        rows += fmt::format(R"(<TR><TD COLSPAN="{}"><I>{}</I></TD></TR>)", columns,
                            htmlEscaped(likelihoodText(soft->second)));
    const std::vector<double>& posterior = picture.result.posteriors[v];
    for (int s = 0; s < variable.stateCount(); ++s) {
        const double halfInterval = sampled ? kIntervalWidthInErrors * picture.result.standardErrors[v][s] : 0.0;
        rows += fmt::format(R"(<TR><TD ALIGN="LEFT">{}</TD>{}<TD ALIGN="RIGHT">{}</TD>{}</TR>)",
                            htmlEscaped(variable.states[s]), barCell(posterior[s], halfInterval, style),
                            htmlEscaped(pictureProbabilityText(posterior[s])),
                            sampled ? intervalCell(halfInterval) : "");
    }
    return fmt::format(
        R"(<<TABLE BORDER="1" CELLBORDER="0" CELLSPACING="0" CELLPADDING="2" BGCOLOR="{}" COLOR="{}">{}</TABLE>>)",
        style.fill, style.border, rows);
}

// The node's name, so that the drawing's titles and tooltips name it.
std::string nodeId(const PosteriorPicture& picture, int v) { return quoted(picture.network.variables[v].name); }

const NodeStyle& styleOf(const PosteriorPicture& picture, int v) {
    if (picture.evidence.hard.count(v)) return kObserved;
    if (picture.evidence.likelihood.count(v)) return kLikelihood;
    return kPlain;
}

// A neighbour of the detailed nodes: its name (and observed state) only.
std::string contextNode(const PosteriorPicture& picture, int v) {
    const NodeStyle& style = styleOf(picture, v);
    const bool plain = &style == &kPlain;
    const Variable& variable = picture.network.variables[v];
    std::string label = variable.name;
    if (const auto hard = picture.evidence.hard.find(v); hard != picture.evidence.hard.end())
        label += " = " + variable.states[hard->second];
    return fmt::format(
        "  {} [class={} shape=box style=\"rounded,dashed,filled\" fillcolor=\"{}\" color=\"{}\" "
        "fontcolor=\"#555555\" margin=\"0.08,0.02\" label={}];\n",
        nodeId(picture, v), quoted(plain ? "context" : std::string("context ") + style.cssClass), style.fill,
        plain ? kContextBorder : style.border, quoted(label));
}

}  // namespace

std::string pictureProbabilityText(double probability) {
    if (probability > 0.0 && probability < 0.0005) return "<0.001";
    return fmt::format("{:.3f}", probability);
}

std::string pictureIntervalText(double halfInterval) {
    if (halfInterval > 0.0 && halfInterval < 0.0005) return "\u00b1<0.001";
    return fmt::format("\u00b1{:.3f}", halfInterval);
}

std::string posteriorDot(const PosteriorPicture& picture) {
    std::string dot = "digraph posteriors {\n";
    dot += "  graph [rankdir=TB nodesep=0.3 ranksep=0.45 fontname=\"Helvetica\" fontsize=12";
    std::vector<std::string> caption;
    if (!picture.caption.empty()) caption.push_back(picture.caption);
    if (!picture.result.standardErrors.empty())
        caption.push_back("shaded: 95% intervals (\u00b11.96 standard errors)");
    for (std::string& line : caption) line = htmlEscaped(line);
    if (!caption.empty()) dot += fmt::format(" labelloc=t label=<{}>", fmt::join(caption, "<BR/>"));
    dot += "];\n";
    dot += "  node [shape=plain fontname=\"Helvetica\" fontsize=10];\n";
    dot += "  edge [color=\"#777777\" arrowsize=0.7];\n";
    for (int v : picture.nodes.detailed) {
        const NodeStyle& style = styleOf(picture, v);
        const std::string cssClass = *style.cssClass ? fmt::format("class={}", quoted(style.cssClass)) : "";
        dot += fmt::format("  {} [{} label={}];\n", nodeId(picture, v), cssClass, detailedLabel(picture, v, style));
    }
    for (int v : picture.nodes.context) dot += contextNode(picture, v);
    std::set<int> drawn(picture.nodes.detailed.begin(), picture.nodes.detailed.end());
    drawn.insert(picture.nodes.context.begin(), picture.nodes.context.end());
    // The page finds each edge by its ends (id e{parent}_{child}), to draw
    // those into a node set from outside as cut.
    for (int child : drawn)
        for (int parent : picture.network.variables[child].parents) {
            if (!drawn.count(parent)) continue;
            dot += fmt::format("  {} -> {}", nodeId(picture, parent), nodeId(picture, child));
            dot += picture.linked ? fmt::format(" [id=\"e{}_{}\"];\n", parent, child) : ";\n";
        }
    return dot + "}\n";
}

}  // namespace samplenet
