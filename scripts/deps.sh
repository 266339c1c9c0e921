#!/usr/bin/env bash
# Installs, from Debian's packages, whatever this machine lacks to build and
# test cmskit64 on both legs. Does nothing when everything is present.
set -euo pipefail
packages=(cmake g++ make pkg-config libgtest-dev googletest libbenchmark-dev libssl-dev openssl
  libengine-gost-openssl nlohmann-json3-dev libcli11-dev g++-mingw-w64-x86-64-posix wine wine64
  clang-14 libclang-rt-14-dev time jq)
missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
[ ${#missing[@]} -eq 0 ] && exit 0
echo "installing: ${missing[*]}"
sudo=""
[ "$(id -u)" -eq 0 ] || sudo="sudo"
export DEBIAN_FRONTEND=noninteractive
$sudo apt-get update -qq
$sudo apt-get install -y -qq "${missing[@]}" >/dev/null
