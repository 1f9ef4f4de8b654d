#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "lib/formats/formats.h"
#include "lib/formats/lexer.h"
#include "lib/formats/text_file.h"
#include "lib/formats/uai.h"
#include "tests/formats/format_test_support.h"
#include "tests/support/scratch_folder.h"

namespace samplenet {
namespace {

using testing_formats::errorOf;
using testing_formats::expectSameNetwork;
using testing_support::fileContents;
using testing_support::scratchPath;
using testing_formats::writeFile;

constexpr Lexer::Syntax kWordsAndStrings{"", false, false};

// A pull over `text` that hands out full pieces, as a file reader does.
TextPull pullOf(const std::string& text) {
    return [&text, at = std::size_t{0}](char* into, std::size_t room) mutable {
        const std::size_t count = std::min(room, text.size() - at);
        std::memcpy(into, text.data() + at, count);
        at += count;
        return count;
    };
}

std::vector<Token> tokensOf(Lexer& lexer, std::vector<std::string>& texts) {
    std::vector<Token> tokens;
    for (;;) {
        const Token token = lexer.next();
        texts.emplace_back(token.text);
        tokens.push_back(token);
        if (token.kind == Token::Kind::End) return tokens;
    }
}

// Words, strings and blank runs that straddle the windows, and a word and a
// blank run longer than one, come out as from the whole text.
TEST(StreamedLexer, GivesTheWholeTextsTokensAcrossWindows) {
    std::string text;
    for (int i = 0; text.size() < Lexer::kWindow - 3; ++i) text += "w" + std::to_string(i) + (i % 7 ? " " : "\n");
    text += "\"a string\nacross the first window's end\" ";
    text += std::string(Lexer::kWindow + 10, 'x') + "\n";
    text += std::string(Lexer::kWindow + 5, ' ') + "last \"quoted\"";

    const ParseErrors errors("t.uai");
    Lexer whole(text, errors, kWordsAndStrings);
    Lexer streamed(pullOf(text), errors, kWordsAndStrings, 2 * Lexer::kWindow);
    std::vector<std::string> wholeTexts, streamedTexts;
    const std::vector<Token> expected = tokensOf(whole, wholeTexts);
    const std::vector<Token> actual = tokensOf(streamed, streamedTexts);
    ASSERT_EQ(actual.size(), expected.size());
    for (std::size_t k = 0; k < expected.size(); ++k) {
        EXPECT_EQ(actual[k].kind, expected[k].kind) << k;
        EXPECT_EQ(actual[k].line, expected[k].line) << k;
        ASSERT_EQ(streamedTexts[k], wholeTexts[k]) << k;
    }
    EXPECT_EQ(streamedTexts[streamedTexts.size() - 2], "quoted");
}

// A chain of binary variables whose text spans several of the writer's and
// the reader's pieces.
std::string chainText(int variables) {
    std::string text = "BAYES\n" + std::to_string(variables) + "\n";
    for (int v = 0; v < variables; ++v) text += v ? " 2" : "2";
    text += "\n" + std::to_string(variables) + "\n1 0\n";
    for (int v = 1; v < variables; ++v) text += "2 " + std::to_string(v - 1) + " " + std::to_string(v) + "\n";
    text += "\n2\n 0.25 0.75\n";
    for (int v = 1; v < variables; ++v) text += "\n4\n 0.5 0.5\n 0.125 0.875\n";
    return text;
}

TEST(StreamedUai, FilesReadAndWriteAsWholeTextsDo) {
    const std::string text = chainText(70000);
    ASSERT_GT(text.size(), 2 * Lexer::kWindow);
    const Network expected = readUai(text, "chain.uai");

    for (const std::string name : {"chain.uai", "chain.uai.gz"}) {
        const std::string path = scratchPath(name);
        writeNetwork(expected, path);
        EXPECT_EQ(readTextFile(path), writeUai(expected)) << name;
        expectSameNetwork(expected, readNetwork(path));
    }
    // Written by hand, as the reader must take any spacing.
    const std::string path = scratchPath("hand.uai");
    writeFile(path, "\xEF\xBB\xBF" + text);
    expectSameNetwork(expected, readNetwork(path));
}

TEST(StreamedUai, ErrorsAreTheWholeTextsAndTheLimitBoundsTokens) {
    std::string text = chainText(70000);
    text.replace(text.rfind("0.875"), 5, "oops!");
    const std::string path = scratchPath("bad.uai");
    writeFile(path, text);
    const std::string message = errorOf([&] { readUai(text, path); });
    EXPECT_NE(message.find("oops!"), std::string::npos) << message;
    EXPECT_EQ(errorOf([&] { readNetwork(path); }), message);

    writeFile(path, " \n\t ");
    EXPECT_EQ(errorOf([&] { readNetwork(path); }), path + ": no network in the file");

    // The text is never held whole, so only a token may not pass the limit.
    ReadLimits limits;
    limits.maxTextBytes = Lexer::kWindow;
    const std::string compressed = scratchPath("long.uai.gz");
    writeTextFile(compressed, chainText(70000), true);
    expectSameNetwork(readUai(chainText(70000), "chain.uai"), readNetwork(compressed, limits));
    writeTextFile(compressed, "BAYES\n1\n" + std::string(2 * Lexer::kWindow, '2'), true);
    EXPECT_EQ(errorOf([&] { readNetwork(compressed, limits); }),
              compressed + ":3: expected a token of at most 1048576 bytes, found a longer one");
}

}  // namespace
}  // namespace samplenet
