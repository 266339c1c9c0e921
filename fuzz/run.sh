#!/usr/bin/env bash
# Builds a fuzz target with clang-14 in build/fuzz and runs it for SECONDS on a
# working copy of its seed corpus (the seeds in the source tree stay as they
# are). Crashing inputs land in build/fuzz/artifacts/TARGET/.
#   fuzz/run.sh TARGET SECONDS [libFuzzer options...]     e.g. fuzz/run.sh asn 600
set -euo pipefail
cd "$(dirname "$0")/.."
target=${1:?usage: fuzz/run.sh TARGET SECONDS [options]}
target=${target%_fuzz}
seconds=${2:-60}
shift $(( $# >= 2 ? 2 : $# ))

export CC=clang-14 CXX=clang++-14
cmake --preset fuzz >/dev/null
cmake --build --preset fuzz --target "${target}_fuzz"

work=build/fuzz/corpus/${target}
artifacts=build/fuzz/artifacts/${target}/
mkdir -p "$work" "$artifacts"
if [ -d "fuzz/corpus/${target}" ]; then
  cp -n "fuzz/corpus/${target}"/* "$work"/ 2>/dev/null || true
fi
exec "build/fuzz/bin/${target}_fuzz" "$work" -max_total_time="$seconds" -artifact_prefix="$artifacts" \
  -print_final_stats=1 "$@"
