# shellcheck shell=bash
# A user's project of six lines with the program of the README, for the scripts that try the packages.

# write_program SOURCE-FOLDER FOLDER: makes FOLDER and writes the project into it.
write_program() {
    mkdir -p "$2"
    cp "$1/tests/packages/program/CMakeLists.txt" "$2"
    sed -n '/^```cpp$/,/^```$/p' "$1/README.md" | sed '/^```/d' >"$2/main.cpp"
}
