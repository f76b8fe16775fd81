#!/usr/bin/env bash
# Installs what is missing, builds the library and its command-line program
# qarnuv, and runs `qarnuv demo`: it makes two test surfaces, unwraps them and
# writes the meshes, the atlases and their preview pictures.
#   QARN_BUILD_DIR   build folder (default: build-demo); the files go to <folder>/demo-run
#   extra arguments  passed to `qarnuv demo` (e.g. --preview-size 512)
set -euo pipefail

root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
source "$root/scripts/deps.sh"
qarn_install_missing_packages

build_dir="${QARN_BUILD_DIR:-$root/build-demo}"
cmake -S "$root" -B "$build_dir" -G Ninja -DCMAKE_BUILD_TYPE=Release \
    -DQARN_BUILD_TESTS=OFF -DQARN_BUILD_BENCH=OFF -DQARN_BUILD_TOOLS=ON
cmake --build "$build_dir" --target qarnuv -j "$(nproc)"

mkdir -p "$build_dir/demo-run"
cd "$build_dir/demo-run"
"$build_dir/tools/qarnuv" demo "$@"
echo "files written to $build_dir/demo-run"
