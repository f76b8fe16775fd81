#!/usr/bin/env bash
# Fuzzes every mesh and point-cloud reader with libFuzzer (clang), under
# AddressSanitizer and UndefinedBehaviorSanitizer. Not part of the normal build.
#
#   fuzz/run.sh [SECONDS] [TARGET...]    SECONDS per target (default 60);
#                                        targets: obj ply stl off asc glb, and the
#                                        dump records dump_conformal dump_isometric
#                                        dump_atlas dump_pack dump_split dump
#                                        (any record by its number) (default all)
#   QARN_FUZZ_BUILD=<folder>             build folder (default build-fuzz)
#
# Each target starts from fuzz/seeds and tests/data/malformed (files of its
# format; a dump target's seeds end in .<target>); the corpus it grows stays
# in <build>/corpus-<target>. A crash stops
# the script with the reproducer's path in libFuzzer's output.
set -euo pipefail

root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
build="${QARN_FUZZ_BUILD:-$root/build-fuzz}"
seconds="${1:-60}"
shift || true
targets=("$@")
if [[ ${#targets[@]} -eq 0 ]]; then
    targets=(obj ply stl off asc glb dump_conformal dump_isometric dump_atlas dump_pack dump_split dump)
fi

command -v clang++ > /dev/null || { echo "fuzz/run.sh needs clang++ (Debian package clang)" >&2; exit 1; }

# The library's objects with sanitizers and fuzzer coverage, but no fuzzer main.
cmake -S "$root" -B "$build" -G Ninja -DCMAKE_CXX_COMPILER=clang++ -DCMAKE_BUILD_TYPE=RelWithDebInfo \
    -DQARN_SANITIZE=address,undefined,fuzzer-no-link \
    -DQARN_BUILD_TESTS=OFF -DQARN_BUILD_BENCH=OFF -DQARN_BUILD_TOOLS=OFF > "$build.cmake.log"
cmake --build "$build" --target qarn_internal -j 2

for target in "${targets[@]}"; do
    binary="$build/fuzz_$target"
    source="$root/fuzz/fuzz_$target.cpp"
    defines=()
    case "$target" in
        dump_conformal) defines=(-DQARN_FUZZ_RECORD=CreateDumpMeshUnfoldConformal) ;;
        dump_isometric) defines=(-DQARN_FUZZ_RECORD=CreateDumpMeshUnfoldOptimizeIsometric) ;;
        dump_atlas) defines=(-DQARN_FUZZ_RECORD=CreateDumpMeshUnfoldGenerateUVAtlas) ;;
        dump_pack) defines=(-DQARN_FUZZ_RECORD=CreateDumpMeshUnfoldPackUVAtlas) ;;
        dump_split) defines=(-DQARN_FUZZ_RECORD=CreateDumpMeshSplitByLines) ;;
    esac
    [[ "$target" == dump* ]] && source="$root/fuzz/fuzz_dump.cpp"
    libraries=(-lpthread)
    if [[ "$target" == glb ]]; then libraries=(-ltinygltf -lpthread); fi  # the container parser
    clang++ -std=c++17 -g -O1 -fsanitize=fuzzer,address,undefined -fno-sanitize-recover=all "${defines[@]}" \
        -I "$root/include" -I "$root" "$source" "$build/libqarn_internal.a" "${libraries[@]}" -o "$binary"
    corpus="$build/corpus-$target"
    mkdir -p "$corpus"
    cp "$root"/fuzz/seeds/*."$target" "$corpus"/ 2> /dev/null || true
    cp "$root"/tests/data/malformed/*."$target" "$corpus"/ 2> /dev/null || true
    echo "== fuzzing the $target reader for $seconds s"
    "$binary" -max_total_time="$seconds" -max_len=16384 -timeout=10 -rss_limit_mb=2048 -print_final_stats=1 \
        -artifact_prefix="$build/crash-$target-" \
        "$corpus" > "$build/fuzz-$target.log" 2>&1 || { tail -40 "$build/fuzz-$target.log"; exit 1; }
    runs=$(grep -o 'Done [0-9]* runs' "$build/fuzz-$target.log" | grep -o '[0-9]*' || echo "?")
    echo "$target: $runs inputs tried, no failure (corpus: $corpus)"
done
