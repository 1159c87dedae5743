// The wiring a host relies on before any call: the test executables live in bin/, beside the
// folder the library loads the stand-in security library from, and the library really loads it
// by that path at the first call; a call that lacks its one dependency never reaches the network.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "E2eHost.h"

namespace quil {
namespace test {
namespace {

TEST(Wiring, ExecutablesLieBesideTheSecurityFolder) {
    const std::filesystem::path build(QUIL_TEST_BINARY_DIR);
    // The library resolves "..\SafeGuard\OruSafePath.dll" against its executable's folder.
    EXPECT_TRUE(std::filesystem::exists(build / "bin" / "e2e_WiringTest") ||
                std::filesystem::exists(build / "bin" / "e2e_WiringTest.exe"));
    EXPECT_TRUE(std::filesystem::exists(build / "SafeGuard" / "OruSafePath.dll"));
    EXPECT_TRUE(std::filesystem::exists(build / "SafeGuard" / "OruSafeProxy.dll"));
}

TEST(Wiring, FirstCallLoadsTheStandInByItsPath) {
    E2eHost host;
    ASSERT_TRUE(host.Start());
    EXPECT_EQ(host.StandIn().Count("path.getDirectory"), 0);
    ResponsePtr response = host.Call(QuilRequest::Create("e2e.echo", "1.0"));

    ASSERT_NE(response, nullptr);
    EXPECT_TRUE(response->IsSuccess());
    // The path module was asked for its folder, and the signing module signed the call.
    EXPECT_GE(host.StandIn().Count("path.getDirectory"), 1);
    EXPECT_EQ(host.StandIn().Count("jsonSign.sign"), 1);
}

TEST(Wiring, CallWithoutAppKeyFailsBeforeTheNetwork) {
    E2eHost host;
    ASSERT_TRUE(host.Start());
    QuilConfig::GetInstance()->appKey = "";
    ResponsePtr response = host.Call(QuilRequest::Create("e2e.echo", "1.0"));

    ASSERT_NE(response, nullptr);
    EXPECT_EQ(response->GetStatusCode(), 0);
    EXPECT_EQ(response->GetRetInfo()->retCode, "FAIL_SYS_DEPENDENCY_LOST");
    EXPECT_EQ(response->GetRetInfo()->retMsg, "check dependency fail");
    EXPECT_EQ(response->GetRetInfo()->errorType, 1);
    EXPECT_EQ(host.Client().Count(), 0u);
    EXPECT_EQ(host.Gateway().RequestCount(), 0u);
    EXPECT_EQ(host.Gateway().AcceptedConnections(), 0u);
}

}  // namespace
}  // namespace test
}  // namespace quil
