# Reads the samples of sound files of 32-bit floats. Source it.

# samples_of FILE.wav [FIRST COUNT]: all samples, or COUNT from the one with the number FIRST on, each on a line.
samples_of() {
    local data range=()
    data=$(grep -obUam1 'data' "$1" | head -n 1 | cut -d: -f1)
    [ $# -eq 1 ] || range=(-N $((4 * $3)))
    od -An -v -t f4 -w4 -j $((data + 8 + 4 * ${2:-0})) "${range[@]}" "$1"
}

# waveforms_at SECONDS OFF.wav LIMIT.wav CLEAN.wav: 50 ms of the left channel of each, stereo at 48 kHz, as a table.
waveforms_at() {
    local first=$(($1 * 48000 * 2)) count=$((2400 * 2))
    paste <(samples_of "$2" "$first" "$count") <(samples_of "$3" "$first" "$count") <(samples_of "$4" "$first" "$count") |
        awk -v start="$1" 'BEGIN { print "waveform_seconds,off,limit,clean" }
            NR % 2 { printf "%.6f,%s,%s,%s\n", start + (NR - 1) / 96000, $1, $2, $3 }'
}
