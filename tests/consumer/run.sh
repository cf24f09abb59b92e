#!/bin/sh
# run.sh BUILD-FOLDER SOURCE-FOLDER WORK-FOLDER LIBDIR [MACHINE]: installs the library, builds the consumer against it,
# runs it from the installed files alone, and uninstalls the library. LIBDIR is the folder of libraries, below the
# prefix. For Windows, MACHINE chooses the installed toolchain. For other systems, the environment variables CXX and
# CMAKE_TOOLCHAIN_FILE say how the library was built.
set -eu
build=$1 source=$2 work=$3 libdir=$4 machine=${5:-}
package=$work/prefix/$libdir/cmake/tuzutil
rm -rf "$work"
cmake --install "$build" --prefix "$work/prefix" >/dev/null

if [ -n "$machine" ]; then
    # A folder that the user has named before is still searched.
    set -- -DCMAKE_TOOLCHAIN_FILE="$package/mingw-$machine.cmake" -DCMAKE_FIND_ROOT_PATH="$work/own"
    mkdir -p "$work/own/lib/cmake/own"
    touch "$work/own/lib/cmake/own/ownConfig.cmake"
else
    set -- -DCMAKE_PREFIX_PATH="$work/prefix" -DCMAKE_INSTALL_RPATH="$work/prefix/$libdir"
fi
cmake -S "$source" -B "$work/build" -G Ninja "$@" >/dev/null
cmake --build "$work/build"
if cmake --build "$work/build" --target consumer_Wrong >"$work/wrong.log"; then
    echo "a translation that does not fit was built"
    exit 1
fi
grep -F "Wrong.rc:3: message 17: %s prints argument 1, in the default text %u" "$work/wrong.log"

expect() { # expect PROGRAM
    if [ -n "$machine" ]; then
        output=$("$package/winerun.sh" "$1.exe" | tr -d '\r')
    else
        output=$("$1")
    fi
    echo "$output"
    [ "$output" = "TInvalidRequest: Bad value to truncate this String
5 Nachrichten" ]
}
expect "$work/build/consumer"

# The consumer is installed with its texts. On Windows, the library's own DLLs are installed there too.
prefix=$work/installed
[ -z "$machine" ] || prefix=$work/prefix
cmake --install "$work/build" --prefix "$prefix" >/dev/null
expect "$prefix/bin/consumer"

if [ -z "$machine" ]; then
    export PKG_CONFIG_PATH="$work/prefix/$libdir/pkgconfig"
    [ "$(pkg-config --modversion tuzutil)" = "$(sed -n 's/.*VERSION_STRING "\(.*\)"/\1/p' "$work/prefix/include/tuzutil/RELEASE.h")" ]
    # shellcheck disable=SC2046 # the words are separate arguments
    "${CXX:-g++}" -std=c++17 "$source/main.cpp" $(pkg-config --cflags --libs tuzutil) -o "$work/build/by_pkg_config"
    LD_LIBRARY_PATH="$work/prefix/$libdir" expect "$work/build/by_pkg_config"
fi

xargs rm <"$work/build/install_manifest.txt" # the consumer's files
cmake --build "$build" --target uninstall >/dev/null
if find "$work/prefix" ! -type d -o -path '*tuzutil*' | grep .; then
    echo "this is left after the library was uninstalled"
    exit 1
fi
