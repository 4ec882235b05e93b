#!/usr/bin/env bash
# Builds the libFuzzer targets with clang and runs each for the given number of seconds (default 60).
# Usage: tools/run_fuzzers.sh [SECONDS] [TARGET...]   (targets: fen ini book console uci tb)
# New inputs go to a scratch corpus under build-fuzz/, so the small seed corpus in fuzz/corpus stays as it is.
# Exits with status 1 when a target found a fault (a crash, a sanitizer report, an input that runs over 10 s);
# the end of its log is printed and the input is kept under build-fuzz/artifacts/.
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=${1:-60}
shift || true
targets=("$@")
[ ${#targets[@]} -gt 0 ] || targets=(fen ini book console uci tb)

CC=clang CXX=clang++ cmake -S . -B build-fuzz -DCMAKE_BUILD_TYPE=RelWithDebInfo -DFERROLUNE_FUZZ=ON > /dev/null
cmake --build build-fuzz -j2 $(printf -- '--target fuzz_%s ' "${targets[@]}") > /dev/null

# Real tables make the best seeds for the table fuzzer: each is prefixed with its material selector byte.
shared=${FERROLUNE_SHARED:-../shared}
if [ -d "$shared/syzygy" ]; then
    mkdir -p build-fuzz/seeds/tb
    for pair in KRvK:0 KPvK:1; do
        name=${pair%:*} sel=${pair#*:}
        for ext in rtbw rtbz; do
            { printf "\\x0$sel"; cat "$shared/syzygy/$name.$ext"; } > "build-fuzz/seeds/tb/$name.$ext"
        done
    done
fi

failed=0
for t in "${targets[@]}"; do
    work=build-fuzz/corpus/$t
    mkdir -p "$work" build-fuzz/artifacts
    seeds=fuzz/corpus/$t
    [ -d "$seeds" ] || seeds=
    [ "$t" = tb ] && [ -d build-fuzz/seeds/tb ] && seeds=build-fuzz/seeds/tb
    [ -n "$seeds" ] && seeds=$(cd "$seeds" && pwd)
    log=build-fuzz/fuzz_$t.log
    # The targets run in a scratch directory: the command loops may write files such as DumpHash/dump.csv.
    (cd build-fuzz && ./fuzz/fuzz_$t -max_total_time="$seconds" -timeout=10 -print_final_stats=1 -artifact_prefix=artifacts/ \
        "corpus/$t" ${seeds:+"$seeds"}) > "$log" 2>&1 && status=ok || status=FAILED
    runs=$(grep -o 'stat::number_of_executed_units: [0-9]*' "$log" | grep -o '[0-9]*$' || echo '?')
    printf '%-8s %-7s %12s executions  (log: %s)\n' "$t" "$status" "$runs" "$log"
    if [ "$status" = FAILED ]; then
        failed=1
        tail -n 40 "$log"
    fi
done
exit $failed
