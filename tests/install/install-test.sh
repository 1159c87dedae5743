#!/usr/bin/env bash
# The installed package as a host meets it. Installs the build into a temporary prefix (the SDK,
# the curl transport, quilcall, and the test kit component), moves the prefix elsewhere to
# prove nothing in it points back, then against the installed emulator:
#   - runs the installed quilcall with no flag but host and app key (the stand-in is found
#     through the default security path);
#   - builds the examples as an outside project with find_package(QuilSDK) and runs them (the
#     minimal host, the statistics sink, the asynchronous host with its login);
#   - builds the minimal host once more with pkg-config (quilsdk and quilsdk_curl) and runs it.
# usage: install-test.sh BUILD_DIR SOURCE_DIR CXX_COMPILER [SANITIZERS]
# SANITIZERS (e.g. "address,undefined") are those the build was made with; the outside hosts
# are built with them too, as an instrumented library needs an instrumented program.
set -euo pipefail

build="$1"
source_dir="$2"
cxx="$3"
sanitize="${4:-}"
appkey="install-test-key"

work="$(mktemp -d "${TMPDIR:-/tmp}/quil-install.XXXXXX")"
gate_pid=""
cleanup() {
  if [ -n "$gate_pid" ]; then
    kill -TERM "$gate_pid" 2>/dev/null || true
    wait "$gate_pid" 2>/dev/null || true
  fi
  rm -rf "$work"
}
trap cleanup EXIT

fail() {
  echo "install-test: FAILED: $*" >&2
  exit 1
}

step() { echo "== $*"; }

host_flags=()
if [ -n "$sanitize" ]; then
  host_flags=("-fsanitize=$sanitize" "-fno-omit-frame-pointer" "-fno-sanitize-recover=all")
fi

step "install into a temporary prefix, the test kit component too"
cmake --install "$build" --prefix "$work/first" >"$work/install.log"
# A plain install never puts the stand-in where a real deployment looks for the closed library.
[ ! -e "$work/first/SafeGuard" ] || fail "a plain install put the stand-in into SafeGuard/"
[ ! -e "$work/first/bin/quilgate" ] || fail "a plain install put the emulator into bin/"
cmake --install "$build" --prefix "$work/first" --component testkit >>"$work/install.log"
mv "$work/first" "$work/prefix"
prefix="$work/prefix"
if grep -rl -- "$work/first" "$prefix" >"$work/pointing-back.txt"; then
  fail "files still name the first location: $(cat "$work/pointing-back.txt")"
fi
for file in include/quilsdk/QuilSDK.h include/quilsdk/quil/CurlHttpClient.h bin/quilcall \
  bin/quilgate SafeGuard/OruSafePath.dll SafeGuard/OruSafeProxy.dll; do
  [ -e "$prefix/$file" ] || fail "$file is not installed"
done
libdir="$(dirname "$(find "$prefix" -name 'libquilsdk.so' | head -n 1)")"
[ -d "$libdir/pkgconfig" ] || fail "no pkgconfig folder beside libquilsdk.so"
[ -f "$libdir/cmake/QuilSDK/QuilSDKConfig.cmake" ] || fail "no CMake package"

step "pkg-config answers for the prefix where the files now lie"
export PKG_CONFIG_PATH="$libdir/pkgconfig"
for module in quilsdk quilsdk_curl; do
  pc_prefix="$(pkg-config --variable=prefix "$module")"
  [ "$(cd "$pc_prefix" && pwd -P)" = "$(cd "$prefix" && pwd -P)" ] ||
    fail "$module.pc gives prefix $pc_prefix, not $prefix"
done
pkg-config --cflags quilsdk_curl | grep -q -- "-I$libdir/pkgconfig/" ||
  fail "unexpected cflags: $(pkg-config --cflags quilsdk_curl)"
pkg-config --libs quilsdk_curl | grep -q -- "-lquilsdk_curl.* -lquilsdk" ||
  fail "unexpected libs: $(pkg-config --libs quilsdk_curl)"

step "the installed emulator starts from the prefix"
# The session the asynchronous example's login yields, and the API that needs one.
"$prefix/bin/quilgate" --appkey "$appkey" --port 0 --session example-sid \
  --need-session example.account.get >"$work/quilgate.out" 2>&1 &
gate_pid=$!
port=""
for _ in $(seq 1 200); do
  port="$(sed -n 's|^quilgate listening on http://127.0.0.1:\([0-9]*\)$|\1|p' "$work/quilgate.out")"
  [ -n "$port" ] && break
  kill -0 "$gate_pid" 2>/dev/null || fail "quilgate ended: $(cat "$work/quilgate.out")"
  sleep 0.1
done
[ -n "$port" ] || fail "quilgate did not say where it listens within 20 seconds"
gateway="127.0.0.1:$port"

# Runs a program from the prefix or an outside host, expecting exit code 0 and each of the
# given lines in what it printed.
expect_run() {
  local name="$1"
  shift
  local lines=()
  while [ "$1" != "--" ]; do
    lines+=("$1")
    shift
  done
  shift
  local code=0
  "$@" >"$work/$name.out" 2>"$work/$name.err" || code=$?
  if [ "$code" -ne 0 ]; then
    cat "$work/$name.out" "$work/$name.err" >&2
    fail "$name exited with $code"
  fi
  local line
  for line in "${lines[@]}"; do
    grep -qxF -- "$line" "$work/$name.out" || {
      cat "$work/$name.out" >&2
      fail "$name did not print: $line"
    }
  done
  echo "$name: ok"
}

step "the installed quilcall makes a signed call with no security flag"
expect_run quilcall "status: 200" "retCode: SUCCESS" -- \
  "$prefix/bin/quilcall" --host "$gateway" --appkey "$appkey" install.check 1.0

step "the examples as an outside project, with find_package(QuilSDK)"
cmake -S "$source_dir/examples" -B "$work/examples" -DCMAKE_PREFIX_PATH="$prefix" \
  -DCMAKE_CXX_COMPILER="$cxx" -DCMAKE_BUILD_TYPE=Debug \
  -DCMAKE_CXX_FLAGS="${host_flags[*]}" -DCMAKE_EXE_LINKER_FLAGS="${host_flags[*]}" \
  >"$work/examples-configure.log" || fail "configuring the examples: $(cat "$work/examples-configure.log")"
cmake --build "$work/examples" -j2 >"$work/examples-build.log" 2>&1 ||
  fail "building the examples: $(cat "$work/examples-build.log")"
security="$prefix/SafeGuard/OruSafePath.dll"
expect_run minimal_host "status: 200" "retCode: SUCCESS" "retMsg: call succeeded" -- \
  "$work/examples/minimal_host" "$gateway" "$appkey" "$security"
expect_run statistics_host "phases of example.stats.first 1.0 (HTTP 200):" \
  "phases of example.stats.second 1.0 (HTTP 200):" -- \
  "$work/examples/statistics_host" "$gateway" "$appkey" "$security"
for phase in "before filters" sign compose network parse "after filters" total; do
  [ "$(grep -c "^  $phase  *[0-9][0-9.]* ms$" "$work/statistics_host.out")" -eq 2 ] ||
    fail "statistics_host did not time '$phase' for both calls: $(cat "$work/statistics_host.out")"
done

expect_run async_login_host "call: queued" "login: signing in" "login: signed in as example-uid" \
  "call: answered" "retCode: SUCCESS" -- \
  "$work/examples/async_login_host" "$gateway" "$appkey" example-sid example-uid "$security"
expect_run async_host "example.item.add: SUCCESS" "example.user.profile: SUCCESS" "logins: 1" -- \
  "$work/examples/async_host" "$gateway" "$appkey" example-sid "$security"

step "the minimal host once more, built with pkg-config"
# shellcheck disable=SC2046
"$cxx" -std=c++17 "${host_flags[@]}" "$source_dir/examples/minimal/MinimalHost.cpp" \
  -o "$work/minimal_host_pc" $(pkg-config --cflags --libs quilsdk quilsdk_curl) \
  -Wl,-rpath,"$(pkg-config --variable=libdir quilsdk)" || fail "building with pkg-config"
expect_run minimal_host_pc "status: 200" "retCode: SUCCESS" -- \
  "$work/minimal_host_pc" "$gateway" "$appkey" "$security"

step "the emulator stops on SIGTERM"
kill -TERM "$gate_pid"
code=0
wait "$gate_pid" || code=$?
gate_pid=""
[ "$code" -eq 0 ] || fail "quilgate exited with $code"
grep -q "^quilgate stopped after 8 requests on " "$work/quilgate.out" ||
  fail "quilgate did not serve the eight calls: $(cat "$work/quilgate.out")"
echo "install-test: all passed"
