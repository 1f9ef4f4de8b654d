#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "lib/formats/bif.h"
#include "lib/formats/formats.h"
#include "lib/formats/lexer.h"
#include "lib/formats/net.h"
#include "lib/formats/text_file.h"
#include "lib/formats/uai.h"
#include "lib/generate/random_network.h"
#include "tests/formats/format_test_support.h"
#include "tests/support/scratch_folder.h"

namespace samplenet {
namespace {

using testing_formats::errorOf;
using testing_formats::expectSameNetwork;
using testing_formats::writeFile;
using testing_support::scratchPath;

constexpr Lexer::Syntax kBifLike{"{}()[],;|", true, false};
constexpr Lexer::Syntax kNetLike{"{}()=;|", false, true};
constexpr Lexer::Syntax kWordsAndStrings{"", false, false};

// A pull over `text` in pieces of `piece` bytes, so that every kind of token
// and comment meets a window's end somewhere; SIZE_MAX hands out full
// pieces, as a file reader does.
TextPull piecesOf(const std::string& text, std::size_t piece) {
    return [&text, piece, at = std::size_t{0}](char* into, std::size_t room) mutable {
        const std::size_t count = std::min({room, piece, text.size() - at});
        std::memcpy(into, text.data() + at, count);
        at += count;
        return count;
    };
}

// Tokens as "kind line text"; a `property` is followed by its raw text.
std::vector<std::string> tokensOf(Lexer& lexer) {
    std::vector<std::string> tokens;
    for (;;) {
        const Token token = lexer.next();
        tokens.push_back(std::to_string(static_cast<int>(token.kind)) + " " + std::to_string(token.line) + " " +
                         std::string(token.text));
        if (token.kind == Token::Kind::End) return tokens;
        if (token.isWord("property")) tokens.push_back("raw " + lexer.rawUntilSemicolon());
    }
}

// Read whole (never pulling) and read from one-, two- and seven-byte pieces.
void expectSameTokens(const std::string& text, const Lexer::Syntax& syntax) {
    const ParseErrors errors("t");
    Lexer whole(text, errors, syntax);
    const std::vector<std::string> expected = tokensOf(whole);
    for (std::size_t piece : {1, 2, 7}) {
        Lexer streamed(piecesOf(text, piece), errors, syntax, 1000);
        EXPECT_EQ(tokensOf(streamed), expected) << piece << "-byte pieces of\n" << text;
    }
}

TEST(StreamedLexer, CommentsStringsAndRawTextAcrossPiecesReadAsWhole) {
    expectSameTokens("a/b // line / * comment\n/**/c /*/ still\n comment **/d/ /*\n*/e/\n", kBifLike);
    expectSameTokens("x \"quoted /* not a comment */ name\" y//tail", kBifLike);
    expectSameTokens("property  key = \"semi;colon\" and\nmore ; next { property p;}", kBifLike);
    expectSameTokens("a%comment\n b 50% \"100%\" % last", kNetLike);
    expectSameTokens("/", kBifLike);
}

TEST(StreamedLexer, CommentsAreNotBoundByTheTokenLimitButRawTextIs) {
    const ParseErrors errors("t.bif");
    const std::string comment = "/*" + std::string(5000, '\n') + "*/ a";
    Lexer lexer(piecesOf(comment, 100), errors, kBifLike, 10);
    EXPECT_EQ(lexer.peek().line, 5001);
    EXPECT_EQ(lexer.peek().text, "a");

    std::string raw = "property";
    for (int i = 0; i < 20; ++i) raw += " ab";
    raw += ";";
    Lexer rawLexer(piecesOf(raw, 16), errors, kBifLike, 20);
    rawLexer.next();
    EXPECT_EQ(errorOf([&] { rawLexer.rawUntilSemicolon(); }),
              "t.bif:1: expected a token of at most 20 bytes, found a longer one");
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
    Lexer streamed(piecesOf(text, SIZE_MAX), errors, kWordsAndStrings, 2 * Lexer::kWindow);
    const std::vector<std::string> expected = tokensOf(whole);
    EXPECT_EQ(tokensOf(streamed), expected);
    EXPECT_TRUE(expected[expected.size() - 2].ends_with(" quoted")) << expected[expected.size() - 2];
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

// A network whose BIF and NET texts are several windows long.
Network largeNetwork() {
    RandomNetworkOptions options;
    options.nodes = 6000;
    options.maxStates = 3;
    options.seed = 7;
    Network network = randomNetwork(options);
    network.name = "large";
    network.properties = {"source = \"generated; for tests\""};
    return network;
}

TEST(StreamedFormats, LargeBifAndNetFilesReadAsTheirWholeTexts) {
    const Network expected = largeNetwork();
    for (const auto& [name, text] : {std::pair{"large.bif", writeBif(expected)}, {"large.net", writeNet(expected)}}) {
        ASSERT_GT(text.size(), 2 * Lexer::kWindow) << name;
        const bool bif = std::string(name).ends_with(".bif");
        const Network whole = bif ? readBif(text, name) : readNet(text, name);
        expectSameNetwork(expected, whole);
        // Pieces that are not a window long put the window ends elsewhere.
        const TextPull pull = piecesOf(text, Lexer::kWindow / 3 + 17);
        expectSameNetwork(whole, bif ? readBif(pull, name) : readNet(pull, name));
        for (const std::string suffix : {"", ".gz"}) {
            const std::string path = scratchPath(name + suffix);
            writeNetwork(expected, path);
            expectSameNetwork(whole, readNetwork(path));
        }
    }
}

TEST(StreamedFormats, ErrorsKeepTheirMessagesAndLines) {
    const std::string bif = "network n {\n}\n/* unclosed\n\nvariable A { type discrete [ 2 ] { a, b }; }\n";
    const std::string net = "net\n{\n}\nnode A\n{\n    states = ( \"a\" \"b\" );\n}\n\npotential (A)\n{\n    data = ( 0.5";
    const std::string states = "variable A {\n type discrete [ 2 ] {\n a, b, c }; }";
    struct Case {
        std::string name, text, message;
    };
    const Case cases[] = {
        {"t.bif", bif, "t.bif:3: expected end of comment '*/', found end of file"},
        {"t.bif", "network n {\n}\nvariable A {\n type discrete [ 2 ] { a,", "t.bif:4: expected state name, found end of file"},
        {"t.bif", states, "t.bif:3: expected 2 states, found 3"},
        {"t.net", net, "t.net:11: expected probability, found end of file"},
        {"t.net", "% only a comment\n", "t.net:2: expected 'net', found end of file"},
        {"t.net", "\xEF\xBB\xBF \n\t", "t.net: no network in the file"},
        {"t.bif", "network n { property unended", "t.bif:1: expected ';', found end of file"},
    };
    for (const Case& c : cases) {
        const bool isBif = c.name.ends_with(".bif");
        EXPECT_EQ(errorOf([&] { isBif ? readBif(c.text, c.name) : readNet(c.text, c.name); }), c.message);
        const TextPull pull = piecesOf(c.text, 3);
        EXPECT_EQ(errorOf([&] { isBif ? readBif(pull, c.name) : readNet(pull, c.name); }), c.message);
    }
    // A file's text is not limited as a whole, only its longest token.
    ReadLimits limits;
    limits.maxTextBytes = 64;
    const std::string path = scratchPath("long.bif");
    const std::string variable = "variable A { type discrete [ 2 ] { a, b }; }\nprobability ( A ) { table 0.5, 0.5; }\n";
    writeFile(path, std::string(1000, ' ') + variable);
    EXPECT_EQ(readNetwork(path, limits).variables.at(0).name, "A");
    // 107 bytes of the property's word before the first window's end.
    writeFile(path, std::string(Lexer::kWindow - 130, ' ') + "network n {\n property " + std::string(200, 'x') + ";\n}\n");
    EXPECT_EQ(errorOf([&] { readNetwork(path, limits); }),
              path + ":2: expected a token of at most 64 bytes, found a longer one");
}

}  // namespace
}  // namespace samplenet
