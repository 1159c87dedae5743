#!/usr/bin/env bash
# Builds the libFuzzer targets (clang, AddressSanitizer + UndefinedBehaviorSanitizer, in
# build/fuzz) and runs each in turn. Each target's corpus grows in build/fuzz/corpus/<name>,
# starting from the seeds in tests/fuzz/corpus/<name>; a crash, leak or hang input is kept as
# build/fuzz/crashes/<name>-<kind>-<hash>. Prints one line per target and exits non-zero when
# any target found something.
#   QUIL_FUZZ_SECONDS   time per target (default 60)
#   QUIL_FUZZ_RUNS      run each target for this many executions instead (QUIL_FUZZ_SECONDS,
#                       when also set, then caps the time of each)
#   QUIL_FUZZ_TARGETS   names to run (e.g. "response_header sign_answer"; default all)
set -euo pipefail

root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
cd "$root"
# shellcheck source=scripts/deps.sh
source scripts/deps.sh
quil_install_deps cmake make pkg-config clang libclang-rt-14-dev libjsoncpp-dev libcpp-httplib-dev

seconds="${QUIL_FUZZ_SECONDS:-}"
runs="${QUIL_FUZZ_RUNS:-}"
jobs="${QUIL_JOBS:-$(nproc)}"
build="$root/build/fuzz"

launcher=()
if command -v ccache >/dev/null; then
  launcher=(-DCMAKE_C_COMPILER_LAUNCHER=ccache -DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
fi
echo "== libFuzzer build (build/fuzz)"
CC=clang CXX=clang++ cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DQUIL_SANITIZE=address,undefined -DQUIL_BUILD_FUZZ=ON -DQUIL_BUILD_TESTS=OFF \
  -DQUIL_BUILD_TOOLS=OFF -DQUIL_BUILD_ADAPTERS=OFF "${launcher[@]}" >/dev/null
cmake --build "$build" -j "$jobs" --target quil_fuzz_all

targets="${QUIL_FUZZ_TARGETS:-}"
if [ -z "$targets" ]; then
  targets="$(cd "$build/bin" && ls quil_fuzz_* | sed 's/^quil_fuzz_//' | sort | tr '\n' ' ')"
fi

# Two frames of allocation stack per record: AddressSanitizer keeps every distinct allocation
# stack for good, and the JSON readers' recursion on deeply nested input makes new ones without
# end (with the default thirty frames, and still with eight, sign_headers grew by about 0.2 KB
# of resident memory per execution, past the 2 GiB limit within ten million executions; with
# two it stays flat; no leak either way). The stack of a crash itself is always whole, and a
# kept input replayed by hand shows the full allocation stacks too.
export ASAN_OPTIONS="detect_leaks=1:strict_string_checks=1:malloc_context_size=2"
export UBSAN_OPTIONS="print_stacktrace=1:halt_on_error=1"
mkdir -p "$build/crashes"
status=0
for name in $targets; do
  corpus="$build/corpus/$name"
  mkdir -p "$corpus"
  args=(-timeout=10 -rss_limit_mb=2048 -print_final_stats=1 -artifact_prefix="$build/crashes/$name-")
  if [ -n "$runs" ]; then
    args+=(-runs="$runs")
    [ -n "$seconds" ] && args+=(-max_total_time="$seconds")
  else
    args+=(-max_total_time="${seconds:-60}")
  fi
  dict="$root/tests/fuzz/dict/$name.dict"
  [ -f "$dict" ] && args+=(-dict="$dict")
  log="$build/$name.log"
  started=$(date +%s)
  if "$build/bin/quil_fuzz_$name" "${args[@]}" "$corpus" "$root/tests/fuzz/corpus/$name" >"$log" 2>&1; then
    verdict=ok
  else
    verdict=FOUND
    status=1
  fi
  elapsed=$(( $(date +%s) - started ))
  executed=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log" | tail -1)
  echo "fuzz: $name executions=${executed:-?} seconds=$elapsed corpus=$(ls "$corpus" | wc -l) result=$verdict"
  if [ "$verdict" != ok ]; then
    grep -E "^(==[0-9]+==|SUMMARY|artifact_prefix|Test unit written)" "$log" | head -20 >&2 || true
  fi
done
exit $status
