#!/bin/sh
# Compares the library's Base64 and MD5 with the system's base64 and md5sum: encoding_tools.sh PATH-OF-encode_file
set -eu
encode_file=$1
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
cd "$folder"

same() {
    cmp "$1" "$2" || { echo "differs: $3"; exit 1; }
}

compared=0
for size in 0 1 2 3 17 51 52 53 54 55 56 57 63 64 65 107 108 109 1000 4096 65535 1048577; do
    # No zero bytes: a decoded text would end at the first.
    LC_ALL=C awk 'BEGIN { srand(7); for (;;) printf "%c", int(1 + rand() * 255) }' 2>/dev/null | tr -d '\0' | head -c "$size" >bytes
    [ "$(wc -c <bytes)" -eq "$size" ]

    # The tool ends the last line always, the library only a full one.
    "$encode_file" base64 bytes >ours
    tr -d '\n' <ours >ours.flat
    base64 -w72 bytes >theirs
    base64 -w0 bytes >theirs.flat
    same ours.flat theirs.flat "Base64 of $size bytes"
    if [ "$(tail -c1 ours | od -An -c | tr -d ' ')" != '\n' ] && [ "$size" -gt 0 ]; then
        echo >>ours
    fi
    same ours theirs "lines of $size bytes"

    for width in 0 64 72 76; do
        base64 -w"$width" bytes >text
        "$encode_file" unbase64 text >back
        same back bytes "decoded $size bytes in lines of $width"
    done
    base64 -d ours >back
    same back bytes "our lines of $size bytes, decoded by the tool"

    "$encode_file" md5 bytes >ours
    md5sum <bytes | cut -c1-32 | tr -d '\n' >theirs
    same ours theirs "MD5 of $size bytes"
    compared=$((compared + 1))
done
[ "$compared" -eq 22 ]
echo "$compared files compared"
