#!/usr/bin/env bash
# Every installed header compiles alone, with the flags of the installed fenra.pc:
# as C++17 and, where it is plain C, as strict C11.
# usage: check.sh BUILD_DIRECTORY
set -euo pipefail

build=$1
tree=$(mktemp -d "$build/headers.XXXXXX")
trap 'rm -rf "$tree"' EXIT

c_headers="articledb.h articledb_backup.h articledb_bulk.h articledb_generator.h articledb_lemmatizer.h
  articledb_query.h articledb_rules.h articledb_util.h export.h fenra_c.h ostren_generator.h ostrenfst.h web_lemmatizer.h"
cxx_headers="$c_headers embedded_lexicon.h fenra.h ostren_ffst.h temporary_file.h"
warnings=(-Wall -Wextra -Wshadow -Werror)

cmake --install "$build" --prefix "$tree/usr" >/dev/null
pc=$(find "$tree" -name fenra.pc)
read -ra flags <<<"$(PKG_CONFIG_PATH=$(dirname "$pc") pkg-config --cflags fenra)"

# usage: compile HEADER EXTENSION COMPILER...
compile() {
  local header=$1 source=$tree/alone.$2
  shift 2
  if command -v "$1" >/dev/null; then
    # Twice, for the include guard.
    printf '#include <fenra/%s>\n#include <fenra/%s>\nint main(void) { return 0; }\n' \
      "$header" "$header" >"$source"
    "$@" "${warnings[@]}" "${flags[@]}" -fsyntax-only "$source"
  fi
}

installed=$(cd "$tree/usr/include/fenra" && LC_ALL=C ls)
if [[ $(LC_ALL=C sort <<<"${cxx_headers// /$'\n'}" | sed '/^$/d') != "$installed" ]]; then
  echo "the installed headers are not those that this test knows: $installed" >&2
  exit 1
fi
for header in $cxx_headers; do
  compile "$header" cc g++ -std=c++17
  compile "$header" cc clang++ -std=c++17
done
for header in $c_headers; do
  compile "$header" c gcc -std=c11 -pedantic
  compile "$header" c clang -std=c11 -pedantic
done

# That for C needs no library's headers, and is C99.
flags=("-I$tree/usr/include")
compile fenra_c.h c gcc -std=c99 -pedantic
compile fenra_c.h cc g++ -std=c++17 -pedantic
