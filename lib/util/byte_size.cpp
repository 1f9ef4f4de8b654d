#include "lib/util/byte_size.h"

#include <fmt/format.h>

#include <iterator>

namespace samplenet {

std::string describeBytes(std::size_t bytes) {
    static const char* const units[] = {"bytes", "KiB", "MiB", "GiB", "TiB", "PiB", "EiB"};
    double value = static_cast<double>(bytes);
    std::size_t unit = 0;
    while (value >= 1024.0 && unit + 1 < std::size(units)) {
        value /= 1024.0;
        ++unit;
    }
    std::string number = fmt::format("{:.1f}", value);
    if (number.ends_with(".0")) number.resize(number.size() - 2);
    return number + " " + units[unit];
}

}  // namespace samplenet
