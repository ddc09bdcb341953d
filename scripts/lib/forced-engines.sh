# Runs the tests with each convolution engine but the fastest, which they run with by themselves. Source it after
# builds.sh.

# run_whole NAME COMMAND...: a whole test program in one process; counts what its closing lines say.
run_whole() {
    local log=$root/build/$1.log good bad
    say "$1"
    "${@:2}" --gtest_brief=1 >"$log" 2>&1 </dev/null || true
    good=$(sed -n 's/^\[  PASSED  \] \([0-9]*\) tests\?\..*/\1/p' "$log")
    bad=$(sed -n 's/^\[  FAILED  \] \([0-9]*\) tests\?, listed below.*/\1/p' "$log")
    if [ -z "$good" ]; then
        tail -n 20 "$log"
        say "$1: did not come to its end"
        bad=1
    elif [ -n "$bad" ]; then
        grep -A20 '^\[  FAILED  \] [0-9]* tests\?, listed' "$log"
    fi
    count_result "${good:-0}" "${bad:-0}"
}

check_forced_engines() {
    local engine program wine=("$root/cmake/run-wine" "$root/build/windows/wine")
    configure_and_build native || { count_result 0 1; return 0; }
    configure_and_build windows || { count_result 0 1; return 0; }
    for engine in fftw avx2; do
        [ "$engine" = fftw ] || grep -qw "$engine" /proc/cpuinfo || continue
        for program in tovix-core-tests tovix-render-tests; do
            run_whole "$program with $engine" env "TOVIX_TEST_ENGINE=$engine" "$root/build/native/bin/$program"
        done
        for program in tovix-core-tests tovix-render-tests tovix-windows-tests; do
            run_whole "$program.exe with $engine" \
                env "TOVIX_TEST_ENGINE=$engine" "${wine[@]}" "$root/build/windows/bin/$program.exe"
        done
    done
}
