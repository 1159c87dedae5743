#!/usr/bin/env bash
# Installs the Debian packages the build needs when they are missing. Sourced by test.sh,
# demo.sh and bench.sh; safe to run again (it installs nothing when all are present).
set -euo pipefail

QUIL_PACKAGES=(
  cmake make g++ pkg-config
  libjsoncpp-dev
  libgtest-dev libgmock-dev
  libbenchmark-dev
  libcurl4-openssl-dev
  libcpp-httplib-dev
  libssl-dev
  clang-format
)

quil_install_deps() {
  local missing=()
  local package
  for package in "$@"; do
    if ! dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q "install ok installed"; then
      missing+=("$package")
    fi
  done
  if [ ${#missing[@]} -eq 0 ]; then
    return 0
  fi
  echo "deps: installing missing Debian packages: ${missing[*]}"
  if [ "$(id -u)" -ne 0 ]; then
    echo "deps: not root; please install them with: sudo apt-get install -y ${missing[*]}" >&2
    return 1
  fi
  export DEBIAN_FRONTEND=noninteractive
  apt-get update -qq
  apt-get install -y -qq --no-install-recommends "${missing[@]}"
}

if [ "${BASH_SOURCE[0]}" = "$0" ]; then
  quil_install_deps "${QUIL_PACKAGES[@]}"
fi
