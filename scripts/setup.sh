#!/usr/bin/env bash
# Installs the build tools and libraries samplenet needs (Debian/Ubuntu),
# Graphviz, which draws its pictures, and help2man, which writes the man pages.
#   scripts/setup.sh           the main build's and the Python package's
#   scripts/setup.sh --tests   also what only the tests use (a headless browser and its WebDriver, zsh)
#   scripts/setup.sh --fuzz    also clang and its libFuzzer, for scripts/fuzz.sh
set -euo pipefail
packages=(
  build-essential cmake ninja-build pkg-config
  libgtest-dev libgmock-dev libbenchmark-dev
  libcli11-dev nlohmann-json3-dev libfmt-dev libpugixml-dev zlib1g-dev libcsv-dev libcpp-httplib-dev
  graphviz help2man
  python3-dev python3-venv
)
[[ ${1:-} == --tests ]] && packages+=(chromium chromium-driver python3-selenium zsh)
[[ ${1:-} == --fuzz ]] && packages+=(clang libclang-rt-dev)
missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if ((${#missing[@]})); then
  sudo=""
  [[ $(id -u) -ne 0 ]] && sudo=sudo
  export DEBIAN_FRONTEND=noninteractive
  $sudo apt-get update
  $sudo apt-get install -y --no-install-recommends "${missing[@]}"
fi
