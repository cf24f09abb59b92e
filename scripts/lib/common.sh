# The common part of the commands in the folder scripts/: messages, and the packages of the distribution that the
# commands need. No other file names these packages.

set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/../.."
export DEBIAN_FRONTEND=noninteractive

say() { printf '\n== %s\n' "$*"; }
die() { printf 'error: %s\n' "$*" >&2; exit 1; }

# Every preset that builds the tests needs these packages when it is configured, because some suites use clang++ and
# {fmt}.
packages_build=(g++ clang cmake ninja-build pkg-config googletest libfmt-dev binutils python3)
packages_windows=(g++-mingw-w64-i686-posix)
packages_wine=(wine wine32:i386)
packages_windows64=(g++-mingw-w64-x86-64-posix)
packages_wine64=(wine64)
packages_arm=(g++-aarch64-linux-gnu qemu-user qemu-user-binfmt)
packages_clients=(curl python3 mpop msmtp coreutils)
packages_checks=(gdb clang-format clang-tidy-14 clangd libclang-rt-14-dev valgrind)
packages_bench=(libbenchmark-dev libspdlog-dev libev-dev libevent-dev libssl-dev)
packages_docs=(doxygen python3)
packages_packages=(dpkg-dev file gdb gzip)
packages_lintian=(lintian)
packages_bare=(debootstrap)

installed() { dpkg-query -W -f '${Status}' "$1" 2>/dev/null | grep -q 'install ok installed'; }

# need GROUP...: installs the missing packages of the named groups.
need() {
    local group package missing=() missing_wine=()
    for group in "$@"; do
        local -n list="packages_$group"
        for package in "${list[@]}"; do
            installed "$package" && continue
            if [[ $group = wine* ]]; then missing_wine+=("$package"); else missing+=("$package"); fi
        done
    done
    [ ${#missing[@]} -eq 0 ] && [ ${#missing_wine[@]} -eq 0 ] && return 0

    local sudo=()
    if [ "$(id -u)" -ne 0 ]; then
        command -v sudo >/dev/null && sudo -n true 2>/dev/null ||
            die "these packages are missing, and only root may install them: ${missing[*]} ${missing_wine[*]}"
        sudo=(sudo)
    fi
    say "installing ${missing[*]} ${missing_wine[*]}"
    if [ ${#missing_wine[@]} -ne 0 ]; then
        "${sudo[@]}" dpkg --add-architecture i386
    fi
    # If an index cannot be fetched, the script goes on, because apt-get below names each package that it cannot
    # install.
    "${sudo[@]}" apt-get update -q || printf 'note: not every package index could be fetched\n'
    # The packages of Wine come from the release itself, because the updates may have different versions for the two
    # architectures.
    [ ${#missing_wine[@]} -eq 0 ] || install_packages -t bookworm --allow-downgrades "${missing_wine[@]}"
    [ ${#missing[@]} -eq 0 ] || install_packages "${missing[@]}"
}

# install_packages [OPTION...] PACKAGE...: installs the packages. A library must have the same version for both
# architectures that Wine needs. If updates for only one of them are installed, apt refuses; the packages and the
# libraries that they need are then replaced by those of the release.
install_packages() {
    "${sudo[@]}" apt-get install -q -y --no-install-recommends "$@" && return 0
    say "installing the versions of the release"
    local pins
    pins=$(mktemp)
    printf 'Package: *\nPin: release n=bookworm\nPin-Priority: 1001\n' >"$pins"
    "${sudo[@]}" apt-get install -q -y --no-install-recommends --allow-downgrades -o Dir::Etc::Preferences="$pins" "$@"
    rm -f "$pins"
}

# build PRESET [TARGET...]: configures and builds.
build() {
    local preset=$1
    shift
    say "building $preset"
    mkdir -p "build/$preset"
    cmake --preset "$preset" >"build/$preset/configure.log" 2>&1 || {
        cat "build/$preset/configure.log"
        die "configuring $preset failed"
    }
    cmake --build --preset "$preset" ${1:+--target "$@"}
}
