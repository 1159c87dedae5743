// quilsoak: the soak program. Runs a host of its own (the curl adapter, sessions registered and
// logged out meanwhile) with sixteen threads of synchronous and asynchronous calls and cancels
// against the gateway emulator in hostile mode, then a phase that calls exit with calls in
// flight, and prints one verdict line. Exit status 0 on a pass.
//   quilsoak [--seconds N] [--threads N] [--seed N] [--rss-growth-mb N] [--heap-growth-mb N]
//            [--timeout-ms N] [--slow-ms N]
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <string>

#include "SoakPhases.h"

namespace {

bool Number(const char* text, long long low, long long high, long long* value) {
    char* end = nullptr;
    *value = std::strtoll(text, &end, 10);
    return end != text && *end == '\0' && *value >= low && *value <= high;
}

}  // namespace

int main(int argc, char** argv) {
    quil::soak::SoakSettings settings;
    std::string phase;
    for (int i = 1; i < argc; ++i) {
        const std::string flag = argv[i];
        long long value = 0;
        if (i + 1 >= argc) {
            std::cerr << "quilsoak: " << flag << " needs a value\n";
            return 2;
        }
        const char* text = argv[++i];
        if (flag == "--phase") {
            phase = text;
        } else if (flag == "--seconds" && Number(text, 1, 86400, &value)) {
            settings.seconds = static_cast<int>(value);
        } else if (flag == "--threads" && Number(text, 1, 256, &value)) {
            settings.threads = static_cast<int>(value);
        } else if (flag == "--seed" && Number(text, 0, 1LL << 62, &value)) {
            settings.seed = static_cast<uint64_t>(value);
        } else if (flag == "--port" && Number(text, 1, 65535, &value)) {
            settings.port = static_cast<int>(value);
        } else if (flag == "--rss-growth-mb" && Number(text, 0, 1 << 20, &value)) {
            settings.rssGrowthMb = static_cast<int>(value);
        } else if (flag == "--heap-growth-mb" && Number(text, 0, 1 << 20, &value)) {
            settings.heapGrowthMb = static_cast<int>(value);
        } else if (flag == "--timeout-ms" && Number(text, 100, 600000, &value)) {
            settings.timeoutMs = static_cast<int>(value);
        } else if (flag == "--slow-ms" && Number(text, 0, 600000, &value)) {
            settings.slowMs = static_cast<int>(value);
        } else {
            std::cerr << "quilsoak: bad flag or value: " << flag << " " << text << "\n";
            return 2;
        }
    }
    if (phase == "load") return quil::soak::RunLoadPhase(settings);
    if (phase == "exit") return quil::soak::RunExitPhase(settings);
    return quil::soak::RunSupervisor(settings, "/proc/self/exe");
}
