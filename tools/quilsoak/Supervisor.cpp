#include <malloc.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "GatewayEmulator.h"

#if defined(__SANITIZE_ADDRESS__)
// The sanitizer runtime's count of live bytes (g++ ships no header for it).
extern "C" std::size_t __sanitizer_get_current_allocated_bytes();
#endif
#include "SoakLogin.h"
#include "SoakPhases.h"

extern char** environ;

namespace quil::soak {

namespace {

struct ChildResult {
    std::string output;
    int exitStatus = -1;  // the exit code, when it exited
    int signal = 0;       // the signal that ended it, when one did
};

// Runs this program again with args; its standard output comes back, its standard error goes
// to ours (so a sanitizer report is seen).
ChildResult RunChild(const char* self, const std::vector<std::string>& args) {
    ChildResult result;
    int pipeEnds[2];
    if (pipe(pipeEnds) != 0) return result;
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, pipeEnds[1], STDOUT_FILENO);
    posix_spawn_file_actions_addclose(&actions, pipeEnds[0]);
    std::vector<char*> argv;
    argv.push_back(const_cast<char*>(self));
    for (const std::string& arg : args) argv.push_back(const_cast<char*>(arg.c_str()));
    argv.push_back(nullptr);
    pid_t pid = 0;
    const int spawned = posix_spawn(&pid, self, &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    close(pipeEnds[1]);
    if (spawned != 0) {
        close(pipeEnds[0]);
        return result;
    }
    char buffer[4096];
    ssize_t got = 0;
    while ((got = read(pipeEnds[0], buffer, sizeof(buffer))) > 0) {
        result.output.append(buffer, static_cast<std::size_t>(got));
    }
    close(pipeEnds[0]);
    int status = 0;
    if (waitpid(pid, &status, 0) == pid) {
        if (WIFEXITED(status)) result.exitStatus = WEXITSTATUS(status);
        if (WIFSIGNALED(status)) result.signal = WTERMSIG(status);
    }
    return result;
}

// The name=value fields of the line that starts with prefix.
std::map<std::string, long long> Fields(const std::string& output, const std::string& prefix) {
    std::map<std::string, long long> fields;
    std::istringstream lines(output);
    std::string line;
    while (std::getline(lines, line)) {
        if (line.compare(0, prefix.size(), prefix) != 0) continue;
        std::istringstream words(line.substr(prefix.size()));
        std::string word;
        while (words >> word) {
            const std::size_t equals = word.find('=');
            if (equals != std::string::npos) {
                fields[word.substr(0, equals)] = std::atoll(word.c_str() + equals + 1);
            }
        }
    }
    return fields;
}

}  // namespace

int RunSupervisor(const SoakSettings& settings, const char* self) {
    GatewayEmulatorOptions options;
    options.appKey = SoakAppKey();
    options.journalLimit = 1000;
    GatewayEmulator gateway(options);
    HostileOptions hostile;
    hostile.seed = settings.seed;
    hostile.slowMs = settings.slowMs;
    gateway.SetHostile(hostile);
    gateway.Settings().RequireSession("soak.profile", true);
    for (int i = 0; i < kSoakSessions; ++i) {
        gateway.Settings().AddSession("soak-sid-" + std::to_string(i));
    }
    if (!gateway.Start(0)) {
        std::cerr << "quilsoak: the emulator cannot listen\n";
        return 2;
    }
    const std::vector<std::string> common = {"--port",       std::to_string(gateway.Port()),
                                             "--seed",       std::to_string(settings.seed),
                                             "--threads",    std::to_string(settings.threads),
                                             "--seconds",    std::to_string(settings.seconds),
                                             "--timeout-ms", std::to_string(settings.timeoutMs),
                                             "--slow-ms",    std::to_string(settings.slowMs)};

    std::vector<std::string> loadArgs = {"--phase", "load"};
    loadArgs.insert(loadArgs.end(), common.begin(), common.end());
    const ChildResult load = RunChild(self, loadArgs);
    std::vector<std::string> exitArgs = {"--phase", "exit"};
    exitArgs.insert(exitArgs.end(), common.begin(), common.end());
    const ChildResult exiting = RunChild(self, exitArgs);
    gateway.Stop();

    std::cout << load.output << exiting.output;
    std::map<std::string, long long> counts = Fields(load.output, "load:");
    const bool loadReported = counts.count("calls") != 0;
    // A crash: a phase ended by a signal, a load phase that failed (a sanitizer report exits
    // non-zero) or never reported.
    const int crashes = (load.signal != 0 ? 1 : 0) + (exiting.signal != 0 ? 1 : 0) +
                        (load.signal == 0 && (load.exitStatus != 0 || !loadReported) ? 1 : 0);
    const long long growthKb = counts["rss_end_kb"] - counts["rss_start_kb"];
    const long long boundKb = static_cast<long long>(settings.rssGrowthMb) * 1024;
    // Resident memory also holds what the allocator keeps for reuse; the live heap tells a leak
    // (memory still reachable but growing) from that.
    const long long heapGrowthKb = counts["heap_end_kb"] - counts["heap_start_kb"];
    const long long heapBoundKb = static_cast<long long>(settings.heapGrowthMb) * 1024;
    const bool pass = crashes == 0 && loadReported && counts["missing"] == 0 &&
                      counts["duplicate"] == 0 && counts["unexpected"] == 0 &&
                      growthKb <= boundKb && heapGrowthKb <= heapBoundKb &&
                      exiting.exitStatus == 0 && exiting.signal == 0;
    std::printf(
        "soak: seconds=%d threads=%d seed=%llu calls=%lld callbacks=%lld withdrawn=%lld "
        "missing=%lld duplicate=%lld crashes=%d rss_start_kb=%lld rss_end_kb=%lld "
        "rss_growth_bound_kb=%lld heap_start_kb=%lld heap_end_kb=%lld heap_growth_bound_kb=%lld "
        "exit_status=%d verdict=%s\n",
        settings.seconds, settings.threads, static_cast<unsigned long long>(settings.seed),
        counts["calls"], counts["callbacks"], counts["withdrawn"], counts["missing"],
        counts["duplicate"] + counts["unexpected"], crashes, counts["rss_start_kb"],
        counts["rss_end_kb"], boundKb, counts["heap_start_kb"], counts["heap_end_kb"], heapBoundKb,
        exiting.signal != 0 ? 128 + exiting.signal : exiting.exitStatus, pass ? "PASS" : "FAIL");
    std::fflush(stdout);
    return pass ? 0 : 1;
}

long long ResidentKib() {
    FILE* statm = std::fopen("/proc/self/statm", "r");
    if (statm == nullptr) return 0;
    long long pages = 0;
    long long resident = 0;
    const int read = std::fscanf(statm, "%lld %lld", &pages, &resident);
    std::fclose(statm);
    if (read != 2) return 0;
    return resident * (sysconf(_SC_PAGESIZE) / 1024);
}

long long LiveHeapKib() {
#if defined(__SANITIZE_ADDRESS__)
    return static_cast<long long>(__sanitizer_get_current_allocated_bytes() / 1024);
#else
    const struct mallinfo2 info = mallinfo2();
    return static_cast<long long>((info.uordblks + info.hblkhd) / 1024);
#endif
}

}  // namespace quil::soak
