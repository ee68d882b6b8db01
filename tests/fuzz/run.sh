#!/bin/sh
# make fuzz: runs each harness named for SECONDS, under AddressSanitizer and
# UndefinedBehaviorSanitizer, from its seeds and from the corpus it grew on
# earlier runs (kept in BUILD/corpus). Prints the executions of each; a
# finding (crash, leak, hang over 10 s, memory over 4 GiB) is saved in
# BUILD/findings and makes the run fail: fix it, then add the input to
# tests/fuzz/corpus/<harness>/, where every test run replays it.
#   usage: run.sh BUILD SECONDS HARNESS...
set -eu
build=$(cd "$1" && pwd) seconds=$2  # absolute: a harness may change its folder
shift 2
root=$(cd "$(dirname "$0")/../.." && pwd)
runtime=$(clang -print-file-name=libclang_rt.asan-x86_64.so)  # preloaded: it must come first
# intercept_tls_get_addr=0: as in the Makefile's check-sanitize (a runtime bug)
export ASAN_OPTIONS=detect_leaks=1:allocator_may_return_null=0:intercept_tls_get_addr=0
export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
status=0
for harness in "$@"; do
  work=$build/corpus/$harness
  mkdir -p "$work" "$build/findings"
  seeds=$root/tests/fuzz/corpus/$harness
  case $harness in
    scene) seeds="$seeds $root/examples" ;;
    declarations) cp "$root/tavoshaders/tavoshaders.mi" "$root/host/helpers/tavohelpers.mi" \
                     "$root/tests/fixtures/testshaders.mi" "$work/" ;;
  esac
  dictionary=
  [ -f "$root/tests/fuzz/$harness.dict" ] && dictionary=-dict=$root/tests/fuzz/$harness.dict
  log=$build/fuzz_$harness.log
  # shellcheck disable=SC2086  # the seed folders are separate words
  if env LD_PRELOAD="$runtime" "$build/bin/fuzz_$harness" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=4096 -print_final_stats=1 \
       -artifact_prefix="$build/findings/$harness-" $dictionary "$work" $seeds >"$log" 2>&1; then
    runs=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log")
    echo "fuzz_$harness: $runs executions in ${seconds} s, no finding"
  else
    echo "fuzz_$harness: FINDING (log: $log)"
    grep -E "ERROR|SUMMARY|Test unit written" "$log" | head -5
    status=1
  fi
done
exit $status
