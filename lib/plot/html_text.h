#pragma once

#include <string>

namespace samplenet {

// Text made safe for HTML and SVG element content and quoted attributes.
inline std::string htmlEscaped(const std::string& text) {
    std::string escaped;
    escaped.reserve(text.size());
    for (char c : text) {
        switch (c) {
            case '&': escaped += "&amp;"; break;
            case '<': escaped += "&lt;"; break;
            case '>': escaped += "&gt;"; break;
            case '"': escaped += "&quot;"; break;
            default: escaped += c;
        }
    }
    return escaped;
}

}  // namespace samplenet
