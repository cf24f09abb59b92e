#!/usr/bin/env bash
# bare_root.sh PACKAGES-FOLDER ROOT: makes a new Debian 12 in the folder ROOT, installs each package there as
# docs/building.md says, and builds and runs the README's program with it. Needs root and debootstrap. The folder that
# was ROOT before is removed.
#
# What is mounted and started for the new root ends with this script, because it is in namespaces of its own.
set -euo pipefail
if [ "${1:-}" != --inside ]; then
    exec unshare --mount --pid --fork --kill-child "$0" --inside "$@"
fi
source=$(realpath "$(dirname "$0")/../..")
. "$source/tests/packages/program.sh"
packages=$(realpath "$2")
root=$(realpath -m "$3")
rm -rf "$root"
mkdir -p "$root"
# The root has only the release and no updates, because these may have different versions for the two architectures that
# Wine needs.
debootstrap --variant=minbase bookworm "$root" >"$root.log" 2>&1 ||
    { tail -n 20 "$root.log"; exit 1; }
cp /etc/resolv.conf "$root/etc/resolv.conf"
mount -t proc proc "$root/proc"
mount --rbind /dev "$root/dev"
cp "$packages"/* "$root/root"
write_program "$source" "$root/root/program"

cat >"$root/root/try.sh" <<'END'
set -eu
export DEBIAN_FRONTEND=noninteractive
cd /root
install() { apt-get install -q -y "$@" >>apt.log 2>&1 || { tail -n 20 apt.log; exit 1; }; }
check() { # check NAME COMMAND...: what the program prints
    name=$1
    shift
    output=$("$@" | tr -d '\r')
    printf '%s: %s\n' "$name" "$output"
    [ "$output" = "RETR: message 17" ]
}
try() { # try NAME CMAKE-OPTION...
    name=$1
    shift
    cmake -S program -B "build-$name" "$@" >"$name.log" 2>&1 || { cat "$name.log"; exit 1; }
    cmake --build "build-$name" >"$name.log" 2>&1 || { cat "$name.log"; exit 1; }
}
windows() { # windows NAME MACHINE
    unzip -q -d /opt tuzutil-*-"$1".zip
    mv /opt/tuzutil-*-"$1" "/opt/tuzutil-$1"
    cmakes=/opt/tuzutil-$1/lib/cmake/tuzutil
    try "$1" -DCMAKE_TOOLCHAIN_FILE="$cmakes/mingw-$2.cmake"
    check "$1" "$cmakes/winerun.sh" "build-$1/program.exe"
}
apt-get update -q >apt.log 2>&1
if ls ./tuzutil*.deb >/dev/null 2>&1; then
    install ./tuzutil*.deb cmake
    try debian
    check debian build-debian/program
    apt-get purge -q -y libtuzutil0 libtuzutil-dev >>apt.log 2>&1
    if find / -xdev -path /root -prune -o -path '*tuzutil*' -print | grep .; then
        echo "this is left after the Debian packages were removed"
        exit 1
    fi
fi
if ls ./*.tar.gz >/dev/null 2>&1; then
    install cmake g++
    tar -xzf tuzutil-*-linux-*.tar.gz
    mv tuzutil-*-linux-x86_64 /opt/tuzutil
    try tarball -DCMAKE_PREFIX_PATH=/opt/tuzutil
    check tarball build-tarball/program
fi
if ls ./*-win64.zip >/dev/null 2>&1; then
    install cmake unzip g++-mingw-w64-x86-64-posix wine wine64
    windows win64 x86_64
fi
if ls ./*-win32.zip >/dev/null 2>&1; then
    dpkg --add-architecture i386
    apt-get update -q >>apt.log 2>&1
    install cmake unzip g++-mingw-w64-i686-posix wine wine32:i386
    windows win32 i686
fi
END
chroot "$root" env -i PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin HOME=/root sh /root/try.sh
