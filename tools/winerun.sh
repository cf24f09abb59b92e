#!/bin/sh
# Runs a Windows program under Wine without a display, for CTest and the scripts.
#
# Output goes through a file: the first Wine process starts services that inherit its output, and a reader of the pipe
# would wait for them. The server stays for 300 s, so that the next program starts warm. The inner timeout keeps the
# output of a program that hangs (exit status 124); keep it below CTest's own.
export WINEPREFIX="${TUZ_WINEPREFIX:-${XDG_CACHE_HOME:-$HOME/.cache}/tuz-wineprefix}"
export WINEDEBUG="${WINEDEBUG:--all}" LC_ALL="${TUZ_WINE_LC_ALL:-C.UTF-8}"
# Without Wine's debugger: it would write the state of a program that dies, and on a loaded machine that now and then hangs.
export WINEDLLOVERRIDES="${WINEDLLOVERRIDES:-mscoree,mshtml,winemenubuilder.exe,winedbg.exe=d}"
unset DISPLAY WAYLAND_DISPLAY
mkdir -p "$WINEPREFIX"
# The first program to come sets the prefix up; others that come meanwhile wait, and see nothing of its chatter.
if [ ! -e "$WINEPREFIX/ready" ]; then
    (
        flock 9
        [ -e "$WINEPREFIX/ready" ] || { wineboot -i </dev/null >/dev/null 2>&1 9>&- && touch "$WINEPREFIX/ready"; }
    ) 9>"$WINEPREFIX/lock"
fi
wineserver -p300 </dev/null >/dev/null 2>&1
# For a caller that has given the program files for its output, and sends it signals.
[ -n "${TUZ_WINE_EXEC:-}" ] && exec wine "$@" </dev/null
out=$(mktemp) || exit 99
trap 'rm -f "$out"' EXIT
run() { timeout -k 5 "${TUZ_WINE_TIMEOUT:-50}" wine "$@" </dev/null >"$out" 2>&1; }
# What the program said last stands between it and the emulator: GoogleTest's verdict, or what the caller names.
succeeded() {
    grep -Eq "${TUZ_WINE_SUCCESS:-^\[  PASSED  \] [0-9]+ tests?\.}" "$out" && ! grep -q '^\[  FAILED  \]' "$out"
}
run "$@"
rc=$?
# Under load the emulator itself now and then breaks down while a program ends whose threads still run, also one that
# knows nothing of the library. Then, and only if the program had reported success, it is run once more. That is
# counted: a line for each in the file that the caller names.
if [ $rc -eq 139 ] && succeeded; then
    [ -n "${TUZ_WINE_TRIES:-}" ] && printf '%s\n' "$*" >>"$TUZ_WINE_TRIES"
    run "$@"
    rc=$?
fi
cat "$out"
exit $rc
