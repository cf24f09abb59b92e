#!/bin/sh
# run.sh PROGRAM HEADERS LIBRARY FOLDER COMPILERS [EMULATOR]: compiles a program in every way that is supported, with the
# flags in CXXFLAGS, and runs it in the folder of the library. COMPILERS are separated by commas. A program that succeeds
# writes "ok" as its last line.
set -eu
program=$1 headers=$2 library=$3 folder=$4 compilers=$5 emulator=${6:-}
made=$folder/interface_$(basename "$program" .cpp)_$$.exe
trap 'rm -f "$made"' EXIT
count=0
for compiler in $(echo "$compilers" | tr , ' '); do
    for standard in 17 20 2b; do
        echo "$compiler, C++$standard"
        "$compiler" -std=c++$standard -Wall -Wextra -Wconversion -Wshadow -Werror ${CXXFLAGS:-} -I"$headers" \
            "$program" -o "$made" "$library" -Wl,-rpath,"$folder" -pthread
        output=$(TUZ_WINE_SUCCESS='^ok' $emulator "$made" | tr -d '\r')
        echo "$output"
        [ "$(echo "$output" | tail -n 1)" = ok ]
        count=$((count + 1))
    done
done
[ $count -ge 3 ]
