#include "BenchStats.h"

#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <fstream>

namespace quil {
namespace bench {

double Percentile(std::vector<double> samples, double p) {
    if (samples.empty()) {
        return 0.0;
    }
    std::sort(samples.begin(), samples.end());
    const double rank = std::ceil(p / 100.0 * static_cast<double>(samples.size()));
    std::size_t index = rank < 1.0 ? 0 : static_cast<std::size_t>(rank) - 1;
    index = std::min(index, samples.size() - 1);
    return samples[index];
}

double Median(std::vector<double> samples) {
    if (samples.empty()) {
        return 0.0;
    }
    std::sort(samples.begin(), samples.end());
    const std::size_t middle = samples.size() / 2;
    return samples.size() % 2 == 1 ? samples[middle]
                                   : (samples[middle - 1] + samples[middle]) / 2.0;
}

double ProcessCpuMicroseconds() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return static_cast<double>(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) * 1e6 +
           static_cast<double>(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec);
}

long ResidentKilobytes() {
    std::ifstream statm("/proc/self/statm");
    long size = 0;
    long resident = 0;
    if (!(statm >> size >> resident)) {
        return 0;
    }
    return resident * (sysconf(_SC_PAGESIZE) / 1024);
}

std::string Figure(const std::string& key, double value, int decimals) {
    char text[64];
    std::snprintf(text, sizeof(text), "%.*f", decimals, value);
    return key + "=" + text;
}

}  // namespace bench
}  // namespace quil
