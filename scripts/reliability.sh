#!/usr/bin/env bash
# Reliability runs, with a report at the end.
#
#   scripts/reliability.sh [all [kill-seconds [fuzz-seconds]]]
#                                           all of the below: explorer, fault matrix, kill loop, fuzzer
#                                           regressions, host misuse, every fuzzer 60 s, ASan
#                                           and TSan suites
#   scripts/reliability.sh faults           the fault matrix (tests/reliability/tst_faults)
#   scripts/reliability.sh kill [seconds]   the SIGKILL loop on persisted state (default 120 s,
#                                           up to VELMORA_KILL_COUNT kills, default 2000)
#   scripts/reliability.sh fuzz [seconds]   each libFuzzer target for that long (default 60)
#   scripts/reliability.sh regressions      replay fuzz/corpus and fuzz/regressions
#   scripts/reliability.sh hostmisuse       tests/reliability/tst_hostmisuse under ASan with
#                                           leak detection (third-party leaks: lsan.supp)
#   scripts/reliability.sh explore [n]      the session explorer: n seeded host sessions of 60
#                                           steps (default 5000), beside a private sound server
#   scripts/reliability.sh asan             the whole suite under ASan+UBSan:
#                                             VELMORA_PRESET=asan ./scripts/test.sh
#   scripts/reliability.sh tsan             the whole suite under ThreadSanitizer:
#                                             VELMORA_PRESET=tsan ./scripts/test.sh
#
# Builds: build/reliability (dev preset plus tests/reliability), build/fuzz (clang,
# -fsanitize=fuzzer,address,undefined). Fuzz findings land in build/fuzz/work/<target>/;
# copy a crashing input to fuzz/regressions/<target>/ and the replay test runs it from then on.
set -uo pipefail
cd "$(dirname "$0")/.."
root=$PWD
jobs=${VELMORA_JOBS:-2}
report=()
register="-DCMAKE_PROJECT_Velmora_INCLUDE=$root/tests/reliability/Register.cmake"
fuzz_targets=(strings plist savedads eventstack adtable)

build_tests() {
    cmake --preset dev -B build/reliability "$register" >/dev/null &&
        cmake --build build/reliability -j "$jobs" --target tst_faults tst_killloop velmora-adserver \
            "${fuzz_targets[@]/#/replay_}"
}

run_ctest() { # name regex, extra env...
    local regex=$1
    shift
    # -V keeps the tests' own report; ctest prefixes each line with the test's number.
    (cd build/reliability && env "$@" ctest -V -R "$regex" --timeout 3600) | sed -E 's/^[0-9]+: //'
}

faults() {
    build_tests || { report+=("faults: BUILD FAILED"); return; }
    local log=build/reliability/faults.log
    run_ctest '^tst_faults$' VELMORA_STALL_LIMIT_MS=16 >"$log" 2>&1
    local rc=$?
    sed -n '/^case /,/^longest stall/p' "$log"
    report+=("faults: $(grep -c '| pass$' "$log") pass, $(grep -c '| FAIL$' "$log") fail; $(grep '^longest stall' "$log") (log $log)")
    [ $rc -eq 0 ] || report+=("faults: ctest FAILED (rc $rc)")
}

kill_loop() {
    local seconds=${1:-120}
    build_tests || { report+=("kill: BUILD FAILED"); return; }
    local log=build/reliability/killloop.log
    run_ctest '^tst_killloop$' VELMORA_KILL_SECONDS="$seconds" VELMORA_KILL_COUNT="${VELMORA_KILL_COUNT:-2000}" >"$log" 2>&1
    local rc=$?
    grep -A20 '^kill loop:' "$log" | grep -v '^PASS\|^FAIL\|^Totals\|^\*\*\*' || true
    report+=("kill: $(grep '^kill loop:' "$log" || echo 'no summary') (log $log)")
    [ $rc -eq 0 ] || report+=("kill: ctest FAILED (rc $rc)")
}

regressions() {
    build_tests || { report+=("regressions: BUILD FAILED"); return; }
    local log=build/reliability/regressions.log
    run_ctest '^fuzz_regressions_' >"$log" 2>&1
    report+=("regressions: $(grep -E '[0-9]+% tests passed' "$log")")
}

fuzz() {
    local seconds=${1:-60}
    command -v clang++ >/dev/null || apt-get install -y clang >/dev/null
    cmake -S . -B build/fuzz -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_CXX_COMPILER=clang++ \
        -DVELMORA_FUZZ=ON -DVELMORA_SANITIZE=fuzzer-no-link,address,undefined \
        -DVELMORA_BUILD_TESTS=OFF -DVELMORA_BUILD_TOOLS=OFF >/dev/null &&
        cmake --build build/fuzz -j "$jobs" --target "${fuzz_targets[@]/#/fuzz_}" ||
        { report+=("fuzz: BUILD FAILED"); return; }
    printf '%-12s %12s %10s %8s\n' target executions exec/s crashes
    for target in "${fuzz_targets[@]}"; do
        local work=$root/build/fuzz/work/$target
        mkdir -p "$work/corpus"
        local log=$work/fuzz.log
        # The committed corpus is read only; new inputs go to the work corpus.
        (cd "$work" && "$root/build/fuzz/fuzz/fuzz_$target" -max_total_time="$seconds" -timeout=10 \
            -print_final_stats=1 -artifact_prefix="$work/" "$work/corpus" "$root/fuzz/corpus/$target" \
            >"$log" 2>&1)
        local execs rate crashes
        execs=$(grep -o 'stat::number_of_executed_units: *[0-9]*' "$log" | grep -o '[0-9]*$')
        rate=$(grep -o 'stat::average_exec_per_sec: *[0-9]*' "$log" | grep -o '[0-9]*$')
        crashes=$(find "$work" -maxdepth 1 -type f \( -name 'crash-*' -o -name 'leak-*' -o -name 'timeout-*' \
            -o -name 'oom-*' \) | wc -l)
        printf '%-12s %12s %10s %8s\n' "$target" "${execs:-?}" "${rate:-?}" "$crashes"
        report+=("fuzz $target: ${execs:-?} executions in ${seconds}s, $crashes crash inputs (log $log)")
        if [ "$crashes" -gt 0 ]; then
            find "$work" -maxdepth 1 -type f -name '*-*' -newer "$work/corpus" | sed 's/^/    /'
            grep -m1 -A12 'ERROR: \|FUZZ_CHECK' "$log" | sed 's/^/    /'
        fi
    done
}

sanitized_suite() { # preset, pattern of a sanitizer's report line
    local preset=$1 pattern=$2 log=build/$1-suite.log
    VELMORA_PRESET=$preset ./scripts/test.sh >"$log" 2>&1
    local rc=$?
    grep -E 'tests passed|tests failed|\(Failed\)|\(Timeout\)' "$log"
    report+=("$preset: $(grep -E '[0-9]+% tests passed' "$log"), $(grep -c "$pattern" "build/$preset/Testing/Temporary/LastTest.log") reports (log $log)")
    [ $rc -eq 0 ] || report+=("$preset: suite FAILED (rc $rc)")
}

asan() { sanitized_suite asan 'ERROR: AddressSanitizer\|runtime error:'; }

# The host-misuse suite under ASan with leak detection; leaks inside third-party libraries
# are listed in tests/reliability/lsan.supp.
hostmisuse() {
    cmake --preset asan >/dev/null && cmake --build build/asan -j "$jobs" --target tst_hostmisuse ||
        { report+=("hostmisuse: BUILD FAILED"); return; }
    local log=build/asan/hostmisuse.log
    (cd build/asan && ASAN_OPTIONS=detect_leaks=1 LSAN_OPTIONS=suppressions=$root/tests/reliability/lsan.supp \
        ctest -V -R '^tst_hostmisuse$') >"$log" 2>&1
    local rc=$?
    grep -E 'Totals:|rss after|SUMMARY: AddressSanitizer' "$log" | sed -E 's/^[0-9]+: //'
    report+=("hostmisuse (ASan+LSan): $(grep -E 'Totals:' "$log" | sed -E 's/^[0-9]+: //'), leaks: $(grep -c 'SUMMARY: AddressSanitizer' "$log") reports (log $log)")
    [ $rc -eq 0 ] || report+=("hostmisuse: ctest FAILED (rc $rc)")
}

# The whole suite under ThreadSanitizer. Debian's Qt, GLib and GStreamer are built without it:
# their own accesses are not tracked (ignore_noninstrumented_modules), lock orders inside
# GStreamer are listed in tests/reliability/tsan.supp, and the framework announces its
# hand-overs through QThreadPool itself (PoolTask). The test preset sets those options.
tsan() { sanitized_suite tsan 'WARNING: ThreadSanitizer'; }

# Seeded whole host sessions over the real framework; a failure prints its shrunk replay.
explore() {
    local sessions=${1:-5000}
    cmake --preset dev -B build/reliability "$register" >/dev/null &&
        cmake --build build/reliability -j "$jobs" --target explore ||
        { report+=("explore: BUILD FAILED"); return; }
    local log=build/reliability/explore.log
    run_ctest '^explore$' VELMORA_EXPLORE_SESSIONS="$sessions" >"$log" 2>&1
    local rc=$?
    grep -A80 '^FAIL' "$log" | head -200 || true
    report+=("explore: $(grep '^explore: [0-9]* sessions' "$log"); $(grep '^explore: [0-9]* of' "$log") (log $log)")
    [ $rc -eq 0 ] || report+=("explore: FAILED (rc $rc)")
}

what=${1:-all}
shift || true
case $what in
    faults) faults ;;
    kill) kill_loop "$@" ;;
    fuzz) fuzz "$@" ;;
    regressions) regressions ;;
    asan) asan ;;
    hostmisuse) hostmisuse ;;
    tsan) tsan ;;
    explore) explore "$@" ;;
    all)
        explore
        faults
        kill_loop "${1:-120}"
        regressions
        hostmisuse
        fuzz "${2:-60}"
        asan
        tsan
        ;;
    *)
        sed -n '2,24p' "$0"
        exit 2
        ;;
esac

echo
echo "== reliability report =="
for line in "${report[@]}"; do echo "$line"; done
if printf '%s\n' "${report[@]}" | grep -q 'FAILED\|[1-9][0-9]* fail\|[1-9][0-9]* crash inputs'; then
    exit 1
fi
