#include "lib/formats/lexer.h"

#include <algorithm>

#include "lib/formats/number_text.h"
#include "lib/formats/text_util.h"

namespace samplenet {

std::string Token::describe() const {
    switch (kind) {
        case Kind::End: return "end of file";
        case Kind::String: return concat({"\"", text, "\""});
        default: return quoted(text);
    }
}

Lexer::Lexer(TextPull pull, const ParseErrors& errors, Syntax syntax, std::size_t maxToken)
    : Lexer(std::string_view(), errors, syntax) {
    pull_ = std::move(pull);
    maxToken_ = maxToken;
    current_ = scan();
}

Lexer::Lexer(std::string_view text, const ParseErrors& errors, Syntax syntax)
    : text_(text), errors_(errors) {
    for (char c : std::string_view(" \t\r\n\f\v")) classes_[static_cast<unsigned char>(c)] = Blank;
    for (char c : syntax.symbols) classes_[static_cast<unsigned char>(c)] = Symbol;
    classes_['"'] = Quote;
    if (syntax.slashComments) classes_['/'] = CommentLead;
    if (syntax.percentComments) classes_['%'] = CommentLead;
    current_ = scan();
}

bool Lexer::moreText(std::size_t keepFrom) {
    if (!pull_) return false;
    const std::size_t kept = text_.size() - keepFrom;
    if (kept > maxToken_) failLongToken();
    std::vector<char> next(kept + kWindow);
    std::copy(text_.begin() + static_cast<std::ptrdiff_t>(keepFrom), text_.end(), next.begin());
    const std::size_t count = pull_(next.data() + kept, kWindow);
    if (count == 0) {
        pull_ = nullptr;
        return false;
    }
    next.resize(kept + count);
    // Later windows read for the same token hold only blanks, comments and
    // the part of the token they copy along.
    if (!previousKept_) previousWindow_ = std::move(window_);
    previousKept_ = true;
    window_ = std::move(next);
    text_ = std::string_view(window_.data(), window_.size());
    position_ -= keepFrom;
    currentStart_ -= std::min(currentStart_, keepFrom);
    return true;
}

void Lexer::failLongToken() const {
    errors_.fail(line_, concat({"a token of at most ", std::to_string(maxToken_), " bytes"}), "a longer one");
}

void Lexer::failAt(const Token& token, std::string_view expected) const {
    errors_.fail(token.line, expected, token.describe());
}

// Only called where the current character is a CommentLead.
bool Lexer::atComment() const {
    if (text_[position_] == '%') return true;
    return position_ + 1 < text_.size() && (text_[position_ + 1] == '/' || text_[position_ + 1] == '*');
}

bool Lexer::undecidedSlash() const {
    return pull_ && position_ + 1 == text_.size() && text_[position_] == '/' && classOf('/') == CommentLead;
}

void Lexer::skipBlank() {
    while (position_ < text_.size()) {
        const char c = text_[position_];
        const CharClass charClass = classOf(c);
        if (charClass == Blank) {
            line_ += c == '\n';
            ++position_;
        } else if (charClass == CommentLead && undecidedSlash()) {
            moreText(position_);
        } else if (charClass != CommentLead || !atComment()) {
            return;
        } else if (c == '/' && text_[position_ + 1] == '*') {
            skipBlockComment();
        } else {
            skipLineComment();
        }
    }
}

void Lexer::skipBlockComment() {
    const int startLine = line_;
    std::size_t from = position_ + 2;
    std::size_t end = text_.find("*/", from);
    while (end == std::string_view::npos) {
        // A '*' that ends the text may be closed by a '/' in the next window.
        const std::size_t keepFrom = std::max(from, text_.size() - 1);
        for (std::size_t i = position_; i < keepFrom; ++i) line_ += text_[i] == '\n';
        position_ = keepFrom;
        if (!moreText(keepFrom)) errors_.fail(startLine, "end of comment '*/'", "end of file");
        from = 0;
        end = text_.find("*/", from);
    }
    for (std::size_t i = position_; i < end; ++i) line_ += text_[i] == '\n';
    position_ = end + 2;
}

// Stops at the line's end, which skipBlank counts.
void Lexer::skipLineComment() {
    position_ = text_.find('\n', position_);
    while (position_ == std::string_view::npos) {
        position_ = text_.size();
        if (!moreText(position_)) return;
        position_ = text_.find('\n');
    }
}

bool Lexer::isWordChar(char c) const {
    const CharClass charClass = classOf(c);
    return charClass == Other || (charClass == CommentLead && !atComment());
}

Token Lexer::scan() {
    previousKept_ = false;
    do {
        skipBlank();
    } while (position_ == text_.size() && moreText(position_));
    currentStart_ = position_;
    currentStartLine_ = line_;
    Token token;
    token.line = line_;
    if (position_ == text_.size()) return token;
    const char c = text_[position_];
    if (c == '"') {
        std::size_t end = text_.find('"', position_ + 1);
        while (end == std::string_view::npos && moreText(position_)) end = text_.find('"', position_ + 1);
        if (end == std::string_view::npos) errors_.fail(line_, "closing '\"'", "end of file");
        token.kind = Token::Kind::String;
        token.text = text_.substr(position_ + 1, end - position_ - 1);
        for (char inside : token.text) line_ += inside == '\n';
        position_ = end + 1;
    } else if (classOf(c) == Symbol) {
        token.kind = Token::Kind::Symbol;
        token.text = text_.substr(position_++, 1);
    } else {
        token.kind = Token::Kind::Word;
        std::size_t start = position_;
        for (;;) {
            while (position_ < text_.size() && !undecidedSlash() && isWordChar(text_[position_])) ++position_;
            const bool atEnd = position_ == text_.size();
            if (!atEnd && !undecidedSlash()) break;
            if (moreText(start)) {
                start = 0;  // the word's beginning now starts the text
            } else if (atEnd) {
                break;
            }
        }
        token.text = text_.substr(start, position_ - start);
    }
    return token;
}

Token Lexer::next() {
    Token token = current_;
    current_ = scan();
    return token;
}

bool Lexer::accept(char symbol) {
    if (!current_.is(symbol)) return false;
    next();
    return true;
}

void Lexer::expect(char symbol) {
    if (!accept(symbol)) fail(quoted(std::string_view(&symbol, 1)));
}

Token Lexer::expectName(std::string_view what) {
    if (!current_.isName()) fail(what);
    return next();
}

double Lexer::expectProbability() {
    double value = 0.0;
    if (current_.kind != Token::Kind::Word) fail("probability");
    if (const auto problem = parseProbability(current_.text, value)) fail(*problem);
    next();
    return value;
}

std::string Lexer::rawUntilSemicolon() {
    position_ = currentStart_;
    line_ = currentStartLine_;
    previousKept_ = false;
    bool inString = false;
    std::string raw;
    for (;;) {
        const std::size_t from = position_;
        while (position_ < text_.size() && (inString || text_[position_] != ';')) {
            inString ^= text_[position_] == '"';
            line_ += text_[position_] == '\n';
            ++position_;
        }
        raw.append(text_.substr(from, position_ - from));
        if (position_ < text_.size()) break;
        if (pull_ && raw.size() > maxToken_) failLongToken();
        if (!moreText(position_)) errors_.fail(line_, "';'", "end of file");
    }
    ++position_;
    current_ = scan();
    return std::string(trimmed(raw));
}

void appendName(std::string& out, std::string_view name, const Lexer::Syntax& syntax) {
    bool plain = !name.empty();
    for (std::size_t i = 0; plain && i < name.size(); ++i) {
        const char c = name[i];
        const char after = i + 1 < name.size() ? name[i + 1] : '\0';
        plain = std::string_view(" \t\r\n\f\v\"").find(c) == std::string_view::npos &&
                syntax.symbols.find(c) == std::string_view::npos && !(syntax.percentComments && c == '%') &&
                !(syntax.slashComments && c == '/' && (after == '/' || after == '*'));
    }
    if (plain) {
        out += name;
    } else {
        out += '"';
        out += name;
        out += '"';
    }
}

}  // namespace samplenet
