# Checks that the page of scripts/bench says the truth about its bars. Source it after builds.sh.

# report_of BARS FIGURES: the rows of the page's first table, from texts with a line for each.
report_of() {
    awk -v picture=/dev/null -f "$root/scripts/lib/bench-report.awk" <(printf 'head\n%s\n' "$1") <(printf '%s\n' "$2") |
        grep -E '^\| (gain|ahead|growth|set-up|Wine)|^[0-9]+ met'
}

check_bench_report() {
    local bars figures expected
    say "the benchmarks' page"
    bars='gain,480,2,avx2,>=,2.6
gain,480,2,avx512,>=,3.9
ahead,*,2,zita uniform,>,1
ahead,*,2,ffmpeg afir,>,1
growth,480,64,avx2,<=,1.3
set-up,480,2,in force,<=,1.6
Wine over native,480,2,fade,<=,1.1'
    # A processor without AVX-512, a peer that is not there, disturbed rounds of one figure, and a peer that is ahead.
    figures='engine,0,0,fftw,1,1,1
engine,0,0,avx2,1,1,1
cost,480,2,fftw,12,9,9
cost,480,2,avx2,4,9,9
cost,64,2,avx2,20,9,9
cost,64,2,zita uniform,15,9,9
cost,480,2,zita uniform,8,9,9
cost,480,8,avx2,5,9,9
cost,480,64,avx2,6,9,9
set-up,480,2,avx2,1.5,1,1
set-up,480,2,avx2,9,1,1
set-up,480,2,avx2,1.4,1,1
native filter,480,2,fade,2,1,1
Wine filter,480,2,fade,2.2,1,1'
    expected='| gain | 480 | 2 | avx2 | >= 2.6 | 3 | met |
| gain | 480 | 2 | avx512 | >= 3.9 |  | skipped |
| ahead | * | 2 | zita uniform (avx2 at 64 frames) | > 1 | 0.75 | **missed** |
| ahead | * | 2 | ffmpeg afir | > 1 |  | not measured |
| growth | 480 | 64 | avx2 (64 channels) | <= 1.3 | 1.5 | **missed** |
| set-up | 480 | 2 | in force (avx2) | <= 1.6 | 1.5 | met |
| Wine over native | 480 | 2 | fade | <= 1.1 | 1.1 | met |
3 met, 2 missed, 1 skipped because the processor lacks the instructions, 1 not measured'
    if diff <(report_of "$bars" "$figures") <(printf '%s\n' "$expected"); then
        count_result 1 0
    else
        count_result 0 1
    fi
}
