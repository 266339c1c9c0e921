#!/usr/bin/env bash
# Streams a signed message with a large content through SignData (read from a
# file, write to a new file, detach to a file), one process per operation
# under /usr/bin/time -v, next to `dd bs=4K` copying the same content file.
# Each operation runs REPS times (3 by default); the medians are shown.
#   bench/signed_stream.sh BUILD_DIR [CONTENT_MIB [REPS]]     e.g. bench/signed_stream.sh build/linux 1024
set -euo pipefail
build=${1:?usage: bench/signed_stream.sh BUILD_DIR [CONTENT_MIB [REPS]]}
mib=${2:-1024}
reps=${3:-3}
bench=$build/bin/signed_bench
work=$(mktemp -d "${TMPDIR:-/tmp}/cmskit-signed-stream.XXXXXX")
trap 'rm -rf "$work"' EXIT
export CMSKIT_BENCH_DIR=$work CMSKIT_BENCH_CONTENT_MIB=$mib

# Made once and reused by every run below.
"$bench" --benchmark_filter='^BM_ReadObjectFile$' >/dev/null

# Each run starts with no dirty pages left over from the one before.
measure() {
  local label=$1
  shift
  sync
  /usr/bin/time -v "$@" 2>"$work/time.txt" >"$work/out.txt" || { cat "$work/time.txt"; exit 1; }
  local wall rss
  wall=$(sed -n 's/.*Elapsed (wall clock) time (h:mm:ss or m:ss): //p' "$work/time.txt")
  rss=$(sed -n 's/.*Maximum resident set size (kbytes): //p' "$work/time.txt")
  printf '%-34s wall %-9s peak RSS %6d KiB\n' "$label" "$wall" "$rss"
  grep -h '^BM_.*median' "$work/out.txt" | sed 's/^/    /' || true
}

dd_copy() {
  for _ in $(seq "$reps"); do
    measure "dd bs=4K (copy of the content)" dd if="$work/content.bin" of="$work/dd.bin" bs=4K status=none
  done
}

echo "content: $mib MiB"
dd_copy
for op in BM_ReadObjectFile BM_WriteObjectFile BM_DetachDataFile BM_ReadObjectFileSegmented \
  BM_WriteObjectFileFromSegments BM_DetachDataFileFromSegments BM_BlockCopyBaseline; do
  measure "$op" "$bench" --benchmark_filter="^$op(/real_time)?\$" --benchmark_min_time=0 \
    --benchmark_repetitions="$reps" --benchmark_report_aggregates_only=true
done
dd_copy
