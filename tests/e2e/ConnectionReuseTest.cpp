// Connection reuse over the whole road: successive calls through the library and the curl
// adapter travel over one kept-alive TCP connection, as the gateway emulator counts them.
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "E2eHost.h"

namespace quil {
namespace test {
namespace {

TEST(ConnectionReuse, SuccessiveCallsShareOneConnection) {
    E2eHost host;
    ASSERT_TRUE(host.Start());
    const uint64_t before = host.Gateway().AcceptedConnections();
    const int kCalls = 4;
    for (int i = 0; i < kCalls; ++i) {
        QuilRequest* request = QuilRequest::Create("e2e.echo", "1.0");
        // GET and POST alternate; both ride the same connection.
        request->SetMethod(i % 2 == 0 ? 2 : 1);
        request->AddData("call", i);
        ResponsePtr response = host.Call(request);
        ASSERT_NE(response, nullptr);
        ASSERT_TRUE(response->IsSuccess()) << response->GetRetInfo()->retCode;
    }

    EXPECT_EQ(host.Gateway().AcceptedConnections() - before, 1u);
    const std::vector<ReceivedRequest> received = host.Gateway().Requests();
    ASSERT_EQ(received.size(), static_cast<std::size_t>(kCalls));
    for (int i = 0; i < kCalls; ++i) {
        EXPECT_EQ(received[i].method, i % 2 == 0 ? "POST" : "GET");
        EXPECT_EQ(received[i].connection, received[0].connection);
        EXPECT_EQ(received[i].indexOnConnection, static_cast<uint64_t>(i + 1));
        EXPECT_EQ(received[i].answerCode, "SUCCESS");
    }
}

}  // namespace
}  // namespace test
}  // namespace quil
