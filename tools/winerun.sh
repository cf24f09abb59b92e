#!/bin/sh
# Runs a Windows program under Wine without a display, for CTest and the scripts.
#
# The program's output goes to a file first. The first Wine process starts services that inherit its output. If the
# output were a pipe, its reader would wait until these services end. The server of Wine stays for 300 s, because the
# next program then starts faster. If a program runs longer than TUZ_WINE_TIMEOUT seconds, it is ended, its output is
# printed, and the exit status is 124. Keep this time below the timeout of CTest, which would lose the output.
#
# If the user has not chosen a prefix, the script that is installed beside a toolchain has a prefix of its own for the
# word size of that toolchain. A prefix that was set up when only the 64-bit part of Wine was installed can never run
# 32-bit programs.
prefix=${XDG_CACHE_HOME:-$HOME/.cache}/tuz-wineprefix
if [ -z "${TUZ_WINEPREFIX:-}" ]; then
    for machine in i686=win32 x86_64=win64; do
        [ -e "$(dirname "$0")/mingw-${machine%=*}.cmake" ] && export WINEARCH="${machine#*=}" && prefix=$prefix-$WINEARCH
    done
fi
export WINEPREFIX="${TUZ_WINEPREFIX:-$prefix}"
export WINEDEBUG="${WINEDEBUG:--all}" LC_ALL="${TUZ_WINE_LC_ALL:-C.UTF-8}"
# Wine's debugger is off. It would print the state of a program that crashes, and this sometimes hangs on a loaded
# machine.
export WINEDLLOVERRIDES="${WINEDLLOVERRIDES:-mscoree,mshtml,winemenubuilder.exe,winedbg.exe=d}"
unset DISPLAY WAYLAND_DISPLAY
mkdir -p "$WINEPREFIX"
# The first program sets the prefix up. Programs that start in the meantime wait for it.
if [ ! -e "$WINEPREFIX/ready" ]; then
    (
        flock 9
        [ -e "$WINEPREFIX/ready" ] || { wineboot -i </dev/null >/dev/null 2>&1 9>&- && touch "$WINEPREFIX/ready"; }
    ) 9>"$WINEPREFIX/lock"
fi
wineserver -p300 </dev/null >/dev/null 2>&1
# If the 32-bit loader of Wine starts a 64-bit program, it does so in another process, and signals do not reach the
# program. Therefore the 64-bit loader starts it. Debian has this loader outside of PATH.
wine=wine
if [ "${WINEARCH:-}" = win64 ]; then
    for loader in wine64 /usr/lib/wine/wine64; do
        path=$(command -v "$loader") && wine=$path && export WINELOADER="$path" && break
    done
fi
# If TUZ_WINE_EXEC is set, the program replaces this script, and has its input and output. A caller uses this if it sends
# signals to the program, or talks to it. If the output is a pipe, another program must have started the services before.
[ -n "${TUZ_WINE_EXEC:-}" ] && exec "$wine" "$@"
out=$(mktemp) || exit 99
trap 'rm -f "$out"' EXIT
run() { timeout -k 5 "${TUZ_WINE_TIMEOUT:-50}" "$wine" "$@" </dev/null >"$out" 2>&1; }
# Returns whether the program has reported success. If so, its output has a line that matches the expression in
# TUZ_WINE_SUCCESS, and no line that reports a failed test. By default, the expression matches the line that GoogleTest
# prints last.
succeeded() {
    grep -Eq "${TUZ_WINE_SUCCESS:-^\[  PASSED  \] [0-9]+ tests?\.}" "$out" && ! grep -q '^\[  FAILED  \]' "$out"
}
begin=$(date +%s)
run "$@"
rc=$?
# On a loaded machine, Wine itself sometimes crashes at the end of a program whose threads still run, even if the
# program does not use tuzutil (status 139). The server of Wine kills a program that has ended but does not leave the
# system within half a second (status 137, which timeout also gives, but not before the time is over). If either
# happened and the program had reported success, the program runs once more. It also runs once more if Wine has not
# started it: then nothing is written and the status is 1. Each of these repetitions adds a line to the file
# TUZ_WINE_TRIES.
ended_by_wine() {
    [ "$1" -eq 139 ] || { [ "$1" -eq 137 ] && [ $(($(date +%s) - begin)) -lt "${TUZ_WINE_TIMEOUT:-50}" ]; }
}
if { ended_by_wine $rc && succeeded; } || { [ $rc -eq 1 ] && ! [ -s "$out" ]; }; then
    [ -n "${TUZ_WINE_TRIES:-}" ] && printf '%s\n' "$*" >>"$TUZ_WINE_TRIES"
    run "$@"
    rc=$?
fi
cat "$out"
# A program that fails without a word may never have been started.
[ $rc -eq 0 ] || [ -s "$out" ] || printf '%s wrote nothing and ended with status %s\n' "${1##*/}" "$rc"
exit $rc
