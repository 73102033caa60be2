#!/usr/bin/env bash
# Builds the libFuzzer targets of tests/fuzz with clang and the address and undefined-behaviour
# sanitizers in build-fuzz/ (FUZZ_BUILD_DIR overrides), then runs each one.
#
#   scripts/fuzz.sh                      each target for 60 seconds
#   scripts/fuzz.sh --seconds 14400      each target for four hours
#   scripts/fuzz.sh --runs 10000000      each target for ten million inputs
#   scripts/fuzz.sh --seconds 30 reply   one target (reply, settings)
#   scripts/fuzz.sh --update-corpus      folds what the runs found into the corpus kept in the tree
#   scripts/fuzz.sh --available          exit status 0 when clang and libFuzzer are here
#
# New inputs gather in build-fuzz/corpus/<target>; the tree's tests/fuzz/corpus/<target> is read
# as seeds and changes only with --update-corpus. A crash stops the run and leaves its input in
# build-fuzz/crashes/.
set -euo pipefail
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
build="${FUZZ_BUILD_DIR:-$root/build-fuzz}"
cxx="${FUZZ_CXX:-clang++}"
cc="${FUZZ_CC:-clang}"
all_targets=(reply settings)

available() {
  command -v "$cxx" >/dev/null 2>&1 || return 1
  printf 'extern "C" int LLVMFuzzerTestOneInput(const char*, unsigned long) { return 0; }\n' |
    "$cxx" -x c++ -fsanitize=fuzzer,address,undefined -o /dev/null - >/dev/null 2>&1
}

limit=(-max_total_time=60)
update=0
targets=()
while (($#)); do
  case "$1" in
    --available) available; exit $? ;;
    --seconds) limit=(-max_total_time="$2"); shift ;;
    --runs) limit=(-runs="$2"); shift ;;
    --update-corpus) update=1 ;;
    -h|--help) sed -n '2,16p' "$0" | sed 's/^# \{0,1\}//'; exit 0 ;;
    *) targets+=("$1") ;;
  esac
  shift
done
((${#targets[@]})) || targets=("${all_targets[@]}")

if ! available; then
  echo "fuzz.sh: $cxx with libFuzzer is not installed (scripts/deps.sh --fuzz)" >&2
  exit 1
fi

cmake -S "$root" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DTARVEK_FUZZ=ON \
  -DCMAKE_C_COMPILER="$cc" -DCMAKE_CXX_COMPILER="$cxx" >/dev/null
cmake --build "$build" -j 2 --target "${targets[@]/#/fuzz_}"

# check_printf: the reply encoder's snprintf would be parsed on every call, for nothing.
export ASAN_OPTIONS="${ASAN_OPTIONS:-detect_leaks=1:abort_on_error=1:check_printf=0:quarantine_size_mb=64}"
export UBSAN_OPTIONS="${UBSAN_OPTIONS:-print_stacktrace=1:halt_on_error=1}"
for t in "${targets[@]}"; do
  seeds="$root/tests/fuzz/corpus/$t"
  work="$build/corpus/$t"
  mkdir -p "$work" "$build/crashes"
  exe="$build/tests/fuzz/fuzz_$t"
  if ((update)); then
    # A fresh, minimal set covering what the seeds and every run so far have reached.
    fresh="$build/corpus/$t.merged"
    rm -rf "$fresh" && mkdir -p "$fresh"
    "$exe" -merge=1 "$fresh" "$seeds" "$work" 2>&1 | tail -n 2
    rm -rf "$seeds" && mv "$fresh" "$seeds"
    echo "$t: $(ls "$seeds" | wc -l) inputs kept in tests/fuzz/corpus/$t"
    continue
  fi
  echo "== fuzz_$t ${limit[*]}"
  log="$build/fuzz_$t.log"
  status=0
  # Replies are 160 characters; settings inputs just long enough to cross the reader's limit there.
  max_len=2048
  [ "$t" = settings ] && max_len=640
  "$exe" "${limit[@]}" -max_len="$max_len" -print_final_stats=1 -artifact_prefix="$build/crashes/$t-" "$work" "$seeds" \
    >"$log" 2>&1 || status=$?
  if ((status != 0)); then
    tail -n 40 "$log" >&2
    echo "fuzz_$t failed (exit $status); the input is in $build/crashes/, the log in $log" >&2
    exit "$status"
  fi
  grep -aE '^(#[0-9]+ +DONE|Done |stat::number_of_executed_units|stat::peak_rss_mb)' "$log" || true
done
