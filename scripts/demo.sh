#!/usr/bin/env bash
# The main command: installs what is missing, builds Release into build/release, starts the
# gateway emulator (quilgate) on a free loopback port with the stand-in security library in
# place, and takes quilcall on a short tour of gateway calls against it. Each step prints one
# heading line and the answer. Exits 0 only when every step behaved as expected; the emulator
# is stopped on every way out.
set -euo pipefail

root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
cd "$root"
# shellcheck source=scripts/deps.sh
source scripts/deps.sh
quil_install_deps "${QUIL_PACKAGES[@]}"

build="build/release"
jobs="${QUIL_JOBS:-$(nproc)}"
echo "demo: building Release into $build"
cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=Release -DQUIL_BUILD_TESTS=OFF >/dev/null
cmake --build "$build" -j "$jobs" --target quilcall quilgate >/dev/null

quilcall="$build/bin/quilcall"
quilgate="$build/bin/quilgate"
appkey="demo-app-key"
work="$(mktemp -d)"
gate_pid=""

stop_emulator() {
  if [ -n "$gate_pid" ] && kill -0 "$gate_pid" 2>/dev/null; then
    kill -TERM "$gate_pid" 2>/dev/null || true
    wait "$gate_pid" 2>/dev/null || true
  fi
  rm -rf "$work"
}
trap stop_emulator EXIT
trap 'exit 130' INT
trap 'exit 143' TERM

# What the emulator answers beyond its own checks: one API that always refuses.
cat >"$work/scenario.json" <<'JSON'
{
  "apis": {
    "demo.item.get": [
      {"status": 200, "headers": {"x-retcode": "FAIL_BIZ_ITEM_NOT_FOUND"},
       "body": {"api": "demo.item.get", "ret": ["FAIL_BIZ_ITEM_NOT_FOUND::no such item"],
                "v": "1.0"},
       "times": -1}
    ]
  }
}
JSON

"$quilgate" --port 0 --appkey "$appkey" --session demo-sid --session demo-login-sid \
  --need-session demo.user.profile \
  --scenario "$work/scenario.json" >"$work/quilgate.out" 2>&1 &
gate_pid=$!
address=""
for _ in $(seq 1 100); do
  address="$(sed -n 's/^quilgate listening on http:\/\/\(127\.0\.0\.1:[0-9]*\).*$/\1/p' "$work/quilgate.out")"
  [ -n "$address" ] && break
  if ! kill -0 "$gate_pid" 2>/dev/null; then
    break
  fi
  sleep 0.1
done
if [ -z "$address" ]; then
  echo "demo: quilgate did not start:" >&2
  cat "$work/quilgate.out" >&2
  exit 1
fi
echo "demo: gateway emulator listening on $address (app key $appkey)"

failed=0
step=0
# run_step EXPECTED_EXIT TITLE QUILCALL_ARGS...
run_step() {
  local expected="$1" title="$2"
  shift 2
  step=$((step + 1))
  echo
  echo "== step $step: $title: quilcall $* (expect exit $expected)"
  local code=0
  "$quilcall" --host "$address" --appkey "$appkey" "$@" 2>"$work/step$step.err" || code=$?
  if [ "$code" -ne "$expected" ]; then
    echo "!! step $step exited $code, expected $expected; its standard error:"
    cat "$work/step$step.err"
    failed=$((failed + 1))
  fi
}

run_step 0 "a signed POST" --data '{"item":"42","count":2}' demo.item.add 1.0
run_step 0 "a GET with params" --get --param page=1 --param size=20 demo.item.list 1.0
run_step 0 "an asynchronous call" --async --data '{"item":"7"}' demo.item.add 1.0
run_step 0 "a call with a session" --need-login --sid demo-sid --uid demo-uid demo.user.profile 1.0
run_step 0 "an expired session: a login, then the call again" --async --need-login \
  --login-sid demo-login-sid --login-uid demo-uid demo.user.profile 1.0
run_step 1 "a call the gateway refuses" --data '{"item":"404"}' demo.item.get 1.0
run_step 0 "where the time goes" --timing --get demo.item.list 1.0

echo
if [ "$failed" -ne 0 ]; then
  echo "demo: $failed of $step steps did not behave as expected" >&2
  exit 1
fi
echo "demo: all $step steps behaved as expected"
