#!/usr/bin/env bash
# Builds the fuzz targets for a service that runs fuzzers, as OSS-Fuzz does. Puts into the folder $OUT, for each target,
# the program NAME_fuzz, its inputs as NAME_fuzz_seed_corpus.zip, its dictionary if it has one, and the limits under
# which it runs. The library is linked statically, so the folder can be moved.
#
# The service sets these variables. The values in brackets are used where it does not:
#   CXX                  the compiler [clang++]
#   CXXFLAGS             options for the sanitizers and for coverage [address and undefined behaviour]
#   LIB_FUZZING_ENGINE   what the programs are linked with [-fsanitize=fuzzer]
#   OUT                  the folder for the results [build/fuzz-service/out]
#   WORK                 a folder for the build [build/fuzz-service/work]
set -euo pipefail
cd "$(dirname "$0")/.."
: "${CXX:=clang++}"
: "${CXXFLAGS=-O1 -g -fno-omit-frame-pointer -fsanitize=address,undefined,fuzzer-no-link -fno-sanitize-recover=all}"
: "${LIB_FUZZING_ENGINE=-fsanitize=fuzzer}"
: "${OUT:=$PWD/build/fuzz-service/out}"
: "${WORK:=$PWD/build/fuzz-service/work}"
mkdir -p "$OUT" "$WORK"

cmake -S . -B "$WORK" -G Ninja -DCMAKE_BUILD_TYPE=None -DCMAKE_CXX_COMPILER="$CXX" -DCMAKE_CXX_FLAGS="$CXXFLAGS" \
    -DBUILD_SHARED_LIBS=OFF -DTUZUTIL_BUILD_FUZZ=ON -DTUZUTIL_FUZZ_ENGINE="$LIB_FUZZING_ENGINE" \
    -DTUZUTIL_INSTALL=OFF -DTUZUTIL_BUILD_TOOLS=OFF
cmake --build "$WORK"

for source in fuzz/*_fuzz.cpp; do
    program=$(basename "$source" .cpp)
    name=${program%_fuzz}
    install "$WORK/bin/$program" "$OUT/$program"
    [ ! -f "fuzz/$name.dict" ] || install -m 644 "fuzz/$name.dict" "$OUT/$program.dict"
    printf '[libfuzzer]\nrss_limit_mb = 1024\ntimeout = 10\n' >"$OUT/$program.options"
    python3 fuzz/corpus.py zip "$name" "$OUT/${program}_seed_corpus.zip"
done
