// The fixture of a test that drives the service: SetUp installs the test host with every send
// answered by a success (a test scripts others), TearDown retires it, so that no pass is left on
// a network worker when the sinks go. A test reaches the service, a recorder of callbacks, and
// the process's recording login flow (registered by the tests that need one; the library keeps
// the pointer, so the flow lives as long as the process).
#pragma once

#include <gtest/gtest.h>

#include "QuilCallbackRecorder.h"
#include "QuilServiceImpl.h"
#include "RecordingRemoteLogin.h"
#include "ServiceTestHost.h"

namespace quil {
namespace test {

class ServiceTestFixture : public ::testing::Test {
protected:
    void SetUp() override {
        service = ServiceTestHost::Install();
        ServiceTestHost::Client().SetDefault(ServiceTestHost::GatewayAnswer());
    }
    void TearDown() override { EXPECT_TRUE(ServiceTestHost::Retire()); }

    static RecordingMultiLogin& Flow() {
        static RecordingMultiLogin flow;
        return flow;
    }

    QuilServiceImpl* service = nullptr;
    QuilCallbackRecorder recorder;
};

}  // namespace test
}  // namespace quil
