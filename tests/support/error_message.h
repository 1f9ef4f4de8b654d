#pragma once

#include <string>

namespace testing_support {

// What the E that `action` throws says, or "(no error)" when it throws none.
template <typename E, typename Action>
std::string messageOf(Action&& action) {
    try {
        action();
    } catch (const E& error) {
        return error.what();
    }
    return "(no error)";
}

}  // namespace testing_support
