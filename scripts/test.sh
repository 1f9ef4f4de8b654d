#!/usr/bin/env bash
# Builds everything and runs the whole test suite.
#   scripts/test.sh              normal build in build/, then the Python package
#   scripts/test.sh --sanitize   AddressSanitizer + UndefinedBehaviorSanitizer in build-sanitize/
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh --tests
if [[ ${1:-} == --sanitize ]]; then
  dir=build-sanitize
  flags=(-DSAMPLENET_SANITIZE=ON -DSAMPLENET_BENCHMARKS=OFF -DCMAKE_BUILD_TYPE=Debug)
  export ASAN_OPTIONS=detect_leaks=1:abort_on_error=1
  export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
else
  dir=build
  flags=(-DCMAKE_BUILD_TYPE=Release)
fi
cmake -S . -B "$dir" -G Ninja "${flags[@]}"
cmake --build "$dir" -j "$(nproc)"
ctest --test-dir "$dir" --output-on-failure -j "$(nproc)"
[[ ${1:-} == --sanitize ]] || scripts/test_python.sh
