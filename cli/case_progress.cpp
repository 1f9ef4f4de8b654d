#include "cli/case_progress.h"

#include "cli/case_file.h"
#include "cli/progress_bar.h"

namespace samplenet_cli {

namespace {

constexpr std::chrono::milliseconds kRedrawEvery{100};

}  // namespace

CaseProgress::CaseProgress(const std::string& casesPath) : draw_(samplenet::terminalProgressBar()) {
    if (draw_) total_ = static_cast<long>(CaseReader::countRows(casesPath));
}

void CaseProgress::update(std::size_t casesDone) {
    if (!draw_) return;
    const auto now = std::chrono::steady_clock::now();
    if (now - lastDrawn_ < kRedrawEvery) return;
    lastDrawn_ = now;
    drawn_ = true;
    draw_({static_cast<long>(casesDone), total_, std::chrono::duration<double>(now - start_).count(), false});
}

void CaseProgress::finish() {
    if (drawn_) draw_({0, total_, 0.0, true});
    drawn_ = false;
}

}  // namespace samplenet_cli
