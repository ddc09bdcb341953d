# Checks that the page of scripts/bench says the truth about its bars. Source it after builds.sh.

# report_of BARS FIGURES: the rows of the page's first and last table, from texts with a line for each.
report_of() {
    awk -v picture=/dev/null -f "$root/scripts/lib/bench-report.awk" <(printf 'head\n%s\n' "$1") <(printf '%s\n' "$2") |
        grep -E '^\| (gain|ahead|growth|set-up|Wine|filter)|^[0-9]+ met'
}

# costs_of WHO NS CHANNELS BLOCK...: lines of one cost at all these lengths.
costs_of() {
    local block
    for block in "${@:4}"; do
        printf 'cost,%d,%d,%s,%s,9,9\n' "$block" "$3" "$1" "$2"
    done
}

check_bench_report() {
    local bars figures expected lengths=(64 128 256 512 1024 2048 4096) channels
    say "the benchmarks' page"
    bars='gain,480,2,avx2,>=,2.6
gain,480,2,avx512,>=,3.9
ahead,*,2,avx2 over zita uniform,>,1
ahead,*,2,avx2 over zita threads,>,1
ahead,*,2,avx512 over ffmpeg afir,>,1
growth,480,64,avx2,<=,1.3
set-up,480,2,in force,<=,1.6
Wine over native,480,2,fade,<=,1.1
Wine over native,480,2,plain boost,<=,1.1'
    # A processor without AVX-512, a peer that is ahead at one length, one that lacks a length, one that is not there,
    # rounds of one figure of which one is disturbed, and one that is 0 without its copy.
    figures="engine,0,0,fftw,1,1,1
engine,0,0,avx2,1,1,1
cost,480,2,fftw,12,9,9
cost,480,2,avx2,4,9,9
$(costs_of avx2 10 2 "${lengths[@]}")
$(costs_of 'zita uniform' 15 2 "${lengths[@]:1}")
cost,64,2,zita uniform,7.5,9,9
$(costs_of 'zita threads' 15 2 "${lengths[@]:1}")
$(for channels in 4 8 16 32; do costs_of avx2 5 "$channels" 480; done)
cost,480,64,avx2,6,9,9
set-up,480,2,avx2,1.5,1,1
set-up,480,2,avx2,9,1,1
set-up,480,2,avx2,1.4,1,1
native filter,480,2,fade,2,1,1
native filter,480,2,fade,3,1,1
native filter,480,2,fade,2.5,1,1
Wine filter,480,2,fade,2.2,1,1
Wine filter,480,2,fade,2.7,1,1
Wine filter,480,2,fade,5,1,1
native filter,480,2,plain boost,0,1,1
Wine filter,480,2,plain boost,0.1,1,1
native filter with copy,480,2,plain boost,0.4,1,1
Wine filter with copy,480,2,plain boost,0.5,1,1
Wine filter,480,2,equalizer,9,1,1"
    expected='| gain | 480 | 2 | avx2 | >= 2.6 | 3 | met |
| gain | 480 | 2 | avx512 | >= 3.9 |  | skipped |
| ahead | * | 2 | avx2 over zita uniform (64 frames) | > 1 | 0.75 | **missed** |
| ahead | * | 2 | avx2 over zita threads | > 1 |  | not measured |
| ahead | * | 2 | avx512 over ffmpeg afir | > 1 |  | skipped |
| growth | 480 | 64 | avx2 (64 channels) | <= 1.3 | 1.5 | **missed** |
| set-up | 480 | 2 | in force (avx2) | <= 1.6 | 1.5 | met |
| Wine over native | 480 | 2 | fade | <= 1.1 | 1.1 | met |
| Wine over native | 480 | 2 | plain boost | <= 1.1 |  | not measured |
3 met, 2 missed, 2 skipped because the processor lacks the instructions, 2 not measured
| filter | 2 | equalizer | | 9 | | | | |
| filter | 2 | fade | 2.5 | 2.7 | 1.10 | | | |
| filter | 2 | plain boost | | 0.1 | | 0.4 | 0.5 | 1.25 |
Without 16 channels:
| growth | 480 | 64 | avx2 | <= 1.3 | | not measured |'
    if diff <(
        report_of "$bars" "$figures"
        printf 'Without 16 channels:\n'
        report_of "$bars" "$(grep -v '^cost,480,16,' <<<"$figures")" | grep '^| growth'
    ) <(printf '%s\n' "$expected") --ignore-space-change; then
        count_result 1 0
    else
        count_result 0 1
    fi
}
