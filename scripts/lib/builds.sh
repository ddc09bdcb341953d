# Configures, builds and runs presets, and counts what passed. Source it after common.sh.

passed=0
failed=0

# count_result PASSED FAILED
count_result() {
    passed=$((passed + $1))
    failed=$((failed + $2))
}

# configure_and_build PRESET [TARGET...]: quiet unless it fails, which it reports; returns non-zero then.
configure_and_build() {
    local preset=$1 log=$root/build/$1.log targets=()
    [ $# -lt 2 ] || targets=(--target "${@:2}")
    mkdir -p "$root/build"
    say "$preset: building"
    # One at a time in one folder: the build tool has no lock of its own.
    if ! (flock 9 && cd "$root" && cmake --preset "$preset" &&
        cmake --build --preset "$preset" -j "$jobs" "${targets[@]}") >"$log" 2>&1 </dev/null 9>"$log.lock"; then
        grep -nE -A3 'error:|CMake Error' "$log" | head -n 40 || true
        tail -n 12 "$log"
        say "$preset: does not build (log: build/$preset.log)"
        return 1
    fi
}

# count_junit FILE: adds the test cases of a ctest report. Those that skipped themselves or are disabled are neither
# passed nor failed; one that could not be started failed.
count_junit() {
    local report=$1 ran bad
    ran=$(grep -c '<testcase .*status="run"' "$report" || true)
    bad=$(grep -cE '<testcase .*status="fail"|<skipped message="[^S]' "$report" || true)
    count_result "$ran" "$bad"
    say "$(basename "$report" .xml): $ran passed, $bad failed"
    grep '<testcase .*status="\(notrun\|disabled\)"' "$report" | sed 's/.*testcase name="\([^"]*\)".*/   not run: \1/' || true
}

# run_ctest PRESET REPORT [WRAPPER...]: a line that counts along on a terminal, elsewhere only what did not pass.
run_ctest() {
    local command=("${@:3}" ctest --preset "$1" -j "$jobs" --output-junit "$2")
    cd "$root"
    if [ -t 1 ]; then
        "${command[@]}" --progress </dev/null
    else
        "${command[@]}" </dev/null | { grep -vE '^ +Start|   Passed  ' || true; }
    fi
}

# run_tests PRESET [TARGET...]: builds it, runs its tests and counts them. A build or a run that breaks counts as one failure.
run_tests() {
    local preset=$1 report=$root/build/$1.xml targets=("${@:2}") status=0 before=$failed fixed=()
    configure_and_build "$preset" "${targets[@]}" || { count_result 0 1; return 0; }
    say "$preset: testing"
    rm -f "$report"
    # Without address randomisation, which recent kernels spread wider than the sanitizers of this compiler allow for.
    [[ $preset != *san ]] || ! setarch -R true 2>/dev/null || fixed=(setarch -R)
    run_ctest "$preset" "$report" "${fixed[@]}" || status=$?
    [ -f "$report" ] && count_junit "$report"
    if [ "$status" != 0 ] && [ "$failed" = "$before" ]; then
        say "$preset: ctest ended with status $status"
        count_result 0 1
    fi
}
