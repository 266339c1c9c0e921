#!/usr/bin/env bash
# Sets the library beside the program its users would otherwise pick, in one
# run, and prints one table: both figures, their ratio (library / peer; above
# 1 means the library is faster) and the peak resident memory of both.
#   - read + write of signed messages in memory   vs OpenSSL d2i/i2d_CMS_ContentInfo
#   - streaming a signed file (read + write)      vs dd bs=4K of its content
#   - cmskit detach of that file                  vs cat of its content
#   - cmskit sign of its content (attached DER)   vs openssl dgst -sha256 + dd bs=4K,
#                                                 openssl cms -sign (DER) and -stream (BER)
#   - cmskit verify of that file                  vs openssl dgst -sha256 of its content
#                                                 and openssl cms -verify -noverify
#   - verifying a detached message in memory      vs OpenSSL d2i_CMS_ContentInfo + CMS_verify
#   - decrypting an enveloped file to a file      vs openssl cms -decrypt
#   - encrypting a file (AES-128, one RSA holder) vs openssl cms -encrypt
#   - Base64 encode and decode of a message file  vs coreutils base64
# Every input is made with openssl at run time in a temporary folder.
# Builds into build/bench (Release) unless CMSKIT_BENCH_BUILD names another.
# Sizes (MiB): CMSKIT_BENCH_MIB (streamed file, 1024), CMSKIT_BENCH_DECRYPT_MIB
# (100, also the encrypted file), CMSKIT_BENCH_BASE64_MIB (256); CMSKIT_BENCH_REPS runs per file row (3,
# the median time, or the best in-memory rate, is shown). Needs /usr/bin/time (Debian package time).
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=${CMSKIT_BENCH_BUILD:-$root/build/bench}
stream_mib=${CMSKIT_BENCH_MIB:-1024}
decrypt_mib=${CMSKIT_BENCH_DECRYPT_MIB:-100}
base64_mib=${CMSKIT_BENCH_BASE64_MIB:-256}
reps=${CMSKIT_BENCH_REPS:-3}
[ -x /usr/bin/time ] || { echo "needs /usr/bin/time (apt-get install time)" >&2; exit 1; }
command -v openssl >/dev/null || { echo "needs the openssl command" >&2; exit 1; }

cmake -S "$root" -B "$build" -DCMAKE_BUILD_TYPE=Release -DCMSKIT_BUILD_BENCH=ON -DCMSKIT_BUILD_TESTS=OFF \
  >/dev/null
cmake --build "$build" -j2 --target compare_bench peer_openssl_cms cmskit >/dev/null
bench=$build/bin/compare_bench
peer=$build/bin/peer_openssl_cms
cli=$build/bin/cmskit

work=$(mktemp -d "${TMPDIR:-/tmp}/cmskit-compare.XXXXXX")
trap 'rm -rf "$work"' EXIT
cd "$work"

# ---- inputs -----------------------------------------------------------------
ssl() { openssl "$@" >/dev/null 2>ssl-errors.txt || { cat ssl-errors.txt >&2; return 1; }; }
ssl req -x509 -newkey rsa:2048 -nodes -days 30 -subj /CN=bench-signer -keyout key.pem -out cert.pem
# Certificates of other holders under one key (only their count and size
# matter here); the first four make the chain of the typical message.
for i in $(seq 1 200); do
  ssl req -x509 -new -key key.pem -days 30 -set_serial "$i" -subj "/O=Bench/OU=Unit $i/CN=holder $i" \
    -addext "subjectAltName=DNS:holder$i.example" -out "c$i.pem"
done
cat c1.pem c2.pem c3.pem c4.pem >chain.pem
cat $(seq -f "c%g.pem" 1 200) >many.pem
head -c 2000 /dev/urandom >small.bin
head -c 65536 /dev/urandom >64k.bin
ssl cms -sign -binary -in small.bin -signer cert.pem -inkey key.pem -certfile chain.pem -outform DER \
  -out detached.der
ssl cms -sign -binary -nodetach -in 64k.bin -signer cert.pem -inkey key.pem -outform DER -out attached-64k.der
ssl cms -sign -binary -in small.bin -signer cert.pem -inkey key.pem -certfile many.pem -outform DER \
  -out certs-200.der

big() { head -c "$(($2 << 20))" /dev/urandom >"$1"; }
big stream.bin "$stream_mib"
ssl cms -sign -binary -nodetach -in stream.bin -signer cert.pem -inkey key.pem -outform DER -out stream.der
big plain.bin "$decrypt_mib"
ssl cms -encrypt -binary -aes128 -in plain.bin -outform DER -out enveloped.der cert.pem
big b64content.bin "$base64_mib"
ssl cms -sign -binary -nodetach -stream -in b64content.bin -signer cert.pem -inkey key.pem -outform DER \
  -out b64message.der
rm -f b64content.bin

# ---- measuring --------------------------------------------------------------
# Runs a command under /usr/bin/time -v and sets WALL (seconds, its own clock:
# time -v counts hundredths) and RSS (KiB, from time -v).
measure() {
  sync
  local start end
  start=$(date +%s%N)
  /usr/bin/time -v "$@" 2>time.txt >out.txt || { cat time.txt out.txt >&2; exit 1; }
  end=$(date +%s%N)
  WALL=$(awk -v a="$start" -v b="$end" 'BEGIN { print (b - a) / 1e9 }')
  RSS=$(sed -n 's/.*Maximum resident set size (kbytes): //p' time.txt)
}

median() { printf '%s\n' "$@" | sort -g | awk '{ v[NR] = $1 } END { print v[int((NR + 1) / 2)] }'; }

# Median wall time and largest peak over $reps runs; REMOVE is deleted first.
measure_reps() {
  local walls=() peak=0
  for _ in $(seq "$reps"); do
    rm -f "$REMOVE"
    measure "$@"
    walls+=("$WALL")
    [ "$RSS" -gt "$peak" ] && peak=$RSS
  done
  WALL=$(median "${walls[@]}")
  RSS=$peak
}

rows=()
# row NAME UNIT OURS THEIRS OURS_KIB THEIRS_KIB
row() {
  rows+=("$(awk -v n="$1" -v u="$2" -v a="$3" -v b="$4" -v ra="$5" -v rb="$6" 'BEGIN {
    printf "| %s | %.1f %s | %.1f %s | %.2f | %.1f MiB | %.1f MiB |", n, a, u, b, u, a / b, ra / 1024, rb / 1024 }')")
}

# ---- in memory --------------------------------------------------------------
# The best of $reps runs of each side: the rates suffer from whatever else the
# machine runs at the time, never from luck.
best_rate() {
  local best=0 rss=0 rate
  for _ in $(seq "$reps"); do
    measure "$@"
    if [ "$1" = env ]; then rate=$(jq '.benchmarks[0].ops_per_s' out.txt); else rate=$(awk '{ print $2 }' out.txt); fi
    best=$(awk -v a="$best" -v b="$rate" 'BEGIN { print (b > a ? b : a) }')
    [ "$RSS" -gt "$rss" ] && rss=$RSS
  done
  RATE=$best RSS=$rss
}

for message in detached.der attached-64k.der certs-200.der; do
  best_rate env CMSKIT_COMPARE_MESSAGES="$work/$message" "$bench" --benchmark_format=json
  ours=$RATE ours_rss=$RSS
  best_rate "$peer" "$message" 1
  row "read+write in memory, $message ($(stat -c %s "$message") B) vs d2i+i2d_CMS_ContentInfo" ops/s \
    "$ours" "$RATE" "$ours_rss" "$RSS"
done

best_rate env CMSKIT_COMPARE_VERIFY="$work/detached.der:$work/small.bin" "$bench" --benchmark_format=json
ours=$RATE ours_rss=$RSS
best_rate "$peer" detached.der 1 small.bin
row "verify in memory, detached.der ($(stat -c %s detached.der) B) vs d2i_CMS_ContentInfo+CMS_verify" ops/s \
  "$ours" "$RATE" "$ours_rss" "$RSS"

# ---- file rows ----------------------------------------------------------------
rate() { awk -v m="$1" -v s="$2" 'BEGIN { print m / s }'; }

# The two sides take turns, so that write-back of earlier runs and whatever
# else the machine does at the time weigh on both alike.
dd_walls=() our_walls=() dd_rss=0 our_rss=0
for _ in $(seq "$reps"); do
  rm -f dd.out
  measure dd if=stream.bin of=dd.out bs=4K status=none
  dd_walls+=("$WALL")
  if [ "$RSS" -gt "$dd_rss" ]; then dd_rss=$RSS; fi
  rm -f dd.out stream.out
  measure env CMSKIT_COMPARE_SIGNED_FILE="$work/stream.der" CMSKIT_COMPARE_OUT_FILE="$work/stream.out" "$bench"
  our_walls+=("$WALL")
  if [ "$RSS" -gt "$our_rss" ]; then our_rss=$RSS; fi
  rm -f stream.out
done
dd_wall=$(median "${dd_walls[@]}")
WALL=$(median "${our_walls[@]}") RSS=$our_rss
row "stream signed file $stream_mib MiB, read+write vs dd bs=4K of the content" MiB/s \
  "$(rate "$stream_mib" "$WALL")" "$(rate "$stream_mib" "$dd_wall")" "$RSS" "$dd_rss"

# cmskit detach of the same message beside cat of its content, in turns.
cat_walls=() our_walls=() cat_rss=0 our_rss=0
for _ in $(seq "$reps"); do
  rm -f cat.out detached.out
  measure sh -c 'exec cat stream.bin >cat.out'
  cat_walls+=("$WALL")
  if [ "$RSS" -gt "$cat_rss" ]; then cat_rss=$RSS; fi
  rm -f cat.out
  measure "$cli" --quiet detach stream.der detached.out
  our_walls+=("$WALL")
  if [ "$RSS" -gt "$our_rss" ]; then our_rss=$RSS; fi
done
cmp -s detached.out stream.bin || { echo "detached content differs" >&2; exit 1; }
cat_wall=$(median "${cat_walls[@]}")
WALL=$(median "${our_walls[@]}") RSS=$our_rss
row "cmskit detach $stream_mib MiB attached DER message vs cat of the content" MiB/s \
  "$(rate "$stream_mib" "$WALL")" "$(rate "$stream_mib" "$cat_wall")" "$RSS" "$cat_rss"

# cmskit sign of the content, attached, beside what it must at least do (one
# digest pass and one copy: openssl dgst plus dd) and the openssl command's
# two ways (DER with the whole content in memory, BER streamed); in turns.
base_walls=() our_walls=() der_walls=() ber_walls=() base_rss=0 our_rss=0 der_rss=0 ber_rss=0
for _ in $(seq "$reps"); do
  rm -f dd.out signed.der theirs.der theirs.ber
  measure openssl dgst -sha256 stream.bin
  digest_wall=$WALL digest_rss=$RSS
  measure dd if=stream.bin of=dd.out bs=4K status=none
  base_walls+=("$(awk -v a="$digest_wall" -v b="$WALL" 'BEGIN { print a + b }')")
  for r in "$digest_rss" "$RSS"; do if [ "$r" -gt "$base_rss" ]; then base_rss=$r; fi; done
  rm -f dd.out
  measure "$cli" --quiet sign stream.bin -c cert.pem -k key.pem -o signed.der
  our_walls+=("$WALL")
  if [ "$RSS" -gt "$our_rss" ]; then our_rss=$RSS; fi
  rm -f signed.der
  measure openssl cms -sign -binary -nodetach -in stream.bin -signer cert.pem -inkey key.pem -outform DER \
    -out theirs.der
  der_walls+=("$WALL")
  if [ "$RSS" -gt "$der_rss" ]; then der_rss=$RSS; fi
  rm -f theirs.der
  measure openssl cms -sign -binary -nodetach -stream -in stream.bin -signer cert.pem -inkey key.pem \
    -outform DER -out theirs.ber
  ber_walls+=("$WALL")
  if [ "$RSS" -gt "$ber_rss" ]; then ber_rss=$RSS; fi
  rm -f theirs.ber
done
our_rate=$(rate "$stream_mib" "$(median "${our_walls[@]}")")
row "cmskit sign $stream_mib MiB attached (DER) vs openssl dgst -sha256 + dd bs=4K of the content" MiB/s \
  "$our_rate" "$(rate "$stream_mib" "$(median "${base_walls[@]}")")" "$our_rss" "$base_rss"
row "cmskit sign $stream_mib MiB attached (DER) vs openssl cms -sign -binary -nodetach (DER)" MiB/s \
  "$our_rate" "$(rate "$stream_mib" "$(median "${der_walls[@]}")")" "$our_rss" "$der_rss"
row "cmskit sign $stream_mib MiB attached (DER) vs openssl cms -sign -binary -nodetach -stream (BER)" MiB/s \
  "$our_rate" "$(rate "$stream_mib" "$(median "${ber_walls[@]}")")" "$our_rss" "$ber_rss"
# cmskit verify of the attached message beside the digest of its content
# alone (the limit: nothing else needs computing at that size), in turns;
# then openssl cms -verify once, which holds the whole message in memory.
dgst_walls=() our_walls=() dgst_rss=0 our_rss=0
for _ in $(seq "$reps"); do
  measure openssl dgst -sha256 stream.bin
  dgst_walls+=("$WALL")
  if [ "$RSS" -gt "$dgst_rss" ]; then dgst_rss=$RSS; fi
  measure "$cli" verify stream.der
  our_walls+=("$WALL")
  if [ "$RSS" -gt "$our_rss" ]; then our_rss=$RSS; fi
done
dgst_wall=$(median "${dgst_walls[@]}")
WALL=$(median "${our_walls[@]}") RSS=$our_rss
row "cmskit verify $stream_mib MiB attached DER (RSA-2048, SHA-256) vs openssl dgst -sha256 of the content" \
  MiB/s "$(rate "$stream_mib" "$WALL")" "$(rate "$stream_mib" "$dgst_wall")" "$RSS" "$dgst_rss"
our_wall=$WALL our_rss=$RSS
measure openssl cms -verify -binary -noverify -inform DER -in stream.der -out /dev/null
row "cmskit verify $stream_mib MiB attached DER vs openssl cms -verify -binary -noverify" MiB/s \
  "$(rate "$stream_mib" "$our_wall")" "$(rate "$stream_mib" "$WALL")" "$our_rss" "$RSS"
rm -f dd.out stream.out cat.out detached.out stream.der stream.bin

REMOVE=theirs.bin measure_reps openssl cms -decrypt -binary -inform DER -in enveloped.der -inkey key.pem \
  -recip cert.pem -out theirs.bin
ssl_wall=$WALL ssl_rss=$RSS
REMOVE=ours.bin measure_reps "$cli" decrypt enveloped.der -c cert.pem -k key.pem -o ours.bin
cmp -s ours.bin plain.bin || { echo "decryption differs from the plaintext" >&2; exit 1; }
row "decrypt $decrypt_mib MiB file to file vs openssl cms -decrypt" MiB/s \
  "$(rate "$decrypt_mib" "$WALL")" "$(rate "$decrypt_mib" "$ssl_wall")" "$RSS" "$ssl_rss"
rm -f ours.bin theirs.bin enveloped.der

# Both write DER: openssl holds the whole content to do so, cmskit streams it.
REMOVE=theirs.der measure_reps openssl cms -encrypt -binary -aes128 -in plain.bin -outform DER -out theirs.der \
  cert.pem
ssl_wall=$WALL ssl_rss=$RSS
REMOVE=ours.der measure_reps "$cli" --quiet encrypt plain.bin -r cert.pem --cipher aes128 -o ours.der
ssl cms -decrypt -binary -inform DER -in ours.der -inkey key.pem -recip cert.pem -out ours.bin
cmp -s ours.bin plain.bin || { echo "the encrypted message does not decrypt to the plaintext" >&2; exit 1; }
row "encrypt $decrypt_mib MiB file (AES-128, one RSA recipient) vs openssl cms -encrypt -binary" MiB/s \
  "$(rate "$decrypt_mib" "$WALL")" "$(rate "$decrypt_mib" "$ssl_wall")" "$RSS" "$ssl_rss"
rm -f ours.bin ours.der theirs.der plain.bin

REMOVE=theirs.b64 measure_reps sh -c 'exec base64 b64message.der >theirs.b64'
core_wall=$WALL core_rss=$RSS
REMOVE=ours.b64 measure_reps "$cli" base64 encode b64message.der ours.b64
row "Base64 encode $base64_mib MiB vs coreutils base64" MiB/s \
  "$(rate "$base64_mib" "$WALL")" "$(rate "$base64_mib" "$core_wall")" "$RSS" "$core_rss"
REMOVE=theirs.der measure_reps sh -c 'exec base64 -d theirs.b64 >theirs.der'
core_wall=$WALL core_rss=$RSS
REMOVE=ours.der measure_reps "$cli" base64 decode theirs.b64 ours.der
cmp -s ours.der b64message.der || { echo "Base64 decoding differs from the message" >&2; exit 1; }
row "Base64 decode $base64_mib MiB vs coreutils base64 -d" MiB/s \
  "$(rate "$base64_mib" "$WALL")" "$(rate "$base64_mib" "$core_wall")" "$RSS" "$core_rss"

# ---- the table --------------------------------------------------------------
echo "| operation | cmskit64 | peer | ratio | cmskit64 peak RSS | peer peak RSS |"
echo "|---|---:|---:|---:|---:|---:|"
printf '%s\n' "${rows[@]}"
