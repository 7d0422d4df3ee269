# Shared by the scripts: sourced, not run. Leaves the caller at the root of the project.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

jobs=$(nproc)

# need PACKAGE...: installs the Debian packages that are not there yet.
need() {
    local missing=() package
    for package in "$@"; do
        dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q 'ok installed' || missing+=("$package")
    done
    [ ${#missing[@]} -eq 0 ] && return
    local root=()
    [ "$(id -u)" -eq 0 ] || root=(sudo)
    "${root[@]}" apt-get update -q
    "${root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -q -y --no-install-recommends "${missing[@]}"
}

need_build() { need g++ cmake ninja-build libcli11-dev nlohmann-json3-dev; }
need_tests() { need_build; need libgtest-dev libfast-float-dev gnuplot-nox fonts-dejavu-core locales; }

# configure DIR [CMAKE ARGUMENT...]
configure() {
    local dir=$1
    shift
    mkdir -p "$(dirname "$dir")"
    cmake -S . -B "$dir" -G Ninja "$@" >"$dir.log" 2>&1 || { cat "$dir.log" >&2; return 1; }
    rm -f "$dir.log"
}
