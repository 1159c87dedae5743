// The curl transport against real servers on 127.0.0.1: what goes on the wire, what comes back.
#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "HttpRequest.h"
#include "HttpResponse.h"
#include "LocalHttpServer.h"
#include "RawHttpRecorder.h"
#include "quil/CurlHttpClient.h"

namespace {

using quil::CurlHttpClient;
using quil::CurlHttpClientOptions;
using quil::test::LocalHttpServer;
using quil::test::RawHttpRecorder;

const char kContentType[] = "Content-Type: application/x-www-form-urlencoded;charset=utf-8";

std::string Local(int port, const std::string& path) {
    return "http://127.0.0.1:" + std::to_string(port) + path;
}

HttpRequest* NewRequest(int method, const std::string& url,
                        const std::vector<std::string>& header = {}, const std::string& body = "") {
    auto* request = new HttpRequest();
    request->method = method;
    request->url = url;
    request->header = header;
    request->body = body;
    return request;
}

// Sends and checks that the response owns the very request handed over.
std::unique_ptr<HttpResponse> Send(CurlHttpClient& client, HttpRequest* request) {
    std::unique_ptr<HttpResponse> response(client.SendHttpRequest(request));
    EXPECT_NE(response, nullptr);
    if (response) {
        EXPECT_EQ(response->request, request);
    }
    return response;
}

std::string Text(const std::vector<char>& bytes) { return std::string(bytes.begin(), bytes.end()); }

// A socket bound to a loopback port that does not listen: connecting to it is refused.
class RefusingPort {
public:
    RefusingPort() {
        fd_ = ::socket(AF_INET, SOCK_STREAM, 0);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        EXPECT_EQ(::bind(fd_, reinterpret_cast<sockaddr*>(&address), sizeof(address)), 0);
        socklen_t length = sizeof(address);
        ::getsockname(fd_, reinterpret_cast<sockaddr*>(&address), &length);
        port_ = ntohs(address.sin_port);
    }
    ~RefusingPort() { ::close(fd_); }
    int Port() const { return port_; }

private:
    int fd_ = -1;
    int port_ = 0;
};

const std::string kBinary = std::string("a\0b\xff\xfe\r\n", 7) + "\xe6\x95\xb0\xe6\x8d\xae &=+%";

}  // namespace

TEST(CurlHttpClient, SendsTheHeaderLinesExactlyAndInOrder) {
    RawHttpRecorder recorder;
    CurlHttpClient client;
    auto response = Send(client, NewRequest(0, Local(recorder.Port(), "/gw/a/1.0/?data=%7B%7D"),
                                            {"host:gw.quil.example", "x-utdid:u%2B1", "x-t:17",
                                             "x-pv:6.3", kContentType}));
    ASSERT_EQ(response->statusCode, 200);
    const auto requests = recorder.WaitForRequests(1);
    ASSERT_EQ(requests.size(), 1u);
    // libcurl's own Accept-Encoding comes first, then the given lines as written.
    EXPECT_EQ(requests[0],
              "GET /gw/a/1.0/?data=%7B%7D HTTP/1.1\r\n"
              "Accept-Encoding: gzip, deflate\r\n"
              "host:gw.quil.example\r\n"
              "x-utdid:u%2B1\r\n"
              "x-t:17\r\n"
              "x-pv:6.3\r\n" +
                  std::string(kContentType) + "\r\n\r\n");
}

TEST(CurlHttpClient, ALineWithAnEmptyValueGoesOutAsAnEmptyHeader) {
    RawHttpRecorder recorder;
    CurlHttpClient client;
    auto response = Send(client, NewRequest(0, Local(recorder.Port(), "/"),
                                            {"x-a:1", "x-reqbiz-ext:", "x-blank:  ", "x-b:2"}));
    ASSERT_EQ(response->statusCode, 200);
    const auto requests = recorder.WaitForRequests(1);
    ASSERT_EQ(requests.size(), 1u);
    EXPECT_NE(requests[0].find("\r\nx-a:1\r\nx-reqbiz-ext:\r\nx-blank:\r\nx-b:2\r\n"),
              std::string::npos)
        << requests[0];
}

TEST(CurlHttpClient, TheHostLineSetsHostAndNoOtherHostIsSent) {
    RawHttpRecorder recorder;
    CurlHttpClient client;
    auto response = Send(
        client, NewRequest(0, Local(recorder.Port(), "/"), {"x-first:1", "host:gw.quil.example"}));
    ASSERT_EQ(response->statusCode, 200);
    const auto requests = recorder.WaitForRequests(1);
    ASSERT_EQ(requests.size(), 1u);
    EXPECT_NE(requests[0].find("\r\nx-first:1\r\nhost:gw.quil.example\r\n"), std::string::npos);
    EXPECT_EQ(requests[0].find("Host:"), std::string::npos) << requests[0];
    EXPECT_EQ(requests[0].find("127.0.0.1"), std::string::npos) << requests[0];
}

TEST(CurlHttpClient, WithoutAHostLineTheHostComesFromTheUrl) {
    RawHttpRecorder recorder;
    CurlHttpClient client;
    auto response = Send(client, NewRequest(0, Local(recorder.Port(), "/"), {"x-a:1"}));
    ASSERT_EQ(response->statusCode, 200);
    const auto requests = recorder.WaitForRequests(1);
    ASSERT_EQ(requests.size(), 1u);
    EXPECT_NE(requests[0].find("\r\nHost: 127.0.0.1:" + std::to_string(recorder.Port()) + "\r\n"),
              std::string::npos)
        << requests[0];
}

TEST(CurlHttpClient, PostSendsTheBodyByteForByteWithOnlyContentLengthAdded) {
    RawHttpRecorder recorder;
    CurlHttpClient client;
    auto response =
        Send(client, NewRequest(1, Local(recorder.Port(), "/p"), {"host:h.example"}, kBinary));
    ASSERT_EQ(response->statusCode, 200);
    const auto requests = recorder.WaitForRequests(1);
    ASSERT_EQ(requests.size(), 1u);
    EXPECT_EQ(requests[0],
              "POST /p HTTP/1.1\r\nAccept-Encoding: gzip, deflate\r\nhost:h.example\r\n"
              "Content-Length: " +
                  std::to_string(kBinary.size()) + "\r\n\r\n" + kBinary);
}

TEST(CurlHttpClient, AnEmptyPostSendsContentLengthZero) {
    RawHttpRecorder recorder;
    CurlHttpClient client;
    auto response = Send(client, NewRequest(1, Local(recorder.Port(), "/p"), {kContentType}));
    ASSERT_EQ(response->statusCode, 200);
    const auto requests = recorder.WaitForRequests(1);
    ASSERT_EQ(requests.size(), 1u);
    EXPECT_EQ(requests[0],
              "POST /p HTTP/1.1\r\nHost: 127.0.0.1:" + std::to_string(recorder.Port()) +
                  "\r\nAccept-Encoding: gzip, deflate\r\n" + kContentType +
                  "\r\nContent-Length: 0\r\n\r\n");
}

TEST(CurlHttpClient, ALargePostGoesWithoutExpectOrAnyHeaderNotGiven) {
    RawHttpRecorder recorder;
    CurlHttpClient client;
    const std::string body(3 * 1024 * 1024, 'z');
    auto response =
        Send(client, NewRequest(1, Local(recorder.Port(), "/big"), {"host:h.example"}, body));
    ASSERT_EQ(response->statusCode, 200);
    const auto requests = recorder.WaitForRequests(1);
    ASSERT_EQ(requests.size(), 1u);
    EXPECT_EQ(requests[0],
              "POST /big HTTP/1.1\r\nAccept-Encoding: gzip, deflate\r\n"
              "host:h.example\r\nContent-Length: 3145728\r\n\r\n" +
                  body);
}

TEST(CurlHttpClient, AGetSendsNoBody) {
    RawHttpRecorder recorder;
    CurlHttpClient client;
    auto response =
        Send(client, NewRequest(0, Local(recorder.Port(), "/g"), {"host:h.example"}, "ignored"));
    ASSERT_EQ(response->statusCode, 200);
    const auto requests = recorder.WaitForRequests(1);
    ASSERT_EQ(requests.size(), 1u);
    EXPECT_EQ(requests[0],
              "GET /g HTTP/1.1\r\nAccept-Encoding: gzip, deflate\r\nhost:h.example\r\n\r\n");
}

TEST(CurlHttpClient, WithNoEncodingOfferedOnlyTheGivenLinesGo) {
    RawHttpRecorder recorder;
    CurlHttpClientOptions options;
    options.acceptEncoding = "";
    CurlHttpClient client(options);
    auto response =
        Send(client, NewRequest(1, Local(recorder.Port(), "/zent/mobileDispatch"),
                                {"host:h.example", "Connection:close", "Accept-Encoding:gzip",
                                 "Content-Type: application/x-www-form-urlencoded"},
                                "a=1"));
    ASSERT_EQ(response->statusCode, 200);
    const auto requests = recorder.WaitForRequests(1);
    ASSERT_EQ(requests.size(), 1u);
    EXPECT_EQ(requests[0],
              "POST /zent/mobileDispatch HTTP/1.1\r\nhost:h.example\r\nConnection:close\r\n"
              "Accept-Encoding:gzip\r\nContent-Type: application/x-www-form-urlencoded\r\n"
              "Content-Length: 3\r\n\r\na=1");
}

TEST(CurlHttpClient, FillsStatusTheRawHeaderBlockAndTheBody) {
    RawHttpRecorder recorder;
    recorder.SetReply("HTTP/1.1 201 Created\r\nx-retcode: SUCCESS\r\nContent-Length: " +
                      std::to_string(kBinary.size()) + "\r\n\r\n" + kBinary);
    CurlHttpClient client;
    auto response = Send(client, NewRequest(0, Local(recorder.Port(), "/")));
    EXPECT_EQ(response->statusCode, 201);
    EXPECT_EQ(Text(response->header),
              "HTTP/1.1 201 Created\r\nx-retcode: SUCCESS\r\n"
              "Content-Length: " +
                  std::to_string(kBinary.size()) + "\r\n\r\n");
    EXPECT_EQ(Text(response->body), kBinary);
    EXPECT_EQ(response->errorMessage, "");
}

TEST(CurlHttpClient, KeepsOnlyTheFinalHeaderBlockAfterAnInterimAnswer) {
    RawHttpRecorder recorder;
    recorder.SetReply(
        "HTTP/1.1 100 Continue\r\nx-interim: 1\r\n\r\n"
        "HTTP/1.1 500 Internal Server Error\r\nContent-Length: 3\r\n\r\nbad");
    CurlHttpClient client;
    auto response = Send(client, NewRequest(1, Local(recorder.Port(), "/"), {}, "d=1"));
    EXPECT_EQ(response->statusCode, 500);
    EXPECT_EQ(Text(response->header),
              "HTTP/1.1 500 Internal Server Error\r\nContent-Length: 3\r\n\r\n");
    EXPECT_EQ(Text(response->body), "bad");
}

TEST(CurlHttpClient, HeaderLinesEndedByABareLineFeedAreHandedOverWithCrLf) {
    RawHttpRecorder recorder;
    recorder.SetReply("HTTP/1.1 200 OK\nx-a: b\nContent-Length: 0\n\n");
    CurlHttpClient client;
    auto response = Send(client, NewRequest(0, Local(recorder.Port(), "/")));
    EXPECT_EQ(response->statusCode, 200);
    EXPECT_EQ(Text(response->header), "HTTP/1.1 200 OK\r\nx-a: b\r\nContent-Length: 0\r\n\r\n");
    EXPECT_TRUE(response->body.empty());
}

TEST(CurlHttpClient, RepeatedCallsToOneHostReuseOneConnection) {
    RawHttpRecorder recorder;
    CurlHttpClient client;
    for (int i = 0; i < 20; ++i) {
        auto response = Send(client, NewRequest(i % 2, Local(recorder.Port(), "/"), {}, "x=1"));
        ASSERT_EQ(response->statusCode, 200);
    }
    EXPECT_EQ(recorder.WaitForRequests(20).size(), 20u);
    EXPECT_EQ(recorder.AcceptedConnections(), 1u);
}

TEST(CurlHttpClient, RepeatedCallsReuseOneConnectionOnAKeepAliveServer) {
    LocalHttpServer server;
    server.Server().Get("/ok", [](const httplib::Request&, httplib::Response& response) {
        response.set_content("ok", "application/octet-stream");
    });
    server.Start();
    CurlHttpClient client;
    for (int i = 0; i < 20; ++i) {
        auto response = Send(client, NewRequest(0, server.Url("/ok")));
        ASSERT_EQ(response->statusCode, 200);
        ASSERT_EQ(Text(response->body), "ok");
    }
    EXPECT_EQ(server.Connections(), 1u);
}

TEST(CurlHttpClient, ARefusedConnectionGivesStatusZeroAndLibcurlsMessage) {
    RefusingPort port;
    CurlHttpClient client;
    auto response = Send(client, NewRequest(0, Local(port.Port(), "/gw/a/1.0/")));
    EXPECT_EQ(response->statusCode, 0);
    EXPECT_TRUE(response->body.empty());
    EXPECT_TRUE(response->header.empty());
    const std::string prefix =
        "Failed to connect to 127.0.0.1 port " + std::to_string(port.Port()) + " after ";
    EXPECT_EQ(response->errorMessage.rfind(prefix, 0), 0u) << response->errorMessage;
    const std::string suffix = " ms: Couldn't connect to server";
    ASSERT_GT(response->errorMessage.size(), suffix.size());
    EXPECT_EQ(response->errorMessage.substr(response->errorMessage.size() - suffix.size()), suffix);
}

TEST(CurlHttpClient, AnAnswerSlowerThanTheTotalTimeOutGivesStatusZero) {
    LocalHttpServer server;
    std::mutex mutex;
    std::condition_variable released;
    bool release = false;
    server.Server().Get("/slow", [&](const httplib::Request&, httplib::Response& response) {
        std::unique_lock<std::mutex> lock(mutex);
        released.wait_for(lock, std::chrono::seconds(10), [&] { return release; });
        response.set_content("late", "application/octet-stream");
    });
    server.Start();
    CurlHttpClientOptions options;
    options.totalTimeoutMs = 300;
    CurlHttpClient client(options);
    auto response = Send(client, NewRequest(0, server.Url("/slow")));
    {
        std::lock_guard<std::mutex> lock(mutex);
        release = true;
    }
    released.notify_all();
    EXPECT_EQ(response->statusCode, 0);
    EXPECT_TRUE(response->body.empty());
    EXPECT_EQ(response->errorMessage.rfind("Operation timed out after ", 0), 0u)
        << response->errorMessage;
}

TEST(CurlHttpClient, ConnectToSendsAHostAndPortToALocalPort) {
    RawHttpRecorder recorder;
    CurlHttpClientOptions options;
    options.connectTo = {"dispatch.quil.example:80:127.0.0.1:" + std::to_string(recorder.Port())};
    CurlHttpClient client(options);
    auto response =
        Send(client,
             NewRequest(1, "http://dispatch.quil.example/zent/mobileDispatch?appkey=1", {}, "s=1"));
    EXPECT_EQ(response->statusCode, 200);
    EXPECT_EQ(Text(response->body), "ok");
    const auto requests = recorder.WaitForRequests(1);
    ASSERT_EQ(requests.size(), 1u);
    EXPECT_EQ(requests[0].rfind("POST /zent/mobileDispatch?appkey=1 HTTP/1.1\r\n"
                                "Host: dispatch.quil.example\r\n",
                                0),
              0u)
        << requests[0];
}

TEST(CurlHttpClient, TheProxyFieldSendsTheRequestThroughTheProxy) {
    RawHttpRecorder proxy;
    CurlHttpClient client;
    HttpRequest* request =
        NewRequest(0, "http://gw.quil.example/gw/a/1.0/?data=1", {"host:gw.quil.example"});
    request->proxy = Local(proxy.Port(), "");
    auto response = Send(client, request);
    EXPECT_EQ(response->statusCode, 200);
    const auto requests = proxy.WaitForRequests(1);
    ASSERT_EQ(requests.size(), 1u);
    EXPECT_EQ(requests[0].rfind("GET http://gw.quil.example/gw/a/1.0/?data=1 HTTP/1.1\r\n", 0), 0u)
        << requests[0];
    EXPECT_NE(requests[0].find("\r\nhost:gw.quil.example\r\n"), std::string::npos);
}

TEST(CurlHttpClient, AnUnsupportedMethodIsAFailureResponse) {
    RawHttpRecorder recorder;
    CurlHttpClient client;
    auto response = Send(client, NewRequest(4, Local(recorder.Port(), "/")));
    EXPECT_EQ(response->statusCode, 0);
    EXPECT_TRUE(response->body.empty());
    EXPECT_EQ(response->errorMessage, "unsupported method 4 (0 is GET, 1 is POST)");
    EXPECT_EQ(recorder.AcceptedConnections(), 0u);
}

TEST(CurlHttpClient, AnEmptyUrlIsAFailureResponseWithLibcurlsMessage) {
    CurlHttpClient client;
    auto response = Send(client, NewRequest(0, ""));
    EXPECT_EQ(response->statusCode, 0);
    EXPECT_TRUE(response->body.empty());
    EXPECT_FALSE(response->errorMessage.empty());
}

TEST(CurlHttpClient, OnlyHttpAndHttpsUrlsAreFetched) {
    CurlHttpClient client;
    auto response = Send(client, NewRequest(0, "file:///etc/hostname"));
    EXPECT_EQ(response->statusCode, 0);
    EXPECT_TRUE(response->body.empty());
    EXPECT_EQ(response->errorMessage, "Protocol \"file\" not supported or disabled in libcurl");
}

TEST(CurlHttpClient, AHeaderLineWithALineBreakIsRefusedUnsent) {
    RawHttpRecorder recorder;
    CurlHttpClient client;
    auto response =
        Send(client, NewRequest(0, Local(recorder.Port(), "/"), {"x-a:1\r\nx-injected:2"}));
    EXPECT_EQ(response->statusCode, 0);
    EXPECT_EQ(response->errorMessage, "header line contains CR, LF or NUL");
    EXPECT_EQ(recorder.AcceptedConnections(), 0u);
}

TEST(CurlHttpClient, AHeaderLineWithoutANameIsRefusedUnsent) {
    RawHttpRecorder recorder;
    CurlHttpClient client;
    auto response = Send(client, NewRequest(0, Local(recorder.Port(), "/"), {"no-colon"}));
    EXPECT_EQ(response->statusCode, 0);
    EXPECT_EQ(response->errorMessage, "header line without a name and colon: no-colon");
    EXPECT_EQ(recorder.AcceptedConnections(), 0u);
}

TEST(CurlHttpClient, ANullRequestGivesNull) {
    CurlHttpClient client;
    EXPECT_EQ(client.SendHttpRequest(nullptr), nullptr);
}
