# Compares what the same sound becomes in every build, natively and under Wine, and with each set of inner loops.
# Source it after builds.sh and samples.sh; the native and the Windows build are there.

# largest_difference A.wav B.wav: of any two samples; "none" where there is nothing to compare.
largest_difference() {
    [ -s "$1" ] && [ "$(stat -c %s "$1")" = "$(stat -c %s "$2")" ] || { echo none && return; }
    paste <(samples_of "$1") <(samples_of "$2") |
        awk '!/^ *-?[0-9]/ || !($2 ~ /^-?[0-9]/) { bad = 1 }
             { d = $1 - $2; d = d < 0 ? -d : d; largest = d > largest ? d : largest }
             END { if (bad || NR == 0) print "none"; else printf "%.3g\n", largest }'
}

# is_at_most LIMIT DIFFERENCE
is_at_most() {
    awk -v limit="$1" -v d="$2" 'BEGIN { exit !(d != "none" && d <= limit) }'
}

# render_with WAV PROGRAM... : a programme of 20 s through every filter, with a change in it.
render_with() {
    "${@:2}" "$1" --demo --quiet --at 7 "Boost: 120 dB 1" "Equalizer: 50 6 500 0 8000 -9" "Maximizer: 60 dB -10" </dev/null ||
        true
}

# compare_renders NAME LIMIT WAV REFERENCE: a row of the table.
compare_renders() {
    local largest=none
    if cmp -s "$3" "$4"; then
        largest=0
    else
        largest=$(largest_difference "$3" "$4" 2>/dev/null || echo none)
    fi
    printf '%-30s %s %10s  (%s is allowed)\n' "$1" "$(sha256sum <"$3" | cut -c1-16)" "$largest" "$2"
    if is_at_most "$2" "$largest"; then
        count_result 1 0
    else
        count_result 0 1
    fi
}

check_agreement() {
    local folder build wine=("$root/cmake/run-wine" "$root/build/windows/wine") bin=$root/build/windows/bin
    say "the same sound from every build: the programme's hash, and the largest difference of two samples"
    folder=$(mktemp -d)
    render_with "$folder/native.wav" "$root/build/native/bin/tovix-render"
    for build in native native-asan native-coverage; do
        [ -x "$root/build/$build/bin/tovix-render" ] || continue
        render_with "$folder/again.wav" "$root/build/$build/bin/tovix-render"
        compare_renders "native, then $build" 0 "$folder/again.wav" "$folder/native.wav"
    done
    render_with "$folder/core.wav" "${wine[@]}" "$bin/tovix-render.exe" --core
    compare_renders "native, then Windows core" 1e-6 "$folder/core.wav" "$folder/native.wav"
    render_with "$folder/library.wav" "${wine[@]}" "$bin/tovix-render.exe"
    compare_renders "Windows core, then library" 0 "$folder/library.wav" "$folder/core.wav"
    check_loops "$folder"
    rm -rf "$folder"
}

# check_loops FOLDER: each set of inner loops and other lengths of blocks, natively and then for Windows beside that.
check_loops() {
    configure_and_build native tovix-sound-hashes && configure_and_build windows tovix-sound-hashes ||
        { count_result 0 1; return 0; }
    say "the same sound with each set of loops: largest differences from the plainest, in other blocks, from the native build"
    if "$root/build/native/bin/tovix-sound-hashes" "$1/native" >"$1/table"; then
        count_result 1 0
    else
        cat "$1/table"
        count_result 0 1
    fi
    if "${wine[@]}" "$bin/tovix-sound-hashes.exe" "$1/windows" "$1/native" </dev/null | tr -d '\r'; then
        count_result 1 0
    else
        count_result 0 1
    fi
}
