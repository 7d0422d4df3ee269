# Shared by the scripts: sourced, not run. Leaves the caller at the root of the project.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

jobs=$(nproc)

# need PACKAGE...: installs the Debian packages that are not there yet. With TARVUTIL_INSTALL=no it names them and ends
# the script.
need() {
    local missing=() package
    for package in "$@"; do
        dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q 'ok installed' || missing+=("$package")
    done
    [ ${#missing[@]} -eq 0 ] && return
    if [ "${TARVUTIL_INSTALL:-yes}" = no ]; then
        echo "Missing packages, not installed because of TARVUTIL_INSTALL=no: ${missing[*]}" >&2
        exit 1
    fi
    echo "Installing with apt: ${missing[*]}"
    local root=()
    [ "$(id -u)" -eq 0 ] || root=(sudo)
    "${root[@]}" apt-get update -q
    "${root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -q -y --no-install-recommends "${missing[@]}"
}

build_packages=(g++ cmake ninja-build libcli11-dev nlohmann-json3-dev)
test_packages=("${build_packages[@]}" libgtest-dev libfast-float-dev gnuplot-nox fonts-dejavu-core locales)

need_build() { need "${build_packages[@]}"; }
need_tests() { need "${test_packages[@]}"; }

# configure DIR [CMAKE ARGUMENT...]
configure() {
    local dir=$1
    shift
    mkdir -p "$(dirname "$dir")"
    cmake -S . -B "$dir" -G Ninja "$@" >"$dir.log" 2>&1 || { cat "$dir.log" >&2; return 1; }
    rm -f "$dir.log"
}
