#include <gtest/gtest.h>

#include <cstdlib>

#include "tests/cli/run_samplenet.h"
#include "tests/support/scratch_folder.h"

namespace {

using cli_testing::dataFile;
using cli_testing::fileContents;
using cli_testing::runSamplenetOut;

// The page as a headless browser has it after loading and running its script.
std::string renderedPage(const std::string& page) {
    // The browser's own temporary files go in the folder too.
    const testing_support::ScratchFolder folder("browser");
    const std::string command = "TMPDIR=" + folder.path().string() + " " + std::string(CHROMIUM_BINARY) +
                                " --headless --no-sandbox --disable-gpu --disable-quic --no-first-run"
                                " --disable-background-networking --disable-component-update --disable-sync"
                                " --user-data-dir=" + folder.file("profile") + " --dump-dom file://" + page + " >" +
                                folder.file("dom.html") + " 2>/dev/null";
    EXPECT_EQ(std::system(command.c_str()), 0) << command;
    return fileContents(folder.file("dom.html"));
}

TEST(HtmlReport, OpensInABrowserWithThePictureAndARowPerState) {
    const std::string html =
        runSamplenetOut({"infer", dataFile("smoker.bif"), "-e", "Cough=yes", "-a", "exact", "--format", "html"});
    EXPECT_EQ(html.find("http"), html.find("http://www.w3.org")) << "the page must not load anything from the network";

    const std::string page = cli_testing::scratchFile("report.html", html);
    if (std::string(CHROMIUM_BINARY).empty()) GTEST_SKIP() << "no Chromium to open the page with";
    const std::string rendered = renderedPage(page);
    EXPECT_NE(rendered.find("data-sortable=\"ready\""), std::string::npos) << "the sorting script did not run";
    EXPECT_NE(rendered.find("<svg"), std::string::npos);
    for (const char* row : {"<td>Smoker</td><td>yes</td>", "<td>Smoker</td><td>no</td>", "<td>Cough</td><td>yes</td>",
                            "<td>Cough</td><td>no</td>", "<td>Lungs</td><td>damaged</td>",
                            "<td>Lungs</td><td>healthy</td>"})
        EXPECT_NE(rendered.find(row), std::string::npos) << row;
    EXPECT_NE(rendered.find("<tr class=\"observed\"><td>Cough</td>"), std::string::npos);
}

TEST(HtmlReport, LeavesOutAPictureTooLargeToReadButKeepsTheTable) {
    const std::string html = runSamplenetOut(
        {"infer", std::string(SAMPLENET_TEST_DATA) + "/networks/hepar2.bif.gz", "-a", "lbp", "--format", "html"});
    EXPECT_EQ(html.find("<svg"), std::string::npos);
    EXPECT_NE(html.find("The picture is left out"), std::string::npos);
    EXPECT_NE(html.find("<td>Cirrhosis</td>"), std::string::npos);
}

TEST(HtmlReport, ShowsASamplersErrors) {
    const std::string html = runSamplenetOut(
        {"infer", dataFile("smoker.bif"), "-e", "Cough=yes", "-a", "epis", "-n", "2000", "--format", "html"});
    EXPECT_NE(html.find("<th data-type=\"number\">Std. error</th>"), std::string::npos);
    EXPECT_NE(html.find("<p class=\"run\">error: largest standard error "), std::string::npos);
    EXPECT_NE(html.find("<span class=\"interval\" style=\"left:"), std::string::npos);
    EXPECT_NE(html.find("shaded: 95% intervals"), std::string::npos) << "the picture has no legend";
}

}  // namespace
