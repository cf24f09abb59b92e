#!/bin/sh
# run.sh PROJECT-FOLDER SOURCE-FOLDER WORK-FOLDER [TOOLCHAIN EMULATOR]: builds a project of a user's that brings the library along
# in its own build, optimized and with flags of its own, and runs it. Those flags must not cost the library what it needs.
set -eu
project=$1 source=$2 work=$3 toolchain=${4:-} emulator=${5:-}
rm -rf "$work"
cmake -S "$source" -B "$work" -G Ninja -DTUZUTIL_SOURCE_FOLDER="$project" -DCMAKE_BUILD_TYPE=Release \
    -DCMAKE_CXX_FLAGS="-O3 -DGIVEN_BY_THE_USER" -DCMAKE_EXPORT_COMPILE_COMMANDS=ON \
    ${toolchain:+-DCMAKE_TOOLCHAIN_FILE="$toolchain"} >/dev/null
commands=$(grep -F '"command"' "$work/compile_commands.json" | grep -F "src/utility/TSTRING.cpp")
needed="-DGIVEN_BY_THE_USER"
[ -n "$emulator" ] && needed="$needed -msse2 -mfpmath=sse -faligned-new=8"
for flag in $needed; do
    case $commands in
    *" $flag "*) ;;
    *) echo "the library is built without $flag: $commands"; exit 1 ;;
    esac
done
case $commands in
*" -Werror "*) echo "warnings are errors in somebody else's build"; exit 1 ;;
esac
cmake --build "$work"
if [ -n "$emulator" ]; then
    output=$("$emulator" "$work/bin/embedding.exe" | tr -d '\r')
else
    output=$("$work/bin/embedding")
fi
echo "$output"
[ "$output" = "inbox has 5 messages" ]
