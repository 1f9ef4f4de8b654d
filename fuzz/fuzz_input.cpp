#include "fuzz/fuzz_input.h"

#include <stdexcept>
#include <string>

#include "lib/explore/explore_request.h"
#include "lib/formats/bif.h"
#include "lib/formats/net.h"
#include "lib/formats/text_file.h"
#include "lib/formats/uai.h"
#include "lib/formats/xmlbif.h"
#include "lib/formats/evidence_parser.h"
#include "lib/model/errors.h"

namespace samplenet::fuzzing {
namespace {

// Lower than the defaults, so that inputs declaring huge tables reach the
// limits quickly instead of spending the run allocating; the checks are the
// same code either way.
ReadLimits limits() {
    ReadLimits limits;
    limits.maxTextBytes = 1 << 20;
    limits.maxStates = 1 << 12;
    limits.maxTableEntries = 1 << 16;
    limits.maxTotalEntries = 1 << 18;
    limits.note = {};  // rescaled tables are no finding
    return limits;
}

void require(bool condition, const char* what) {
    if (!condition) throw std::logic_error(what);
}

// A network a reader hands back must already be valid.
void checkNetwork(Network network) {
    const Network before = network;
    validate(network);
    require(network.size() == before.size(), "validation changed the network");
}

const Network& evidenceNetwork() {
    static const Network network = readBif(
        "variable A { type discrete [ 2 ] { yes, no }; }\n"
        "variable B { type discrete [ 3 ] { low, \"mid level\", high }; }\n"
        "variable C { type discrete [ 1 ] { only }; }\n"
        "probability ( A ) { table 0.3, 0.7; }\n"
        "probability ( B | A ) { (yes) 0.2, 0.3, 0.5; (no) 0.6, 0.4, 0.0; }\n"
        "probability ( C | A, B ) { default 1; }\n",
        "fuzz.bif");
    return network;
}

void checkEvidence(const Evidence& evidence) {
    const Network& network = evidenceNetwork();
    for (const auto& [v, state] : evidence.hard)
        require(v >= 0 && v < network.size() && state >= 0 && state < network.variables[v].stateCount(),
                "hard evidence out of bounds");
    for (const auto& [v, likelihood] : evidence.likelihood)
        require(v >= 0 && v < network.size() && likelihood.size() == network.variables[v].states.size(),
                "likelihood evidence of the wrong size");
}

void run(Target target, std::string_view bytes) {
    const ReadLimits bounds = limits();
    switch (target) {
        case Target::Bif: return checkNetwork(readBif(bytes, "input.bif", bounds));
        case Target::XmlBif: return checkNetwork(readXmlBif(bytes, "input.xml", bounds));
        case Target::Net: return checkNetwork(readNet(bytes, "input.net", bounds));
        case Target::Uai: return checkNetwork(readUai(bytes, "input.uai", bounds));
        case Target::Gzip: {
            const std::string text = decompressed(bytes, "input.bif.gz", bounds.maxTextBytes);
            require(text.size() <= bounds.maxTextBytes, "decompressed text above the limit");
            return checkNetwork(readBif(text, "input.bif.gz", bounds));
        }
        case Target::Evidence: {
            if (bytes.empty()) return;
            const bool uai = bytes.front() & 1;
            bytes.remove_prefix(1);
            return checkEvidence(readEvidenceText(evidenceNetwork(), bytes, uai ? "input.evid" : "input.evidence"));
        }
        case Target::ExploreRequest: {
            if (bytes.empty()) return;
            const bool nodes = bytes.front() & 1;
            bytes.remove_prefix(1);
            if (!nodes) {
                const PosteriorsRequest request = parsePosteriorsRequest(evidenceNetwork(), bytes);
                for (const auto& [v, state] : request.interventions)
                    require(v >= 0 && v < evidenceNetwork().size() && state >= 0 &&
                                state < evidenceNetwork().variables[v].stateCount(),
                            "intervention out of bounds");
                return checkEvidence(request.evidence);
            }
            for (int v : parseNodesRequest(evidenceNetwork(), bytes))
                require(v >= 0 && v < evidenceNetwork().size(), "node index out of bounds");
            return;
        }
    }
}

}  // namespace

std::optional<Target> targetNamed(std::string_view name) {
    if (name == "bif") return Target::Bif;
    if (name == "xmlbif") return Target::XmlBif;
    if (name == "net") return Target::Net;
    if (name == "uai") return Target::Uai;
    if (name == "gzip") return Target::Gzip;
    if (name == "evidence") return Target::Evidence;
    if (name == "explore") return Target::ExploreRequest;
    return std::nullopt;
}

Outcome consume(Target target, std::string_view bytes) {
    try {
        run(target, bytes);
        return Outcome::Accepted;
    } catch (const ParseError&) {
    } catch (const ModelError&) {
    } catch (const EvidenceError&) {
    } catch (const RequestError&) {
    }
    return Outcome::Refused;
}

}  // namespace samplenet::fuzzing
