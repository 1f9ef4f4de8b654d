#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace samplenet {

enum class PictureFormat { Svg, Png, Pdf };

// The format a picture file's extension asks for (.svg, .png, .pdf).
std::optional<PictureFormat> pictureFormatOfPath(std::string_view path);

// Lays out and draws DOT text with Graphviz's `dot` program, found on PATH
// when called, and returns the file's bytes. Throws std::runtime_error when
// the program is missing or fails, with what it said.
std::string renderDot(const std::string& dot, PictureFormat format);

}  // namespace samplenet
