#!/usr/bin/env bash
# Builds quilsoak and runs it: sixteen threads of calls and cancels against the gateway
# emulator in hostile mode, then an exit with calls in flight. Prints the verdict line and exits
# non-zero on a failed verdict.
#   QUIL_SOAK_SECONDS   length of the load phase (default 60)
#   QUIL_SOAK_BUILD     "release" (build/release, the default) or "asan" (build/asan, with
#                       AddressSanitizer, LeakSanitizer and UndefinedBehaviorSanitizer)
#   QUIL_SOAK_SEED      the emulator's seed (default 1)
#   QUIL_SOAK_RSS_MB    the bound on resident memory growth (default 64; 384 for asan, whose
#                       allocator keeps freed memory in quarantine and for reuse, and whose
#                       shadow memory and stack records grow with the allocations they watch)
#   QUIL_SOAK_HEAP_MB   the bound on live heap growth (default 32), the measure of a leak
set -euo pipefail

root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
cd "$root"
# shellcheck source=scripts/deps.sh
source scripts/deps.sh
quil_install_deps "${QUIL_PACKAGES[@]}"

seconds="${QUIL_SOAK_SECONDS:-60}"
kind="${QUIL_SOAK_BUILD:-release}"
seed="${QUIL_SOAK_SEED:-1}"
jobs="${QUIL_JOBS:-$(nproc)}"

launcher=()
if command -v ccache >/dev/null; then
  launcher=(-DCMAKE_C_COMPILER_LAUNCHER=ccache -DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
fi
case "$kind" in
  release)
    build=build/release
    cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=Release -DQUIL_BUILD_TESTS=OFF "${launcher[@]}" >/dev/null
    rss="${QUIL_SOAK_RSS_MB:-64}"
    ;;
  asan)
    build=build/asan
    # The very configuration test.sh makes, so that its build is reused as it stands.
    cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=Debug -DQUIL_SANITIZE=address,undefined >/dev/null
    rss="${QUIL_SOAK_RSS_MB:-384}"
    export ASAN_OPTIONS="detect_leaks=1:strict_string_checks=1:quarantine_size_mb=64"
    export UBSAN_OPTIONS="print_stacktrace=1:halt_on_error=1"
    ;;
  *)
    echo "soak.sh: QUIL_SOAK_BUILD must be release or asan" >&2
    exit 2
    ;;
esac
echo "== quilsoak ($kind, $build)"
cmake --build "$build" -j "$jobs" --target quilsoak
# The stand-in security library prints its install path at every load; only the phase and
# verdict lines matter here.
"$build/bin/quilsoak" --seconds "$seconds" --seed "$seed" --rss-growth-mb "$rss" \
  --heap-growth-mb "${QUIL_SOAK_HEAP_MB:-32}" |
  grep -E '^(load|exit-phase|soak):'
