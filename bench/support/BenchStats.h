// quil::bench helpers: medians and percentiles of samples, CPU time and resident memory of this
// process. Plain functions for the benchmark programs; any thread.
#pragma once

#include <string>
#include <vector>

namespace quil {
namespace bench {

// The p-th percentile (0..100) of samples by nearest rank; 0 for no samples.
double Percentile(std::vector<double> samples, double p);
double Median(std::vector<double> samples);

// User plus system CPU time of the whole process, in microseconds.
double ProcessCpuMicroseconds();

// Resident set size of this process now, in kilobytes (0 when unknown).
long ResidentKilobytes();

// A figure as "key=value" with a fixed number of decimals.
std::string Figure(const std::string& key, double value, int decimals);

}  // namespace bench
}  // namespace quil
