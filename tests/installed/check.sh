#!/usr/bin/env bash
# From an installed tree that has been moved, a project of CMake's builds the host programs by
# find_package(fenra), and they and the Python module, where it is installed, run.
# usage: check.sh BUILD_DIRECTORY
set -euo pipefail

build=$(realpath "$1")
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
scratch=$(mktemp -d "$build/installed.XXXXXX")
trap 'rm -rf "$scratch"' EXIT
cd "$scratch"

cmake --install "$build" --prefix "$scratch/first" >/dev/null
mv first moved
mkdir project
cat >project/CMakeLists.txt <<END
cmake_minimum_required(VERSION 3.25)
project(host LANGUAGES C CXX)
set(CMAKE_CXX_STANDARD 17)
find_package(fenra 1.0 REQUIRED)
foreach(language c cc)
  add_executable(host_\${language} $root/examples/host.\${language})
  target_link_libraries(host_\${language} PRIVATE fenra::fenra)
endforeach()
END
cmake -S project -B hosts -DCMAKE_PREFIX_PATH="$scratch/moved" >/dev/null
cmake --build hosts >/dev/null

hosts/host_c | grep -F '[etxea] [mendian]' >/dev/null
rm -r articles.store
hosts/host_cc | grep -Fx https://example.eus/2 >/dev/null
rm -r articles.store
module=$(find "$scratch/moved" -name py.typed)
if grep -q '^FENRA_INSTALL_PYTHON:BOOL=OFF' "$build/CMakeCache.txt"; then
  [[ -z $module ]]
  exit
fi
FENRA_LIBRARY=$(find "$scratch/moved" -name 'libfenra.so.1')
PYTHONPATH=$(dirname "$(dirname "$module")")
export FENRA_LIBRARY PYTHONPATH PYTHONDONTWRITEBYTECODE=1
python3 "$root/examples/host.py" | grep -F '[zuria]' >/dev/null
