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

build_packages=(g++ cmake ninja-build libcli11-dev nlohmann-json3-dev libtomlplusplus-dev)
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

# filled PAGE DIR: the page, with each part between a line "<!-- NAME -->" and the next "<!-- end -->" as in DIR/NAME.md,
# or as it was where there is no such file.
filled() {
    awk -v dir="$2" '
        /^<!-- end -->$/ { inside = 0 }
        !inside { print }
        /^<!-- [a-z]+ -->$/ && !/end/ {
            file = dir "/" $2 ".md"
            while ((getline line < file) > 0) { print line; inside = 1 }
        }' "$1"
}

# copy_headers DIR: the header-only packages alone, for a compiler to whose system /usr/include does not belong.
copy_headers() {
    rm -rf "$1"
    mkdir -p "$1/include" "$1/share/cmake"
    cp -r /usr/include/{CLI,nlohmann,fast_float,toml++} "$1/include"
    cp -r /usr/share/cmake/{CLI11,nlohmann_json} "$1/share/cmake"
}

# start_wine: Wine as the following commands need it, without a screen, in build-windows/wine. Call stop_wine at the end.
start_wine() {
    local runtime drive=Z:
    runtime=$(dirname "$(x86_64-w64-mingw32-g++-posix -print-file-name=libstdc++-6.dll)")
    unset DISPLAY
    export WINEPREFIX=$PWD/build-windows/wine WINEDEBUG=-all WINEDLLOVERRIDES='mscoree,mshtml,winemenubuilder.exe='
    export WINEPATH="$drive$(realpath "$runtime");$drive/usr/x86_64-w64-mingw32/lib;$drive$PWD/build-windows/build"
    WINEPATH+=";$drive$PWD/build-windows/build/c;$drive$PWD/build-windows/bin"
    wine_started=yes
    mkdir -p build-windows
    # What runs in the background must not keep the output of a command open.
    /usr/lib/wine/wine64 wineboot --init >/dev/null 2>&1
    /usr/lib/wine/wineserver64 -p >/dev/null 2>&1 || true
    # A program that waits keeps the services of Wine running: a command starts within half a second, not three.
    coproc wine_waits { exec /usr/lib/wine/wine64 cmd >/dev/null 2>&1; }
}
stop_wine() { [ "${wine_started:-no}" = no ] || /usr/lib/wine/wineserver64 -k || true; }
