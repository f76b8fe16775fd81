#!/usr/bin/env bash
# Installs the Debian packages the build needs, only those that are missing.
# Sourced by demo.sh and test.sh; can also be run on its own.
set -euo pipefail

QARN_DEBIAN_PACKAGES=(cmake ninja-build g++ libeigen3-dev libgtest-dev libcli11-dev libstb-dev
                      libtinyobjloader-dev pkg-config
                      libtinygltf-dev python3-dev pybind11-dev python3-pybind11 python3-numpy python3-pytest
                      python3-dask python3-distributed)

qarn_install_missing_packages() {
    local missing=()
    local pkg
    for pkg in "${QARN_DEBIAN_PACKAGES[@]}"; do
        # The whole status is read before matching: under pipefail, grep -q stopping
        # early could make an installed package look missing.
        if ! grep -q '^Status: install ok installed' <<< "$(dpkg -s "$pkg" 2> /dev/null)"; then
            missing+=("$pkg")
        fi
    done
    if [[ ${#missing[@]} -eq 0 ]]; then
        return 0
    fi
    echo "installing missing packages: ${missing[*]}"
    local sudo=()
    if [[ $(id -u) -ne 0 ]]; then
        if command -v sudo > /dev/null 2>&1; then
            sudo=(sudo)
        else
            echo "missing packages (${missing[*]}) and not root: install them first" >&2
            return 1
        fi
    fi
    "${sudo[@]}" env DEBIAN_FRONTEND=noninteractive apt-get update
    "${sudo[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -y "${missing[@]}"
}

if [[ "${BASH_SOURCE[0]}" == "$0" ]]; then
    qarn_install_missing_packages
fi
