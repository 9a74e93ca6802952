#!/usr/bin/env bash
# The dynamic symbol table of the shared library is exactly the committed list.
# usage: check.sh LIBRARY
set -euo pipefail

library=$1
list=$(dirname "${BASH_SOURCE[0]}")/symbols.txt

# A sanitized library exports the sanitizer's marks as well.
exported() {
  nm --dynamic --defined-only --demangle --format=just-symbols "$library" |
    grep -v '^__\(odr_\)\?[au][sb]an' | LC_ALL=C sort
}

diff --unified=0 --label "names that users rely on" --label "names in the library" \
  <(LC_ALL=C sort "$list") <(exported)
