#!/usr/bin/env bash
# Builds the API reference from the public headers with Doxygen (Debian's package, installed
# when missing and root) into build/docs/html. Fails on any Doxygen warning, so CI keeps the
# reference whole.
set -euo pipefail

root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
cd "$root"
# shellcheck source=scripts/deps.sh
source scripts/deps.sh
quil_install_deps doxygen

out="${QUIL_DOCS_DIR:-$root/build/docs}"
mkdir -p "$out"
version="$(sed -n 's/^project(QuilSDK VERSION \([0-9.]*\).*/\1/p' CMakeLists.txt)"
warnings="$out/warnings.log"

{
  cat <<CONFIG
PROJECT_NAME           = QuilSDK
PROJECT_NUMBER         = $version
PROJECT_BRIEF          = "C++ client library for calling an API gateway from a desktop host"
OUTPUT_DIRECTORY       = $out
INPUT                  = docs/api/mainpage.md sdk/Include adapters/curl/include/quil
FILE_PATTERNS          = *.h *.md
EXCLUDE_PATTERNS       = */QuilVersion.h.in
INPUT_FILTER           = "sh docs/api/header-filter.sh"
FILTER_SOURCE_FILES    = NO
USE_MDFILE_AS_MAINPAGE = docs/api/mainpage.md
EXTRACT_ALL            = YES
EXTRACT_PRIVATE        = NO
EXTRACT_STATIC         = YES
JAVADOC_AUTOBRIEF      = YES
QUIET                  = YES
WARNINGS               = YES
WARN_IF_UNDOCUMENTED   = NO
WARN_IF_DOC_ERROR      = YES
WARN_NO_PARAMDOC       = NO
WARN_LOGFILE           = $warnings
GENERATE_HTML          = YES
GENERATE_LATEX         = NO
HTML_OUTPUT            = html
FULL_PATH_NAMES        = YES
STRIP_FROM_PATH        = $root
ENABLE_PREPROCESSING   = YES
MACRO_EXPANSION        = YES
EXPAND_ONLY_PREDEF     = YES
PREDEFINED             = QUIL_API= QUIL_CURL_API=
HAVE_DOT               = NO
CONFIG
} | doxygen -

if [ -s "$warnings" ]; then
  cat "$warnings" >&2
  echo "docs.sh: Doxygen reported warnings (above)" >&2
  exit 1
fi
echo "docs.sh: API reference in $out/html/index.html"
