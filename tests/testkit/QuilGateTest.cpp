// quilgate as a process: it starts, prints the address it listens on, answers, and stops on
// SIGTERM and SIGINT.
#include <gtest/gtest.h>

#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>
#include <algorithm>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "HandComposedCall.h"
#include "RawHttpConnection.h"

extern char** environ;

namespace quil {
namespace {

constexpr char kPrefix[] = "quilgate listening on http://127.0.0.1:";

// One quilgate process with its standard output on a pipe.
class QuilGateProcess {
public:
    explicit QuilGateProcess(const std::vector<std::string>& flags) {
        int fds[2];
        if (::pipe(fds) != 0) {
            return;
        }
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, fds[1], STDOUT_FILENO);
        posix_spawn_file_actions_addclose(&actions, fds[0]);
        std::vector<std::string> args = {QUIL_QUILGATE_PATH};
        args.insert(args.end(), flags.begin(), flags.end());
        std::vector<char*> argv;
        for (std::string& arg : args) {
            argv.push_back(&arg[0]);
        }
        argv.push_back(nullptr);
        if (posix_spawn(&pid_, QUIL_QUILGATE_PATH, &actions, nullptr, argv.data(), environ) != 0) {
            pid_ = -1;
        }
        posix_spawn_file_actions_destroy(&actions);
        ::close(fds[1]);
        out_ = fds[0];
    }

    ~QuilGateProcess() {
        if (pid_ > 0) {
            ::kill(pid_, SIGKILL);
            int status = 0;
            ::waitpid(pid_, &status, 0);
        }
        if (out_ >= 0) {
            ::close(out_);
        }
    }

    // The next line of its output, waiting up to limitMs; "" when none came.
    std::string ReadLine(int limitMs = 20000) {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(limitMs);
        for (;;) {
            const std::size_t end = buffer_.find('\n');
            if (end != std::string::npos) {
                const std::string line = buffer_.substr(0, end);
                buffer_.erase(0, end + 1);
                return line;
            }
            const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
                deadline - std::chrono::steady_clock::now());
            pollfd entry{out_, POLLIN, 0};
            if (left.count() <= 0 || ::poll(&entry, 1, static_cast<int>(left.count())) <= 0) {
                return std::string();
            }
            char chunk[256];
            const ssize_t n = ::read(out_, chunk, sizeof(chunk));
            if (n <= 0) {
                return std::string();
            }
            buffer_.append(chunk, static_cast<std::size_t>(n));
        }
    }

    // Sends signal and waits for the exit; the exit status, or -1 when it did not end.
    int StopWith(int signal) {
        ::kill(pid_, signal);
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
        while (std::chrono::steady_clock::now() < deadline) {
            int status = 0;
            if (::waitpid(pid_, &status, WNOHANG) == pid_) {
                pid_ = -1;
                return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        return -1;
    }

    bool Started() const { return pid_ > 0 && out_ >= 0; }

private:
    pid_t pid_ = -1;
    int out_ = -1;
    std::string buffer_;
};

int PortOf(const std::string& line) {
    if (line.rfind(kPrefix, 0) != 0) {
        return 0;
    }
    return std::atoi(line.c_str() + sizeof(kPrefix) - 1);
}

std::string Wire(const std::string& appKey) {
    test::HandComposedCall call;
    call.appKey = appKey;
    call.timestamp = static_cast<long long>(std::time(nullptr));
    return call.Wire();
}

TEST(QuilGate, PrintsItsAddressAnswersAndStopsOnSigterm) {
    QuilGateProcess gate({"--appkey", "app-key-1", "--port", "0"});
    ASSERT_TRUE(gate.Started());
    const int port = PortOf(gate.ReadLine());
    ASSERT_GT(port, 0);
    test::RawHttpResponse response;
    ASSERT_TRUE(test::RoundTrip(port, Wire("app-key-1"), &response));
    EXPECT_NE(response.body.find("SUCCESS::call succeeded"), std::string::npos);
    ASSERT_TRUE(test::RoundTrip(port, Wire("another-key"), &response));
    EXPECT_EQ(response.Header("x-retcode"), "FAIL_SYS_ILEGEL_SIGN");
    EXPECT_EQ(gate.StopWith(SIGTERM), 0);
    EXPECT_EQ(gate.ReadLine(), "quilgate stopped after 2 requests on 2 connections");
    test::RawHttpConnection late;
    EXPECT_FALSE(late.Connect(port));
}

TEST(QuilGate, ClockOffsetAndSessionFlagsTakeEffectAndSigintStopsIt) {
    QuilGateProcess gate({"--clock-offset", "-7200", "--skew", "60", "--need-session",
                          "quil.test.private", "--session", "sid-1"});
    ASSERT_TRUE(gate.Started());
    const int port = PortOf(gate.ReadLine());
    ASSERT_GT(port, 0);
    test::RawHttpResponse response;
    ASSERT_TRUE(test::RoundTrip(port, Wire("k"), &response));
    EXPECT_EQ(response.Header("x-retcode"), "FAIL_SYS_REQUEST_EXPIRED");
    const long long systime = std::atoll(response.Header("x-systime").c_str());
    EXPECT_LE(systime, static_cast<long long>(std::time(nullptr)) - 7200);

    test::HandComposedCall call;
    call.api = "quil.test.private";
    call.timestamp = systime;
    ASSERT_TRUE(test::RoundTrip(port, call.Wire(), &response));
    EXPECT_EQ(response.Header("x-retcode"), "FAIL_SYS_SESSION_EXPIRED");
    call.needLogin = true;
    call.sid = "sid-1";
    ASSERT_TRUE(test::RoundTrip(port, call.Wire(), &response));
    EXPECT_NE(response.body.find("SUCCESS::call succeeded"), std::string::npos);
    EXPECT_EQ(gate.StopWith(SIGINT), 0);
}

TEST(QuilGate, AScenarioFileScriptsItAndNoVerifyServesUnsignedCalls) {
    const std::string path =
        std::string(QUIL_TEST_BINARY_DIR) + "/quilgate-scenario-" + std::to_string(::getpid());
    {
        std::ofstream file(path);
        file << R"({"apis": {"a.b": [{"status": 419, "body": "busy"}]}})";
    }
    QuilGateProcess gate({"--scenario", path, "--no-verify"});
    ASSERT_TRUE(gate.Started());
    const int port = PortOf(gate.ReadLine());
    std::remove(path.c_str());
    ASSERT_GT(port, 0);
    const std::string unsignedCall =
        "GET /gw/a.b/1.0/?data=%7B%7D HTTP/1.1\r\nx-t:" + std::to_string(std::time(nullptr)) +
        "\r\n\r\n";
    test::RawHttpResponse response;
    ASSERT_TRUE(test::RoundTrip(port, unsignedCall, &response));
    EXPECT_EQ(response.status, 419);
    EXPECT_EQ(response.body, "busy");
    ASSERT_TRUE(test::RoundTrip(port, unsignedCall, &response));
    EXPECT_EQ(response.status, 200);
    EXPECT_NE(response.body.find("SUCCESS::call succeeded"), std::string::npos);
    EXPECT_EQ(gate.StopWith(SIGTERM), 0);
}

TEST(QuilGate, ABadFlagOrScenarioEndsItWithStatusTwo) {
    QuilGateProcess badFlag({"--no-such-flag"});
    ASSERT_TRUE(badFlag.Started());
    EXPECT_EQ(badFlag.ReadLine(), "");
    EXPECT_EQ(badFlag.StopWith(0), 2);
    QuilGateProcess badScenario({"--scenario", "/nonexistent/scenario.json"});
    ASSERT_TRUE(badScenario.Started());
    EXPECT_EQ(badScenario.ReadLine(), "");
    EXPECT_EQ(badScenario.StopWith(0), 2);
}

TEST(QuilGate, HelpSaysWhatEachFlagDoesOnStandardOutput) {
    QuilGateProcess gate({"--help"});
    ASSERT_TRUE(gate.Started());
    std::vector<std::string> lines;
    for (std::string line = gate.ReadLine(); !line.empty(); line = gate.ReadLine()) {
        lines.push_back(line);
    }
    EXPECT_EQ(gate.StopWith(0), 0);
    ASSERT_FALSE(lines.empty());
    EXPECT_EQ(lines.front().rfind("usage: quilgate ", 0), 0u);
    EXPECT_EQ(lines.back(), "bad flag, value or scenario file.");
    const std::vector<std::string> flags = {"--port N",
                                            "--appkey KEY",
                                            "--clock-offset SECONDS",
                                            "--skew SECONDS",
                                            "--scenario FILE",
                                            "--session SID",
                                            "--need-session API",
                                            "--echo-ombrel",
                                            "--no-verify",
                                            "--gzip",
                                            "--dns HOST=IP[,IP...]",
                                            "--help",
                                            "--hostile SEED",
                                            "--hostile-slow MS",
                                            "--hostile-normal PERCENT"};
    for (const std::string& flag : flags) {
        bool described = false;
        for (const std::string& line : lines) {
            // The flag, blanks, then what it does, on the flag's own line.
            if (line.rfind("  " + flag + " ", 0) == 0 &&
                line.find_first_not_of(' ', 2 + flag.size()) != std::string::npos) {
                described = true;
            }
        }
        EXPECT_TRUE(described) << flag;
    }
    const bool mentionsTheLimit =
        std::find(lines.begin(), lines.end(),
                  "Request bodies up to 32 MiB are taken; a longer one is answered 413.") !=
        lines.end();
    EXPECT_TRUE(mentionsTheLimit);
}

}  // namespace
}  // namespace quil

namespace quil {
namespace {

TEST(QuilGate, HostileFlagsTurnTheHostileModeOnAndBadValuesAreRefused) {
    QuilGateProcess calm({"--hostile", "5", "--hostile-normal", "100"});
    ASSERT_TRUE(calm.Started());
    const int calmPort = PortOf(calm.ReadLine());
    ASSERT_GT(calmPort, 0);
    test::RawHttpResponse response;
    ASSERT_TRUE(test::RoundTrip(calmPort, Wire(""), &response));
    EXPECT_NE(response.body.find("SUCCESS::call succeeded"), std::string::npos);
    EXPECT_EQ(calm.StopWith(SIGTERM), 0);

    // No normal share: the answer is a bad one (often no valid answer), and it is counted.
    QuilGateProcess hostile({"--hostile", "5", "--hostile-normal", "0", "--hostile-slow", "10"});
    ASSERT_TRUE(hostile.Started());
    const int port = PortOf(hostile.ReadLine());
    ASSERT_GT(port, 0);
    test::RawHttpConnection connection;
    ASSERT_TRUE(connection.Connect(port));
    ASSERT_TRUE(connection.Send(Wire("")));
    connection.ReadResponse(&response, 5000);
    EXPECT_EQ(hostile.StopWith(SIGTERM), 0);
    EXPECT_EQ(hostile.ReadLine(), "quilgate stopped after 1 requests on 1 connections");

    QuilGateProcess bad({"--hostile-normal", "101"});
    ASSERT_TRUE(bad.Started());
    EXPECT_EQ(bad.StopWith(0), 2);
}

}  // namespace
}  // namespace quil
