#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <zlib.h>

#include <filesystem>
#include <fstream>
#include <functional>

#include "lib/formats/bif.h"
#include "lib/formats/formats.h"
#include "lib/formats/net.h"
#include "lib/formats/text_file.h"
#include "lib/formats/uai.h"
#include "lib/formats/xmlbif.h"
#include "tests/formats/format_test_support.h"
#include "tests/support/scratch_folder.h"

namespace samplenet {
namespace {

using testing_formats::errorOf;
using testing_support::scratchPath;

// A parent and a child whose tables sum to `sum` in every column (the
// last state takes what the others leave).
Network coinNetwork(double sum) {
    Network network;
    network.name = "coins";
    network.variables.resize(2);
    network.variables[0] = {"first", {"heads", "tails"}, {}, {0.5, sum - 0.5}, {}};
    network.variables[1] = {"second", {"heads", "tails"}, {0}, {0.25, sum - 0.25, 0.5, sum - 0.5}, {}};
    network.reindex();
    return network;
}

struct Format {
    std::string extension;
    std::function<std::string(const Network&)> write;
};

const std::vector<Format> kFormats = {
    {".bif", writeBif},    {".xml", writeXmlBif},    {".net", writeNet},    {".uai", writeUai},
    {".bif.gz", writeBif}, {".xml.gz", writeXmlBif}, {".net.gz", writeNet}, {".uai.gz", writeUai},
};

std::string fileOf(const Format& format, const std::string& text) {
    const std::string path = scratchPath("odd" + format.extension);
    writeTextFile(path, text, format.extension.ends_with(".gz"));
    return path;
}

TEST(OddFiles, EveryFormatRefusesAFileWithoutANetwork) {
    for (const Format& format : kFormats)
        for (const std::string text : {"", " \n\t\n", "\xEF\xBB\xBF"}) {
            const std::string path = fileOf(format, text);
            EXPECT_EQ(errorOf([&] { readNetwork(path); }), path + ": no network in the file") << format.extension;
        }
    // A BIF or UAI file that declares nothing is no network either.
    const std::string bif = fileOf(kFormats[0], "network empty { }\n");
    EXPECT_EQ(errorOf([&] { readNetwork(bif); }), bif + ": no network in the file");
    const std::string uai = fileOf(kFormats[3], "BAYES 0 0\n");
    EXPECT_EQ(errorOf([&] { readNetwork(uai); }), uai + ": no network in the file");
}

TEST(OddFiles, EveryFormatSkipsAByteOrderMark) {
    const Network expected = coinNetwork(1.0);
    for (const Format& format : kFormats) {
        const std::string path = fileOf(format, "\xEF\xBB\xBF" + format.write(expected));
        const Network read = readNetwork(path);
        ASSERT_EQ(read.size(), 2) << format.extension;
        EXPECT_EQ(read.variables[1].table, expected.variables[1].table) << format.extension;
    }
}

TEST(OddFiles, SumsWithinTheToleranceAreRescaledWithOneNoteAndBeyondItRefused) {
    for (const Format& format : kFormats) {
        // Tables written with six decimals: 0.333333 three times.
        const std::string close = fileOf(format, format.write(coinNetwork(0.999999)));
        std::vector<std::string> notes;
        ReadLimits limits;
        limits.note = [&](const std::string& note) { notes.push_back(note); };
        const Network read = readNetwork(close, limits);
        for (const Variable& variable : read.variables)
            for (std::size_t q = 0; q < variable.table.size(); q += 2)
                EXPECT_NEAR(variable.table[q] + variable.table[q + 1], 1.0, 1e-15) << format.extension;
        EXPECT_EQ(read.variables[0].table[0], 0.5 / 0.999999);
        ASSERT_EQ(notes.size(), 1u) << format.extension;
        EXPECT_EQ(notes[0].substr(0, close.size() + 2), close + ": ");
        EXPECT_NE(notes[0].find("3 probability columns"), std::string::npos) << notes[0];
        EXPECT_NE(notes[0].find("0.999999"), std::string::npos) << notes[0];

        const std::string off = fileOf(format, format.write(coinNetwork(0.999)));
        EXPECT_NE(errorOf([&] { readNetwork(off); }).find("sum to 0.999, expected 1"), std::string::npos)
            << format.extension;
        limits.sumTolerance = 0.01;
        EXPECT_NEAR(readNetwork(off, limits).variables[1].table[3], 0.499 / 0.999, 1e-15) << format.extension;
    }
    // Exact sums give no note.
    const std::string exact = fileOf(kFormats[0], writeBif(coinNetwork(1.0)));
    ReadLimits limits;
    limits.note = [](const std::string& note) { ADD_FAILURE() << note; };
    readNetwork(exact, limits);
}

// Peak resident memory, in MiB, that reading `path` with a limit of
// `maxBytes` adds; measured in a child process so that nothing this test
// process did before counts.
long peakGrowthOfRefusedRead(const std::string& path, std::size_t maxBytes) {
    const pid_t child = fork();
    if (child == 0) {
        rusage before{}, after{};
        getrusage(RUSAGE_SELF, &before);
        const std::string message = errorOf([&] { readTextFile(path, maxBytes); });
        getrusage(RUSAGE_SELF, &after);
        const bool refused = message.find("expected at most") != std::string::npos;
        _exit(refused ? static_cast<int>(std::min(200L, (after.ru_maxrss - before.ru_maxrss) / 1024)) : 255);
    }
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

TEST(OddFiles, AFileAboveTheLimitIsRefusedWithoutBeingHeldInMemory) {
    constexpr std::size_t kLimit = std::size_t{96} << 20;
    const std::string plain = scratchPath("large.bif");
    {
        std::ofstream(plain) << "";
        std::filesystem::resize_file(plain, kLimit + 1);  // sparse: no disk used
    }
    EXPECT_LT(peakGrowthOfRefusedRead(plain, kLimit), 16) << "plain file";

    const std::string compressed = scratchPath("large.bif.gz");
    {
        const gzFile out = gzopen(compressed.c_str(), "wb9");
        const std::string block(1 << 20, ' ');
        for (std::size_t written = 0; written <= kLimit; written += block.size())
            gzwrite(out, block.data(), static_cast<unsigned>(block.size()));
        gzclose(out);
    }
    EXPECT_LT(peakGrowthOfRefusedRead(compressed, kLimit), 16) << "gzip file";
}

}  // namespace
}  // namespace samplenet
