#include "lib/explore/explore_service.h"

#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <nlohmann/json.hpp>
#include <string>
#include <thread>

#include "lib/explore/explore_request.h"
#include "lib/formats/formats.h"
#include "lib/formats/evidence_parser.h"

namespace samplenet {
namespace {

Network asia() { return readNetwork(std::string(SAMPLENET_TEST_DATA) + "/networks/asia.bif.gz"); }

InferenceOptions exact() {
    InferenceOptions options;
    options.algorithm = Algorithm::Exact;
    return options;
}

std::string errorOf(const Reply& reply) { return nlohmann::json::parse(reply.body).at("error").get<std::string>(); }

// Each request the page would never send gets its status and the message
// the command line gives for the same mistake; the service answers
// normally afterwards.
TEST(ExploreService, RefusesBadRequestsWithTheirStatusAndMessage) {
    ExploreService service("asia", asia(), exact());
    struct Case {
        const char* method;
        const char* path;
        std::string body;
        int status;
        std::string message;
    };
    const std::string kPosteriorsShape =
        "the request body should be {\"evidence\": [\"...\", ...]}, with \"do\": [\"...\", ...] for nodes set";
    std::string tooManyNodes = R"({"nodes": ["asia")";
    for (int i = 0; i < 60; ++i) tooManyNodes += R"(, "asia")";
    tooManyNodes += "]}";
    const Case cases[] = {
        {"POST", "/api/posteriors", R"({"evidence": ["Asia=yes"]})", 400, "unknown node \"Asia\""},
        {"POST", "/api/posteriors", R"({"evidence": ["asia=maybe"]})", 400,
         "unknown state \"maybe\" of \"asia\"; valid states: yes, no"},
        {"POST", "/api/posteriors", "asia=yes", 400, "the request body is not JSON"},
        {"POST", "/api/posteriors", R"({"evidence": "asia=yes"})", 400, kPosteriorsShape},
        {"POST", "/api/posteriors", R"({"evidence": [1]})", 400, kPosteriorsShape},
        {"POST", "/api/posteriors", R"({"evidence": [], "path": "/etc/passwd"})", 400, kPosteriorsShape},
        {"POST", "/api/posteriors", R"({"do": ["smoke=yes"]})", 400, kPosteriorsShape},
        {"POST", "/api/posteriors", R"({"evidence": [], "do": "smoke=yes"})", 400, kPosteriorsShape},
        {"POST", "/api/posteriors", R"({"evidence": [], "do": ["smoke=[0.5,1]"]})", 400,
         "unknown state \"[0.5,1]\" of \"smoke\" in an intervention; valid states: yes, no"},
        {"POST", "/api/posteriors", R"({"evidence": ["smoke=no"], "do": ["smoke=yes"]})", 400,
         "\"smoke\" is both observed and set by an intervention; give it one or the other"},
        {"POST", "/api/picture", R"({"nodes": ["nowhere"]})", 400, "unknown node \"nowhere\""},
        {"POST", "/api/picture", tooManyNodes, 400, "at most 60 nodes are drawn at once"},
        {"POST", "/api/posteriors", R"({"evidence": ["either=no", "tub=yes"]})", 422, ""},
        {"GET", "/api/posteriors", "", 405, "/api/posteriors takes POST, not GET"},
        {"DELETE", "/", "", 405, "/ takes GET, not DELETE"},
        {"GET", "/../data/networks/asia.bif.gz", "", 404, "no such page: /../data/networks/asia.bif.gz"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(std::string(c.method) + " " + c.path + " " + c.body);
        const Reply reply = service.handle(c.method, c.path, c.body);
        EXPECT_EQ(reply.status, c.status);
        if (!c.message.empty()) {
            EXPECT_EQ(errorOf(reply), c.message);
        }
        if (c.status == 405) {
            EXPECT_FALSE(reply.allow.empty());
        }
    }
    EXPECT_EQ(service.handle("POST", "/api/posteriors", R"({"evidence": []})").status, 200);
    EXPECT_EQ(service.handle("GET", "/api/network", "").status, 200);
}

// The library's posteriors for the same evidence; for nodes set from the
// page, on the network cut for them, while the service's network stays as
// read for the next request.
TEST(ExploreService, PosteriorsAreTheLibrarysAndInterventionsCutTheNetwork) {
    const Network network = asia();
    ExploreService service("asia", network, exact());
    const Reply reply =
        service.handle("POST", "/api/posteriors", R"({"evidence": ["xray=yes"], "do": ["either=no"]})");
    ASSERT_EQ(reply.status, 200) << reply.body;
    Evidence evidence;
    addEvidenceAssignment(network, "xray=yes", evidence);
    Interventions interventions;
    addIntervention(network, "either=no", interventions);
    const InferenceResult expected = infer(intervene(network, interventions), evidence, exact());
    const auto posteriors = nlohmann::json::parse(reply.body).at("posteriors").get<std::vector<std::vector<double>>>();
    EXPECT_EQ(posteriors, expected.posteriors);

    const Reply after =
        service.handle("POST", "/api/posteriors", R"({"evidence": ["xray=yes", "smoke=[0.2,0.9]"]})");
    addEvidenceAssignment(network, "smoke=[0.2,0.9]", evidence);
    const InferenceResult observed = infer(network, evidence, exact());
    const nlohmann::json json = nlohmann::json::parse(after.body);
    EXPECT_EQ(json.at("algorithm"), "exact");
    EXPECT_EQ(json.at("posteriors").get<std::vector<std::vector<double>>>(), observed.posteriors);
    EXPECT_DOUBLE_EQ(json.at("ln_probability_of_evidence").get<double>(), *observed.logProbabilityOfEvidence);
}

TEST(ExploreService, SamplersReportTheirErrorsAndTheAutomaticChoiceSaysWhy) {
    InferenceOptions epis;
    epis.samples = 2000;
    epis.seed = 3;
    ExploreService sampled("asia", asia(), epis);
    const nlohmann::json json =
        nlohmann::json::parse(sampled.handle("POST", "/api/posteriors", R"({"evidence": ["dysp=yes"]})").body);
    EXPECT_EQ(json.at("algorithm"), "epis");
    EXPECT_EQ(json.at("samples_drawn"), 2000);
    EXPECT_EQ(json.at("standard_errors").size(), 8u);
    EXPECT_GT(json.at("largest_standard_error").get<double>(), 0.0);

    InferenceOptions automatic;
    automatic.algorithm = Algorithm::Auto;
    ExploreService chosen("asia", asia(), automatic);
    const nlohmann::json answer = nlohmann::json::parse(chosen.handle("POST", "/api/posteriors", R"({"evidence": []})").body);
    EXPECT_EQ(answer.at("algorithm"), "exact");
    EXPECT_NE(answer.at("choice").get<std::string>().find("junction tree"), std::string::npos);
}

// A click while a long run goes on stops that run at once: its request
// gets 409 and the newer one its answer (here at once too: its evidence is
// impossible). Uninterrupted, the first run would go on for minutes.
TEST(ExploreService, ANewerRequestStopsTheRunInProgress) {
    InferenceOptions endless;
    endless.samples = 2'000'000'000;
    endless.seed = 1;
    ExploreService service("asia", asia(), endless);
    std::future<Reply> first = std::async(std::launch::async, [&] {
        return service.handle("POST", "/api/posteriors", R"({"evidence": ["dysp=yes"]})");
    });
    while (!nlohmann::json::parse(service.handle("GET", "/api/progress", "").body).at("running").get<bool>())
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    std::this_thread::sleep_for(std::chrono::milliseconds(50));

    const auto submitted = std::chrono::steady_clock::now();
    const Reply impossible = service.handle("POST", "/api/posteriors", R"({"evidence": ["either=no", "lung=yes"]})");
    EXPECT_EQ(impossible.status, 422) << impossible.body;
    const Reply stopped = first.get();
    EXPECT_LT(std::chrono::steady_clock::now() - submitted, std::chrono::seconds(30)) << "the first run was not stopped";
    EXPECT_EQ(stopped.status, 409) << stopped.body;
    EXPECT_EQ(errorOf(stopped), "a newer request took this one's place");
}

// The page finds every state row and header by id; a drawing without them
// would leave it nothing to click. It finds the edges by id too.
TEST(ExploreService, PictureLinksEveryStateRowOfTheChosenNodesAndNamesEveryEdge) {
    const Network network = asia();
    ExploreService service("asia", network, exact());
    const Reply whole = service.handle("POST", "/api/picture", R"({"nodes": []})");
    ASSERT_EQ(whole.status, 200) << whole.body;
    EXPECT_EQ(whole.contentType, "image/svg+xml");
    for (int v = 0; v < network.size(); ++v) {
        EXPECT_NE(whole.body.find("id=\"a_h" + std::to_string(v) + "\""), std::string::npos) << v;
        for (int s = 0; s < network.variables[v].stateCount(); ++s)
            for (const char* cell : {"n", "b", "p"})
                EXPECT_NE(whole.body.find("id=\"a_s" + std::to_string(v) + "_" + std::to_string(s) + cell + "\""),
                          std::string::npos)
                    << v << " " << s << cell;
    }
    // Every edge by its ends, for the page to draw those into a node set
    // from outside as cut; the drawing has no other edges.
    std::size_t edges = 0;
    for (int child = 0; child < network.size(); ++child)
        for (int parent : network.variables[child].parents) {
            ++edges;
            EXPECT_NE(whole.body.find("<g id=\"e" + std::to_string(parent) + "_" + std::to_string(child) +
                                      "\" class=\"edge\">"),
                      std::string::npos)
                << parent << " -> " << child;
        }
    std::size_t drawnEdges = 0;
    for (std::size_t at = whole.body.find("class=\"edge\""); at != std::string::npos;
         at = whole.body.find("class=\"edge\"", at + 1))
        ++drawnEdges;
    EXPECT_EQ(drawnEdges, edges);
    // A chosen node in full, its neighbours by name only.
    const Reply part = service.handle("POST", "/api/picture", R"({"nodes": ["lung"]})");
    ASSERT_EQ(part.status, 200);
    EXPECT_NE(part.body.find("id=\"a_h3\""), std::string::npos);
    EXPECT_EQ(part.body.find("id=\"a_h2\""), std::string::npos);
    EXPECT_NE(part.body.find("<title>smoke</title>"), std::string::npos);
}

}  // namespace
}  // namespace samplenet
