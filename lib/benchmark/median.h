#pragma once

#include <algorithm>
#include <vector>

namespace samplenet {

// The middle value (the mean of the two middle ones for an even count), 0
// for none.
inline double median(std::vector<double> values) {
    if (values.empty()) return 0.0;
    std::sort(values.begin(), values.end());
    const std::size_t mid = values.size() / 2;
    return values.size() % 2 == 1 ? values[mid] : (values[mid - 1] + values[mid]) / 2.0;
}

}  // namespace samplenet
