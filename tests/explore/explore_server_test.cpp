#include "lib/explore/explore_server.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <httplib.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "lib/explore/explore_request.h"
#include "lib/formats/formats.h"
#include "tests/support/error_message.h"

namespace samplenet {
namespace {

// Checks a refused request's status and the message its JSON body gives.
void expectRefused(const httplib::Result& result, int status, const std::string& message) {
    ASSERT_TRUE(result);
    EXPECT_EQ(result->status, status);
    EXPECT_EQ(nlohmann::json::parse(result->body).at("error").get<std::string>(), message);
}

// A socket connected to the server on loopback, or -1.
int connectedSocket(int port) {
    const int fd = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0) return fd;
    close(fd);
    return -1;
}

// Writes raw bytes to the server and returns what it answers.
std::string rawExchange(int port, const std::string& bytes) {
    const int fd = connectedSocket(port);
    if (fd < 0) return "";
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
    const std::string oversized(kMaxExploreRequestBytes + 1, ' ');
    expectRefused(client.Post("/api/posteriors", oversized, "application/json"), 413,
                  "the request body is larger than the 1048576 bytes allowed");
    expectStillAnswering();

    const auto wrongMethod = client.Get("/api/posteriors");
    ASSERT_TRUE(wrongMethod);
    expectRefused(wrongMethod, 405, "/api/posteriors takes POST, not GET");
    EXPECT_EQ(wrongMethod->get_header_value("Allow"), "POST");
    expectStillAnswering();

    const std::string garbage = rawExchange(server.port(), "\x01\xff not http at all\r\n\r\n");
    // The library either answers 400 or just closes the connection.
    EXPECT_TRUE(garbage.empty() || garbage.rfind("HTTP/1.1 400", 0) == 0) << garbage;
    expectStillAnswering();
}

// A web page elsewhere that points its own host name at this machine sends
// its own name in Host; such requests are refused.
TEST_F(ExploreServerTest, RefusesRequestsAddressedToAnotherHost) {
    expectRefused(client.Get("/api/network", {{"Host", "attacker.example:" + std::to_string(server.port())}}), 403,
                  "this server answers only requests addressed to " + server.url());
    expectStillAnswering();
}

// Any page the user visits may POST here: a plain-text body goes without
// the browser asking first, and the page's origin goes along in Origin.
TEST_F(ExploreServerTest, WorkIsStartedOnlyByJsonRequestsFromItsOwnPage) {
    const std::string body = R"({"evidence": ["smoke=yes"]})";
    const std::string port = std::to_string(server.port());
    expectRefused(client.Post("/api/posteriors", body, "text/plain"), 415,
                  "POST requests must send Content-Type: application/json");
    const std::vector<std::string> foreigners{"http://attacker.example", "null",
                                              "http://127.0.0.1:" + std::to_string(server.port() + 1)};
    for (const std::string& foreign : foreigners) {
        expectRefused(client.Post("/api/picture", {{"Origin", foreign}}, R"({"nodes": []})", "application/json"), 403,
                      "this server answers only its own page (" + server.url() + "), not requests from " + foreign);
    }
    for (const std::string& own : std::vector<std::string>{"http://127.0.0.1:" + port, "http://localhost:" + port}) {
        const auto result = client.Post("/api/posteriors", {{"Origin", own}}, body, "application/json; charset=utf-8");
        ASSERT_TRUE(result);
        EXPECT_EQ(result->status, 200) << own;
    }
    expectStillAnswering();
}

// Clients that open connections and send slowly or not at all hold a thread
// each; the page must still answer, and idle ones are closed after seconds.
TEST_F(ExploreServerTest, ThePageAnswersWhileSlowClientsHoldConnections) {
    const auto opened = std::chrono::steady_clock::now();
    std::vector<int> slow;
    for (int i = 0; i < 30; ++i) {
        const int fd = connectedSocket(server.port());
        ASSERT_GE(fd, 0);
        const std::string start = "POST /api/posteriors HTTP/1.1\r\nHost: 127.0.0.1:" + std::to_string(server.port()) + "\r\n";
        ASSERT_EQ(write(fd, start.data(), start.size()), static_cast<ssize_t>(start.size()));
        slow.push_back(fd);
    }
    httplib::Client page("127.0.0.1", server.port());
    page.set_connection_timeout(2);
    page.set_read_timeout(2);
    const auto answer = page.Get("/");
    ASSERT_TRUE(answer) << "no answer within 2 s";
    EXPECT_EQ(answer->status, 200);
    EXPECT_LT(std::chrono::steady_clock::now() - opened, std::chrono::seconds(2));

    // Each is answered 400 once the server has waited 3 s for the rest.
    for (const int fd : slow) {
        std::string answered;
        char buffer[512];
        for (ssize_t got = 1; got > 0 && answered.find("\r\n") == std::string::npos;) {
            const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
                opened + std::chrono::milliseconds(4500) - std::chrono::steady_clock::now());
            pollfd ready{fd, POLLIN, 0};
            if (poll(&ready, 1, static_cast<int>(std::max<long>(0, left.count()))) != 1) break;
            got = read(fd, buffer, sizeof buffer);
            if (got > 0) answered.append(buffer, static_cast<std::size_t>(got));
        }
        EXPECT_EQ(answered.substr(0, answered.find("\r\n")), "HTTP/1.1 400 Bad Request") << "no answer after 4.5 s";
        close(fd);
    }
}

TEST_F(ExploreServerTest, AGivenPortInUseIsAClearError) {
    EXPECT_EQ(testing_support::messageOf<std::runtime_error>([&] { ExploreServer second(service, server.port()); }),
              "cannot listen on 127.0.0.1:" + std::to_string(server.port()) + " (in use?)");
}

}  // namespace
}  // namespace samplenet
