#pragma once

#include <chrono>
#include <cstddef>
#include <string>

#include "lib/inference/run_clock.h"

namespace samplenet_cli {

// A batch's progress bar on a terminal: cases written out of the case
// file's rows, redrawn at most ten times a second. Nothing when standard
// error is not a terminal (the rows are then not even counted).
class CaseProgress {
public:
    explicit CaseProgress(const std::string& casesPath);
    void update(std::size_t casesDone);
    // Clears the bar, if one was drawn.
    void finish();

private:
    samplenet::ProgressCallback draw_;
    long total_ = 0;
    bool drawn_ = false;
    std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
    std::chrono::steady_clock::time_point lastDrawn_ = start_;
};

}  // namespace samplenet_cli
