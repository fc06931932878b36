#!/usr/bin/env bash
# The demo: a few events through the real cache store into a fresh sandbox, then what a support
# engineer would see with orincache. Nothing outside the sandbox is touched.
set -euo pipefail
build=$1
sandbox=$2
tool=$build/tools/orincache/orincache

rm -rf "$sandbox"
mkdir -p "$sandbox/QuillBR"
export ORIN_LOCK_DIR=$sandbox ORIN_COMMON_APPDATA=$sandbox ORIN_HOST_DIR=$sandbox
cache=$sandbox/QuillBR/KD_OF.dat

step() { printf '\n$ %s\n' "$*"; "$@"; }

echo "sandbox: $sandbox"
now=$(date +%s)
step "$tool" append "$cache" '{"l":1,"n":100,"m":"demo","u":"dev_id_00000000-0000-4000-8000-000000000001","t":'"$now"'}'
step "$tool" append "$cache" '{"l":1,"n":101,"m":"demo","u":"dev_id_00000000-0000-4000-8000-000000000001","t":'"$now"',"p":{"size":5}}'
step "$tool" append "$cache" '{"l":3,"n":12,"m":"demo","w":10,"t":'"$now"',"p":{"xid":"ab12"}}'
step "$tool" list "$cache"
step "$tool" dump "$cache"
step "$tool" verify "$cache"

echo
echo "# a writer dies half-way through a record: the cache stays readable, the tail is reported"
printf '\x40\x00\x00\x00{"l":' >>"$cache"
step "$tool" list "$cache"
step "$tool" verify "$cache" || echo "(exit $?)"
step "$tool" dump "$cache"
echo
echo "raw bytes of the first record (scrambled, length-prefixed):"
od -A d -t x1 -N 48 "$cache"
