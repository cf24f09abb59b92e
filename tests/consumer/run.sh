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
if cmake --build "$work/build" --target consumer_Wrong >"$work/wrong.log"; then
    echo "a translation that does not fit was built"
    exit 1
fi
grep -F "Wrong.rc:3: message 17: %s prints argument 1, in the default text %u" "$work/wrong.log"
if [ -n "$emulator" ]; then
    cp "$work"/prefix/bin/*.dll "$work/build/"
    output=$("$emulator" "$work/build/consumer.exe" | tr -d '\r')
else
    output=$("$work/build/consumer")
fi
echo "$output"
[ "$output" = "TInvalidRequest: Bad value to truncate this String
5 Nachrichten" ]
