# What scripts/bench measures, and the page that it makes of it. Source it after common.sh, builds.sh and packages.sh.

measured=$root/out/bench
native_bin=$root/build/native/bin
peer_blocks=(64 128 256 512 1024 2048 4096)

# Says so where other work would be measured along.
expect_quiet() {
    local load
    load=$(cut -d' ' -f1 /proc/loadavg)
    awk -v load="$load" 'BEGIN { exit !(load > 0.5) }' || return 0
    say "the machine is at work (load $load): the figures will be of both"
}

# measure FILE PROGRAM [ARGUMENT...]: adds the program's lines to the file; what fails is told, and missing on the page.
measure() {
    "${@:2}" >>"$1" </dev/null || say "failed: $(basename "$2") ${*:3}"
}

# describe FILE PACKAGE...: when and where the figures of FILE were measured, as lines of a list.
describe() {
    local package version
    printf -- '- %s, commit %s\n' "$(date -u '+%Y-%m-%d %H:%M UTC')" "$(git -C "$root" describe --always --dirty 2>/dev/null || echo unknown)"
    printf -- '- %s, %s processors, load %s at the beginning, Linux %s\n' \
        "$(sed -n 's/^model name[^:]*: //p' /proc/cpuinfo | sort -u)" "$(nproc)" "$(cut -d' ' -f1 /proc/loadavg)" "$(uname -r)"
    for package in "${@:2}"; do
        version=$(dpkg-query -W -f '${Version}' "$package" 2>/dev/null) || version=
        printf -- '- %s %s\n' "$package" "${version:-is not there}"
    done
} >"$1"

# afir_seconds GRAPH: the processor time of a whole ffmpeg over the noise with that graph of filters.
afir_seconds() {
    local TIMEFORMAT='%U %S'
    { time ffmpeg -nostdin -loglevel error -f s16le -ar 48000 -ac 2 -i "$measured/noise.s16" -f f32le -ar 48000 -ac 1 \
        -i "$measured/taps.f32" -filter_complex "$1" -map '[out]' -c:a pcm_f32le -f null - >/dev/null; } 2>&1 |
        awk '{ bad = bad || NF != 2; sum = $1 + $2 } END { if (bad || NR != 1) exit 1; print sum }'
}

afir_noise_seconds=120

prepare_afir() {
    (install_packages "${peer_packages[@]}") || { say "without ffmpeg: afir is left out" && return 1; }
    "$native_bin/tovix-equalizer-figures" taps >"$measured/taps.f32"
    head -c $((afir_noise_seconds * 48000 * 4)) /dev/urandom >"$measured/noise.s16"
}

# afir_line NAME BLOCK SAMPLES: from lines with the seconds of a run with afir and of one without, what afir costs. The
# median of the pairs in which neither took more than 1.2 times as long as the fastest of its kind, as Batches has it.
afir_line() {
    awk -v name="$1" -v block="$2" -v samples="$3" '
        { with[NR] = $1; without[NR] = $2 }
        NR == 1 || $1 < least_with { least_with = $1 }
        NR == 1 || $2 < least_without { least_without = $2 }
        END {
            for (i = 1; i <= NR; ++i) {
                if (with[i] <= 1.2 * least_with && without[i] <= 1.2 * least_without) {
                    difference = with[i] - without[i]
                    for (j = kept++; j > 0 && sorted[j] > difference; --j) {
                        sorted[j + 1] = sorted[j]
                    }
                    sorted[j + 1] = difference
                }
            }
            if (kept) {
                printf "cost,%d,2,%s,%.4g,%d,%d\n", block, name, 1e9 * sorted[int((kept + 1) / 2)] / samples, kept, NR
            }
        }'
}

# measure_afir BLOCK LONGEST NAME: what afir costs beyond a run without it, from runs in turn, with partitions that grow
# from one block to the longest.
measure_afir() {
    local i rounds=5 input='[0]aformat=sample_fmts=fltp' taps='[1]pan=stereo|c0=c0|c1=c0' without with
    for ((i = 0; i < rounds; ++i)); do
        without=$(afir_seconds "$input[out];${taps},anullsink") &&
            with=$(afir_seconds "$input[in];$taps[ir];[in][ir]afir=minp=$1:maxp=$2[out]") ||
            { say "failed: afir at $1 frames" >&2 && return; }
        printf '%s %s\n' "$with" "$without"
    done | afir_line "$3" "$1" $((afir_noise_seconds * 48000 * 2)) >>"$measured/native.csv"
}

# compare SWEEP: all that is measured natively.
compare() {
    local file=$measured/native.csv block round engines="$native_bin/tovix-compare-engines" figures="$native_bin/tovix-equalizer-figures"
    configure_and_build native tovix-compare-engines tovix-equalizer-figures tovix-filter-costs tovix-limiter-gains ||
        exit
    : >"$file"
    expect_quiet
    describe "$measured/native.md" g++ libfftw3-single3 libzita-convolver4 ffmpeg
    measure "$file" "$figures" engines
    say "set-up and memory"
    for round in 1 2 3 4 5 6 7; do
        for block in 441 480 1056; do
            measure "$file" "$figures" setup "$block"
        done
    done
    measure "$file" "$figures" memory 480 2
    measure "$file" "$figures" memory 480 8
    say "engines and zita-convolver"
    for block in 48 96 240 441 480 960 8192; do
        measure "$file" "$engines" cost "$block"
        measure "$file" "$figures" bound "$block"
    done
    local has_afir=yes
    prepare_afir || has_afir=
    for block in "${peer_blocks[@]}"; do
        say "all peers at $block frames"
        measure "$file" "$engines" cost "$block"
        measure "$file" "$figures" bound "$block"
        if [ -n "$has_afir" ]; then
            measure_afir "$block" "$block" "ffmpeg afir"
            measure_afir "$block" 8192 "ffmpeg afir parts"
        fi
    done
    rm -f "$measured/noise.s16" "$measured/taps.f32"
    say "other numbers of channels"
    measure "$file" "$engines" cost 480x1 480x4 480x8 480x16 480x32 480x64
    say "cold caches"
    measure "$file" "$engines" cold 128 480
    say "evenness of the blocks"
    measure "$file" "$engines" flat 64 128 441 480 1024
    say "filters"
    measure "$file" "$native_bin/tovix-filter-costs"
    say "limiter"
    measure "$file" "$native_bin/tovix-limiter-gains"
    say "engines at many block lengths"
    measure "$file" "$engines" "$1"
}

# The same programs natively and under Wine, one after the other, in turn first.
compare_with_windows() {
    local file=$measured/windows.csv round side sides bin=$root/build/windows/bin
    local wine=("$root/cmake/run-wine" "$root/build/windows/wine")
    "$root/scripts/setup" --windows || exit
    configure_and_build native tovix-filter-costs || exit
    configure_and_build windows tovix-filter-costs tovix-settings-latency Tovix64 || exit
    : >"$file"
    expect_quiet
    describe "$measured/windows.md" g++ g++-mingw-w64-x86-64-posix wine64
    local rounds=15
    for ((round = 1; round <= rounds; ++round)); do
        say "native and under Wine, round $round of $rounds"
        sides=(native Wine)
        ((round % 2)) || sides=(Wine native)
        for side in "${sides[@]}"; do
            if [ "$side" = native ]; then
                "$native_bin/tovix-filter-costs" </dev/null
            else
                "${wine[@]}" "$bin/tovix-filter-costs.exe" </dev/null | tr -d '\r'
            fi | sed "s/^/$side /" >>"$file" || say "failed: the filters' costs, $side"
        done
    done
    say "changes of the settings, from the signal to the sound"
    measure "$file" "${wine[@]}" "$bin/tovix-settings-latency.exe" 300
    sed -i 's/\r$//' "$file"
}

# write_report: all that is there, of this run and of earlier ones.
write_report() {
    local page=$root/out/bench.md
    touch "$measured"/{native,windows}.csv
    {
        printf '# What the effect costs\n\nMeasured natively:\n\n'
        cat "$measured/native.md" 2>/dev/null || printf 'nothing (scripts/bench --compare)\n'
        printf '\nMeasured natively and under Wine in turn:\n\n'
        cat "$measured/windows.md" 2>/dev/null || printf 'nothing (scripts/bench --windows)\n'
        printf '\n'
        awk -v picture="$root/out/bench.csv" -f "$root/scripts/lib/bench-report.awk" "$root/bench/bars.csv" \
            "$measured/native.csv" "$measured/windows.csv"
    } >"$page"
    sed -n '/^## Bars/,/^## Cost/{/^## Cost/!p}' "$page"
    say "wrote out/bench.md"
    "$root/scripts/plot" "$root/out/bench.csv"
}
