#!/usr/bin/env bash
# The benchmarks: installs what is missing, builds Release with the benchmarks into
# build/release, runs the micro figures (Google Benchmark), the end-to-end comparison against
# the gateway emulator, and the overhead without a network, then prints a table of the figures
# against their targets. The last line sums it up for machines:
#   bench: sync_p50_ratio=R async_throughput_ratio=R overhead_cpu_us=X compose_1mb_ratio=R rss_growth_kb=K
# Measurements, not tests: a missed target is reported, never an error. QUIL_BENCH_QUICK=1 runs
# a short version.
set -euo pipefail

root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
cd "$root"
# shellcheck source=scripts/deps.sh
source scripts/deps.sh
quil_install_deps "${QUIL_PACKAGES[@]}"

build="build/release"
jobs="${QUIL_JOBS:-$(nproc)}"
echo "bench: building Release with the benchmarks into $build"
cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=Release -DQUIL_BUILD_TESTS=OFF -DQUIL_BUILD_BENCH=ON >/dev/null
cmake --build "$build" -j "$jobs" --target quil_micro_bench quil_e2e_bench quil_overhead_bench >/dev/null

quick=()
min_time="0.3"
if [ "${QUIL_BENCH_QUICK:-0}" = "1" ]; then
  quick=(--quick)
  min_time="0.05"
fi
out="$(mktemp -d)"
trap 'rm -rf "$out"' EXIT

echo
echo "== micro figures (Google Benchmark)"
"$build/bin/quil_micro_bench" --benchmark_min_time="$min_time" 2>/dev/null | tee "$out/micro.txt"
echo
echo "== end to end against the gateway emulator (SDK + curl adapter vs raw libcurl)"
"$build/bin/quil_e2e_bench" "${quick[@]}" 2>"$out/e2e.err" | tee "$out/e2e.txt" || cat "$out/e2e.err" >&2
echo
echo "== overhead without a network (in-process client, stand-in signer)"
"$build/bin/quil_overhead_bench" "${quick[@]}" 2>"$out/overhead.err" | tee "$out/overhead.txt" || cat "$out/overhead.err" >&2

# figure NAME FILE: the value of NAME=VALUE in FILE, "n/a" when it is missing.
figure() {
  local value
  value="$(grep -o "$1=[-0-9.]*" "$2" | tail -n 1 | cut -d= -f2 || true)"
  echo "${value:-n/a}"
}
# verdict VALUE OPERATOR LIMIT
verdict() {
  if [ "$1" = "n/a" ]; then
    echo "not measured"
  elif awk -v v="$1" -v l="$3" -v op="$2" 'BEGIN { exit !((op == "<=" && v <= l) || (op == ">=" && v >= l) || (op == "<" && v < l)) }'; then
    echo "met"
  else
    echo "MISSED"
  fi
}

sync_ratio="$(figure sync_p50_ratio "$out/e2e.txt")"
async_ratio="$(figure async_throughput_ratio "$out/e2e.txt")"
overhead="$(figure overhead_cpu_us "$out/overhead.txt")"
compose="$(figure compose_1mb_ratio "$out/micro.txt")"
rss="$(figure rss_growth_kb "$out/overhead.txt")"

echo
echo "== summary"
printf '%-24s %12s   %-10s %s\n' "figure" "measured" "target" "verdict"
printf '%-24s %12s   %-10s %s\n' "sync_p50_ratio" "$sync_ratio" "<= 1.15" "$(verdict "$sync_ratio" "<=" 1.15)"
printf '%-24s %12s   %-10s %s\n' "async_throughput_ratio" "$async_ratio" ">= 0.85" "$(verdict "$async_ratio" ">=" 0.85)"
printf '%-24s %12s   %-10s %s\n' "overhead_cpu_us" "$overhead" "<= 15" "$(verdict "$overhead" "<=" 15)"
printf '%-24s %12s   %-10s %s\n' "compose_1mb_ratio" "$compose" "<= 1.5" "$(verdict "$compose" "<=" 1.5)"
printf '%-24s %12s   %-10s %s\n' "rss_growth_kb" "$rss" "< 1024" "$(verdict "$rss" "<" 1024)"
echo "bench: sync_p50_ratio=$sync_ratio async_throughput_ratio=$async_ratio overhead_cpu_us=$overhead compose_1mb_ratio=$compose rss_growth_kb=$rss"
