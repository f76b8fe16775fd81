#!/usr/bin/env bash
# Installs QarnUVAtlas into a temporary prefix and checks it the way a client
# sees it: a separate CMake project finds it with find_package and runs, every
# installed header compiles on its own, pkg-config works, and the shared
# library exports the ORVO interface and nothing of Eigen.
#
#   tests/install_check.sh                    configure, build and install afresh
#   tests/install_check.sh --build-dir DIR    install from an existing build
set -euo pipefail

here="$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)"
source_dir="$(cd "$here/.." && pwd)"
build_dir=""
if [[ $# -ge 2 && "$1" == "--build-dir" ]]; then
    build_dir="$(cd "$2" && pwd)"
elif [[ $# -ne 0 ]]; then
    echo "usage: $0 [--build-dir DIR]" >&2
    exit 2
fi

work="$(mktemp -d "${TMPDIR:-/tmp}/qarn-install-check.XXXXXX")"
trap 'rm -rf "$work"' EXIT
prefix="$work/prefix"

generator=()
if command -v ninja > /dev/null 2>&1; then generator=(-G Ninja); fi
jobs="${QARN_JOBS:-2}"

fail() {
    echo "install check FAILED: $*" >&2
    exit 1
}

if [[ -z "$build_dir" ]]; then
    build_dir="$work/build"
    echo "== configure and build the library"
    cmake -S "$source_dir" -B "$build_dir" "${generator[@]}" -DCMAKE_BUILD_TYPE=Release \
        -DQARN_BUILD_TESTS=OFF -DQARN_BUILD_BENCH=OFF -DQARN_BUILD_TOOLS=OFF > "$work/configure.log" \
        || { cat "$work/configure.log"; fail "configure"; }
fi
echo "== build the shared library"
cmake --build "$build_dir" --target QarnUVAtlas -j "$jobs" > "$work/build.log" \
    || { cat "$work/build.log"; fail "library build"; }
# The Python module, where this configuration has it (pybind11 found).
# Checks read whole outputs before matching: with pipefail, a grep -q that stops at
# the first match would fail the pipe whenever the writer still had lines to go.
if grep -q qarnuv_python <<< "$(cmake --build "$build_dir" --target help 2> /dev/null)"; then
    echo "== build the Python module"
    cmake --build "$build_dir" --target qarnuv_python -j "$jobs" > "$work/build-python.log" \
        || { cat "$work/build-python.log"; fail "Python module build"; }
fi

echo "== install into $prefix"
cmake --install "$build_dir" --prefix "$prefix" > "$work/install.log" \
    || { cat "$work/install.log"; fail "install"; }

[[ -d "$prefix" ]] || fail "nothing was installed (is cmake/Install.cmake included?)"
lib="$(find "$prefix" -name 'libQarnUVAtlas.so' | head -n 1)"
[[ -n "$lib" ]] || fail "libQarnUVAtlas.so not installed"
[[ -f "$(find "$prefix" -name QarnUVAtlasConfig.cmake | head -n 1)" ]] || fail "no package config"
[[ -f "$(find "$prefix" -name QarnUVAtlasConfigVersion.cmake | head -n 1)" ]] || fail "no version file"
if [[ -n "$(find "$prefix" -name '*qarn_internal*' -o -name '*qarn_objects*')" ]]; then
    fail "internal targets were installed"
fi
if grep -rli eigen "$prefix/include" > /dev/null 2>&1; then
    fail "an installed header mentions Eigen: $(grep -rli eigen "$prefix/include" | head -n 3)"
fi

echo "== exported symbols"
symbols="$(nm -D --defined-only "$lib")"
orvo_count="$(grep -c 'ORVO' <<< "$symbols" || true)"
[[ "$orvo_count" -gt 0 ]] || fail "no ORVO symbol exported"
if grep -i eigen <<< "$symbols"; then fail "Eigen symbols are exported"; fi
echo "$orvo_count ORVO symbols, no Eigen symbol"

echo "== every installed header compiles on its own"
cxx="${CXX:-c++}"
for header in "$prefix"/include/QarnUVAtlas/*.h; do
    name="QarnUVAtlas/$(basename "$header")"
    printf '#include <%s>\n' "$name" > "$work/one_header.cpp"
    "$cxx" -std=c++17 -Wall -Wextra -Werror -fsyntax-only -I"$prefix/include" "$work/one_header.cpp" \
        || fail "$name does not compile on its own"
done

echo "== consumer project via find_package"
cmake -S "$here/consumer" -B "$work/consumer" "${generator[@]}" \
    -DCMAKE_PREFIX_PATH="$prefix" -DCMAKE_BUILD_TYPE=Release > "$work/consumer-configure.log" \
    || { cat "$work/consumer-configure.log"; fail "consumer configure"; }
cmake --build "$work/consumer" -j "$jobs" || fail "consumer build"
mkdir -p "$work/run"
(cd "$work/run" && "$work/consumer/qarn_consumer") || fail "consumer run"

if command -v pkg-config > /dev/null 2>&1; then
    echo "== consumer via pkg-config"
    pc_dir="$(dirname "$(find "$prefix" -name QarnUVAtlas.pc | head -n 1)")"
    flags="$(PKG_CONFIG_PATH="$pc_dir" pkg-config --cflags --libs QarnUVAtlas)" \
        || fail "pkg-config does not know QarnUVAtlas"
    # shellcheck disable=SC2086
    "$cxx" -std=c++17 "$here/consumer/main.cpp" -o "$work/consumer_pc" $flags \
        -Wl,-rpath,"$(dirname "$lib")" || fail "pkg-config build"
    (cd "$work/run" && "$work/consumer_pc" > /dev/null) || fail "pkg-config consumer run"
    echo "pkg-config build runs"
fi

if [[ -x "$prefix/bin/qarnuv" ]]; then
    echo "== installed command-line tool"
    (cd "$work/run" && env -u LD_LIBRARY_PATH "$prefix/bin/qarnuv" --help > /dev/null) \
        || fail "the installed qarnuv does not run"
    grep -q "$prefix" <<< "$(env -u LD_LIBRARY_PATH ldd "$prefix/bin/qarnuv")" || fail "the installed qarnuv does not use the installed library"
    echo "qarnuv runs from $prefix/bin"
fi

module="$(find "$prefix" -name '_qarnuv*.so' | head -n 1)"
if [[ -n "$module" ]]; then
    echo "== installed Python module"
    site="$(dirname "$(dirname "$module")")"
    python="$(grep -m1 '^Python3_EXECUTABLE:' "$build_dir/CMakeCache.txt" | cut -d= -f2)"
    [[ -f "$site/qarnuv/__init__.pyi" && -f "$site/qarnuv/py.typed" ]] || fail "the type stub is not installed"
    (cd "$work/run" && env -u LD_LIBRARY_PATH PYTHONPATH="$site" "${python:-python3}" -c \
        "import qarnuv, sys; assert qarnuv.__file__.startswith(sys.argv[1]), qarnuv.__file__; m = qarnuv.unwrap([[0, 0, 0], [1, 0, 0], [0, 1, 0]], [[0, 1, 2]]); assert m.charts == 1" \
        "$site") || fail "the installed Python module does not import and unwrap"
    grep -q "$prefix" <<< "$(env -u LD_LIBRARY_PATH ldd "$module")" || fail "the installed Python module does not use the installed library"
    echo "qarnuv imports from $site"
fi

echo "install check passed"
