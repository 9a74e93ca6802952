#!/usr/bin/env bash
# Crawls a site with wget into a WARC file and has fenra index it. Called again, next week, it
# indexes what is new or has changed, and deletes what the site does not have any more.
# usage: crawl.sh URL STORE    FENRA names another program than fenra, WGET_OPTIONS more options
set -euo pipefail

if (($# != 2)); then
  sed -n '/^# usage/s/^# //p' "$0" >&2
  exit 2
fi
url=$1
store=$2
fenra=${FENRA:-fenra}
read -ra options <<<"${WGET_OPTIONS:---wait=1 --random-wait}"
crawl=$(mktemp -d)
trap 'rm -rf "$crawl"' EXIT

# The WARC file is all that is kept. The status 8 tells that the site has answered something with an
# error; such pages are not indexed.
status=0
wget --quiet --recursive --level=inf --no-parent --delete-after --directory-prefix="$crawl/pages" \
  --warc-file="$crawl/crawl" --no-warc-keep-log "${options[@]}" "$url" || status=$?
if ((status != 0 && status != 8)); then
  echo "crawl: wget has ended with the status $status; the store is left as it is" >&2
  exit 1
fi

# The source is the site, so that several of them share a store.
source=${url#*://}
again=()
if [[ -e $store/fenra.index ]]; then
  again=(--skip-unchanged --prune)
fi
"$fenra" index "$store" "$crawl/crawl.warc.gz" --source "${source%%/*}" "${again[@]}"
