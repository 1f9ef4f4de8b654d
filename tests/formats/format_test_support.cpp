#include "tests/formats/format_test_support.h"

#include <gtest/gtest.h>

#include <fstream>

#include "lib/model/errors.h"

namespace samplenet::testing_formats {

void writeFile(const std::string& path, const std::string& contents) {
    std::ofstream(path, std::ios::binary) << contents;
}

std::string errorOf(const std::function<void()>& action) {
    try {
        action();
    } catch (const ParseError& error) {
        return error.what();
    } catch (const ModelError& error) {
        return error.what();
    } catch (const EvidenceError& error) {
        return error.what();
    }
    return "(no error)";
}

void expectErrors(const std::vector<ErrorCase>& cases, const std::function<void(const std::string&)>& read) {
    for (const ErrorCase& c : cases) {
        SCOPED_TRACE(c.text);
        EXPECT_EQ(errorOf([&] { read(c.text); }), c.message);
    }
}

void expectSameNetwork(const Network& expected, const Network& actual, bool compareNames) {
    ASSERT_EQ(expected.size(), actual.size());
    if (compareNames) {
        EXPECT_EQ(expected.name, actual.name);
        EXPECT_EQ(expected.properties, actual.properties);
    }
    for (int v = 0; v < expected.size(); ++v) {
        const Variable& want = expected.variables[v];
        const Variable& got = actual.variables[v];
        SCOPED_TRACE(want.name);
        if (compareNames) {
            EXPECT_EQ(want.name, got.name);
            EXPECT_EQ(want.states, got.states);
            EXPECT_EQ(want.properties, got.properties);
        }
        EXPECT_EQ(want.stateCount(), got.stateCount());
        EXPECT_EQ(want.parents, got.parents);
        EXPECT_EQ(want.table, got.table);  // exact: numbers are written to round-trip
    }
}

}  // namespace samplenet::testing_formats
