#!/usr/bin/env bash
# The benchmarks: installs what is missing, builds Release with the benchmarks into
# build/release, runs the micro figures (Google Benchmark, the signing hand-off among them), the
# end-to-end comparison against the gateway emulator, and the overhead without a network, each
# twice: unpinned, and pinned to one CPU with `taskset -c 0` (the emulator runs inside the
# end-to-end program, so it is pinned with it). Then it prints a table of both against the
# targets, which apply to the pinned figures. The last line sums it up for machines:
#   bench: NAME=V NAME_pinned=V ... for sync_p50_ratio, async_throughput_ratio, sdk_cpu_us,
#          standin_cpu_us, overhead_cpu_us, whole_1mb_ratio, whole_1mb_sdk_ratio,
#          compose_1mb_ratio, rss_growth_kb
# sdk_cpu_us is the CPU of a synchronous call with an in-memory client less the
# stand-in signer's own share (standin_cpu_us); whole_1mb_ratio is a whole SendSyncRequest with
# 1 MiB of data over its floor (MD5 plus table URL encoding of the data), whole_1mb_sdk_ratio
# the same with the stand-in's signing of that megabyte taken out.
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
launcher=()
if command -v ccache >/dev/null; then
  launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache -DCMAKE_C_COMPILER_LAUNCHER=ccache)
fi
cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=Release -DQUIL_BUILD_TESTS=OFF -DQUIL_BUILD_BENCH=ON \
  "${launcher[@]}" >/dev/null
cmake --build "$build" -j "$jobs" --target quil_micro_bench quil_e2e_bench quil_overhead_bench >/dev/null

quick=()
min_time="0.3"
if [ "${QUIL_BENCH_QUICK:-0}" = "1" ]; then
  quick=(--quick)
  min_time="0.05"
fi
out="$(mktemp -d)"
trap 'rm -rf "$out"' EXIT

# run SUFFIX PREFIX...: the three programs, their output in $out/<program>SUFFIX.txt.
run() {
  local suffix="$1"
  shift
  echo
  echo "== micro figures (Google Benchmark)$suffix"
  "$@" "$build/bin/quil_micro_bench" --benchmark_min_time="$min_time" 2>/dev/null |
    tee "$out/micro$suffix.txt"
  echo
  echo "== end to end against the gateway emulator (SDK + curl adapter vs raw libcurl)$suffix"
  "$@" "$build/bin/quil_e2e_bench" "${quick[@]}" 2>"$out/e2e.err" | tee "$out/e2e$suffix.txt" ||
    cat "$out/e2e.err" >&2
  echo
  echo "== overhead without a network (in-process client, stand-in signer)$suffix"
  "$@" "$build/bin/quil_overhead_bench" "${quick[@]}" 2>"$out/overhead.err" |
    tee "$out/overhead$suffix.txt" || cat "$out/overhead.err" >&2
}

run ""
if command -v taskset >/dev/null && taskset -c 0 true 2>/dev/null; then
  run "_pinned" taskset -c 0
else
  echo "bench: taskset cannot pin here; the pinned figures are not measured" >&2
  for name in micro e2e overhead; do : >"$out/${name}_pinned.txt"; done
fi

# figure NAME FILE: the value of NAME=VALUE in FILE, "n/a" when it is missing.
figure() {
  local value
  value="$(grep -o "$1=[-0-9.]*" "$2" | tail -n 1 | cut -d= -f2 || true)"
  echo "${value:-n/a}"
}
# verdict VALUE OPERATOR LIMIT
verdict() {
  if [ "$1" = "n/a" ] || [ "$1" = "-1.00" ]; then
    echo "not measured"
  elif awk -v v="$1" -v l="$3" -v op="$2" 'BEGIN { exit !((op == "<=" && v <= l) || (op == ">=" && v >= l) || (op == "<" && v < l)) }'; then
    echo "met"
  else
    echo "MISSED"
  fi
}

# name program operator limit: one row per figure; the target is judged on the pinned one.
rows=(
  "sync_p50_ratio e2e <= 1.5"
  "async_throughput_ratio e2e >= 0.6"
  "sdk_cpu_us overhead <= 10"
  "standin_cpu_us overhead - -"
  "overhead_cpu_us overhead - -"
  "whole_1mb_ratio overhead <= 1.2"
  "whole_1mb_sdk_ratio overhead - -"
  "compose_1mb_ratio micro - -"
  "rss_growth_kb overhead < 1024"
)
echo
echo "== summary (targets apply to the pinned figures)"
printf '%-24s %12s %12s   %-8s %s\n' "figure" "unpinned" "pinned" "target" "verdict"
summary="bench:"
for row in "${rows[@]}"; do
  read -r name program op limit <<<"$row"
  free="$(figure "$name" "$out/$program.txt")"
  pinned="$(figure "$name" "$out/${program}_pinned.txt")"
  if [ "$op" = "-" ]; then
    printf '%-24s %12s %12s   %-8s %s\n' "$name" "$free" "$pinned" "" ""
  else
    printf '%-24s %12s %12s   %-8s %s\n' "$name" "$free" "$pinned" "$op $limit" \
      "$(verdict "$pinned" "$op" "$limit")"
  fi
  summary="$summary $name=$free ${name}_pinned=$pinned"
done
echo "$summary"
