#pragma once

#include <string>
#include <vector>

namespace cli_testing {

struct Run {
    int exitCode = -1;
    std::string out;
    std::string err;
};

// Runs the built samplenet binary with `arguments` in `directory` (the
// current one when empty), with `environment` ("NAME=value ...", shell
// quoted as needed) added to its environment, and collects what it printed.
Run runSamplenet(const std::vector<std::string>& arguments, const std::string& directory = "",
                 const std::string& environment = "");

// The whole contents of a file.
std::string fileContents(const std::string& path);

// A test data file's path.
std::string dataFile(const std::string& name);

// A fresh path under the temporary directory, removed by nobody but the test.
std::string temporaryPath(const std::string& fileName);

}  // namespace cli_testing
