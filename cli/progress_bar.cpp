#include "cli/progress_bar.h"

#include <unistd.h>

#include <cstdio>
#include <string>

namespace samplenet {

ProgressCallback terminalProgressBar() {
    if (!isatty(STDERR_FILENO)) return {};
    return [](const Progress& progress) {
        if (progress.finished) {
            std::fputs("\r\033[K", stderr);  // leave the line clean for the results
            return;
        }
        constexpr int kWidth = 40;
        const double fraction =
            progress.samplesTotal > 0 ? static_cast<double>(progress.samplesDone) / progress.samplesTotal : 0.0;
        const int filled = static_cast<int>(fraction * kWidth);
        const std::string bar = std::string(filled, '#') + std::string(kWidth - filled, '.');
        std::fprintf(stderr, "\r[%s] %3d%%  %.1fs", bar.c_str(), static_cast<int>(fraction * 100), progress.seconds);
        std::fflush(stderr);
    };
}

}  // namespace samplenet
