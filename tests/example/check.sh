#!/usr/bin/env bash
# README.md shows examples/host.cc word for word, and the program does what
# README.md says.
# usage: check.sh HOST_PROGRAM
set -euo pipefail

host=$(realpath "$1")
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)

# shellcheck disable=SC2016  # backquotes of the document, not of the shell
shown=$(sed -n '/^```cpp$/,/^```$/{/^```/!p}' "$root/README.md")
diff --unified=0 --label README.md --label examples/host.cc \
  <(echo "$shown") "$root/examples/host.cc"

scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
cd "$scratch"
expected=$'https://example.eus/1\nhttps://example.eus/2'
for run in "into a new store" "into its own store"; do
  diff --unified=0 --label expected --label "the host program, $run" <(echo "$expected") <("$host")
done
