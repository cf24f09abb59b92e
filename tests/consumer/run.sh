#!/bin/sh
# run.sh BUILD-FOLDER SOURCE-FOLDER WORK-FOLDER [TOOLCHAIN EMULATOR]: installs the library, builds the consumer against
# it and runs it from the installed files alone.
set -eu
build=$1 source=$2 work=$3 toolchain=${4:-} emulator=${5:-}
rm -rf "$work"
cmake --install "$build" --prefix "$work/prefix" >/dev/null
cmake -S "$source" -B "$work/build" -G Ninja -DCMAKE_PREFIX_PATH="$work/prefix" \
    -Dtuzutil_DIR="$work/prefix/lib/cmake/tuzutil" -DCMAKE_INSTALL_RPATH="$work/prefix/lib" \
    ${toolchain:+-DCMAKE_TOOLCHAIN_FILE="$toolchain"} >/dev/null
cmake --build "$work/build"
if [ -n "$emulator" ]; then
    cp "$work"/prefix/bin/*.dll "$work/build/"
    output=$("$emulator" "$work/build/consumer.exe" | tr -d '\r')
else
    output=$("$work/build/consumer")
fi
echo "$output"
[ "$output" = "TInvalidRequest: Bad value to truncate this String
5 Nachrichten" ]
