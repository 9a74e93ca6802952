#!/usr/bin/env bash
# wget crawls a small site (site.py) by examples/crawl.sh, and again when it has changed; search
# finds what the site has.
# usage: check.sh FENRA_PROGRAM PYTHON
set -euo pipefail

FENRA=$(realpath "$1")
export FENRA WGET_OPTIONS="--tries=1 --timeout=20 --no-proxy --compression=none"
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
scratch=$(mktemp -d)
mkfifo "$scratch/port"
"$2" "$root/tests/crawl_script/site.py" >"$scratch/port" &
server=$!
trap 'kill "$server"; rm -rf "$scratch"' EXIT
read -r port <"$scratch/port"
site=http://127.0.0.1:$port
store=$scratch/articles.store

# usage: expect FILE_OF_WHAT_CAME PATTERN
expect() {
  if ! grep -qE -- "$2" "$1"; then
    echo "no line is '$2' among" >&2
    cat "$1" >&2
    exit 1
  fi
}

# usage: finds PATH... -- WORD    the answer is these pages, in any order
finds() {
  local paths=()
  while [[ $1 != -- ]]; do
    paths+=("$site$1")
    shift
  done
  diff <(printf '%s\n' "${paths[@]}" | sort) <("$FENRA" search "$store" "$2" | sort)
}

crawl() {
  "$root/examples/crawl.sh" "$site/" "$store" >"$scratch/out" 2>"$scratch/err"
}

crawl
expect "$scratch/out" '^indexed 8, refused 0, skipped '  # one page is met twice
expect "$scratch/err" 'skipped: MIME type application/pdf: 1, .* status 302: 1, status 404: 2$'
finds / /testua.txt -- mendiak
finds /zatika -- itsaso
finds /trinko -- ibai
finds /lehen/ -- baso
finds /latin -- piñudi
finds /zaharra -- hondartza
for word in hodeia trukea hutsa; do
  [[ -z $("$FENRA" search "$store" "$word") ]]
done

# A week later. The page with another link has the same text.
"$2" -c "import urllib.request as r; r.build_opener(r.ProxyHandler({})).open('$site/week/2')"
crawl
expect "$scratch/out" '^indexed 2, refused 0, skipped [0-9]+, unchanged 6, deleted 1, '
finds /berria -- hondartza
finds /trinko -- zubia
[[ -z $("$FENRA" search "$store" ibaia) ]]
