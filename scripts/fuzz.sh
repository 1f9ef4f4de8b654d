#!/usr/bin/env bash
# Builds the libFuzzer targets with clang and runs each for SECONDS.
#   scripts/fuzz.sh SECONDS [TARGET...]   targets: bif xmlbif net uai gzip evidence explore (default: all)
# Environment: FUZZ_JOBS targets at a time (default 1), FUZZ_DIR for corpora,
# logs and findings (default build-fuzz/runs). Each target starts from its
# seeds (fuzz/seeds) and crash regressions (tests/fuzz_regressions) and
# keeps the corpus it grows between runs. Exits non-zero when a target
# found a crash, a leak or a timeout; the input is left in
# FUZZ_DIR/TARGET/findings/.
set -euo pipefail
cd "$(dirname "$0")/.."
if [[ $# -lt 1 || ! $1 =~ ^[0-9]+$ ]]; then
  echo "usage: scripts/fuzz.sh SECONDS [TARGET...]" >&2
  exit 1
fi
seconds=$1
shift
targets=("$@")
((${#targets[@]})) || targets=(bif xmlbif net uai gzip evidence explore)
jobs=${FUZZ_JOBS:-1}
work=${FUZZ_DIR:-build-fuzz/runs}

scripts/setup.sh --fuzz
# The compiler is chosen once: changing it later would wipe the cache.
if [[ ! -f build-fuzz/CMakeCache.txt ]]; then
  cmake -S . -B build-fuzz -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_CXX_COMPILER=clang++ -DSAMPLENET_FUZZ=ON >/dev/null
fi
cmake --build build-fuzz -j "$(nproc)"

run_target() {
  local target=$1 dir="$work/$1"
  mkdir -p "$dir/corpus" "$dir/findings"
  local inputs=("$dir/corpus" "fuzz/seeds/$target")
  [[ -d tests/fuzz_regressions/$target ]] && inputs+=("tests/fuzz_regressions/$target")
  local dict=()
  [[ -f fuzz/dicts/$target.dict ]] && dict=(-dict="fuzz/dicts/$target.dict")
  # New inputs go to the first directory only, so the seeds stay as they are.
  local code=0
  ASAN_OPTIONS=detect_leaks=1 UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
    "build-fuzz/fuzz/${target}_fuzzer" -max_total_time="$seconds" -timeout=30 -rss_limit_mb=2048 \
    -print_final_stats=1 -artifact_prefix="$dir/findings/" "${dict[@]}" "${inputs[@]}" >"$dir/log" 2>&1 || code=$?
  echo "$code" >"$dir/status"
}

for target in "${targets[@]}"; do
  if [[ ! -x build-fuzz/fuzz/${target}_fuzzer ]]; then
    echo "scripts/fuzz.sh: unknown target $target" >&2
    exit 1
  fi
  rm -f "$work/$target/status"
  run_target "$target" &
  while (($(jobs -rp | wc -l) >= jobs)); do wait -n || true; done
done
wait
status=0
for target in "${targets[@]}"; do
  if [[ $(cat "$work/$target/status" 2>/dev/null) == 0 ]]; then result=ok; else result=FAILED; status=1; fi
  stats=$(grep -E '^#[0-9]+.*(DONE|pulse|NEW|REDUCE)' "$work/$target/log" | tail -1 || true)
  echo "$target: $result; $stats (log: $work/$target/log)"
done
exit $status
