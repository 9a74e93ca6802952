#!/usr/bin/env bash
# README.md shows examples/host.cc and examples/host.py word for word, and they and examples/host.c
# do what README.md says.
# usage: check.sh HOST_PROGRAM C_HOST_PROGRAM LIBRARY
set -euo pipefail

host=$(realpath "$1")
c_host=$(realpath "$2")
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
FENRA_LIBRARY=$(realpath "$3")
PYTHONPATH=$root/python
export FENRA_LIBRARY PYTHONPATH PYTHONDONTWRITEBYTECODE=1

# usage: shown LANGUAGE
shown() {
  # shellcheck disable=SC2016  # backquotes of the document, not of the shell
  sed -n '/^```'"$1"'$/,/^```$/{/^```/!p}' "$root/README.md"
}
diff --unified=0 --label README.md --label examples/host.cc <(shown cpp) "$root/examples/host.cc"
diff --unified=0 --label README.md --label examples/host.py <(shown python) "$root/examples/host.py"

scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
cd "$scratch"

# usage: expect OUTPUT WHAT COMMAND...
expect() {
  local expected=$1 what=$2
  shift 2
  diff --unified=0 --label expected --label "$what" <(echo "$expected") <("$@")
}

urls=$'https://example.eus/1\nhttps://example.eus/2'
expect "$urls" "the host program, into a new store" "$host"
expect "$urls" "the host program, into its own store" "$host"
rm -r articles.store
in_c='20090315 https://example.eus/1
    Gure [etxea] [mendian] dago.
20090315 https://example.eus/2
    Zer da [etxe] hau [mendi] honetan?'
expect "$in_c" "the C host program" "$c_host"
rm -r articles.store
# A sanitized library is for sanitized programs only. grep reads to the end: were it to leave early
# (-q), nm could end by SIGPIPE, and the pipe would fail although the symbol is there.
if ! nm --dynamic "$FENRA_LIBRARY" | grep '__[at]san_init' >/dev/null; then
  in_python=$'https://example.eus/1 Etxe zuria\n    [Etxe] [zuria] Gure [etxea] mendian dago, eta [zuria] da.'
  expect "$in_python" "the Python host program" python3 "$root/examples/host.py"
fi
