#!/usr/bin/env bash
# The main command: installs what is missing, builds Release into build/release, starts the
# gateway emulator (quilgate) on a free loopback port with the stand-in security library in
# place, and takes quilcall on a tour of every capability against it. Each step prints its
# heading, what it expects (an exit code and a text the output must contain), quilcall's
# answer, and whether the outcome was the expected one. Exits 0 only when every step behaved
# as expected; the emulators are stopped on every way out.
#
# Steps whose capability this build of quilcall does not have yet (the clock correction, the
# flow-control ban, the resend on the security library's verdict) are named as skipped and do
# not fail the tour; they run as soon as quilcall can show them.
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
# The dispatch service's host is a deployment value of the build; the emulator stands in for it.
dispatch_host="$(sed -n 's/^QUIL_DISPATCH_HOST_DAILY:STRING=//p' "$build/CMakeCache.txt")"
work="$(mktemp -d)"
gate_pids=()
started_address=""

stop_emulators() {
  local pid
  for pid in "${gate_pids[@]}"; do
    if kill -0 "$pid" 2>/dev/null; then
      kill -TERM "$pid" 2>/dev/null || true
      wait "$pid" 2>/dev/null || true
    fi
  done
  rm -rf "$work"
}
trap stop_emulators EXIT
trap 'exit 130' INT
trap 'exit 143' TERM

# What the emulator answers beyond its own checks: one API that always refuses, and two that
# answer once with the traffic protection's challenge (then normally again).
cat >"$work/scenario.json" <<'JSON'
{
  "apis": {
    "demo.item.get": [
      {"status": 200, "headers": {"x-retcode": "FAIL_BIZ_ITEM_NOT_FOUND"},
       "body": {"api": "demo.item.get", "ret": ["FAIL_BIZ_ITEM_NOT_FOUND::no such item"],
                "v": "1.0"},
       "times": -1}
    ],
    "demo.guarded.ban": [
      {"status": 419, "headers": {"x-retcode": "FAIL_SYS_USER_VALIDATE"},
       "body": {"ret": ["FAIL_SYS_USER_VALIDATE::busy"]}}
    ],
    "demo.guarded.resend": [
      {"status": 420, "headers": {"x-retcode": "FAIL_SYS_USER_VALIDATE"},
       "body": {"ret": ["FAIL_SYS_USER_VALIDATE::busy"]}}
    ]
  }
}
JSON

# start_emulator NAME QUILGATE_ARGS...: starts quilgate on a free port and sets started_address.
start_emulator() {
  local name="$1" address=""
  shift
  # Made here, not by the background redirection, so that it exists when it is first read.
  : >"$work/quilgate-$name.out"
  "$quilgate" --port 0 --appkey "$appkey" "$@" >"$work/quilgate-$name.out" 2>&1 &
  local pid=$!
  gate_pids+=("$pid")
  for _ in $(seq 1 100); do
    address="$(sed -n 's/^quilgate listening on http:\/\/\(127\.0\.0\.1:[0-9]*\).*$/\1/p' \
      "$work/quilgate-$name.out")"
    [ -n "$address" ] && break
    if ! kill -0 "$pid" 2>/dev/null; then
      break
    fi
    sleep 0.1
  done
  if [ -z "$address" ]; then
    echo "demo: quilgate ($name) did not start:" >&2
    cat "$work/quilgate-$name.out" >&2
    exit 1
  fi
  started_address="$address"
}

start_emulator main --session demo-sid --session demo-login-sid \
  --need-session demo.user.profile --dns gw.demo.example=10.0.0.1,10.0.0.2 \
  --scenario "$work/scenario.json"
address_main="$started_address"
echo "demo: gateway emulator listening on $address_main (app key $appkey)"
# A second gateway whose clock runs two hours ahead of this machine's.
start_emulator ahead --clock-offset 7200
address_ahead="$started_address"
echo "demo: a gateway two hours ahead listening on $address_ahead"

failed=0
step=0
skipped=()
# For the next step only: the gateway's address, and environment entries for quilcall.
step_host=""
step_env=()
# run_step EXPECTED_EXIT EXPECTED_TEXT TITLE QUILCALL_ARGS...
# EXPECTED_TEXT must appear in what quilcall writes (standard output or standard error).
run_step() {
  local expected="$1" text="$2" title="$3"
  shift 3
  local host="${step_host:-$address_main}"
  step=$((step + 1))
  echo
  echo "== step $step: $title"
  echo "   quilcall $*"
  echo "   expect: exit $expected, and \"$text\""
  local code=0
  env "${step_env[@]}" "$quilcall" --host "$host" --appkey "$appkey" "$@" \
    >"$work/step$step.out" 2>"$work/step$step.err" || code=$?
  sed 's/^/   | /' "$work/step$step.out"
  step_host=""
  step_env=()
  if [ "$code" -ne "$expected" ]; then
    echo "!! step $step exited $code, expected $expected; its standard error:"
    cat "$work/step$step.err"
    failed=$((failed + 1))
  elif ! grep -qF -- "$text" "$work/step$step.out" "$work/step$step.err"; then
    echo "!! step $step did not say \"$text\"; its standard error:"
    cat "$work/step$step.err"
    failed=$((failed + 1))
  else
    echo "   ok"
  fi
}
# has_capability TEXT: whether this quilcall can tell the outcome that TEXT names.
has_capability() {
  grep -qaF -- "$1" "$quilcall"
}
skip_step() {
  skipped+=("$1")
  echo
  echo "== skipped: $1 (this build of quilcall cannot show it yet)"
}

run_step 0 "retCode: SUCCESS" "a signed POST" --data '{"item":"42","count":2}' demo.item.add 1.0
run_step 0 "retCode: SUCCESS" "a GET with params" \
  --get --param page=1 --param size=20 demo.item.list 1.0
run_step 0 "retCode: SUCCESS" "an asynchronous call, answered through its callback" \
  --async --data '{"item":"7"}' demo.item.add 1.0
run_step 0 "retCode: SUCCESS" "a call with a session" \
  --need-login --sid demo-sid --uid demo-uid demo.user.profile 1.0
run_step 0 "onLoginSuccess, retryAllRequest: Default" \
  "an expired session: a login, then the call again" --async --need-login --log-level 1 \
  --login-sid demo-login-sid --login-uid demo-uid demo.user.profile 1.0
run_step 1 "errorType: 3" "a call the gateway refuses" --data '{"item":"404"}' demo.item.get 1.0

if has_capability "the gateway corrected the clock"; then
  step_host="$address_ahead"
  run_step 0 "clock: the gateway corrected the clock (1 time)" \
    "a clock two hours off, corrected by the gateway's time" demo.item.list 1.0
else
  skip_step "a clock two hours off, corrected"
fi
if has_capability "refused locally by a flow-control ban"; then
  step_env=('QUIL_STANDIN_CONTROLS=traffic.mainAction=1;traffic.subAction=4;traffic.param={"kv-sleep":"60000"}')
  run_step 1 "traffic: refused locally by a flow-control ban" \
    "a ban: the second call is refused locally" --repeat 2 demo.guarded.ban 1.0
else
  skip_step "a call refused locally during a ban"
fi
if has_capability "on the security library's verdict"; then
  step_env=('QUIL_STANDIN_CONTROLS=traffic.mainAction=4;traffic.param=demo-token')
  run_step 0 "traffic: resent 1 time on the security library's verdict" \
    "a resend on the security library's verdict" demo.guarded.resend 1.0
else
  skip_step "a resend on the security library's verdict"
fi

run_step 0 "dispatch gw.demo.example: 10.0.0.2" "a dispatch lookup, after a call" \
  --env online --connect-to "$dispatch_host:80:$address_main" demo.item.list 1.0 \
  --dispatch gw.demo.example
run_step 0 "after filters  |" "where the time goes" --timing --get demo.item.list 1.0

echo
if [ "$failed" -ne 0 ]; then
  echo "demo: $failed of $step steps did not behave as expected" >&2
  exit 1
fi
if [ "${#skipped[@]}" -ne 0 ]; then
  echo "demo: all $step steps behaved as expected; not in this build yet:"
  printf '  - %s\n' "${skipped[@]}"
else
  echo "demo: all $step steps behaved as expected"
fi
