#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "lib/impact/evidence_impact.h"
#include "lib/impact/intervention.h"
#include "lib/model/evidence.h"
#include "lib/model/network.h"

namespace samplenet_cli {

enum class ImpactFormat { Table, Json, Csv };

std::optional<ImpactFormat> impactFormatNamed(std::string_view name);

// What was asked and what came out, for the writers.
struct ImpactReport {
    std::string source;  // file name, or a description of the built-in network
    const samplenet::Network& network;
    const samplenet::Evidence& evidence;
    const samplenet::Interventions& interventions;
    const samplenet::EvidenceImpact& impact;
    std::size_t shown;  // the most informative candidates to show
};

// The whole report as text, so that nothing is printed when it fails.
std::string formatImpact(const ImpactReport& report, ImpactFormat format);

}  // namespace samplenet_cli
