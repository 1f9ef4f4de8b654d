#include "cli/html_report.h"

#include <fmt/format.h>

#include <algorithm>
#include <stdexcept>

#include "lib/inference/answer_reliability.h"
#include "lib/plot/graphviz_render.h"
#include "lib/plot/html_text.h"
#include "lib/plot/posterior_picture.h"

namespace samplenet_cli {

namespace {

using samplenet::htmlEscaped;

constexpr const char* kStyle = R"(
body { font-family: Helvetica, Arial, sans-serif; margin: 2em; color: #222; }
h1 { font-size: 1.3em; }
p.run { color: #555; margin: 0.2em 0; }
p.warning { color: #8a1c00; background: #fff1e6; border-left: 4px solid #d9480f; padding: 0.4em 0.8em; }
figure { margin: 1.5em 0; overflow-x: auto; }
table { border-collapse: collapse; font-size: 0.9em; }
th, td { padding: 0.25em 0.8em; border-bottom: 1px solid #ddd; text-align: left; }
th { cursor: pointer; user-select: none; background: #f3f3f3; }
th[data-order=ascending]::after { content: " \25B2"; }
th[data-order=descending]::after { content: " \25BC"; }
td.number { text-align: right; font-variant-numeric: tabular-nums; }
span.track { display: inline-block; position: relative; width: 100px; height: 0.7em; background: #e6e6e6; margin-right: 0.6em; }
span.bar { display: block; height: 100%; background: #4f81bd; }
span.interval { position: absolute; top: 0; height: 100%; background: rgba(0, 0, 0, 0.3); }
tr.observed td { background: #fde2c4; }
tr.likelihood td { background: #fff5cc; }
)";

// Clicking a heading sorts the rows by that column, again reverses them.
constexpr const char* kSortScript = R"(
const table = document.getElementById('posteriors');
const headings = [...table.tHead.rows[0].cells];
headings.forEach((heading, column) => heading.addEventListener('click', () => {
  const ascending = heading.dataset.order !== 'ascending';
  headings.forEach(other => delete other.dataset.order);
  heading.dataset.order = ascending ? 'ascending' : 'descending';
  const numeric = heading.dataset.type === 'number';
  const key = row => row.cells[column].dataset.value ?? row.cells[column].textContent;
  const rows = [...table.tBodies[0].rows].sort((a, b) => {
    const order = numeric ? key(a) - key(b) : key(a).localeCompare(key(b));
    return ascending ? order : -order;
  });
  table.tBodies[0].append(...rows);
}));
table.dataset.sortable = 'ready';
)";

std::string pictureSection(const PosteriorReport& report) {
    const bool wholeNetwork = static_cast<int>(report.variables.size()) == report.network.size();
    samplenet::PictureSelection nodes;
    try {
        nodes = samplenet::selectPictureNodes(report.network, wholeNetwork ? std::vector<int>{} : report.variables);
    } catch (const std::invalid_argument& tooLarge) {
        return fmt::format("<p class=\"run\">The picture is left out: {}.</p>\n", htmlEscaped(tooLarge.what()));
    }
    const samplenet::PosteriorPicture picture{report.network, report.evidence, report.result, nodes, ""};
    const std::string svg = samplenet::renderDot(samplenet::posteriorDot(picture), samplenet::PictureFormat::Svg);
    // The XML prolog and doctype are not allowed inside an HTML body.
    const auto start = svg.find("<svg");
    return "<figure>\n" + (start == std::string::npos ? svg : svg.substr(start)) + "</figure>\n";
}

std::string evidenceClass(const PosteriorReport& report, int v) {
    if (report.evidence.hard.count(v)) return "observed";
    if (report.evidence.likelihood.count(v)) return "likelihood";
    return "";
}

// A sampler's 95% interval, shaded over the bar's track.
std::string intervalBand(const PosteriorReport& report, int v, int s) {
    if (report.result.standardErrors.empty()) return "";
    const double p = report.result.posteriors[v][s];
    const double half = 1.96 * report.result.standardErrors[v][s];
    const double low = std::max(0.0, p - half);
    const double high = std::min(1.0, p + half);
    return fmt::format("<span class=\"interval\" style=\"left:{:.1f}%;width:{:.1f}%\"></span>", 100.0 * low,
                       100.0 * (high - low));
}

// A sampler's standard error, as a cell of its own.
std::string errorCell(const PosteriorReport& report, int v, int s) {
    if (report.result.standardErrors.empty()) return "";
    const double error = report.result.standardErrors[v][s];
    return fmt::format("<td class=\"number\" data-value=\"{}\">{:.6f}</td>", error, error);
}

std::string tableSection(const PosteriorReport& report) {
    std::string rows;
    for (int v : report.variables) {
        const auto& variable = report.network.variables[v];
        const std::string mark = evidenceClass(report, v);
        for (int s = 0; s < variable.stateCount(); ++s) {
            const double p = report.result.posteriors[v][s];
            rows += fmt::format(
                "<tr class=\"{}\"><td>{}</td><td>{}</td><td class=\"number\" data-value=\"{}\">"
                "<span class=\"track\"><span class=\"bar\" style=\"width:{:.1f}%\"></span>{}</span>{:.6f}</td>"
                "{}<td>{}</td></tr>\n",
                mark, htmlEscaped(variable.name), htmlEscaped(variable.states[s]), p, 100.0 * p,
                intervalBand(report, v, s), p, errorCell(report, v, s), mark);
        }
    }
    const std::string errorHeading =
        report.result.standardErrors.empty() ? "" : "<th data-type=\"number\">Std. error</th>";
    return "<table id=\"posteriors\">\n<thead><tr><th>Node</th><th>State</th>"
           "<th data-type=\"number\">Probability</th>" +
           errorHeading + "<th>Evidence</th></tr></thead>\n<tbody>\n" + rows + "</tbody>\n</table>\n";
}

}  // namespace

std::string htmlReport(const PosteriorReport& report) {
    std::string page = "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n";
    page += fmt::format("<title>samplenet: {}</title>\n<style>{}</style>\n</head>\n<body>\n",
                        htmlEscaped(report.source), kStyle);
    page += fmt::format("<h1>{}</h1>\n", htmlEscaped(report.source));
    page += fmt::format("<p class=\"run\">{}, {:.3f} s</p>\n",
                        htmlEscaped(runDescription(report.options, report.result)), report.result.seconds);
    page += fmt::format("<p class=\"run\">evidence: {}</p>\n",
                        htmlEscaped(evidenceDescription(report.network, report.evidence)));
    if (!report.interventions.empty())
        page += fmt::format("<p class=\"run\">interventions: {}</p>\n",
                            htmlEscaped(samplenet::interventionDescription(report.network, report.interventions)));
    if (!report.result.choice.empty())
        page += fmt::format("<p class=\"run\">chosen: {}</p>\n", htmlEscaped(report.result.choice));
    if (report.result.sampling)
        page += fmt::format("<p class=\"run\">error: {}</p>\n", htmlEscaped(errorDescription(report.result)));
    if (const auto reliability = samplenet::judgeReliability(report.result); !reliability.reliable)
        page += fmt::format("<p class=\"warning\">{}</p>\n", htmlEscaped(reliability.warning));
    page += pictureSection(report);
    page += tableSection(report);
    page += fmt::format("<script>{}</script>\n</body>\n</html>\n", kSortScript);
    return page;
}

}  // namespace samplenet_cli
