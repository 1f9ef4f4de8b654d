#pragma once

#include <array>
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "lib/formats/parse_errors.h"
#include "lib/formats/text_pull.h"

namespace samplenet {

// Tokens of the brace-and-semicolon text formats.
struct Token {
    enum class Kind { Word, String, Symbol, End };
    Kind kind = Kind::End;
    std::string_view text;  // a string's text is without its quotes
    int line = 1;

    bool is(char symbol) const { return kind == Kind::Symbol && text.size() == 1 && text[0] == symbol; }
    bool isWord(std::string_view word) const { return kind == Kind::Word && text == word; }
    bool isName() const { return kind == Kind::Word || kind == Kind::String; }
    // The token as a parse error shows it.
    std::string describe() const;
};

// Splits text into words, "double-quoted strings" and one-character symbols,
// skipping white space and comments. A word is any run of other characters,
// so names such as ">=7.5" or "Asy/Patch" are single words.
class Lexer {
public:
    struct Syntax {
        std::string_view symbols;
        bool slashComments;    // "// ..." and "/* ... */"
        bool percentComments;  // "% ..."
    };

    Lexer(std::string_view text, const ParseErrors& errors, Syntax syntax);
    // Reads the text from `pull` a window of up to kWindow bytes at a time
    // (shorter pieces are taken as they come) instead of holding it whole. The text of the token next() returned last
    // and of peek() stays valid until the following next() or
    // rawUntilSemicolon(). A token, or a rawUntilSemicolon text, longer than
    // `maxToken` bytes fails.
    Lexer(TextPull pull, const ParseErrors& errors, Syntax syntax, std::size_t maxToken);
    static constexpr std::size_t kWindow = std::size_t{1} << 20;

    const Token& peek() const { return current_; }
    Token next();
    // Consumes the next token if it is `symbol`.
    bool accept(char symbol);
    void expect(char symbol);
    Token expectName(std::string_view what);
    // A word that is a finite non-negative number.
    double expectProbability();
    // The source text from the next token up to the next ';' outside quotes,
    // trimmed; the ';' is consumed.
    std::string rawUntilSemicolon();

    [[noreturn]] void fail(std::string_view expected) const { failAt(current_, expected); }
    [[noreturn]] void failAt(const Token& token, std::string_view expected) const;

private:
    enum CharClass : unsigned char { Other, Blank, Symbol, Quote, CommentLead };
    CharClass classOf(char c) const { return classes_[static_cast<unsigned char>(c)]; }
    void skipBlank();
    // Past a "/* ... */" comment that starts at the current position.
    void skipBlockComment();
    // Past a comment that runs to the end of the line.
    void skipLineComment();
    bool atComment() const;
    // Whether the current character is a '/' that only the next window can
    // tell from the start of a comment.
    bool undecidedSlash() const;
    [[noreturn]] void failLongToken() const;
    bool isWordChar(char c) const;
    Token scan();
    // Streamed: the text from `keepFrom` on, then the next window, become the
    // text; positions move with it. False at the end (or for a whole text).
    // Only the first call after a token was returned keeps the window that
    // token is in.
    bool moreText(std::size_t keepFrom);

    TextPull pull_;
    std::size_t maxToken_ = 0;
    // The window the text is in, and the one before it, which the tokens
    // scanned last may still point into.
    std::vector<char> window_;
    std::vector<char> previousWindow_;
    bool previousKept_ = false;
    std::string_view text_;
    const ParseErrors& errors_;
    std::array<CharClass, 256> classes_{};
    std::size_t position_ = 0;
    int line_ = 1;
    std::size_t currentStart_ = 0;
    int currentStartLine_ = 1;
    Token current_;
};

// Appends `name` as one token: as it is when it reads back as a single word,
// otherwise in double quotes.
void appendName(std::string& out, std::string_view name, const Lexer::Syntax& syntax);

}  // namespace samplenet
