#include "lib/explore/explore_server.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <httplib.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <nlohmann/json.hpp>
#include <string>

#include "lib/explore/explore_request.h"
#include "lib/formats/formats.h"

namespace samplenet {
namespace {

std::string errorOf(const httplib::Result& result) {
    return nlohmann::json::parse(result->body).at("error").get<std::string>();
}

// Writes raw bytes to the server and returns what it answers.
std::string rawExchange(int port, const std::string& bytes) {
    const int fd = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
        close(fd);
        return "";
    }
    (void)!write(fd, bytes.data(), bytes.size());
    shutdown(fd, SHUT_WR);
    std::string answer;
    char buffer[4096];
    for (ssize_t n; (n = read(fd, buffer, sizeof buffer)) > 0;) answer.append(buffer, static_cast<std::size_t>(n));
    close(fd);
    return answer;
}

class ExploreServerTest : public ::testing::Test {
protected:
    ExploreServerTest()
        : service("asia", readNetwork(std::string(SAMPLENET_TEST_DATA) + "/networks/asia.bif.gz"), exact()),
          server(service, 0),
          client("127.0.0.1", server.port()) {}

    static InferenceOptions exact() {
        InferenceOptions options;
        options.algorithm = Algorithm::Exact;
        return options;
    }

    void expectStillAnswering() {
        const auto result = client.Post("/api/posteriors", R"({"evidence": ["smoke=yes"]})", "application/json");
        ASSERT_TRUE(result);
        EXPECT_EQ(result->status, 200);
        EXPECT_EQ(nlohmann::json::parse(result->body).at("posteriors").size(), 8u);
    }

    ExploreService service;
    ExploreServer server;
    httplib::Client client;
};

TEST_F(ExploreServerTest, ServesThePageOnLoopbackAtAFreePort) {
    EXPECT_GT(server.port(), 0);
    EXPECT_EQ(server.url(), "http://127.0.0.1:" + std::to_string(server.port()) + "/");
    const auto page = client.Get("/");
    ASSERT_TRUE(page);
    EXPECT_EQ(page->status, 200);
    EXPECT_NE(page->body.find("<title>samplenet explore</title>"), std::string::npos);
    expectStillAnswering();
}

TEST_F(ExploreServerTest, BadRequestsGetTheirStatusAndMessageAndTheServerGoesOn) {
    const auto unknownNode = client.Post("/api/posteriors", R"({"evidence": ["Smoke=yes"]})", "application/json");
    ASSERT_TRUE(unknownNode);
    EXPECT_EQ(unknownNode->status, 400);
    EXPECT_EQ(errorOf(unknownNode), "unknown node \"Smoke\"");
    expectStillAnswering();

    const auto unknownState = client.Post("/api/posteriors", R"({"evidence": ["smoke=often"]})", "application/json");
    ASSERT_TRUE(unknownState);
    EXPECT_EQ(unknownState->status, 400);
    EXPECT_EQ(errorOf(unknownState), "unknown state \"often\" of \"smoke\"; valid states: yes, no");
    expectStillAnswering();

    const std::string oversized(kMaxExploreRequestBytes + 1, ' ');
    const auto tooLarge = client.Post("/api/posteriors", oversized, "application/json");
    ASSERT_TRUE(tooLarge);
    EXPECT_EQ(tooLarge->status, 413);
    EXPECT_EQ(errorOf(tooLarge), "the request body is larger than the 1048576 bytes allowed");
    expectStillAnswering();

    const auto wrongMethod = client.Get("/api/posteriors");
    ASSERT_TRUE(wrongMethod);
    EXPECT_EQ(wrongMethod->status, 405);
    EXPECT_EQ(wrongMethod->get_header_value("Allow"), "POST");
    EXPECT_EQ(errorOf(wrongMethod), "/api/posteriors takes POST, not GET");
    expectStillAnswering();

    const std::string garbage = rawExchange(server.port(), "\x01\xff not http at all\r\n\r\n");
    // The library either answers 400 or just closes the connection.
    EXPECT_TRUE(garbage.empty() || garbage.rfind("HTTP/1.1 400", 0) == 0) << garbage;
    expectStillAnswering();
}

// A web page elsewhere that points its own host name at this machine sends
// its own name in Host; such requests are refused.
TEST_F(ExploreServerTest, RefusesRequestsAddressedToAnotherHost) {
    const auto result = client.Get("/api/network", {{"Host", "attacker.example:" + std::to_string(server.port())}});
    ASSERT_TRUE(result);
    EXPECT_EQ(result->status, 403);
    EXPECT_EQ(errorOf(result), "this server answers only requests addressed to " + server.url());
    expectStillAnswering();
}

TEST_F(ExploreServerTest, AGivenPortInUseIsAClearError) {
    try {
        ExploreServer second(service, server.port());
        FAIL() << "bound twice";
    } catch (const std::runtime_error& error) {
        EXPECT_EQ(std::string(error.what()),
                  "cannot listen on 127.0.0.1:" + std::to_string(server.port()) + " (in use?)");
    }
}

}  // namespace
}  // namespace samplenet
