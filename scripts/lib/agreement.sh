# Compares what the native program, with the core, and the Windows program, with the library, make of the same sound.
# Source it after builds.sh and samples.sh; both builds are there.

# largest_difference A.wav B.wav: of any two samples; "none" where there is nothing to compare.
largest_difference() {
    [ -s "$1" ] && [ "$(stat -c %s "$1")" = "$(stat -c %s "$2")" ] || { echo none && return; }
    paste <(samples_of "$1") <(samples_of "$2") |
        awk '!/^ *-?[0-9]/ || !($2 ~ /^-?[0-9]/) { bad = 1 }
             { d = $1 - $2; d = d < 0 ? -d : d; largest = d > largest ? d : largest }
             END { if (bad || NR == 0) print "none"; else printf "%.3g\n", largest }'
}

check_agreement() {
    local folder largest arguments=(--demo --quiet --at 7 "Boost: 120 dB 1" "Equalizer: 50 6 500 0 8000 -9" "Maximizer: 60 dB -10")
    say "native core and Windows library: comparing"
    folder=$(mktemp -d)
    "$root/build/native/bin/tovix-render" "$folder/core.wav" "${arguments[@]}" || true
    "$root/cmake/run-wine" "$root/build/windows/wine" "$root/build/windows/bin/tovix-render.exe" \
        "$folder/library.wav" "${arguments[@]}" </dev/null || true
    largest=$(largest_difference "$folder/core.wav" "$folder/library.wav" 2>/dev/null || echo none)
    rm -rf "$folder"
    say "largest difference of two samples: $largest (1e-6 is allowed)"
    if awk -v d="$largest" 'BEGIN { exit !(d != "none" && d <= 1e-6) }'; then
        count_result 1 0
    else
        count_result 0 1
    fi
}
