// The test kit's scripted login flow, as a host's test relies on it: how each login ends, on
// which thread, what the flow answers meanwhile, and the order of session sink and listener.
#include "ScriptedLogin.h"

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "TestSync.h"

using quil::LoginOutcome;
using quil::LoginScript;
using quil::ScriptedLogin;
using quil::ScriptedSingleAccountLogin;

namespace {

// Records how a login ended, what the flow said at that moment, and on which thread.
class RecordingListener : public OnLoginListener {
public:
    explicit RecordingListener(const ScriptedLogin* login, std::vector<std::string>* trace,
                               std::mutex* traceMutex)
        : login_(login), trace_(trace), traceMutex_(traceMutex) {}

    void onLoginSuccess() override { Record("success"); }
    void onLoginFail() override { Record("fail"); }
    void onLoginCancel() override { Record("cancel"); }

    bool WaitForEnd() { return ended_.Wait(); }
    std::thread::id Thread() const { return thread_; }
    bool LoginingAtEnd() const { return loginingAtEnd_; }

private:
    void Record(const std::string& outcome) {
        thread_ = std::this_thread::get_id();
        // A flow being destroyed is not asked.
        loginingAtEnd_ = login_ != nullptr && login_->isLogining("alice");
        {
            std::lock_guard<std::mutex> lock(*traceMutex_);
            trace_->push_back(outcome);
        }
        ended_.CountDown();
    }

    const ScriptedLogin* login_;
    std::vector<std::string>* trace_;
    std::mutex* traceMutex_;
    quil::test::Latch ended_{1};
    std::thread::id thread_;
    bool loginingAtEnd_ = true;
};

class ScriptedLoginTest : public ::testing::Test {
protected:
    ScriptedLoginTest() : listener(&login, &trace, &traceMutex) {
        login.SetSessionSink([this](const std::string& account, const std::string& sid) {
            std::lock_guard<std::mutex> lock(traceMutex);
            trace.push_back("sink " + account + " " + sid);
        });
    }

    std::vector<std::string> Trace() {
        std::lock_guard<std::mutex> lock(traceMutex);
        return trace;
    }

    std::mutex traceMutex;  // guards trace
    std::vector<std::string> trace;
    ScriptedLogin login;
    RecordingListener listener;
};

LoginScript Script(LoginOutcome outcome, bool held, int delayMs = 0) {
    LoginScript script;
    script.outcome = outcome;
    script.held = held;
    script.delay = std::chrono::milliseconds(delayMs);
    script.sid = "sid-new";
    script.uid = "uid-new";
    return script;
}

}  // namespace

TEST_F(ScriptedLoginTest, AHeldLoginRunsOnAThreadOfItsOwnUntilReleased) {
    login.Script("alice", Script(LoginOutcome::Succeed, true));
    login.login("alice", &listener);
    EXPECT_TRUE(login.isLogining("alice"));
    EXPECT_FALSE(login.isLogining("bob"));
    EXPECT_FALSE(login.isSessionValid("alice"));
    EXPECT_EQ(login.getLoginContext("alice"), nullptr);
    EXPECT_TRUE(Trace().empty());
    EXPECT_EQ(login.Release("alice"), 1u);
    ASSERT_TRUE(listener.WaitForEnd());
    ASSERT_TRUE(login.WaitIdle(quil::test::kWaitLimit));
    EXPECT_NE(listener.Thread(), std::this_thread::get_id());
    // The gateway hears of the session first; the flow says "not logging in" by the report.
    EXPECT_EQ(Trace(), (std::vector<std::string>{"sink alice sid-new", "success"}));
    EXPECT_FALSE(listener.LoginingAtEnd());
    EXPECT_TRUE(login.isSessionValid("alice"));
    ASSERT_NE(login.getLoginContext("alice"), nullptr);
    EXPECT_EQ(login.getLoginContext("alice")->sid, "sid-new");
    EXPECT_EQ(login.getLoginContext("alice")->uid, "uid-new");
    EXPECT_EQ(login.LoginCount("alice"), 1u);
}

TEST_F(ScriptedLoginTest, ADelayBelowZeroEndsTheLoginInsideTheCall) {
    login.Script("alice", Script(LoginOutcome::Fail, false, -1));
    login.login("alice", &listener);
    EXPECT_EQ(Trace(), (std::vector<std::string>{"fail"}));
    EXPECT_EQ(listener.Thread(), std::this_thread::get_id());
    EXPECT_FALSE(listener.LoginingAtEnd());
}

TEST_F(ScriptedLoginTest, AFailureOrCancelLeavesTheSessionAsItWas) {
    login.SetSessionValid("alice", false);
    login.SetContext("alice", "sid-old", "uid-old");
    login.Script("alice", Script(LoginOutcome::Cancel, false, 1));
    login.login("alice", &listener);
    ASSERT_TRUE(listener.WaitForEnd());
    ASSERT_TRUE(login.WaitIdle(quil::test::kWaitLimit));
    EXPECT_EQ(Trace(), (std::vector<std::string>{"cancel"}));
    EXPECT_FALSE(login.isSessionValid("alice"));
    EXPECT_EQ(login.getLoginContext("alice")->sid, "sid-old");
}

TEST_F(ScriptedLoginTest, WithoutAScriptALoginFollowsTheChooser) {
    login.login("", &listener);
    ASSERT_TRUE(login.WaitIdle(quil::test::kWaitLimit));
    EXPECT_EQ(Trace(), (std::vector<std::string>{"sink Default scripted-sid", "success"}));
    EXPECT_EQ(login.getLoginContext("Default")->uid, "scripted-uid");
    EXPECT_EQ(login.LoginCount(""), 1u);
    EXPECT_EQ(login.LoginCount(), 1u);
}

TEST_F(ScriptedLoginTest, TheSingleAccountFaceActsOnTheDefaultAccount) {
    ScriptedSingleAccountLogin single(&login);
    login.SetContext("Default", "sid-d", "uid-d");
    login.SetSessionValid("", true);
    EXPECT_TRUE(single.isSessionValid());
    EXPECT_EQ(single.getLoginContext()->sid, "sid-d");
    login.Script("Default", Script(LoginOutcome::Succeed, true));
    single.login(&listener);
    EXPECT_TRUE(single.isLogining());
    EXPECT_TRUE(login.WaitForLogins("Default", 1, quil::test::kWaitLimit));
    login.Release("");
    ASSERT_TRUE(login.WaitIdle(quil::test::kWaitLimit));
    EXPECT_EQ(single.getLoginContext()->sid, "sid-new");
}

TEST_F(ScriptedLoginTest, TheDestructorEndsHeldLoginsAndJoinsTheirThreads) {
    std::unique_ptr<ScriptedLogin> scoped(new ScriptedLogin());
    scoped->Script("alice", Script(LoginOutcome::Fail, true));
    RecordingListener own(nullptr, &trace, &traceMutex);
    scoped->login("alice", &own);
    scoped.reset();
    EXPECT_EQ(Trace(), (std::vector<std::string>{"fail"}));
}
