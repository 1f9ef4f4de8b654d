// What every report of infer carries besides the posteriors: P(evidence)
// and an explanation's probabilities in CSV as in JSON, and the evidence in
// the order the user gave it.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <nlohmann/json.hpp>

#include "tests/cli/run_samplenet.h"

namespace {

using cli_testing::dataFile;
using cli_testing::runSamplenet;
using cli_testing::runSamplenetJson;
using cli_testing::runSamplenetOut;

// The CSV's rows as cells, header first (none of these cells is quoted).
std::vector<std::vector<std::string>> csvRows(const std::string& text) {
    std::vector<std::vector<std::string>> rows;
    for (const std::string& line : cli_testing::split(text)) rows.push_back(cli_testing::split(line, ','));
    return rows;
}

// The one value of `column` on every row of a CSV, which must be the same
// on each.
double constantColumn(const std::string& text, const std::string& column) {
    const auto rows = csvRows(text);
    const auto at = std::find(rows.at(0).begin(), rows.at(0).end(), column);
    EXPECT_NE(at, rows[0].end()) << column << " missing from " << text;
    if (at == rows[0].end()) return NAN;
    const std::size_t c = at - rows[0].begin();
    for (std::size_t r = 2; r < rows.size(); ++r) EXPECT_EQ(rows[r].at(c), rows[1].at(c)) << "row " << r;
    return std::stod(rows.at(1).at(c));
}

std::vector<std::string> withFormat(const std::vector<std::string>& arguments, const std::string& format) {
    return cli_testing::with(arguments, {"--format", format});
}

TEST(ReportEcho, CsvCarriesTheLogProbabilitiesThatJsonGives) {
    const std::string smoker = dataFile("smoker.bif");
    for (const std::string algorithm : {"exact", "epis"}) {
        const std::vector<std::string> arguments{"infer", smoker, "-e", "Cough=yes", "-a", algorithm,
                                                 "-n", "2000", "--seed", "3"};
        const std::string csv = runSamplenetOut(withFormat(arguments, "csv"));
        const double json = runSamplenetJson(withFormat(arguments, "json")).at("ln_probability_of_evidence");
        EXPECT_EQ(constantColumn(csv, "ln_probability_of_evidence"), json) << algorithm;
        // P(Cough = yes) = 0.3 * 0.8 + 0.7 * 0.1.
        EXPECT_NEAR(json, std::log(0.31), algorithm == "exact" ? 1e-12 : 0.05) << algorithm;

        // An explanation's P(x, e) and P(x | e).
        const std::vector<std::string> explained = cli_testing::with(arguments, {"--mpe"});
        const std::string explanationCsv = runSamplenetOut(withFormat(explained, "csv"));
        const auto explanation = runSamplenetJson(withFormat(explained, "json"));
        EXPECT_EQ(csvRows(explanationCsv).at(0), (std::vector<std::string>{"node", "state", "observed",
                                                                           "ln_joint_probability",
                                                                           "ln_posterior_probability"}));
        EXPECT_EQ(csvRows(explanationCsv).size(), 4u);
        for (const char* column : {"ln_joint_probability", "ln_posterior_probability"})
            EXPECT_EQ(constantColumn(explanationCsv, column), explanation.at(column).get<double>()) << column;
        // Smoker = yes, Cough = yes, Lungs = healthy: 0.3 * 0.8 * 0.6.
        EXPECT_NEAR(explanation.at("ln_joint_probability").get<double>(), std::log(0.144), 1e-12) << algorithm;
    }
    // Loopy propagation estimates no P(evidence): no column rather than an empty one.
    const auto lbp = runSamplenet({"infer", smoker, "-e", "Cough=yes", "-a", "lbp", "--format", "csv"});
    EXPECT_EQ(lbp.out.substr(0, lbp.out.find('\n')), "node,state,probability");
}

TEST(ReportEcho, EvidenceComesBackInTheOrderGiven) {
    const std::string smoker = dataFile("smoker.bif");
    // Likelihood evidence first, on a node after the hard one: neither the
    // kind nor the node's place reorders them.
    const std::vector<std::string> arguments{"infer", smoker, "-e", "Lungs=[0.5,1]", "-e", "Cough=yes",
                                             "-a", "exact"};
    const std::string table = runSamplenetOut(arguments);
    EXPECT_NE(table.find("# evidence: Lungs=[0.5,1], Cough=yes\n"), std::string::npos) << table;

    // Parsed keeping the order of the keys, which plain nlohmann::json sorts.
    const auto evidenceKeys = [](const std::vector<std::string>& arguments) {
        const auto json = nlohmann::ordered_json::parse(runSamplenetOut(arguments));
        std::vector<std::string> keys;
        for (const auto& [key, value] : json.at("evidence").items()) keys.push_back(key);
        return keys;
    };
    EXPECT_EQ(evidenceKeys(withFormat(arguments, "json")), (std::vector<std::string>{"Lungs", "Cough"}));

    const auto html = runSamplenet(withFormat(arguments, "html"));
    EXPECT_NE(html.out.find("evidence: Lungs=[0.5,1], Cough=yes<"), std::string::npos);

    // An explanation's JSON, and evidence from a file then -e, in that order.
    const std::string file = cli_testing::scratchFile("ordered.evidence", "Lungs=healthy\nCough=no\n");
    EXPECT_EQ(evidenceKeys({"infer", smoker, "--evidence-file", file, "-e", "Smoker=no", "--mpe", "--format", "json"}),
              (std::vector<std::string>{"Lungs", "Cough", "Smoker"}));
}

}  // namespace
