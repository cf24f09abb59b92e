#!/usr/bin/env bash
# run.sh PACKAGES-FOLDER WORK-FOLDER: installs each package in a folder of its own, and there builds and runs the
# README's program with it, in a project of six lines.
set -euo pipefail
root=$(realpath "$(dirname "$0")/../..")
. "$root/tests/packages/program.sh"
packages=$(realpath "$1")
work=$(realpath -m "$2")
rm -rf "$work"
write_program "$root" "$work/program"

check() { # check NAME COMMAND...: what the program prints
    local name=$1 output
    shift
    output=$("$@" | tr -d '\r')
    printf '%s: %s\n' "$name" "$output"
    [ "$output" = "RETR: message 17" ]
}
try() { # try NAME CMAKE-OPTION...: builds the program in the folder NAME
    local name=$1
    shift
    cmake -S "$work/program" -B "$work/$name/build" -G Ninja "$@" >"$work/$name.log" 2>&1 || { cat "$work/$name.log"; return 1; }
    cmake --build "$work/$name/build" >"$work/$name.log" 2>&1 || { cat "$work/$name.log"; return 1; }
}

# The Debian packages: what they depend on is there for this system, but not for the folder, which also has no shell for
# the scripts that refresh the linker's cache.
debian() {
    apt-get install --simulate "$packages"/*.deb >"$work/debian.log" 2>&1 || { cat "$work/debian.log"; exit 1; }
    mkdir -p "$work/debian/var/lib/dpkg"/{info,updates,triggers}
    touch "$work/debian/var/lib/dpkg"/{status,available}
    dpkg --root="$work/debian" --force-not-root --force-bad-path --unpack "$packages"/*.deb >"$work/debian.log" 2>&1 ||
        { cat "$work/debian.log"; exit 1; }
    [ "$(dpkg-query --admindir="$work/debian/var/lib/dpkg" -W -f '${Package} ')" = "libtuzutil-dev libtuzutil0 " ]
    try debian -DCMAKE_PREFIX_PATH="$work/debian/usr"
    check debian "$work/debian/build/program"
    debugger
}
# gdb loads the printers together with the library. Here the library is not where the package puts it, so gdb is shown
# the same tree below the folder in which the library is.
debugger() {
    local library scripts seen
    library=$(realpath "$work/debian"/usr/lib/*/libtuzutil.so)
    scripts=$work/gdb$(dirname "$library")
    mkdir -p "$scripts"
    ln -s "$work/debian/usr/share/gdb/auto-load${library#"$work/debian"}-gdb.py" "$scripts"
    seen=$(gdb -batch -nx -iex "set auto-load safe-path /" -iex "set auto-load scripts-directory $work/gdb" -ex "break main" \
        -ex run -ex "info tuzutil-traces" -ex kill "$work/debian/build/program" 2>&1 | grep -ci "trace destinations")
    printf 'gdb: %s\n' "$seen"
    [ "$seen" = 1 ]
}
tarball() {
    mkdir "$work/tarball"
    tar -xzf "$packages"/tuzutil-*-linux-*.tar.gz -C "$work/tarball" --strip-components=1
    try tarball -DCMAKE_PREFIX_PATH="$work/tarball"
    check tarball "$work/tarball/build/program"
    export PKG_CONFIG_PATH
    PKG_CONFIG_PATH=$(dirname "$(find "$work/tarball" -name tuzutil.pc)")
    # shellcheck disable=SC2046 # the words are separate arguments
    g++ "$work/program/main.cpp" $(pkg-config --cflags --libs tuzutil) -o "$work/tarball/build/by_pkg_config"
    LD_LIBRARY_PATH=$(pkg-config --variable=libdir tuzutil) check pkg-config "$work/tarball/build/by_pkg_config"
}
windows() { # windows ZIP
    local name folder
    name=$(basename "$1" .zip | sed 's/.*-//')
    (mkdir "$work/$name" && cd "$work/$name" && cmake -E tar xf "$1" && mv tuzutil-*/* .)
    folder=$work/$name/lib/cmake/tuzutil
    try "$name" -DCMAKE_TOOLCHAIN_FILE="$(echo "$folder"/mingw-*.cmake)"
    # The presets of these names have such folders for Wine, too.
    export TUZ_WINEPREFIX="$root/build/$name/wineprefix" WINEARCH="$name"
    check "$name" "$folder/winerun.sh" "$work/$name/build/program.exe"
}

for package in "$packages"/*; do
    case $package in
    */tuzutil-dev-*.deb) debian ;;
    *.tar.gz) tarball ;;
    *.zip) windows "$package" ;;
    esac
done
