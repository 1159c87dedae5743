// quilgate: the gateway emulator as a program, for hosts and scripts that test against a
// gateway on loopback. Prints the address it listens on, then serves until SIGINT or SIGTERM.
#include <signal.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <string>

#include "GatewayEmulator.h"

namespace {

void PrintUsage(std::ostream& out) {
    out << "usage: quilgate [--port N] [--appkey KEY] [--clock-offset SECONDS]\n"
           "                [--skew SECONDS] [--scenario FILE] [--session SID]...\n"
           "                [--need-session API]... [--echo-ombrel] [--no-verify] [--gzip]\n"
           "                [--dns HOST=IP[,IP...]]... [--hostile SEED]\n"
           "                [--hostile-slow MS] [--hostile-normal PERCENT]\n"
           "Serves \"/gw/<api>/<version>/\" and \"/zent/mobileDispatch\" on 127.0.0.1, prints\n"
           "\"quilgate listening on http://127.0.0.1:PORT\", and serves until SIGINT or SIGTERM.\n"
           "Request bodies up to 32 MiB are taken; a longer one is answered 413.\n"
           "  --port N                 port to listen on; 0 (the default) lets the system pick "
           "one\n"
           "  --appkey KEY             app key that signatures are checked with; without it each\n"
           "                           request's own \"x-appkey\" is trusted\n"
           "  --clock-offset SECONDS   the emulator's clock against the wall clock (may be\n"
           "                           negative), to try a client's clock correction\n"
           "  --skew SECONDS           how far a request's \"x-t\" may be from the emulator's\n"
           "                           clock before it is refused as expired (default 300)\n"
           "  --scenario FILE          JSON file of scripted answers per API, sessions and\n"
           "                           dispatch entries (see the test kit's README)\n"
           "  --session SID            a session id the gateway accepts (repeatable)\n"
           "  --need-session API       an API that is refused without a valid session\n"
           "                           (repeatable)\n"
           "  --echo-ombrel            answer a request's \"a-ombrel-q\" header with\n"
           "                           \"a-ombrel-p\" carrying the same value\n"
           "  --no-verify              serve calls without checking their signatures\n"
           "  --gzip                   answer gateway calls gzip-encoded when they offer gzip,\n"
           "                           as a front server with gzip on does\n"
           "  --dns HOST=IP[,IP...]    an entry the dispatch service answers for HOST\n"
           "                           (repeatable)\n"
           "  --hostile SEED           answer badly on purpose, in the order SEED gives (odd\n"
           "                           statuses, broken bodies and headers, drops, slow and\n"
           "                           expired answers, dispatch answers of every kind)\n"
           "  --hostile-slow MS        how long a slow hostile answer takes (default 3000)\n"
           "  --hostile-normal PERCENT share of calls answered normally in hostile mode\n"
           "                           (default 30)\n"
           "  --help                   this text, on standard output\n"
           "Exit status: 0 after a stop signal or --help, 1 when the port cannot be had, 2 for a\n"
           "bad flag, value or scenario file.\n";
}

bool ParseInteger(const char* text, long long* value) {
    errno = 0;
    char* end = nullptr;
    *value = std::strtoll(text, &end, 10);
    return errno == 0 && end != text && *end == '\0';
}

bool ParseDns(const std::string& text, quil::DispatchEntry* entry) {
    const std::size_t equals = text.find('=');
    if (equals == std::string::npos || equals == 0) {
        return false;
    }
    entry->host = text.substr(0, equals);
    std::string ips = text.substr(equals + 1);
    std::size_t start = 0;
    while (start < ips.size()) {
        std::size_t comma = ips.find(',', start);
        if (comma == std::string::npos) {
            comma = ips.size();
        }
        if (comma > start) {
            entry->ips.push_back(ips.substr(start, comma - start));
        }
        start = comma + 1;
    }
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    quil::GatewayEmulatorOptions options;
    long long port = 0;
    std::string scenarioPath;
    bool hostile = false;
    quil::HostileOptions hostileOptions;
    for (int i = 1; i < argc; ++i) {
        const std::string flag = argv[i];
        const bool hasValue = i + 1 < argc;
        long long number = 0;
        if (flag == "--help" || flag == "-h") {
            PrintUsage(std::cout);
            return 0;
        } else if (flag == "--echo-ombrel") {
            options.echoOmbrel = true;
        } else if (flag == "--gzip") {
            options.gzipAnswers = true;
        } else if (flag == "--no-verify") {
            options.verifySignatures = false;
        } else if (!hasValue) {
            std::cerr << "quilgate: " << flag << " needs a value\n";
            PrintUsage(std::cerr);
            return 2;
        } else if (flag == "--port" && ParseInteger(argv[i + 1], &port) && port >= 0 &&
                   port <= 65535) {
            ++i;
        } else if (flag == "--appkey") {
            options.appKey = argv[++i];
        } else if (flag == "--clock-offset" && ParseInteger(argv[i + 1], &number)) {
            options.clockOffsetSeconds = number;
            ++i;
        } else if (flag == "--skew" && ParseInteger(argv[i + 1], &number) && number >= 0) {
            options.skewSeconds = number;
            ++i;
        } else if (flag == "--hostile" && ParseInteger(argv[i + 1], &number)) {
            hostile = true;
            hostileOptions.seed = static_cast<uint64_t>(number);
            ++i;
        } else if (flag == "--hostile-slow" && ParseInteger(argv[i + 1], &number) && number >= 0 &&
                   number <= 600000) {
            hostileOptions.slowMs = static_cast<int>(number);
            ++i;
        } else if (flag == "--hostile-normal" && ParseInteger(argv[i + 1], &number) &&
                   number >= 0 && number <= 100) {
            hostileOptions.normalPercent = static_cast<int>(number);
            ++i;
        } else if (flag == "--scenario") {
            scenarioPath = argv[++i];
        } else if (flag == "--session") {
            options.sessions.push_back(argv[++i]);
        } else if (flag == "--need-session") {
            options.sessionApis.push_back(argv[++i]);
        } else if (flag == "--dns") {
            quil::DispatchEntry entry;
            if (!ParseDns(argv[++i], &entry)) {
                std::cerr << "quilgate: --dns wants HOST=IP[,IP...]\n";
                return 2;
            }
            options.dispatchEntries.push_back(entry);
        } else {
            std::cerr << "quilgate: bad flag or value: " << flag << "\n";
            PrintUsage(std::cerr);
            return 2;
        }
    }

    // Block the stop signals before any thread starts, so that only sigwait below takes them.
    sigset_t stopSignals;
    sigemptyset(&stopSignals);
    sigaddset(&stopSignals, SIGINT);
    sigaddset(&stopSignals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &stopSignals, nullptr);

    quil::GatewayEmulator emulator(options);
    if (!scenarioPath.empty()) {
        std::string error;
        if (!emulator.LoadScenarioFile(scenarioPath, &error)) {
            std::cerr << "quilgate: scenario " << scenarioPath << ": " << error << "\n";
            return 2;
        }
    }
    if (hostile) {
        emulator.SetHostile(hostileOptions);
    }
    if (!emulator.Start(static_cast<int>(port))) {
        std::cerr << "quilgate: cannot listen on 127.0.0.1:" << port << "\n";
        return 1;
    }
    std::cout << "quilgate listening on " << emulator.Address() << std::endl;

    int received = 0;
    sigwait(&stopSignals, &received);
    emulator.Stop();
    std::cout << "quilgate stopped after " << emulator.RequestCount() << " requests on "
              << emulator.AcceptedConnections() << " connections" << std::endl;
    return 0;
}
