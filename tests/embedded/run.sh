#!/bin/sh
# run.sh PROJECT-FOLDER SOURCE-FOLDER WORK-FOLDER TOOLCHAIN EMULATOR FLAGS CMAKE-OPTION...: builds a project of a user's
# that brings the library along in its own build, with compiler flags and options of its own, and runs it. Those flags
# must not cost the library what it needs. TOOLCHAIN and EMULATOR may be empty.
set -eu
project=$1 source=$2 work=$3 toolchain=$4 emulator=$5 flags=$6
shift 6
export LC_ALL=C.UTF-8
rm -rf "$work"
cmake -S "$source" -B "$work" -G Ninja -DFETCHCONTENT_SOURCE_DIR_TUZUTIL="$project" \
    -DCMAKE_CXX_FLAGS="$flags -DGIVEN_BY_THE_USER" -DCMAKE_EXPORT_COMPILE_COMMANDS=ON \
    ${toolchain:+-DCMAKE_TOOLCHAIN_FILE="$toolchain"} "$@" >/dev/null
commands=$(grep -F '"command"' "$work/compile_commands.json" | grep -F "src/utility/TSTRING.cpp")
has() { case $commands in *" $1 "*) ;; *) return 1 ;; esac; }
needed="-DGIVEN_BY_THE_USER -fvisibility=hidden -std=c++20"
case $(basename "$toolchain") in *i686*) needed="$needed -msse2 -mfpmath=sse -faligned-new=8" ;; esac
for flag in $needed; do
    has "$flag" || { echo "the library is built without $flag: $commands"; exit 1; }
done
for flag in -Werror -Wall; do
    has "$flag" && { echo "$flag in somebody else's build"; exit 1; }
done
cmake --build "$work"
cmake --install "$work" --prefix "$work/installed" >/dev/null
if [ -e "$work/installed" ]; then
    echo "the library is installed with somebody else's project:" && find "$work/installed"
    exit 1
fi

expect() { # expect PROGRAM TEXT
    if [ -n "$emulator" ]; then
        output=$(TUZ_WINE_SUCCESS=. "$emulator" "$work/$1.exe" | tr -d '\r')
    else
        output=$("$work/$1")
    fi
    echo "$output"
    [ "$output" = "$2" ] || { echo "$1 should have printed: $2"; exit 1; }
}
user() { # user NAME WHAT: what a static object traces
    text="$1 $2"
    printf '%s: %s: %s\n%s\n%s' "$1" "$text" ${#text} "String: caught: Bad value to truncate this String" \
        "$1: to the stream: 17"
}
expect embedding "inbox hat 5 Nachrichten"
expect bare "the locale is set"
expect statics "$(user early built)
$(user program built)
$(user local built)
main ends
$(user local destroyed)
$(user program destroyed)
$(user early destroyed)
destination destroyed"
