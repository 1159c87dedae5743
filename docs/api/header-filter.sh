#!/bin/sh
# Doxygen input filter for the public headers: their comments are plain "//" lines, written for
# readers of the header; this shows them to Doxygen as documentation without changing the
# files. The opening block becomes the file's description, a comment block before a declaration
# documents it, and a comment behind a member documents that member. Backslashes inside
# comments (Windows paths) are doubled, so Doxygen does not read them as commands.
exec sed -E \
  -e '/^[[:space:]]*\/\//s/\\/\\\\/g' \
  -e '/[;,{][[:space:]]+\/\/[[:space:]]/s/\\/\\\\/g' \
  -e '1s#^//[[:space:]]?(.*)$#/// \\file\n/// \1#' \
  -e '2,$s#^([[:space:]]*)//([^/]|$)#\1///\2#' \
  -e 's#([;,{])[[:space:]]+//[[:space:]]#\1 ///< #' \
  "$1"
