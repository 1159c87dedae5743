#!/usr/bin/env bash
# The Windows test command: cross-builds the SDK, the stand-in security library and every unit
# test for 64-bit Windows with MinGW-w64, and runs the tests as Windows executables under Wine
# through ctest. On a fresh Debian 12 machine (as root) it installs what is missing first.
# Exits non-zero on any failure. A rerun reuses build-windows/ (JsonCpp and GoogleTest are
# fetched and cross-built once).
set -euo pipefail

root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
cd "$root"
# shellcheck source=scripts/deps.sh
source scripts/deps.sh

build="$root/build-windows"
deps="$build/deps"
prefix="$deps/install"
jobs="${QUIL_JOBS:-$(nproc)}"
toolchain="$root/cmake/toolchains/mingw-w64-x86_64.cmake"

# The cross compilers (posix thread model: GCC 12's win32 model has no std::mutex), Wine to run
# what they build, and the tools to fetch and unpack a Debian source package.
packages=(cmake make dpkg-dev mingw-w64-tools wine wine64)
if ! command -v x86_64-w64-mingw32-g++-posix >/dev/null 2>&1; then
  if apt-cache show g++-mingw-w64-x86-64-posix >/dev/null 2>&1; then
    packages+=(g++-mingw-w64-x86-64-posix)
  else
    packages+=(g++-mingw-w64-x86-64)
  fi
fi
quil_install_deps "${packages[@]}"

wine_loader=/usr/lib/wine/wine64
[ -x "$wine_loader" ] || wine_loader="$(command -v wine64 || command -v wine)"
wine_server=/usr/lib/wine/wineserver
[ -x "$wine_server" ] || wine_server="$(command -v wineserver)"

mkdir -p "$deps"

# JsonCpp from Debian's source package, cross-built as a static library.
if [ ! -f "$prefix/lib/cmake/jsoncpp/jsoncppConfig.cmake" ]; then
  if ! ls "$deps"/src/libjsoncpp-*/CMakeLists.txt >/dev/null 2>&1; then
    # apt-get source needs a deb-src entry. When the machine has none, add one in a file of its
    # own, for the suites and mirror the machine already uses; the existing files stay as they are.
    if ! grep -rqsE '^(deb-src|Types:.*deb-src)' /etc/apt/sources.list /etc/apt/sources.list.d/; then
      if [ "$(id -u)" -ne 0 ]; then
        echo "test-windows: no deb-src entry and not root; add one to fetch libjsoncpp's source" >&2
        exit 1
      fi
      # shellcheck disable=SC1091
      codename="$(. /etc/os-release && echo "${VERSION_CODENAME:-bookworm}")"
      echo "test-windows: adding /etc/apt/sources.list.d/quil-deb-src.sources (deb-src for $codename)"
      cat >/etc/apt/sources.list.d/quil-deb-src.sources <<EOF
# Added by QuilSDK's scripts/test-windows.sh: Debian's source packages, to cross-build JsonCpp.
Types: deb-src
URIs: http://deb.debian.org/debian
Suites: $codename $codename-updates
Components: main
Signed-By: /usr/share/keyrings/debian-archive-keyring.gpg
EOF
      apt-get update -qq
    fi
    rm -rf "$deps/src"
    mkdir -p "$deps/src"
    echo "== fetching JsonCpp's source (apt-get source libjsoncpp)"
    (cd "$deps/src" && apt-get source -qq libjsoncpp)
  fi
  jsoncpp_src="$(dirname "$(ls "$deps"/src/libjsoncpp-*/CMakeLists.txt | head -n 1)")"
  echo "== cross-building JsonCpp ($jsoncpp_src)"
  cmake -S "$jsoncpp_src" -B "$deps/jsoncpp-build" -DCMAKE_TOOLCHAIN_FILE="$toolchain" \
    -DCMAKE_BUILD_TYPE=Release -DCMAKE_INSTALL_PREFIX="$prefix" \
    -DBUILD_SHARED_LIBS=OFF -DBUILD_STATIC_LIBS=ON -DBUILD_OBJECT_LIBS=OFF \
    -DJSONCPP_WITH_TESTS=OFF -DJSONCPP_WITH_POST_BUILD_UNITTEST=OFF \
    -DJSONCPP_WITH_PKGCONFIG_SUPPORT=OFF -DJSONCPP_WITH_EXAMPLE=OFF >"$deps/jsoncpp.log"
  cmake --build "$deps/jsoncpp-build" -j "$jobs" >>"$deps/jsoncpp.log"
  cmake --install "$deps/jsoncpp-build" >>"$deps/jsoncpp.log"
fi

# GoogleTest and GoogleMock from the sources Debian installs (libgtest-dev, libgmock-dev).
if [ ! -f "$prefix/lib/cmake/GTest/GTestConfig.cmake" ]; then
  quil_install_deps libgtest-dev libgmock-dev googletest
  echo "== cross-building GoogleTest (/usr/src/googletest)"
  cmake -S /usr/src/googletest -B "$deps/googletest-build" -DCMAKE_TOOLCHAIN_FILE="$toolchain" \
    -DCMAKE_BUILD_TYPE=Release -DCMAKE_INSTALL_PREFIX="$prefix" -DBUILD_SHARED_LIBS=OFF \
    -DBUILD_GMOCK=ON >"$deps/googletest.log"
  cmake --build "$deps/googletest-build" -j "$jobs" >>"$deps/googletest.log"
  cmake --install "$deps/googletest-build" >>"$deps/googletest.log"
fi

echo "== cross-building the SDK, the stand-in security library and the tests (build-windows)"
export QUIL_WINDOWS_DEPS_PREFIX="$prefix"
export WINEPREFIX="$build/wineprefix"
export WINEDEBUG=-all
# No Mono or Gecko installers: nothing here needs them, and they would ask on a display.
export WINEDLLOVERRIDES="mscoree,mshtml="
unset DISPLAY WAYLAND_DISPLAY
cmake -S . -B "$build" -DCMAKE_TOOLCHAIN_FILE="$toolchain" -DCMAKE_BUILD_TYPE=Debug \
  -DQUIL_WINDOWS_DEPS_PREFIX="$prefix" -DQUIL_WINEPREFIX="$WINEPREFIX" >/dev/null
cmake --build "$build" -j "$jobs"

# The Wine server is started here, persistent and detached (own session, no inherited output),
# and it must be running before the first test: a server that a test process starts inherits
# that test's output pipe and keeps it open as long as other tests keep the server busy, so
# ctest sees a test that passed hang at its exit until its time limit. The server refuses to
# start in a prefix folder that does not exist yet (a fresh clone), hence the mkdir; a server
# left from an earlier run (perhaps not persistent) is stopped first, so that ours is the one.
stop_wine() { "$wine_server" -k >/dev/null 2>&1 || true; }
trap stop_wine EXIT
echo "== starting the Wine server ($WINEPREFIX)"
mkdir -p "$WINEPREFIX"
stop_wine
"$wine_server" -w >/dev/null 2>&1 || true
if ! setsid "$wine_server" -p </dev/null >"$build/wineserver.log" 2>&1; then
  echo "test-windows: could not start a persistent Wine server:" >&2
  cat "$build/wineserver.log" >&2
  exit 1
fi
setsid "$wine_loader" wineboot -i </dev/null >/dev/null 2>&1 || true

echo "== running every test under Wine"
status=0
if ! ctest --test-dir "$build" --output-on-failure -j "$jobs" --timeout 300; then
  status=1
fi

if [ $status -ne 0 ]; then
  echo "test-windows.sh: FAILED" >&2
else
  echo "test-windows.sh: all passed"
fi
exit $status
