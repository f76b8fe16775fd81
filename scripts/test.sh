#!/usr/bin/env bash
# Installs what is missing, builds everything and runs the whole test suite.
# Exits non-zero when the build or any test fails.
#   QARN_BUILD_DIR   build folder (default: build-test)
#   extra arguments  passed to the CMake configure step (e.g. -DQARN_SANITIZE=thread)
set -euo pipefail

root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
source "$root/scripts/deps.sh"
qarn_install_missing_packages

build_dir="${QARN_BUILD_DIR:-$root/build-test}"
cmake -S "$root" -B "$build_dir" -G Ninja -DCMAKE_BUILD_TYPE=Release -DQARN_BUILD_TESTS=ON "$@"
cmake --build "$build_dir" -j "$(nproc)"
cd "$build_dir"
ctest --output-on-failure -j "$(nproc)"
