#!/usr/bin/env bash
# The test command: installs what is missing, builds Debug with AddressSanitizer and
# UndefinedBehaviorSanitizer and runs every test, builds the concurrency tests with
# ThreadSanitizer and runs them, and checks the formatting. Exits non-zero on any failure.
# Rerunning reuses build/asan and build/tsan.
set -euo pipefail

root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
cd "$root"
# shellcheck source=scripts/deps.sh
source scripts/deps.sh
quil_install_deps "${QUIL_PACKAGES[@]}"

jobs="${QUIL_JOBS:-$(nproc)}"
status=0

echo "== formatting (.clang-format)"
mapfile -t sources < <(git ls-files '*.h' '*.cpp' 2>/dev/null || find sdk adapters testkit tools tests bench -name '*.h' -o -name '*.cpp')
if [ ${#sources[@]} -gt 0 ]; then
  if ! clang-format --dry-run --Werror "${sources[@]}"; then
    echo "formatting: run clang-format -i on the files above" >&2
    status=1
  fi
fi

echo "== AddressSanitizer + UndefinedBehaviorSanitizer build (build/asan)"
cmake -S . -B build/asan -DCMAKE_BUILD_TYPE=Debug -DQUIL_SANITIZE=address,undefined >/dev/null
cmake --build build/asan -j "$jobs"
echo "== running every test"
export ASAN_OPTIONS="detect_leaks=1:abort_on_error=0:strict_string_checks=1"
export UBSAN_OPTIONS="print_stacktrace=1:halt_on_error=1"
if ! ctest --test-dir build/asan --output-on-failure -j "$jobs" --timeout 300; then
  status=1
fi

echo "== ThreadSanitizer build of the concurrency tests (build/tsan)"
cmake -S . -B build/tsan -DCMAKE_BUILD_TYPE=Debug -DQUIL_SANITIZE=thread \
  -DQUIL_CONCURRENCY_TESTS_ONLY=ON -DQUIL_BUILD_TOOLS=OFF >/dev/null
cmake --build build/tsan -j "$jobs"
export TSAN_OPTIONS="halt_on_error=1:second_deadlock_stack=1"
if ! ctest --test-dir build/tsan --output-on-failure -j "$jobs" -L concurrency --timeout 300; then
  status=1
fi

if [ $status -ne 0 ]; then
  echo "test.sh: FAILED" >&2
else
  echo "test.sh: all passed"
fi
exit $status
