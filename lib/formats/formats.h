#pragma once

#include <optional>
#include <string>

#include "lib/formats/read_limits.h"
#include "lib/model/evidence.h"
#include "lib/model/network.h"

namespace samplenet {

enum class FileFormat { Bif, XmlBif, Net, Uai };

// Chosen by extension (.bif, .xml/.xmlbif, .net, .uai), with an optional
// trailing .gz; nullopt when the extension is not one of ours.
std::optional<FileFormat> formatOfPath(const std::string& path);

// Reads and validates a network; gzip-compressed files are read directly.
// Throws ParseError ("file:line: expected ...") or ModelError.
Network readNetwork(const std::string& path, const ReadLimits& limits = {});

// Writes in the format of the path's extension (gzip-compressed for .gz).
void writeNetwork(const Network& network, const std::string& path);

// Reads a UAI evidence file (.evid) for a network read from a .uai file.
Evidence readUaiEvidence(const Network& network, const std::string& path);

}  // namespace samplenet
