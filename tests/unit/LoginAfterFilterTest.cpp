#include "LoginAfterFilter.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "QuilCallbackRecorder.h"
#include "QuilConfig.h"
#include "QuilRequestImpl.h"
#include "QuilResponseImpl.h"
#include "RecordingRemoteLogin.h"
#include "RemoteLogin.h"
#include "RequestPool.h"
#include "ServiceTestFixture.h"
#include "ServiceTestHost.h"

using quil::test::QuilCallbackRecorder;
using quil::test::RecordingMultiLogin;
using quil::test::ServiceTestHost;

namespace {

class LoginAfterFilterTest : public quil::test::ServiceTestFixture {
protected:
    void SetUp() override {
        ServiceTestFixture::SetUp();
        RemoteLogin::setLoginImpl(&Flow());
    }
    void TearDown() override {
        RequestPool::failAllRequest("alice");
        ServiceTestFixture::TearDown();
    }

    // A gateway response for a request of account alice that needs a session; the response
    // owns the request. expired puts "x-retcode: FAIL_SYS_SESSION_EXPIRED" in its headers.
    std::unique_ptr<QuilResponseImpl> Make(int id, int isAsync, bool expired) {
        QuilRequestImpl* request = new QuilRequestImpl("mtop.login.api", "1.0");
        request->SetNeedLogin(true);
        request->SetUserInfo("alice");
        request->SetId(id);
        request->isAsync = isAsync;
        recorder.Attach(request);
        service->OpenMetrics(request);
        std::unique_ptr<QuilResponseImpl> response(new QuilResponseImpl());
        response->request.reset(request);
        response->statusCode = 200;
        response->retInfo.reset(new RetInfo());
        response->retInfo->retCode = "FAIL_SYS_SESSION_EXPIRED";
        response->retInfo->retMsg = "gateway says expired";
        response->retInfo->errorType = 3;
        if (expired) {
            response->headers["x-retcode"] = "FAIL_SYS_SESSION_EXPIRED";
        }
        return response;
    }

    void Handle(QuilResponseImpl* response) {
        filter.HandleResponse(response->request.get(), response, &result);
    }

    bool Logged(const std::string& message, int level = -1) {
        return ServiceTestHost::Log().Has(message, level);
    }

    LoginAfterFilter filter;
    FilterResult result;
};

}  // namespace

TEST_F(LoginAfterFilterTest, HasItsName) { EXPECT_STREQ(filter.GetName(), "a_login"); }

TEST_F(LoginAfterFilterTest, AnExpiredSessionOfARequestThatNeedsNoLoginGoesOn) {
    std::unique_ptr<QuilResponseImpl> response = Make(1, 1, true);
    response->request->SetNeedLogin(false);
    Handle(response.get());
    EXPECT_EQ(result.code, 0);
    EXPECT_TRUE(Logged("handle login after filter, id: 1", QUIL_LOG_VERBOSE));
    EXPECT_TRUE(Logged("request not need login, id: 1", QUIL_LOG_VERBOSE));
    EXPECT_FALSE(Logged("response need login, but session invalid, id: 1"));
    EXPECT_TRUE(Flow().Calls().empty());
}

TEST_F(LoginAfterFilterTest, AResponseWithoutTheHeaderGoesOnSilently) {
    // The code in the body alone does not count.
    std::unique_ptr<QuilResponseImpl> response = Make(2, 1, false);
    Handle(response.get());
    EXPECT_EQ(result.code, 0);
    EXPECT_TRUE(Logged("handle login after filter, id: 2", QUIL_LOG_VERBOSE));
    EXPECT_EQ(ServiceTestHost::Log().FindPrefix("response need login").message, "");
    EXPECT_FALSE(Logged("request not need login, id: 2"));
}

TEST_F(LoginAfterFilterTest, AHeaderInAnotherCaseDoesNotCount) {
    std::unique_ptr<QuilResponseImpl> response = Make(3, 1, false);
    response->headers["X-Retcode"] = "FAIL_SYS_SESSION_EXPIRED";
    Handle(response.get());
    EXPECT_EQ(result.code, 0);
}

TEST_F(LoginAfterFilterTest, AnExpiredSessionStopsASynchronousChainAndKeepsTheResponse) {
    std::unique_ptr<QuilResponseImpl> response = Make(4, 0, true);
    QuilRequest* request = response->request.get();
    Handle(response.get());
    EXPECT_EQ(result.code, 1);
    EXPECT_FALSE(result.waiting);
    EXPECT_EQ(result.response, nullptr);
    EXPECT_TRUE(Logged("response need login, but session invalid, id: 4", QUIL_LOG_ERROR));
    EXPECT_TRUE(
        Logged("sync request should not be auto login, will get fail, id: 4", QUIL_LOG_WARN));
    EXPECT_EQ(response->request.get(), request);
    EXPECT_EQ(response->retInfo->retMsg, "gateway says expired");
    EXPECT_EQ(response->retInfo->errorType, 3);
    EXPECT_EQ(RequestPool::Size(), 0u);
    EXPECT_TRUE(Flow().Calls().empty());
}

TEST_F(LoginAfterFilterTest, AnExpiredSessionParksAnAsynchronousRequestAndStartsALogin) {
    std::unique_ptr<QuilResponseImpl> response = Make(5, 1, true);
    Handle(response.get());
    // The pool owns the request from now on; the response lets go of it.
    response->request.release();
    EXPECT_EQ(result.code, 1);
    EXPECT_FALSE(result.waiting);
    EXPECT_EQ(result.response, nullptr);
    EXPECT_TRUE(Logged("response need login, but session invalid, id: 5", QUIL_LOG_ERROR));
    EXPECT_TRUE(Logged("async request addToRequestPool, id: 5", QUIL_LOG_INFO));
    EXPECT_EQ(RequestPool::Size(), 1u);
    EXPECT_EQ(Flow().Calls(), (std::vector<std::string>{"isLogining(alice)", "login(alice)"}));
    EXPECT_EQ(recorder.Count(), 0u);
    Flow().Listeners().at(0)->onLoginCancel();
    ASSERT_EQ(recorder.Count(), 1u);
    EXPECT_EQ(recorder.Deliveries()[0].retCode, "FAIL_SYS_RETRY_LIMIT");
}
